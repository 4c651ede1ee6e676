/// @file
/// A thread that works beside the test's own.
#pragma once

#include <atomic>
#include <functional>
#include <thread>
#include <type_traits>

/// Asked to stop and joined at the end of its scope, also where a check has failed before. Declare
/// it after all that its work uses.
class SideThread
{
public:
    /// @param work called on the thread, with the flag that asks it to stop if it takes one
    template <typename Work>
    explicit SideThread(Work work)
        : m_thread([this, work = std::move(work)]() mutable { run(work); })
    {}

    ~SideThread() { join(); }
    SideThread(const SideThread&) = delete;
    SideThread& operator=(const SideThread&) = delete;

    /// Before the join, on the joining thread: lets work go on that waits for the test.
    void onJoin(std::function<void()> release) { m_release = std::move(release); }

    void join()
    {
        m_stop = true;
        if (m_thread.joinable()) {
            if (m_release) {
                m_release();
            }
            m_thread.join();
        }
    }

    std::thread::native_handle_type handle() { return m_thread.native_handle(); }
    std::thread::id id() const { return m_thread.get_id(); } ///< until the join

private:
    template <typename Work>
    void run(Work& work)
    {
        if constexpr (std::is_invocable_v<Work&, const std::atomic<bool>&>) {
            work(m_stop);
        } else {
            work();
        }
    }

    std::atomic<bool> m_stop{false};
    std::function<void()> m_release;
    std::thread m_thread; ///< last: it uses the others
};
