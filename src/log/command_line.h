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

/// Exit status of the program.
enum EXIT : int {
    DONE = 0,
    NOT_DONE = 1,    ///< the reason is on standard error
    WRONG_USAGE = 2, ///< the reason is on standard error
    INCOMPLETE = 3,  ///< done; the recording has missing samples or lost rows, or a verdict failed
};

/// The work that a command line requests. The call does it and returns the exit status.
using Action = std::function<int()>;

// Each function adds the subcommand of a verb with its options and help. If the command line names
// the verb, the function's callback sets the action, which owns all its data.

void addRecord(CLI::App& program, Action& action);
void addConvert(CLI::App& program, Action& action);
void addReport(CLI::App& program, Action& action);

/// Reads the command line. Writes help and version to standard output, and an error in one line to
/// standard error.
/// @return none if there is nothing to do; status is then DONE or WRONG_USAGE
std::optional<Action> readCommandLine(int argc, const char* const* argv, int& status);

} // namespace samplelog
