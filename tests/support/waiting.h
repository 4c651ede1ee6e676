/// @file
/// Waits of the tests. Each ends as soon as what it waits for is there, and fails after the
/// patience.
#pragma once

#include "support/patience.h"

#include <QSemaphore>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

#include <sys/types.h>

namespace waiting {

/// Blocks the thread, its event loop included, until the condition holds.
/// @return whether it did
template <typename Condition>
[[nodiscard]] bool waitFor(const Condition& condition)
{
    // Asleep in between, so that on a busy machine the core goes to the thread that is waited for.
    constexpr std::chrono::microseconds nap{200};
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(nap);
    }
    return true;
}

/// Takes one of the semaphore.
/// @return whether there was one
[[nodiscard]] inline bool acquire(QSemaphore& semaphore)
{
    return semaphore.tryAcquire(1, patienceMs);
}

/// Whether a thread of the process is blocked in the kernel: on a lock, in a wait or a sleep.
inline bool isAsleep(pid_t thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string line;
    std::getline(file, line);
    const std::size_t name = line.rfind(')'); // the state follows it
    return name != std::string::npos && line.compare(name, 3, ") S") == 0;
}

} // namespace waiting
