/// @file
/// Lets threads that are ending end before LeakSanitizer stops all threads of the process and reads
/// their memory, which fails at times ("Tracer caught signal 11"). Qt's thread for D-Bus ends with
/// the process, and QThread::wait() returns before its thread has ended.
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <thread>

namespace {

bool isOnlyThread()
{
    std::error_code error;
    const std::filesystem::directory_iterator threads("/proc/self/task", error);
    return error || std::distance(begin(threads), end(threads)) == 1;
}

void awaitThreads()
{
    // One that does not end is left to LeakSanitizer, which reads it without harm.
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (!isOnlyThread() && std::chrono::steady_clock::now() < limit) {
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
}

// Registered after LeakSanitizer's search and before what libraries register while the program
// runs: the opposite is the order of the calls.
[[maybe_unused]] const int registered = std::atexit(awaitThreads);

} // namespace
