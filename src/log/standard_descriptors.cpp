#include "log/standard_descriptors.h"

#include <fcntl.h>
#include <unistd.h>

namespace samplelog {

void occupyStandardDescriptors()
{
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
        if (::fcntl(number, F_GETFD) < 0) {
            // The lowest free number is taken, which is this one. The other direction than the
            // usual one lets each use fail.
            [[maybe_unused]] const int opened =
                ::open("/dev/null", number == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

} // namespace samplelog
