/// @file
/// Closing a program's window on signals of the system.
#pragma once

#include <QObject>

#include <array>

#include <csignal>

class QWidget;

/// From construction to destruction SIGINT, SIGTERM and SIGHUP close the window as its close button
/// does, so that the end of a session leaves everything in order. One that the program was started
/// with ignored, as by nohup, stays ignored. One object in a process, on the interface thread.
///
/// A dialog is rejected before the window closes below it, and a message box closes without a
/// pressed button: QMessageBox::clickedButton() is null, which must not count as a consent.
///
/// The event loop takes a signal. While one waits because the loop is held up, a further signal
/// ends the program at once, as if nobody handled it; those that come within `together` of the
/// waiting one are part of it. Once the loop has taken it, the next signal is a first one again.
class CloseSignals : public QObject
{
    Q_OBJECT

public:
    /// ms; the end of a login session sends SIGHUP behind SIGTERM, and a terminal that closes sends
    /// SIGHUP twice.
    static constexpr int together = 250;

    /// The window must outlive the object.
    explicit CloseSignals(QWidget* window);
    /// Puts the former handlers back.
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
