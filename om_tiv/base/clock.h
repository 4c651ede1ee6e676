/// @file
/// The time of the bench: the system's, or stepped by hand.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

namespace om::bench {

/// Nanoseconds since the epoch, as every timestamp of the library.
using Nanoseconds = std::uint64_t;

constexpr Nanoseconds NS_PER_MS = 1'000'000;
constexpr Nanoseconds NS_PER_S = 1'000'000'000;

/// A clock that never runs backward. While it is real it follows the steady clock, laid over the
/// wall clock's time at the start of the process; a change of the wall clock does not move it.
///
/// Threads: all operations may run on any thread, beside each other.
class Clock
{
public:
    Clock();
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;

    Nanoseconds now() const;
    bool isManual() const { return m_manual.load(); }

    /// Stops the clock where it stands; advance() moves it from here on.
    void setManual();

    /// Stops the clock at a time of the caller's choice, which may lie behind the real one: choose
    /// it before cameras are added or plugged, since their streams count from that moment. An
    /// already stopped clock is only moved forward; an earlier time leaves it.
    void setManual(Nanoseconds time);

    /// Moves a stopped clock and wakes those who wait. A real clock is not affected.
    void advance(Nanoseconds step);
    template <typename Rep, typename Period>
    void advance(std::chrono::duration<Rep, Period> step)
    {
        advance(static_cast<Nanoseconds>(
            std::chrono::duration_cast<std::chrono::nanoseconds>(step).count()));
    }

    /// Lets the clock run with the system's again, from where it stands if that is later.
    void setReal();

    /// Back to the start: real, and at the system's time.
    void reset();

    /// Blocks until the clock has reached the deadline, done() is true or the limit of real time
    /// has passed. done() is called under the clock's lock: it may look at atomics only. Whoever
    /// changes what it looks at calls wake().
    /// @return whether the deadline was reached or done() is true
    bool waitUntil(Nanoseconds deadline, std::chrono::nanoseconds realLimit,
                   const std::function<bool()>& done = nullptr);

    /// Makes all who wait look at their done() again.
    void wake();

    /// Number of threads in waitUntil() now. A test that steps the clock can wait for its program
    /// to wait.
    int waiters() const { return m_waiters.load(); }

private:
    Nanoseconds realNow() const;

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::atomic<bool> m_manual{false};
    std::atomic<Nanoseconds> m_manualTime{0};
    std::atomic<Nanoseconds> m_offset{0}; ///< added to the steady clock
    std::atomic<int> m_waiters{0};
};

} // namespace om::bench
