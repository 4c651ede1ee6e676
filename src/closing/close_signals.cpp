#include "closing/close_signals.h"

#include <QApplication>
#include <QDialog>
#include <QMessageBox>
#include <QSocketNotifier>
#include <QTimer>
#include <QWidget>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int modalRetryMs = 20;

// Read by the handler, which may run on any thread.
std::atomic<int> pipeToLoop{-1};
/// Time of the signal that waits for the event loop, in ms of the monotonic clock; 0 while none
/// waits.
std::atomic<std::int64_t> waitsSince{0};
static_assert(std::atomic<int>::is_always_lock_free &&
                  std::atomic<std::int64_t>::is_always_lock_free,
              "a signal handler may not wait for a lock");

std::int64_t monotonicMs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000 + 1;
}

/// A handler may do little more than write to a pipe; the event loop reads it.
extern "C" void noteSignal(int number)
{
    const int before = errno;
    const std::int64_t now = monotonicMs();
    std::int64_t first = 0;
    if (waitsSince.compare_exchange_strong(first, now)) {
        const char byte = 1;
        [[maybe_unused]] const ssize_t written = ::write(pipeToLoop, &byte, 1);
    } else if (now - first > CloseSignals::together) {
        // Takes effect when this handler returns.
        std::signal(number, SIG_DFL);
        std::raise(number);
    }
    errno = before;
}

/// The end of the pipe that the loop reads; -1 without a pipe. The pipe stays for the whole
/// process: a handler on another thread may still write after the object was destroyed.
int endOfLoop()
{
    static const int end = [] {
        int ends[2] = {-1, -1};
        if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
            return -1;
        }
        pipeToLoop = ends[1];
        return ends[0];
    }();
    return end;
}

/// From now on a signal counts as a first one.
void takeSignal()
{
    char byte = 0;
    while (::read(endOfLoop(), &byte, 1) == 1) {
    }
    waitsSince = 0;
}

/// Whether it is a message box that the window itself shows.
bool isMessageOf(const QWidget* window, const QWidget* widget)
{
    return qobject_cast<const QMessageBox*>(widget) != nullptr && widget->parentWidget() == window;
}

} // namespace

CloseSignals::CloseSignals(QWidget* window) : m_window(window)
{
    if (endOfLoop() < 0) {
        qWarning("no pipe for signals: they end the program without closing its window");
        return;
    }
    takeSignal(); // signals that arrived too late for a previous object
    auto* const notifier = new QSocketNotifier(endOfLoop(), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this] {
        takeSignal();
        closeWindow();
    });
    takeOver();
}

void CloseSignals::takeOver()
{
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        Handled& handled = m_handled[m_count];
        handled.number = number;
        if (sigaction(number, nullptr, &handled.former) != 0 ||
            handled.former.sa_handler == SIG_IGN) {
            continue;
        }
        struct sigaction action = {};
        action.sa_handler = noteSignal;
        action.sa_flags = SA_RESTART;
        sigemptyset(&action.sa_mask);
        sigaction(number, &action, nullptr);
        ++m_count;
    }
}

void CloseSignals::closeWindow()
{
    QWidget* const top = QApplication::activeModalWidget();
    if ((top == nullptr || isMessageOf(m_window, top)) && m_window->isVisible()) {
        // While the window shows its own message its timers may already prepare the next one, so
        // the window closes first.
        m_window->close();
    }
    if (top == nullptr) {
        return;
    }
    // Code that waits for a dialog must continue before the window closes.
    if (auto* const dialog = qobject_cast<QDialog*>(top)) {
        dialog->reject();
    }
    QTimer::singleShot(modalRetryMs, this, &CloseSignals::closeWindow);
}

CloseSignals::~CloseSignals()
{
    for (std::size_t i = 0; i < m_count; ++i) {
        sigaction(m_handled[i].number, &m_handled[i].former, nullptr);
    }
}
