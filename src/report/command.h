/// @file
/// Judging recordings: the verb "report" of gravimon-log.
#pragma once

#include <string>
#include <vector>

namespace report {

/// What to read and what to write. An empty path is not written.
struct Options
{
    std::vector<std::string> recordings; ///< CSV files, at least one
    std::string htmlPath;
    std::string jsonPath;
    std::string pdfPath;
    std::string yamlPath;
    bool sixPositions = false;
};

/// Reads the recordings, judges them and writes what is asked for. What is wrong goes to standard
/// error, one line for each problem.
/// @return the exit status: 0 done, 1 not done
int run(const Options& options);

} // namespace report
