#include "base/clock.h"

#include <algorithm>

namespace om::bench {

namespace {

Nanoseconds steadyNow()
{
    return static_cast<Nanoseconds>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                        std::chrono::steady_clock::now().time_since_epoch())
                                        .count());
}

/// Difference of the wall clock and the steady clock at the start.
Nanoseconds startOffset()
{
    static const Nanoseconds offset =
        static_cast<Nanoseconds>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                     std::chrono::system_clock::now().time_since_epoch())
                                     .count()) -
        steadyNow();
    return offset;
}

} // namespace

Clock::Clock() : m_offset(startOffset()) {}

Nanoseconds Clock::realNow() const
{
    return steadyNow() + m_offset.load();
}

Nanoseconds Clock::now() const
{
    return m_manual.load() ? m_manualTime.load() : realNow();
}

void Clock::setManual()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_manual.load()) {
        m_manualTime.store(realNow());
        m_manual.store(true);
    }
}

void Clock::setManual(Nanoseconds time)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_manualTime.store(m_manual.load() ? std::max(m_manualTime.load(), time) : time);
        m_manual.store(true);
    }
    m_changed.notify_all();
}

void Clock::advance(Nanoseconds step)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_manual.load()) {
            return;
        }
        m_manualTime.store(m_manualTime.load() + step);
    }
    m_changed.notify_all();
}

void Clock::setReal()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_manual.load()) {
            return;
        }
        const Nanoseconds behind =
            std::max(m_manualTime.load(), realNow()) - realNow(); // 0 if the real time is later
        m_offset.store(m_offset.load() + behind);
        m_manual.store(false);
    }
    m_changed.notify_all();
}

void Clock::reset()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_offset.store(startOffset());
        m_manual.store(false);
    }
    m_changed.notify_all();
}

bool Clock::waitUntil(Nanoseconds deadline, std::chrono::nanoseconds realLimit,
                      const std::function<bool()>& done)
{
    const auto limit = std::chrono::steady_clock::now() + realLimit;
    std::unique_lock<std::mutex> lock(m_mutex);
    m_waiters.fetch_add(1);
    bool reached = false;
    for (;;) {
        const Nanoseconds time = now();
        reached = time >= deadline || (done && done());
        const auto realTime = std::chrono::steady_clock::now();
        if (reached || realTime >= limit) {
            break;
        }
        auto until = limit;
        if (!m_manual.load() && deadline - time < Nanoseconds(INT64_MAX)) {
            until = std::min(until, realTime + std::chrono::nanoseconds(
                                                   static_cast<std::int64_t>(deadline - time)));
        }
        m_changed.wait_until(lock, until);
    }
    m_waiters.fetch_sub(1);
    return reached;
}

void Clock::wake()
{
    {
        // A waiter whose done() was just false does not wait yet until it releases the lock.
        const std::lock_guard<std::mutex> lock(m_mutex);
    }
    m_changed.notify_all();
}

} // namespace om::bench
