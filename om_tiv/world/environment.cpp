#include "world/environment.h"

#include <cmath>

namespace om::bench {

double Air::temperature() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_temperature;
}

void Air::setTemperature(double celsius, Nanoseconds time)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_excessBefore = excess(time);
    m_temperature = celsius;
    m_changed = time;
}

double Air::excessAt(Nanoseconds time) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return excess(time);
}

double Air::excess(Nanoseconds time) const
{
    const double last = m_temperature - nominal;
    const double since = time > m_changed ? static_cast<double>(time - m_changed) * 1e-9 : 0.0;
    return last + (m_excessBefore - last) * std::exp(-since / timeConstant);
}

Vector Environment::fieldAt(Nanoseconds time) const
{
    return field().world() + disturbanceAt(time);
}

Vector Environment::disturbanceAt(Nanoseconds time) const
{
    const double strength = magneticDisturbance.load();
    if (strength == 0.0) {
        return {};
    }
    // The time is reduced to one period as an integer: as a double it is too coarse for the sine.
    constexpr Nanoseconds swing = 1'430 * nsPerMs;
    const double phase = 2.0 * pi * static_cast<double>(time % swing) / static_cast<double>(swing);
    return (strength * std::sin(phase)) * Vector{0.48, -0.8, -0.36};
}

} // namespace om::bench
