/// @file
/// The command line of gravimon-log and its verbs.
#pragma once

#include <functional>
#include <optional>

namespace CLI {
class App;
}

/// The program gravimon-log.
namespace samplelog {

/// What the program ends with.
enum EXIT : int {
    DONE = 0,
    NOT_DONE = 1,    ///< the reason is on standard error
    WRONG_USAGE = 2, ///< likewise
    INCOMPLETE = 3,  ///< done, but samples are missing from what was recorded
};

/// What a command line asks for. The call does it and returns the exit status.
using Action = std::function<int()>;

// Each verb adds its subcommand with options and help. Where the command line names it, it puts
// what is to be done into the action, which owns all that it needs.

void addRecord(CLI::App& program, Action& action);
void addConvert(CLI::App& program, Action& action);
void addReport(CLI::App& program, Action& action);

/// Reads the command line. Help and version are written to standard output, what is wrong in one
/// line to standard error.
/// @return none where there is nothing to do, with the exit status in status: DONE or WRONG_USAGE
std::optional<Action> readCommandLine(int argc, const char* const* argv, int& status);

} // namespace samplelog
