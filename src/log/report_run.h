/// @file
/// The verb "report": reads recordings and writes reports.
#pragma once

#include "report/model.h"

#include <string>
#include <vector>

namespace report {

/// What to read and what to write. An empty path is not written.
struct Command
{
    std::vector<std::string> recordings;
    std::string htmlPath;
    std::string jsonPath;
    std::string pdfPath;
    std::string yamlPath; ///< for one recording only
    Options options;
};

/// Result of run().
enum OUTCOME : int {
    JUDGED_GOOD = 0,    ///< no verdict failed
    NOT_REPORTED = 1,   ///< a file could not be read or written
    WRONG_COMMAND = 2,  ///< the command contradicts itself
    VERDICT_FAILED = 3, ///< the report is written, and at least one of its verdicts failed
};

/// Reads and judges the recordings, one after the other, writes the files that have a path, and
/// prints the verdicts to standard output. Writes an error to standard error, in one line.
/// SIGXFSZ is ignored from then on. One thread at a time.
OUTCOME run(const Command& command);

} // namespace report
