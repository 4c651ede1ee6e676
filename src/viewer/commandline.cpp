#include "viewer/commandline.h"

#include <CLI/CLI.hpp>

#include <QCoreApplication>
#include <QStringList>
#include <QtGlobal>

#include <algorithm>
#include <ostream>
#include <string>

namespace commandline {

namespace {

bool isSet(const char* name)
{
    return !qEnvironmentVariableIsEmpty(name);
}

} // namespace

std::optional<int> settle(int argc, const char* const* argv, std::ostream& out, std::ostream& err)
{
    CLI::App options{"Watches, records and calibrates the sensors of a stereo camera, in a window.",
                     "gravimon"};
    options.set_help_flag("--help", "Print this help and exit");
    options.set_version_flag("--version", "gravimon " GRAVIMON_VERSION);
    options.allow_extras();
    options.footer("Exit status: 0 the window was closed, 1 no display, 2 wrong usage.");
    try {
        options.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            return options.exit(error, out, err); // help or version
        }
        err << "gravimon: " << error.what() << "; see gravimon --help\n";
        return USAGE;
    }
    const auto rest = options.remaining();
    const bool choosesPlatform = std::any_of(rest.begin(), rest.end(), [](const std::string& word) {
        return word == "-platform" || word == "--platform";
    });
    if (!choosesPlatform && !isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY") &&
        !isSet("QT_QPA_PLATFORM")) {
        err << "gravimon: no display: neither DISPLAY nor WAYLAND_DISPLAY is set\n";
        return NO_DISPLAY;
    }
    return std::nullopt;
}

bool allKnown(std::ostream& err)
{
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 2) {
        return true;
    }
    err << "gravimon: unknown argument '" << arguments.at(1).toStdString()
        << "'; see gravimon --help\n";
    return false;
}

} // namespace commandline
