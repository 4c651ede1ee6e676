/// @file
/// The report over recordings, from files to files.
#pragma once

#include "report/model.h"

#include <string>
#include <vector>

namespace report {

/// What to read and what to write. A path that is empty is not written.
struct Command
{
    std::vector<std::string> recordings;
    std::string htmlPath;
    std::string jsonPath;
    std::string pdfPath;
    std::string yamlPath; ///< of one recording only
    Options options;
};

/// What run() ends with.
enum OUTCOME : int {
    JUDGED_GOOD = 0,    ///< no verdict failed
    NOT_REPORTED = 1,   ///< a file could not be read or written
    WRONG_COMMAND = 2,  ///< the command contradicts itself
    VERDICT_FAILED = 3, ///< the report is written, and at least one of its verdicts failed
};

/// Reads and judges the recordings, one after the other, and writes the files. Without a path it
/// writes the verdicts to standard output only. What is wrong is written to standard error, in one
/// line. Calls that come from several threads at once are not provided for.
OUTCOME run(const Command& command);

} // namespace report
