#include "viewer/closesignals.h"

#include <QApplication>
#include <QDialog>
#include <QMessageBox>
#include <QSocketNotifier>
#include <QTimer>
#include <QWidget>

#include <array>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int modalRetryMs = 20;
constexpr std::array<int, 3> closingSignals{SIGINT, SIGTERM, SIGHUP};

/// A handler may do little more than write to a pipe; the event loop reads it.
int pipeEnds[2] = {-1, -1};

extern "C" void noteSignal(int)
{
    const int before = errno;
    const char byte = 1;
    // A full pipe already tells enough.
    [[maybe_unused]] const ssize_t written = ::write(pipeEnds[1], &byte, 1);
    errno = before;
}

void handle(void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (const int signal : closingSignals) {
        sigaction(signal, &action, nullptr);
    }
}

} // namespace

CloseSignals::CloseSignals(QWidget* window) : m_window(window), m_notifier(nullptr)
{
    if (::pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0) {
        qWarning("no pipe for signals: they end the program without closing its window");
        return;
    }
    m_notifier = new QSocketNotifier(pipeEnds[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [this] {
        std::array<char, 16> bytes{};
        while (::read(pipeEnds[0], bytes.data(), bytes.size()) > 0) {
        }
        closeWindow();
    });
    handle(noteSignal);
}

void CloseSignals::closeWindow()
{
    QList<QMessageBox*> messages;
    for (QWidget* const widget : QApplication::topLevelWidgets()) {
        if (!widget->isVisible() || !widget->isModal()) {
            continue;
        }
        auto* const message = qobject_cast<QMessageBox*>(widget);
        if (message == nullptr) {
            // Whoever waits for the dialog goes on first: the window must not close below it.
            if (auto* const dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget())) {
                dialog->reject();
            }
            QTimer::singleShot(modalRetryMs, this, &CloseSignals::closeWindow);
            return;
        }
        messages << message;
    }
    // Nothing depends on the answer to a message, and behind it the timers may already prepare the
    // next one: the window goes first.
    m_window->close();
    for (QMessageBox* const message : qAsConst(messages)) {
        message->close();
    }
}

CloseSignals::~CloseSignals()
{
    if (pipeEnds[0] < 0) {
        return;
    }
    handle(SIG_DFL);
    delete m_notifier;
    ::close(pipeEnds[0]);
    ::close(pipeEnds[1]);
    pipeEnds[0] = pipeEnds[1] = -1;
}
