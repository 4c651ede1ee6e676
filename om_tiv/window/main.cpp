// om-bench-window: turns the virtual cameras of a running program with the mouse.
//
// Exit status: 0 the window was closed, 1 no display is set, 2 wrong usage.

#include "window/bench_window.h"

#include "base/one_line.h"
#include "closing/close_signals.h"
#include "desktop/identity.h"
#include "process/standard_descriptors.h"
#include "version/gravimon_version.h"

#include <CLI/CLI.hpp>

#include <QApplication>

#include <cstdlib>
#include <iostream>
#include <string>

namespace {

enum Exit { CLOSED = 0, NO_DISPLAY = 1, USAGE = 2 };

bool isSet(const char* name)
{
    const char* const value = std::getenv(name);
    return value != nullptr && value[0] != '\0';
}

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): without memory the program ends
int main(int argc, char** argv)
{
    occupyStandardDescriptors();
    CLI::App options{
        "Shows the virtual cameras of a running Gravimon as bodies to turn with the mouse.",
        "om-bench-window"};
    std::string socket;
    options.add_option("--socket", socket,
                       "Control socket, or the number of the program's process; by default the "
                       "window finds the running program, and asks if there are several");
    options.set_version_flag("--version", std::string("om-bench-window ") + gravimonVersion);
    options.footer("Exit status: 0 the window was closed, 1 no display is set, 2 wrong usage.");
    try {
        options.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            return options.exit(error); // help or version
        }
        const std::string reason = std::string("om-bench-window: ") + error.what();
        std::cerr << om::bench::oneLine(reason) << "; see om-bench-window --help\n";
        return USAGE;
    }
    if (!isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY") && !isSet("QT_QPA_PLATFORM")) {
        std::cerr << "om-bench-window: no display: neither DISPLAY nor WAYLAND_DISPLAY is set\n";
        return NO_DISPLAY;
    }

    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling, true);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps, true);
    int count = 1;
    QApplication application(count, argv);
    QApplication::setApplicationName(QStringLiteral("om-bench-window"));
    QApplication::setApplicationVersion(QString::fromLatin1(gravimonVersion));
    setDesktopIdentity(QStringLiteral("om-bench-window"));
    benchwindow::BenchWindow window(QString::fromStdString(socket));
    // A held body is released.
    const CloseSignals closeSignals(&window);
    window.show();
    return QApplication::exec();
}
