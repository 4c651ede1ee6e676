#include "bench/control_server.h"

#include "bench/files.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace om::bench {

namespace {

struct Client
{
    Descriptor socket;
    std::string input;    ///< up to the next line feed
    std::string output;   ///< not yet taken by the client
    bool closing = false; ///< after its output
};

/// What a client may leave unread before it is dropped.
constexpr std::size_t maxOutput = 4 * 1024 * 1024;

std::string reason(const std::string& what)
{
    return what + ": " + std::generic_category().message(errno);
}

/// Whether somebody listens at the address.
bool isAlive(const sockaddr_un& address)
{
    const Descriptor probe(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    return probe.valid() &&
           ::connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

} // namespace

std::string controlFolder()
{
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && runtime[0] == '/') {
        return std::string(runtime) + "/gravimon";
    }
    return "/tmp/gravimon-" + std::to_string(::getuid());
}

std::string controlPath()
{
    const char* given = std::getenv("OM_TIV_CONTROL");
    if (given != nullptr && given[0] != '\0') {
        return std::strcmp(given, "off") == 0 ? std::string() : given;
    }
    return controlFolder() + "/bench-" + std::to_string(::getpid()) + ".sock";
}

class ControlServer::Impl
{
public:
    Impl(std::string path, Handler handler) : m_path(std::move(path)), m_handler(std::move(handler))
    {}

    ~Impl()
    {
        if (m_thread.joinable()) {
            const char stop = 0;
            // The pipe is empty, so that the write can't block or fail.
            [[maybe_unused]] const ssize_t written = ::write(m_stopWrite.get(), &stop, 1);
            m_thread.join();
        }
        if (m_listener.valid()) {
            ::unlink(m_path.c_str());
        }
    }

    bool start(std::string& error)
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        if (m_path.size() >= sizeof address.sun_path) {
            error = m_path + ": the path is longer than a socket's may be (" +
                    std::to_string(sizeof address.sun_path - 1) + " bytes)";
            return false;
        }
        std::memcpy(address.sun_path, m_path.c_str(), m_path.size() + 1);

        // Empty for a path in the current folder and for one in the root.
        const std::size_t slash = m_path.rfind('/');
        const std::string folder = m_path.substr(0, slash == std::string::npos ? 0 : slash);
        if (!folder.empty()) {
            if (const std::string part = makeFolders(folder); !part.empty()) {
                error = reason(part);
                return false;
            }
        }
        struct stat state = {};
        if (!folder.empty() && ::stat(folder.c_str(), &state) == 0 && state.st_uid != ::getuid() &&
            (state.st_mode & S_ISVTX) == 0 && ::getuid() != 0) {
            error = folder + ": belongs to another user";
            return false;
        }

        m_listener = Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        if (!m_listener.valid()) {
            error = reason("socket");
            return false;
        }
        if (::lstat(m_path.c_str(), &state) == 0) {
            if (!S_ISSOCK(state.st_mode)) {
                error = m_path + ": there is something that is not a socket";
                m_listener = Descriptor();
                return false;
            }
            if (isAlive(address)) {
                error = m_path + ": another process serves this socket";
                m_listener = Descriptor();
                return false;
            }
            ::unlink(m_path.c_str());
        }
        // The mode is right from the first moment, not only after a chmod.
        const mode_t before = ::umask(0177);
        const int bound =
            ::bind(m_listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
        const int bindError = errno;
        ::umask(before);
        std::array<int, 2> ends = {-1, -1};
        if (bound != 0 || ::listen(m_listener.get(), 8) != 0 ||
            ::pipe2(ends.data(), O_CLOEXEC) != 0) {
            errno = bound != 0 ? bindError : errno;
            error = reason(m_path);
            if (bound == 0) {
                ::unlink(m_path.c_str());
            }
            m_listener = Descriptor();
            return false;
        }
        m_stopRead = Descriptor(ends[0]);
        m_stopWrite = Descriptor(ends[1]);
        m_thread = std::thread([this] { serve(); });
        return true;
    }

