/// @file
/// What the errors of a sensor do to its readings.
#pragma once

#include "base/clock.h"
#include "world/error_model.h"

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>

namespace om::bench {

/// The errors of one sensor from one plugging in to the next. Each is a function of the time since
/// then, of the number of the sample, or of the temperature, and of the seed: whoever asks, in
/// whatever order, gets the same values. Any thread.
class SensorErrorProcess
{
public:
    /// Channels of random numbers that a sensor takes, from its first one on.
    static constexpr std::uint64_t channels = 1024;

    /// @param channel first of the random numbers' channels
    /// @param rate    of the samples, Hz
    /// @param turn    how often the sensor was plugged in before
    SensorErrorProcess(const ErrorModel& model, std::uint64_t seed, std::uint64_t channel,
                       double rate, std::uint64_t turn);
    ~SensorErrorProcess();
    SensorErrorProcess(const SensorErrorProcess&) = delete;
    SensorErrorProcess& operator=(const SensorErrorProcess&) = delete;

    /// What the sensor feels beside the motion of the body, u.
    Vector vibration(Nanoseconds time) const;
    /// The true value as the sensor's axes have it: misalignment, scale and what the temperature
    /// makes of it.
    Vector distorted(const Vector& truth, double temperature) const;
    /// All of the bias that changes: drawn at plugging in, flicker, walk, temperature. u
    Vector bias(Nanoseconds time, double temperature) const;
    /// What a specific force (m/s^2) does to the reading, u.
    Vector gSensitivity(const Vector& force) const;
    /// Deviation of one sample's white noise: that of the density, and what the sensor has beside.
    Vector noise(double beside) const;
    /// Mostly 0.
    Vector spike(std::uint64_t number) const;
    /// The largest reading: of the model, or else the sensor's own.
    double range(double own) const;
    /// On steps of the resolution, within plus and minus the range.
    Vector limited(const Vector& reading, double range) const;

private:
    struct Axis;

    const ErrorModel m_model;
    const std::uint64_t m_seed;
    const std::uint64_t m_channel;
    const double m_rate;
    Vector m_turnOnBias;
    mutable std::mutex m_mutex; ///< guards the axes, which remember where they were asked last
    std::array<std::unique_ptr<Axis>, 3> m_axes;
};

} // namespace om::bench
