#include "control/socket_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <system_error>

#include <dirent.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace om::bench {

namespace {

/// Number of clients that wait for the server, beside those that it serves.
constexpr int waitingClients = 8;

/// Whether a process listens at the address, also one that accepts no connection.
bool isAlive(const sockaddr_un& address)
{
    const Descriptor probe(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    return !probe.valid() ||
           ::connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
               0 ||
           (errno != ECONNREFUSED && errno != ENOENT);
}

/// Empty, or the reason why another user could replace a socket in the folder.
std::string dangerOf(const std::string& folder)
{
    struct stat state = {};
    if (::lstat(folder.c_str(), &state) != 0) {
        return std::generic_category().message(errno);
    }
    if (S_ISLNK(state.st_mode)) {
        return "is a symbolic link";
    }
    const bool sticky = (state.st_mode & S_ISVTX) != 0;
    // In a sticky folder its owner can still remove the files of others.
    if (state.st_uid != ::geteuid() && !(state.st_uid == 0 && sticky)) {
        return "belongs to another user";
    }
    return (state.st_mode & S_IWOTH) != 0 && !sticky ? "can be changed by every user" : "";
}

} // namespace

std::optional<sockaddr_un> addressOf(const std::string& path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return std::nullopt;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

std::optional<uid_t> userOf(const Descriptor& connected)
{
    ucred peer = {};
    socklen_t size = sizeof peer;
    if (::getsockopt(connected.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
        return std::nullopt;
    }
    return peer.uid;
}

int listenAt(const Descriptor& socket, const std::string& path)
{
    // Also where containers, whose processes have equal numbers, share a folder.
    const std::string hidden = path.substr(0, path.rfind('/') + 1) + "." +
                               std::to_string(std::hash<std::string>()(path)) + "-" +
                               std::to_string(::getpid());
    const bool isHidden =
        addressOf(hidden).has_value() && (::unlink(hidden.c_str()) == 0 || errno == ENOENT);
    const std::string& file = isHidden ? hidden : path;
    const auto address = addressOf(file);
    if (!address) {
        return ENAMETOOLONG;
    }
    if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) {
        return errno;
    }
    int result = ::listen(socket.get(), waitingClients) == 0 ? 0 : errno;
    // link() does not replace a file that another program has made meanwhile. Not every file system
    // has it.
    if (result == 0 && isHidden && ::link(hidden.c_str(), path.c_str()) != 0 &&
        (errno == EEXIST || ::rename(hidden.c_str(), path.c_str()) != 0)) {
        result = errno;
    }
    if (isHidden || result != 0) {
        ::unlink(file.c_str());
    }
    return result;
}

std::vector<std::string> socketsIn(const std::string& folder)
{
    std::vector<std::string> paths;
    DIR* const dir = ::opendir(folder.c_str());
    if (dir == nullptr) {
        return paths;
    }
    while (const dirent* entry = ::readdir(dir)) {
        const std::string name = entry->d_name;
        if (name.rfind("bench-", 0) == 0 && name.size() > 5 &&
            name.compare(name.size() - 5, 5, ".sock") == 0) {
            paths.push_back(std::string(folder).append("/").append(name));
        }
    }
    ::closedir(dir);
    std::sort(paths.begin(), paths.end());
    return paths;
}

bool isServed(const std::string& path)
{
    const auto address = addressOf(path);
    return address && isAlive(*address);
}

bool makeFolderOf(const std::string& path, std::string& error)
{
    const std::size_t slash = path.rfind('/');
    std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    // With a slash at its end a link would count as its target.
    while (folder.size() > 1 && folder.back() == '/') {
        folder.pop_back();
    }
    if (const std::string part = makeFolders(folder); !part.empty()) {
        error = part + ": " + std::generic_category().message(errno);
        return false;
    }
    if (const std::string danger = dangerOf(folder); !danger.empty()) {
        error = folder + ": " + danger;
        return false;
    }
    return true;
}

bool removeStaleSocket(const std::string& path, const sockaddr_un& address, std::string& error)
{
    struct stat state = {};
    if (::lstat(path.c_str(), &state) != 0) {
        return true;
    }
    if (!S_ISSOCK(state.st_mode)) {
        error = path + ": there is something that is not a socket";
        return false;
    }
    if (isAlive(address)) {
        error = path + ": another process serves this socket";
        return false;
    }
    ::unlink(path.c_str());
    return true;
}

} // namespace om::bench
