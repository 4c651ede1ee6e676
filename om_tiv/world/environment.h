/// @file
/// The environment of a camera: the magnetic field with its disturbance, and the air.
#pragma once

#include "base/clock.h"
#include "world/geometry.h"

#include <atomic>
#include <functional>
#include <mutex>

namespace om::bench {

/// The air around a camera. The camera's temperature follows a change of the air with a time
/// constant of 20 s, as in front of a fan. Any thread.
class Air
{
public:
    /// Air temperature to which the start temperatures refer, degrees Celsius.
    static constexpr double nominal = 20.0;
    static constexpr double timeConstant = 20.0; ///< s

    double temperature() const; ///< degrees Celsius
    void setTemperature(double celsius, Nanoseconds time);
    /// Difference between the camera's temperature and that in air of the nominal temperature. For
    /// times before the last change it is the value at that change.
    double excessAt(Nanoseconds time) const;

private:
    double excess(Nanoseconds time) const;

    mutable std::mutex m_mutex;
    double m_temperature = nominal;
    double m_excessBefore = 0.0; ///< the difference at the last change
    Nanoseconds m_changed = 0;
};

/// The current surroundings of a camera.
struct Environment
{
    std::function<Field()> field;
    std::atomic<double> magneticDisturbance{0.0}; ///< uT
    std::atomic<bool> magnetometerSaturated{false};
    Air air;

    /// Sum of field and disturbance, uT, world frame.
    Vector fieldAt(Nanoseconds time) const;
    Vector disturbanceAt(Nanoseconds time) const; ///< only the disturbance
};

} // namespace om::bench
