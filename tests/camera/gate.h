/// @file
/// Steps a thread under test from one point of its loop to the next.
#pragma once

#include "support/patience.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

/// The thread under test calls pass() at the point; the test lets it continue step by step.
class Gate
{
public:
    /// On the thread under test: blocks until the test lets it continue.
    void pass()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        ++m_arrivals;
        m_changed.notify_all();
        const unsigned int turn = m_arrivals;
        m_changed.wait(lock, [&] { return m_open || m_permits >= turn; });
    }

    /// On the test's thread: waits until the thread is at the gate.
    bool waitForArrival()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return arrived(lock);
    }

    /// Lets the thread continue, and waits until it is at the gate again.
    bool step()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (!arrived(lock)) {
            return false;
        }
        letGo();
        return arrived(lock);
    }

    /// Lets the thread continue once, without waiting for its return.
    void release()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        letGo();
    }

    /// From now on the gate is open.
    void open()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }

    /// Number of times that the thread has passed.
    unsigned int arrivals() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_arrivals;
    }

private:
    void letGo()
    {
        ++m_permits;
        m_changed.notify_all();
    }

    bool arrived(std::unique_lock<std::mutex>& lock)
    {
        return m_changed.wait_for(lock, waiting::patience,
                                  [this] { return m_arrivals > m_permits; });
    }

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    unsigned int m_arrivals = 0;
    unsigned int m_permits = 0;
    bool m_open = false;
};
