/// @file
/// The command line of om-bench.
#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <string>

namespace om::bench {

/// What om-bench is to do.
// NOLINTNEXTLINE(bugprone-exception-escape): the JSON object's move asserts, it does not throw
struct Order
{
    std::string socket;     ///< empty: the one running bench
    nlohmann::json request; ///< for the bench
    bool asJson = false;    ///< its answer is shown as it is
    std::string dumpFile;   ///< where the image goes that it answers; empty for none

    struct Watch
    {
        std::optional<unsigned int> serial; ///< none: all cameras that are plugged in
        int count = 0;                      ///< times, 0 for ever
        double interval = 0.5;              ///< s
    };
    std::optional<Watch> watch; ///< asks again and again
};

/// Reads the command line. Help and version are written to standard output, what is wrong in one
/// line to standard error.
/// @return none where there is nothing to do, with the exit status in status: 0 or 2
std::optional<Order> readCommandLine(int argc, const char* const* argv, int& status);

} // namespace om::bench
