/// @file
/// A client of the bench's control socket (docs/bench-control.md).
#pragma once

#include <nlohmann/json.hpp>

#include <memory>
#include <string>

namespace om::bench {

/// One thread at a time.
class BenchClient
{
public:
    /// @param path the socket; empty takes OM_TIV_CONTROL, or finds the one bench that runs
    /// @return null with one line of reason in error
    static std::unique_ptr<BenchClient> connect(const std::string& path, std::string& error);
    ~BenchClient();
    BenchClient(const BenchClient&) = delete;
    BenchClient& operator=(const BenchClient&) = delete;

    /// Sends a request and waits up to 10 s for its answer. False with a line of reason when the
    /// bench has gone or answered nonsense.
    bool ask(const nlohmann::json& request, nlohmann::json& answer, std::string& error);

private:
    explicit BenchClient(int fd) : m_fd(fd) {}

    int m_fd;
    std::string m_input;
};

} // namespace om::bench
