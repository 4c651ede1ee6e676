/// @file
/// The command line of om-bench.
#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <string>

namespace om::bench {

/// The task of om-bench.
// NOLINTNEXTLINE(bugprone-exception-escape): the JSON object's move asserts, it does not throw
struct Command
{
    std::string socket;     ///< empty: that of OM_TIV_CONTROL, or the one running bench
    nlohmann::json request; ///< for the bench
    bool asJson = false;    ///< print the answer as JSON
    bool all = false;       ///< the request is for all running benches
    std::string dumpFile;   ///< target file for the image in the answer; empty for none

    struct Watch
    {
        std::optional<unsigned int> serial; ///< none: all cameras that are plugged in
        int count = 0;                      ///< number of times, 0 for endless
        double interval = 0.5;              ///< s
    };
    /// A recording made without a bench.
    struct Generate
    {
        std::string benchFile;
        std::string file; ///< must not exist
        double hours = 1.0;
        std::optional<unsigned int> serial; ///< none: the first camera of the bench file
    };
    std::optional<Generate> generate;

    std::optional<Watch> watch; ///< repeats the request
};

/// Reads the command line. Help and version are printed to standard output, a mistake in one line
/// to standard error.
/// @return none if there is nothing to do, with the exit status in status: 0 or 2
std::optional<Command> readCommandLine(int argc, const char* const* argv, int& status);

} // namespace om::bench
