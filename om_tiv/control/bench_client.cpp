#include "control/bench_client.h"

#include "base/files.h"
#include "base/json_depth.h"
#include "control/bench_path.h"
#include "control/socket_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace om::bench {

namespace {

constexpr std::chrono::seconds answerTimeout{10};
constexpr char ended[] = "the program with the bench has ended";
constexpr timeval sendTimeout = {10, 0};

/// A descriptor connected to a bench of this user or of root, or -1 with a reason and errno, which
/// is EAGAIN if the program accepts no connections and has no room for one more.
int connectTo(const std::string& path, BenchClient::WAIT wait, std::string& error)
{
    const auto failed = [&] {
        const int why = errno;
        error = path + ": " + (why == EAGAIN ? noAnswer : std::generic_category().message(why));
        errno = why;
        return -1;
    };
    const auto address = addressOf(path);
    if (!address) {
        errno = ENAMETOOLONG;
        return failed();
    }
    const int flags = wait == BenchClient::WAIT::YES ? 0 : SOCK_NONBLOCK;
    Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
    if (!socket.valid()) {
        return failed();
    }
    // A stopped program accepts neither connections nor requests.
    ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &sendTimeout, sizeof sendTimeout);
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) !=
        0) {
        return failed();
    }
    const auto user = userOf(socket);
    if (!user || ::fcntl(socket.get(), F_SETFL, 0) != 0) {
        return failed();
    }
    if (*user != ::geteuid() && *user != 0) {
        errno = EACCES;
        error = path + ": " + otherUser + " (" + std::to_string(*user) + ")";
        return -1;
    }
    return socket.release();
}

/// The socket of a process if the text is its number, otherwise the text.
std::string socketOf(const std::string& text)
{
    const bool isNumber =
        std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
    return isNumber ? controlFolder() + "/bench-" + text + ".sock" : text;
}

} // namespace

std::string noRunningBench()
{
    return "no running bench: start gravimon first (looked in " + controlFolder() + ")";
}

std::unique_ptr<BenchClient> BenchClient::connect(const std::string& path, std::string& error,
                                                  WAIT wait)
{
    const std::string wanted = path.empty() ? namedPath() : socketOf(path);
    if (!wanted.empty()) {
        const int fd = connectTo(wanted, wait, error);
        if (fd < 0) {
            return nullptr;
        }
        return std::unique_ptr<BenchClient>(new BenchClient(fd));
    }

    const std::string folder = controlFolder();
    std::vector<std::pair<std::string, int>> alive;
    std::string ignored; // a socket that can't be reached is not a running bench
    for (const std::string& candidate : socketsIn(folder)) {
        const int fd = connectTo(candidate, wait, ignored);
        if (fd >= 0) {
            alive.emplace_back(candidate, fd);
        }
    }
    if (alive.size() == 1) {
        return std::unique_ptr<BenchClient>(new BenchClient(alive.front().second));
    }
    if (alive.empty()) {
        error = noRunningBench();
    } else {
        error = "several benches run, choose one with --socket:";
        for (const auto& [candidate, fd] : alive) {
            error += " " + candidate;
            ::close(fd);
        }
    }
    return nullptr;
}

std::vector<std::string> BenchClient::running()
{
    std::vector<std::string> alive;
    std::string ignored;
    for (const std::string& candidate : socketsIn(controlFolder())) {
        const int fd = connectTo(candidate, WAIT::NO, ignored);
        if (fd >= 0) {
            ::close(fd);
        }
        if (fd >= 0 || errno == EAGAIN) {
            alive.push_back(candidate);
        }
    }
    return alive;
}

void BenchClient::interrupt()
{
    ::shutdown(m_fd, SHUT_RDWR);
}

BenchClient::~BenchClient()
{
    ::close(m_fd);
}

bool BenchClient::ask(const nlohmann::json& request, nlohmann::json& answer, std::string& error)
{
    const std::string line =
        request.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    for (std::size_t sent = 0; sent < line.size();) {
        const ssize_t count = ::send(m_fd, line.data() + sent, line.size() - sent, MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR) {
            error = errno == EAGAIN ? noAnswer : ended;
            return false;
        }
        sent += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    // The time limit is the same if the answer arrives in parts.
    const auto due = std::chrono::steady_clock::now() + answerTimeout;
    std::size_t searched = 0;
    std::size_t end = 0;
    while ((end = m_input.find('\n', searched)) == std::string::npos) {
        searched = m_input.size();
        if (m_input.size() > maxAnswer) {
            error = invalidAnswer;
            return false;
        }
        pollfd waiting = {m_fd, POLLIN, 0};
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(due - std::chrono::steady_clock::now());
        const int ready =
            ::poll(&waiting, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready == 0) {
            error = noAnswer;
            return false;
        }
        std::array<char, 16384> bytes;
        const ssize_t count = ::recv(m_fd, bytes.data(), bytes.size(), 0);
        if (count <= 0) {
            error = ended;
            return false;
        }
        m_input.append(bytes.data(), static_cast<std::size_t>(count));
    }
    parseBounded(std::string_view(m_input).substr(0, end), answer);
    m_input.erase(0, end + 1);
    if (!answer.is_object()) {
        error = invalidAnswer;
        return false;
    }
    return true;
}

} // namespace om::bench
