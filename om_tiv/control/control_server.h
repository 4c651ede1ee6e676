/// @file
/// The bench's control socket: lines of JSON in, lines of JSON out (docs/bench-control.md).
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace om::bench {

/// Serves a Unix stream socket on its own thread.
///
/// Only processes of the same user (or root) are served; the file has mode 0600, and the folder
/// must be one in which no other user can replace it. A client may send anything: a line over
/// maxLine bytes ends its connection with an error, and an incomplete line at the end is dropped.
/// Between two requests a client keeps its slot without a time limit. With an incomplete line or an
/// unread answer it keeps the slot for Limits::stall; with more than 4 MiB of unread answers it
/// loses it at once.
class ControlServer
{
public:
    /// Answers one request line (without its line feed) with one line (without its own). Called on
    /// the server's thread. Must not throw.
    using Handler = std::function<std::string(const std::string&)>;

    static constexpr std::size_t maxLine = 64 * 1024; ///< bytes, without the line feed
    static constexpr std::size_t maxClients = 16;

    struct Limits
    {
        /// Time limit for a line from its first byte to its end, for the first line from the
        /// connection on, and for accepting each part of an answer. Shorter than a client's waiting
        /// time.
        std::chrono::milliseconds stall{5000};
        /// Pause before the next attempt if the process has no descriptor left for a client.
        std::chrono::milliseconds pause{250};
    };

    /// Creates the folder (mode 0700) and the socket; an unused socket file at the path is
    /// replaced. Always returns at once.
    /// @return null on failure, with the reason in error
    static std::unique_ptr<ControlServer> start(const std::string& path, Handler handler,
                                                std::string& error, const Limits& limits);
    static std::unique_ptr<ControlServer> start(const std::string& path, Handler handler,
                                                std::string& error)
    {
        return start(path, std::move(handler), error, Limits());
    }
    ~ControlServer(); ///< ends the thread, closes all clients and removes the socket file
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

    const std::string& path() const;

private:
    class Impl;
    explicit ControlServer(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> m_impl;
};

} // namespace om::bench
