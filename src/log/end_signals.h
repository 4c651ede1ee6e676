/// @file
/// The signals that end the program.
#pragma once

#include <chrono>
#include <csignal>
#include <optional>

namespace samplelog {

/// From construction to destruction SIGINT, SIGTERM and SIGHUP wait until they are requested, so
/// that what is being written can be ended whole. One that the program was started with ignored, as
/// by nohup, stays ignored. A limit of a file's size and a reader of the output that has gone away
/// make a write fail, no more.
///
/// On the thread of main(), before any other thread is started: those inherit it.
class EndSignals
{
public:
    /// Signals that come together are one: the end of a login session sends SIGHUP behind SIGTERM.
    static constexpr std::chrono::milliseconds together{250};

    EndSignals();
    ~EndSignals();
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;

    /// Whether one comes within the time, which is less than a second. A further one, later than
    /// `together` after the first, ends the program at once.
    bool wait(std::chrono::nanoseconds time);

private:
    sigset_t m_set{};
    sigset_t m_before{};
    std::optional<std::chrono::steady_clock::time_point> m_came;
};

} // namespace samplelog
