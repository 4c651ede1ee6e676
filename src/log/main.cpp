// gravimon-log: every sample of a camera's sensors into a file, and what becomes of such files.

#include "log/command_line.h"

// NOLINTNEXTLINE(bugprone-exception-escape): what is out of memory ends here
int main(int argc, char** argv)
{
    int status = samplelog::DONE;
    const auto action = samplelog::readCommandLine(argc, argv, status);
    return action ? (*action)() : status;
}
