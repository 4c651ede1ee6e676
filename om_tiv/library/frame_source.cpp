#include "library/frame_source.h"

#include "base/noise.h"

#include <algorithm>
#include <utility>

namespace om::bench {

namespace {

/// Separates the random numbers of the frames from those of the sensors.
constexpr std::uint64_t jitterChannel = 2000;
constexpr double mostJitter = 0.01; // of a period, in both directions

} // namespace

LiveFrames::LiveFrames(Clock& clock, std::uint64_t seed, int framesPerSecond)
    : m_clock(clock), m_seed(seed), m_period(nsPerS / static_cast<Nanoseconds>(framesPerSecond)),
      m_start(clock.now())
{}

Nanoseconds LiveFrames::timeOf(std::uint64_t number) const
{
    const double jitter = mostJitter * (2.0 * uniform(m_seed, jitterChannel, number) - 1.0);
    return m_start + (number + 1) * m_period +
           static_cast<Nanoseconds>(
               static_cast<std::int64_t>(jitter * static_cast<double>(m_period)));
}

bool LiveFrames::next(Frame& frame, const std::function<bool()>& done)
{
    Nanoseconds due = 0;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        due = timeOf(m_next);
    }
    m_clock.waitUntil(due, longestWait, done);
    const Nanoseconds now = m_clock.now();
    if (done() || now < due) {
        return false;
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    // The newest frame at this time; another caller may have taken it in the meantime.
    std::uint64_t newest = (now - m_start) / m_period;
    while (newest > m_next && timeOf(newest) > now) {
        --newest;
    }
    frame.number = std::max(newest, m_next);
    frame.time = timeOf(frame.number);
    if (frame.time > now) {
        return false;
    }
    m_next = frame.number + 1;
    return true;
}

RecordedFrames::RecordedFrames(RecordedFile recording) : m_recording(std::move(recording)) {}

bool RecordedFrames::next(Frame& frame, const std::function<bool()>&)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!std::exchange(m_chosen, false) && m_position + 1 < m_recording.frameTimes.size()) {
        ++m_position;
    }
    frame.number = m_position;
    frame.time = m_recording.frameTimes[m_position];
    return true;
}

int RecordedFrames::position() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<int>(m_position);
}

void RecordedFrames::setPosition(int frame)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_position = static_cast<std::size_t>(std::clamp(frame, 0, length() - 1));
    m_chosen = true;
}

} // namespace om::bench
