/// @file
/// Applies the errors of a sensor to its readings.
#pragma once

#include "base/clock.h"
#include "world/error_model.h"

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>

namespace om::bench {

/// The errors of one sensor while the camera stays plugged in. Each is a function of the seed and
/// of the time since the camera was plugged in, the number of the sample, or the temperature. The
/// order of the calls does not affect the values. Any thread.
class SensorErrorProcess
{
public:
    /// Number of channels of random numbers that a sensor uses, starting with its first one.
    static constexpr std::uint64_t channels = 1024;

    /// @param channel   first channel of the random numbers
    /// @param rate      of the samples, Hz
    /// @param plugCount number of times that the camera was plugged in before
    SensorErrorProcess(const ErrorModel& model, std::uint64_t seed, std::uint64_t channel,
                       double rate, std::uint64_t plugCount);
    ~SensorErrorProcess();
    SensorErrorProcess(const SensorErrorProcess&) = delete;
    SensorErrorProcess& operator=(const SensorErrorProcess&) = delete;

    /// The sine of the vibration, u.
    Vector vibration(Nanoseconds time) const;
    /// The true value after misalignment, scale factor and its change with the temperature.
    Vector distorted(const Vector& truth, double temperature) const;
    /// Sum of the biases that are not constant: turn-on bias, flicker noise, random walk and
    /// temperature, u.
    Vector bias(Nanoseconds time, double temperature) const;
    /// Effect of a specific force (m/s^2) on the reading, u.
    Vector gSensitivity(const Vector& force) const;
    /// Standard deviation of one sample's white noise: that from the density and `beside`, added as
    /// variances.
    Vector noise(double beside) const;
    /// The spike of a sample; 0 for most samples.
    Vector spike(std::uint64_t number) const;
    /// The largest reading: that of the model if it has one, otherwise that of the sensor.
    double range(double own) const;
    /// Rounds the reading to a step of the resolution and limits it to plus and minus the range.
    Vector limited(const Vector& reading, double range) const;

private:
    struct Axis;

    const ErrorModel m_model;
    const std::uint64_t m_seed;
    const std::uint64_t m_channel;
    const double m_rate;
    Vector m_turnOnBias;
    mutable std::mutex m_mutex; ///< guards the axes, which keep the nodes of the last call
    std::array<std::unique_ptr<Axis>, 3> m_axes;
};

} // namespace om::bench
