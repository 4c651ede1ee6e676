/// @file
/// What surrounds a camera: the field with its disturbance, and the air.
#pragma once

#include "base/clock.h"
#include "world/geometry.h"

#include <atomic>
#include <functional>
#include <mutex>

namespace om::bench {

/// The air around a camera. A camera follows a change of it with a time constant of 20 s, as before
/// a fan. Any thread.
class Air
{
public:
    /// Of start temperatures, degrees Celsius.
    static constexpr double NOMINAL = 20.0;
    static constexpr double TIME_CONSTANT = 20.0; ///< s

    double temperature() const; ///< degrees Celsius
    void setTemperature(double celsius, Nanoseconds time);
    /// By how much the camera is warmer than in air of NOMINAL. Before the last change: what held
    /// at it.
    double excessAt(Nanoseconds time) const;

private:
    double excess(Nanoseconds time) const;

    mutable std::mutex m_mutex;
    double m_temperature = NOMINAL;
    double m_excessBefore = 0.0; ///< at the last change
    Nanoseconds m_changed = 0;
};

/// What surrounds a camera, now.
struct Environment
{
    std::function<Field()> field;
    std::atomic<double> magneticDisturbance{0.0}; ///< uT
    std::atomic<bool> magnetometerSaturated{false};
    Air air;

    /// Field and disturbance, uT, world frame.
    Vector fieldAt(Nanoseconds time) const;
    Vector disturbanceAt(Nanoseconds time) const; ///< alone
};

} // namespace om::bench
