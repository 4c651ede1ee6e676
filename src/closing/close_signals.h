/// @file
/// Closing a program's window on signals of the system.
#pragma once

#include <QObject>

#include <array>

#include <csignal>

class QWidget;

/// From construction to destruction SIGINT, SIGTERM and SIGHUP close the window as its close button
/// does, so that the end of a login session closes everything properly. A signal that was ignored
/// when the program started, as by nohup, stays ignored. One object per process, on the interface
/// thread.
///
/// A dialog is rejected before its parent window closes, and a message box closes without a pressed
/// button: QMessageBox::clickedButton() is then null and must not count as consent.
///
/// The event loop handles a signal. While a signal waits because the loop is busy, a further signal
/// ends the program at once, as without a handler. Signals that arrive within `together` of the
/// waiting one are part of it. Once the loop has handled it, the next signal counts as a first one
/// again.
class CloseSignals : public QObject
{
    Q_OBJECT

public:
    /// ms; the end of a login session sends SIGHUP after SIGTERM, and a terminal that closes sends
    /// SIGHUP twice.
    static constexpr int together = 250;

    /// The window must outlive the object.
    explicit CloseSignals(QWidget* window);
    /// Restores the previous handlers.
    ~CloseSignals() override;

private:
    struct Handled
    {
        int number;
        struct sigaction former;
    };

    void takeOver();
    void closeWindow();

    QWidget* m_window;
    std::array<Handled, 3> m_handled{};
    std::size_t m_count = 0; // of those handled
};