    const std::string& path() const { return m_path; }

private:
    void serve()
    {
        std::vector<pollfd> waiting;
        for (;;) {
            waiting.clear();
            waiting.push_back({m_stopRead.get(), POLLIN, 0});
            // With all slots taken new clients wait in the listener's queue.
            const bool free = m_clients.size() < MAX_CLIENTS;
            waiting.push_back({m_listener.get(), static_cast<short>(free ? POLLIN : 0), 0});
            for (const Client& client : m_clients) {
                const int wanted =
                    (client.closing ? 0 : POLLIN) | (client.output.empty() ? 0 : POLLOUT);
                waiting.push_back({client.socket.get(), static_cast<short>(wanted), 0});
            }
            if (::poll(waiting.data(), waiting.size(), -1) < 0) {
                if (errno == EINTR) {
                    continue;
                }
                return;
            }
            if (waiting[0].revents != 0) {
                return;
            }
            std::vector<Client> kept;
            for (std::size_t i = 0; i < m_clients.size(); ++i) {
                if (attend(m_clients[i], waiting[i + 2].revents)) {
                    kept.push_back(std::move(m_clients[i]));
                }
            }
            m_clients = std::move(kept);
            if ((waiting[1].revents & POLLIN) != 0) {
                acceptClient();
            }
        }
    }

    void acceptClient()
    {
        Descriptor socket(
            ::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!socket.valid()) {
            return;
        }
        ucred peer = {};
        socklen_t size = sizeof peer;
        if (::getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 ||
            (peer.uid != ::getuid() && peer.uid != 0)) {
            return;
        }
        Client client;
        client.socket = std::move(socket);
        m_clients.push_back(std::move(client));
    }

    /// False when the client is done with.
    bool attend(Client& client, short events)
    {
        if ((events & (POLLERR | POLLNVAL)) != 0) {
            return false;
        }
        if ((events & (POLLIN | POLLHUP)) != 0 && !client.closing && !readFrom(client)) {
            return false;
        }
        if (!client.output.empty() && !writeTo(client)) {
            return false;
        }
        return !(client.closing && client.output.empty());
    }

    bool readFrom(Client& client)
    {
        std::array<char, 16384> bytes;
        const ssize_t count = ::recv(client.socket.get(), bytes.data(), bytes.size(), 0);
        if (count == 0) {
            client.closing = true; // what is left of its input is half a line
            return true;
        }
        if (count < 0) {
            return errno == EAGAIN || errno == EINTR;
        }
        client.input.append(bytes.data(), static_cast<std::size_t>(count));
        std::size_t begin = 0;
        for (std::size_t end; (end = client.input.find('\n', begin)) != std::string::npos;
             begin = end + 1) {
            client.output += m_handler(client.input.substr(begin, end - begin)) + '\n';
            if (client.output.size() > maxOutput) {
                return false;
            }
        }
        client.input.erase(0, begin);
        if (client.input.size() > MAX_LINE) {
            client.output += "{\"error\":\"a request of more than " + std::to_string(MAX_LINE) +
                             " bytes\",\"ok\":false}\n";
            client.input.clear();
            client.closing = true;
        }
        return true;
    }

    static bool writeTo(Client& client)
    {
        const ssize_t count =
            ::send(client.socket.get(), client.output.data(), client.output.size(), MSG_NOSIGNAL);
        if (count < 0) {
            return errno == EAGAIN || errno == EINTR;
        }
        client.output.erase(0, static_cast<std::size_t>(count));
        return true;
    }

    const std::string m_path;
    const Handler m_handler;
    Descriptor m_listener;
    Descriptor m_stopRead;
    Descriptor m_stopWrite;
    std::vector<Client> m_clients; ///< the server's thread only
    std::thread m_thread;
};

ControlServer::ControlServer(std::unique_ptr<Impl> impl) : m_impl(std::move(impl)) {}

ControlServer::~ControlServer() = default;

std::unique_ptr<ControlServer> ControlServer::start(const std::string& path, Handler handler,
                                                    std::string& error)
{
    auto impl = std::make_unique<Impl>(path, std::move(handler));
    if (!impl->start(error)) {
        return nullptr;
    }
    return std::unique_ptr<ControlServer>(new ControlServer(std::move(impl)));
}

const std::string& ControlServer::path() const
{
    return m_impl->path();
}

} // namespace om::bench
