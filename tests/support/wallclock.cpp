// Replaces the C library's clock_gettime() and gettimeofday() in the program that links it, for the
// program's own calls and for those of the libraries.

#include "support/wallclock.h"

#include <atomic>
#include <cstdint>
#include <ctime>

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr std::int64_t nsPerSecond = 1'000'000'000;

std::atomic<std::int64_t> offset{0}; // ns, against the system's clock
std::atomic<std::int64_t> held{0};   // ns since the epoch; 0 while the clock runs
std::atomic<void (*)()> hook{nullptr};

std::int64_t systemTime()
{
    timespec time = {};
    syscall(SYS_clock_gettime, CLOCK_REALTIME, &time);
    return time.tv_sec * nsPerSecond + time.tv_nsec;
}

std::int64_t shownTime()
{
    const std::int64_t stopped = held;
    return stopped != 0 ? stopped : systemTime() + offset;
}

} // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    if (clock != CLOCK_REALTIME) {
        return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    }
    const std::int64_t now = shownTime();
    if (const auto call = hook.load(); call != nullptr) {
        call();
    }
    time->tv_sec = now / nsPerSecond;
    time->tv_nsec = now % nsPerSecond;
    return 0;
}

/// Qt's QDateTime asks here.
extern "C" int gettimeofday(timeval* time, void* /*zone*/) noexcept
{
    const std::int64_t now = shownTime();
    time->tv_sec = now / nsPerSecond;
    time->tv_usec = now % nsPerSecond / 1000;
    return 0;
}

void wallclock::hold()
{
    held = systemTime() + offset;
}

void wallclock::release()
{
    offset = held - systemTime();
    held = 0;
}

void wallclock::advance(std::chrono::nanoseconds duration)
{
    (held != 0 ? held : offset) += duration.count();
}

wallclock::Held::Held()
{
    hold();
    advance(std::chrono::nanoseconds(nsPerSecond - held % nsPerSecond));
}

void wallclock::onRead(void (*call)())
{
    hook = call;
}
