/// @file
/// Destruction of large objects on a thread of its own.
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

/// Destroys objects for threads that have no time for it: to return the memory of a long series to
/// the system takes milliseconds. Every object that was taken is destroyed by the end of the
/// destructor.
template <typename T>
class Disposal
{
public:
    Disposal() : m_thread([this] { run(); }) {}

    ~Disposal()
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_ends = true;
        }
        m_wake.notify_one();
        m_thread.join();
    }

    Disposal(const Disposal&) = delete;
    Disposal& operator=(const Disposal&) = delete;

    /// Any thread. Waits for no destructor. No objects: nothing happens.
    void take(std::vector<T> objects)
    {
        if (objects.empty()) {
            return;
        }
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            for (T& object : objects) {
                m_objects.push_back(std::move(object));
            }
        }
        m_wake.notify_one();
    }

private:
    void run()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        while (!m_ends || !m_objects.empty()) {
            m_wake.wait(lock, [this] { return m_ends || !m_objects.empty(); });
            std::vector<T> objects;
            objects.swap(m_objects);
            lock.unlock();
            objects.clear();
            lock.lock();
        }
    }

    std::mutex m_mutex; // guards the two below
    std::vector<T> m_objects;
    bool m_ends = false;
    std::condition_variable m_wake;
    std::thread m_thread; // last: it uses the others
};
