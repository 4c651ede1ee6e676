/// @file
/// The commands of om-bench.
#pragma once

#include "tools/command_line.h"

namespace om::bench {

/// Exit status of om-bench. 2 is wrong usage, which readCommandLine() reports.
enum Exit {
    DONE = 0,
    REFUSED = 1,  ///< by the bench, or a file cannot be written
    NO_BENCH = 3, ///< none runs, or it does not answer
    PROBLEMS = 4, ///< done, but the bench reports a problem
};

/// Carries the command out. Prints the answer to standard output and errors to standard error.
/// Blocks until it is done; an endless watch ends with the process.
/// @return an Exit
int run(const Command& command);

} // namespace om::bench
