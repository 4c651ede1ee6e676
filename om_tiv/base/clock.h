/// @file
/// The time of the bench: the system's time, or stepped by a test or a script.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

namespace om::bench {

/// Nanoseconds since the epoch, as in every timestamp of the library.
using Nanoseconds = std::uint64_t;

constexpr Nanoseconds nsPerMs = 1'000'000;
constexpr Nanoseconds nsPerS = 1'000'000'000;

/// A clock that never runs backward. In real mode it follows the steady clock and starts with the
/// wall clock's time at the start of the process; later changes of the wall clock have no effect.
///
/// Threads: all operations may run on any thread, at the same time.
class Clock
{
public:
    Clock();
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;

    Nanoseconds now() const;
    bool isManual() const { return m_manual.load(); }

    /// Stops the clock at its current time; from now on advance() moves it.
    void setManual();

    /// Stops the clock at the given time, which may be before the real one. Call it before cameras
    /// are added or plugged in, because their streams start at that moment. A stopped clock only
    /// moves forward; an earlier time has no effect.
    void setManual(Nanoseconds time);

    /// Moves a stopped clock and wakes the waiting threads. No effect on a real clock.
    void advance(Nanoseconds step);
    template <typename Rep, typename Period>
    void advance(std::chrono::duration<Rep, Period> step)
    {
        advance(static_cast<Nanoseconds>(
            std::chrono::duration_cast<std::chrono::nanoseconds>(step).count()));
    }

    /// Lets the clock follow the system's time again, from its current time if that is later.
    void setReal();

    /// Resets the clock: real mode, at the system's time.
    void reset();

    /// Blocks until the clock has reached the deadline, done() is true or the limit of real time
    /// has passed. done() is called under the clock's lock: it may read only atomics. Code that
    /// changes them calls wake().
    /// @return whether the deadline was reached or done() is true
    bool waitUntil(Nanoseconds deadline, std::chrono::nanoseconds realLimit,
                   const std::function<bool()>& done = nullptr);

    /// Makes all waiting threads call their done() again.
    void wake();

    /// Number of threads in waitUntil() now. A test that steps the clock can use it to wait until
    /// the program waits.
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
