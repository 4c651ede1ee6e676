/// @file
/// The time of a body that the mouse turns, and its frames.
#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <chrono>

namespace benchwindow {

/// Follows the system's steady clock, or is stepped by hand. Interface thread.
class FrameClock : public QObject
{
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds period{16};

    explicit FrameClock(QObject* parent = nullptr);

    double now() const; ///< s, since the object was made

    void start(); ///< frames follow, every period
    void stop();

    /// Stops the time; step() alone moves it on from here.
    void setManual();
    /// Moves a stopped clock, with the frames that come due on the way.
    void step(std::chrono::milliseconds time);

signals:
    void frame();

private:
    bool m_manual = false;
    bool m_running = false;
    std::chrono::nanoseconds m_manualTime{0};
    std::chrono::nanoseconds m_nextFrame{0}; ///< of the stopped clock, while frames follow
    QElapsedTimer m_real;
    QTimer m_timer; ///< while frames follow in real time
};

} // namespace benchwindow
