// om-bench: control of the virtual bench of a running program, from the command line.
//
// Exit status: 0 done, 1 refused by the bench, 2 wrong usage, 3 no running bench, 4 the bench
// reports a problem.

#include "process/standard_descriptors.h"
#include "tools/om_bench.h"

// NOLINTNEXTLINE(bugprone-exception-escape): without memory the program ends
int main(int argc, char** argv)
{
    occupyStandardDescriptors();
    int status = om::bench::DONE;
    const auto command = om::bench::readCommandLine(argc, argv, status);
    return command ? om::bench::run(*command) : status;
}
