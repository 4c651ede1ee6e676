// gravimon-log: records every sample of a camera's sensors, and works on recordings.

#include "log/command_line.h"
#include "process/standard_descriptors.h"

// NOLINTNEXTLINE(bugprone-exception-escape): a program without memory ends here
int main(int argc, char** argv)
{
    occupyStandardDescriptors();
    int status = samplelog::DONE;
    const auto action = samplelog::readCommandLine(argc, argv, status);
    return action ? (*action)() : status;
}
