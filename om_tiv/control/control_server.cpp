#include "control/control_server.h"

#include "base/files.h"
#include "control/socket_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace om::bench {

namespace {

using SteadyClock = std::chrono::steady_clock;
using Moment = std::optional<SteadyClock::time_point>; ///< none for never

struct Client
{
    Descriptor socket;
    std::string input;    ///< up to the next line feed
    std::string output;   ///< not yet accepted by the client
    bool closing = false; ///< after its output
    bool drained = false; ///< there was nothing more to read
    Moment lineDue;       ///< time limit for the rest of its line
    Moment takeDue;       ///< time limit for accepting more of its output
};

/// Maximum of unread output before a client is dropped.
constexpr std::size_t maxOutput = 4 * 1024 * 1024;

std::string reason(const std::string& what)
{
    return what + ": " + std::generic_category().message(errno);
}

void makeEarlier(Moment& moment, const Moment& other)
{
    if (other && (!moment || *other < *moment)) {
        moment = other;
    }
}

/// Time-out for poll(): milliseconds until the moment, rounded up; -1 for never.
int timeUntil(const Moment& moment, SteadyClock::time_point now)
{
    if (!moment) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*moment - now).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, 1000000));
}

} // namespace

class ControlServer::Impl
{
public:
    Impl(std::string path, Handler handler, const Limits& limits)
        : m_path(std::move(path)), m_handler(std::move(handler)), m_limits(limits)
    {}

    ~Impl()
    {
        if (m_thread.joinable()) {
            const char stop = 0;
            // The pipe is empty, so the write can't block or fail.
            [[maybe_unused]] const ssize_t written = ::write(m_stopWrite.get(), &stop, 1);
            m_thread.join();
        }
        if (m_listener.valid()) {
            ::unlink(m_path.c_str());
        }
    }

    bool start(std::string& error)
    {
        const auto address = addressOf(m_path);
        if (!address) {
            error = m_path + ": the path is longer than a socket's may be (" +
                    std::to_string(sizeof sockaddr_un::sun_path - 1) + " bytes)";
            return false;
        }
        if (!makeFolderOf(m_path, error)) {
            return false;
        }
        m_listener = Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        if (!m_listener.valid()) {
            error = reason("socket");
            return false;
        }
        if (!removeStaleSocket(m_path, *address, error)) {
            m_listener = Descriptor();
            return false;
        }
        // The file gets its mode from the socket, so that the mode is right from the first moment
        // and the umask, which all threads share, does not change.
        std::array<int, 2> ends = {-1, -1};
        if (::fchmod(m_listener.get(), 0600) != 0 || ::pipe2(ends.data(), O_CLOEXEC) != 0) {
            error = reason(m_path);
            m_listener = Descriptor();
            return false;
        }
        m_stopRead = Descriptor(ends[0]);
        m_stopWrite = Descriptor(ends[1]);
        if (const int number = listenAt(m_listener, m_path); number != 0) {
            errno = number;
            error = reason(m_path);
            m_listener = Descriptor();
            return false;
        }
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
            auto now = SteadyClock::now();
            if (m_acceptAfter && *m_acceptAfter <= now) {
                m_acceptAfter.reset();
            }
            // If all slots are in use new clients wait in the listener's queue.
            const bool free = m_clients.size() < maxClients && !m_acceptAfter;
            waiting.push_back({m_listener.get(), static_cast<short>(free ? POLLIN : 0), 0});
            Moment next = m_acceptAfter;
            for (const Client& client : m_clients) {
                const int wanted =
                    (client.closing ? 0 : POLLIN) | (client.output.empty() ? 0 : POLLOUT);
                waiting.push_back({client.socket.get(), static_cast<short>(wanted), 0});
                makeEarlier(next, client.lineDue);
                makeEarlier(next, client.takeDue);
            }
            if (::poll(waiting.data(), waiting.size(), timeUntil(next, now)) < 0) {
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
                } else {
                    m_acceptAfter.reset(); // its descriptor can be used for the next one
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
            // The client stays in the queue and would wake poll() at once.
            if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
                m_acceptAfter = SteadyClock::now() + m_limits.pause;
            }
            return;
        }
        const auto user = userOf(socket);
        if (!user || (*user != ::getuid() && *user != 0)) {
            return;
        }
        Client client;
        client.socket = std::move(socket);
        client.lineDue = SteadyClock::now() + m_limits.stall;
        m_clients.push_back(std::move(client));
    }

    /// False if the client is to be removed.
    bool attend(Client& client, short events)
    {
        if ((events & (POLLERR | POLLNVAL)) != 0) {
            return false;
        }
        client.drained = (events & (POLLIN | POLLHUP)) == 0;
        if (!client.drained && !client.closing && !readFrom(client)) {
            return false;
        }
        // The rest of a line may have arrived during another request: available input is read
        // before its time limit is checked.
        const auto now = SteadyClock::now();
        if (client.drained && client.lineDue && *client.lineDue <= now) {
            refuse(client,
                   "no whole request within " + std::to_string(m_limits.stall.count()) + " ms");
        }
        const std::size_t before = client.output.size();
        if (before > 0 && !writeTo(client)) {
            return false;
        }
        if (client.output.empty()) {
            client.takeDue.reset();
        } else if (!client.takeDue || client.output.size() < before) {
            client.takeDue = now + m_limits.stall;
        } else if (*client.takeDue <= now) {
            return false;
        }
        return !(client.closing && client.output.empty());
    }

    bool readFrom(Client& client)
    {
        std::array<char, 16384> bytes;
        const ssize_t count = ::recv(client.socket.get(), bytes.data(), bytes.size(), 0);
        client.drained = count < static_cast<ssize_t>(bytes.size());
        if (count == 0) {
            client.closing = true; // the rest of its input is an incomplete line
            client.lineDue.reset();
            return true;
        }
        if (count < 0) {
            return errno == EAGAIN || errno == EINTR;
        }
        client.input.append(bytes.data(), static_cast<std::size_t>(count));
        std::size_t begin = 0;
        for (std::size_t end; (end = client.input.find('\n', begin)) != std::string::npos;
             begin = end + 1) {
            if (end - begin > maxLine) {
                break;
            }
            client.output += m_handler(client.input.substr(begin, end - begin)) + '\n';
            if (client.output.size() > maxOutput) {
                return false;
            }
        }
        client.input.erase(0, begin);
        if (client.input.size() > maxLine) {
            refuse(client, "a request of more than " + std::to_string(maxLine) + " bytes");
        } else if (client.input.empty()) {
            client.lineDue.reset();
        } else if (begin > 0 || !client.lineDue) {
            client.lineDue = SteadyClock::now() + m_limits.stall;
        }
        return true;
    }

    /// Ends the connection after a last line.
    static void refuse(Client& client, const std::string& why)
    {
        client.output += R"({"error":")" + why + R"(","ok":false})" + '\n';
        client.input.clear();
        client.closing = true;
        client.lineDue.reset();
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
    const Limits m_limits;
    Descriptor m_listener;
    Descriptor m_stopRead;
    Descriptor m_stopWrite;
    // Only for the server's thread:
    std::vector<Client> m_clients;
    Moment m_acceptAfter; ///< while there is no descriptor for a new client
    std::thread m_thread;
};

ControlServer::ControlServer(std::unique_ptr<Impl> impl) : m_impl(std::move(impl)) {}

ControlServer::~ControlServer() = default;

std::unique_ptr<ControlServer> ControlServer::start(const std::string& path, Handler handler,
                                                    std::string& error, const Limits& limits)
{
    auto impl = std::make_unique<Impl>(path, std::move(handler), limits);
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
