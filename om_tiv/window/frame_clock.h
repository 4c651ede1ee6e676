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
    explicit FrameClock(QObject* parent = nullptr);

    double now() const; ///< s, since the object was made

    /// Frames follow, every period; the first one after a period, unless frames with the same
    /// period already follow.
    void start(std::chrono::milliseconds period);
    void stop();
    bool isRunning() const { return m_running; }

    /// Stops the time; step() alone moves it on from here.
    void setManual();
    /// Moves a stopped clock, and emits the frames that fall within the step.
    void step(std::chrono::milliseconds time);

signals:
    void frame();

private:
    bool m_manual = false;
    bool m_running = false;
    std::chrono::milliseconds m_period{0};
    std::chrono::nanoseconds m_manualTime{0};
    std::chrono::nanoseconds m_nextFrame{0}; ///< of the stopped clock, while frames follow
    QElapsedTimer m_real;
    QTimer m_timer; ///< while frames follow in real time
};

} // namespace benchwindow
