#include "window/waiting_text.h"

#include "control/bench_client.h"
#include "window/bench_window.h"

namespace benchwindow {

WaitingText waitingText(const QString& reason, bool lostOne)
{
    const auto has = [&](const char* part) { return reason.contains(QLatin1String(part)); };
    if (has(om::bench::noAnswer)) {
        return {BenchWindow::tr("Gravimon does not answer"),
                BenchWindow::tr("It may be stopped, for example with Ctrl+Z or in a debugger.\n"
                                "Let it continue, or end it and start it again; this window "
                                "connects by itself.")};
    }
    if (has(om::bench::invalidAnswer)) {
        return {BenchWindow::tr("Gravimon cannot be controlled"),
                BenchWindow::tr("The program has another version than this window, or is not a "
                                "bench.\nUse the programs of one version together.")};
    }
    if (has(om::bench::otherUser)) {
        return {BenchWindow::tr("Gravimon cannot be controlled"),
                BenchWindow::tr("Start this window as the user of the program.\n%1").arg(reason)};
    }
    WaitingText waiting = {
        lostOne ? BenchWindow::tr("Gravimon has ended") : BenchWindow::tr("Waiting for Gravimon"),
        BenchWindow::tr("Start it with its virtual bench; this window connects by itself.")};
    // The path of a socket may be wrong, unless there was a connection.
    if (!reason.isEmpty() && !lostOne) {
        waiting.text += QLatin1Char('\n') + reason;
    }
    return waiting;
}

} // namespace benchwindow
