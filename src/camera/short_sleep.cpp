#include "camera/short_sleep.h"

#include <cerrno>
#include <ctime>

void sleepWhole(std::chrono::nanoseconds time)
{
    timespec rest{};
    rest.tv_nsec = static_cast<long>(time.count());
    while (nanosleep(&rest, &rest) == -1 && errno == EINTR) {
    }
}
