/// @file
/// A client of the bench's control socket (docs/bench-control.md).
#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace om::bench {

/// Why an answer is not used that no bench of this version would send.
inline constexpr char invalidAnswer[] =
    "invalid answer: the program has another version, or is not a bench";

/// How a reason ends if the program is stopped or too slow.
inline constexpr char noAnswer[] = "the bench does not answer";

/// Part of a reason; the number of the user follows.
inline constexpr char otherUser[] = "served by another user";

/// With the folder that is searched.
std::string noRunningBench();

/// One thread at a time, except for interrupt().
class BenchClient
{
public:
    /// Whether to wait up to 10 s for a program that accepts no connections and has no room for
    /// one more; a stopped program, for example.
    enum class WAIT { YES, NO };

    /// Connects only to a bench of the same user or of root.
    /// @param path the socket or the number of the bench's process; empty uses OM_TIV_CONTROL, or
    /// finds the one running bench
    /// @return null on failure, with the reason in one line in error
    static std::unique_ptr<BenchClient> connect(const std::string& path, std::string& error,
                                                WAIT wait = WAIT::YES);
    ~BenchClient();

    /// The sockets of all running benches of this user, found in the runtime folder, without a
    /// wait.
    static std::vector<std::string> running();
    BenchClient(const BenchClient&) = delete;
    BenchClient& operator=(const BenchClient&) = delete;

    static constexpr std::size_t maxAnswer = 8 * 1024 * 1024;

    /// Sends a request and waits up to 10 s for its answer, an object of up to maxAnswer bytes.
    /// False, with the reason in one line, if the bench has ended or its answer is invalid.
    bool ask(const nlohmann::json& request, nlohmann::json& answer, std::string& error);

    /// Lets a waiting ask() and every later one fail at once. Any thread.
    void interrupt();

private:
    explicit BenchClient(int fd) : m_fd(fd) {}

    int m_fd;
    std::string m_input;
};

} // namespace om::bench
