/// @file
/// A client of the bench's control socket (docs/bench-control.md).
#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace om::bench {

/// One thread at a time, but for interrupt().
class BenchClient
{
public:
    /// Only a bench of the same user, or of root, is spoken to.
    /// @param path the socket; empty takes OM_TIV_CONTROL, or finds the one bench that runs
    /// @return null with one line of reason in error
    static std::unique_ptr<BenchClient> connect(const std::string& path, std::string& error);
    ~BenchClient();

    /// The sockets of all benches of this user that run and serve, by their place in the runtime
    /// folder.
    static std::vector<std::string> running();
    BenchClient(const BenchClient&) = delete;
    BenchClient& operator=(const BenchClient&) = delete;

    static constexpr std::size_t MAX_ANSWER = 8 * 1024 * 1024;

    /// Sends a request and waits up to 10 s for its answer, an object of up to MAX_ANSWER bytes.
    /// False with a line of reason when the bench has gone or answered nonsense.
    bool ask(const nlohmann::json& request, nlohmann::json& answer, std::string& error);

    /// Makes an ask() that waits, and every later one, fail at once. Any thread.
    void interrupt();

private:
    explicit BenchClient(int fd) : m_fd(fd) {}

    int m_fd;
    std::string m_input;
};

} // namespace om::bench
