/// @file
/// The bench's control socket: lines of JSON in, lines of JSON out (docs/bench-control.md).
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace om::bench {

/// Where the control socket of this process belongs, by the environment: OM_TIV_CONTROL when set
/// ("off" gives an empty path, for none), else bench-PID.sock in controlFolder().
std::string controlPath();

/// $XDG_RUNTIME_DIR/gravimon, or /tmp/gravimon-UID where there is no runtime folder.
std::string controlFolder();

/// Serves a Unix stream socket on a thread of its own.
///
/// Only processes of the same user (or root) are served; the file has mode 0600, and the folder
/// must be one in which nobody else can put another in its place. A client may send anything: a
/// line over MAX_LINE bytes ends its connection with an error, and half a line is dropped at the
/// end. A slot is held as long as one likes between two requests, and no longer than Limits::idle
/// by a client that owes the rest of a line or does not take its answer.
class ControlServer
{
public:
    /// Answers one request line (without its line feed) with one line (without its own). Called on
    /// the server's thread. Must not throw.
    using Handler = std::function<std::string(const std::string&)>;

    static constexpr std::size_t MAX_LINE = 64 * 1024; ///< bytes, without the line feed
    static constexpr std::size_t MAX_CLIENTS = 16;

    struct Limits
    {
        /// For a line from its first byte to its end, for the first line of a connection from the
        /// connection on, and for each part of an answer to be taken. Less than a client waits.
        std::chrono::milliseconds idle{5000};
        /// Before the next try where the process has no descriptor left for a client.
        std::chrono::milliseconds pause{250};
    };

    /// Makes the folder (mode 0700) and the socket; a dead socket file at the path is replaced.
    /// Returns at once whatever is at the path.
    /// @return null with the reason in error
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
