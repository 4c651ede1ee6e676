#include "log/command_line.h"

#include "terminal/messages.h"
#include "version/gravimon_version.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace samplelog {

namespace {

/// The error, and the command that shows the usage.
std::string reason(const CLI::App& program, const CLI::ParseError& error)
{
    std::string verbs;
    for (const CLI::App* const sub :
         program.get_subcommands([](const CLI::App*) { return true; })) {
        verbs += (verbs.empty() ? "" : ", ") + sub->get_name();
    }
    // An unknown argument is reported before the argument that is then missing.
    const std::vector<std::string> strange = program.remaining(true);
    const std::vector<CLI::App*> used = program.get_subcommands();
    if (used.empty()) {
        return (strange.empty() ? "a verb is missing" : "no verb \"" + strange.front() + "\"") +
               "; there are " + verbs + "; see gravimon-log --help";
    }
    const std::string what =
        strange.empty() ? error.what() : "\"" + strange.front() + "\" is not expected";
    return what + "; see gravimon-log " + used.front()->get_name() + " --help";
}

} // namespace

std::optional<Action> readCommandLine(int argc, const char* const* argv, int& status)
{
    CLI::App program{"Records every sample of a camera's sensors, and works on recordings.",
                     "gravimon-log"};
    Action action;
    program.require_subcommand(1);
    program.get_formatter()->column_width(34);
    program.set_version_flag("--version", std::string("gravimon-log ") + gravimonVersion);
    program.footer("Exit status: 0 done, 1 not done, 2 wrong usage, 3 done, but samples or "
                   "rows are missing or a verdict failed.");
    addRecord(program, action);
    addReport(program, action);
    addConvert(program, action);
    try {
        program.parse(argc, argv);
        status = DONE;
        return action;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            status = program.exit(error); // help or version
        } else {
            status = WRONG_USAGE;
            terminal::printError(reason(program, error));
        }
        return std::nullopt;
    }
}

} // namespace samplelog
