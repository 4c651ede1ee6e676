/// @file
/// The verb "report": reads recordings and writes reports.
#pragma once

#include "report/model.h"

#include <string>
#include <vector>

namespace samplelog {

/// What to read and what to write. An empty path is not written.
struct ReportCommand
{
    std::vector<std::string> recordings;
    std::string htmlPath;
    std::string jsonPath;
    std::string pdfPath;
    std::string yamlPath; ///< for one recording only
    report::Options options;
};

/// Reads and judges the recordings, one after the other, writes the files that have a path, and
/// prints the verdicts to standard output. Writes an error to standard error, in one line.
/// SIGINT, SIGTERM and SIGHUP wait while a file is written, and SIGXFSZ and SIGPIPE are ignored
/// from then on. One thread at a time.
/// @return the exit status; INCOMPLETE if the report is written and a verdict failed
int runReport(const ReportCommand& command);

} // namespace samplelog
