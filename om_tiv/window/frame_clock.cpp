#include "window/frame_clock.h"

namespace benchwindow {

FrameClock::FrameClock(QObject* parent) : QObject(parent)
{
    m_real.start();
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &FrameClock::frame);
}

double FrameClock::now() const
{
    const auto time = m_manual ? m_manualTime : std::chrono::nanoseconds(m_real.nsecsElapsed());
    return std::chrono::duration<double>(time).count();
}

void FrameClock::start(std::chrono::milliseconds period)
{
    if (m_running && period == m_period) {
        return;
    }
    m_running = true;
    m_period = period;
    m_nextFrame = m_manualTime + period;
    if (!m_manual) {
        m_timer.start(period);
    }
}

void FrameClock::stop()
{
    m_running = false;
    m_timer.stop();
}

void FrameClock::setManual()
{
    if (m_manual) {
        return;
    }
    m_manualTime = std::chrono::nanoseconds(m_real.nsecsElapsed());
    m_manual = true;
    m_nextFrame = m_manualTime + m_period;
    m_timer.stop();
}

void FrameClock::step(std::chrono::milliseconds time)
{
    if (!m_manual) {
        return;
    }
    const std::chrono::nanoseconds end = m_manualTime + time;
    // What a frame does may end the frames.
    while (m_running && m_nextFrame <= end) {
        m_manualTime = m_nextFrame;
        m_nextFrame += m_period;
        emit frame();
    }
    m_manualTime = end;
}

} // namespace benchwindow
