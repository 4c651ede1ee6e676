/// @file
/// Closing the main window on signals of the system.
#pragma once

#include <QObject>

class QSocketNotifier;
class QWidget;

/// From construction to destruction SIGINT, SIGTERM and SIGHUP close the window as its close button
/// does, so that the end of a session leaves camera and recording in order. One object in a
/// process, on the interface thread.
class CloseSignals : public QObject
{
    Q_OBJECT

public:
    explicit CloseSignals(QWidget* window);
    ~CloseSignals() override;

private:
    void closeWindow();

    QWidget* m_window;
    QSocketNotifier* m_notifier; // child
};
