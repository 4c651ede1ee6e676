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
/// from then on.
///
/// Call it on the thread of main(). Meanwhile no other thread may use Qt's locale or its
/// conversions of texts, because both change for moments. Page and PDF need a QApplication. If the
/// process has no application, they are drawn with one that ends with the call; from then on Qt's
/// platform is "offscreen" and Qt's warnings are dropped.
/// @return the exit status; INCOMPLETE if the report is written and a verdict failed
int runReport(const ReportCommand& command);

} // namespace samplelog
