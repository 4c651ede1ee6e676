#include "process/standard_descriptors.h"

#include <fcntl.h>
#include <unistd.h>

void occupyStandardDescriptors()
{
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
        if (::fcntl(number, F_GETFD) < 0) {
            // open() returns the lowest free number, which is this one. It opens for the opposite
            // direction, so that each use fails.
            [[maybe_unused]] const int opened =
                ::open("/dev/null", number == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}
