/// @file
/// Where a virtual camera's sensor samples come from: physics, or a recording.
#pragma once

#include "base/clock.h"
#include "world/geometry.h"

#include <om_tiv/sensors.h>

#include <array>
#include <cstdint>
#include <optional>

namespace om::bench {

enum class STREAM { IMU, MAGNETOMETER, BAROMETER };

struct ImuSample
{
    std::uint64_t number = 0;
    Nanoseconds time = 0;
    Quaternion pose;           ///< body to world
    Vector angularVelocity;    ///< degrees per second, body
    Vector linearAcceleration; ///< m/s^2, body
    int movingState = 0;
};

struct MagnetometerSample
{
    std::uint64_t number = 0;
    Nanoseconds time = 0;
    /// Sensor axes 1 to 3, 16 counts to 1 uT. A saturated reading has -32768 on axis 3.
    std::array<std::int16_t, 3> counts{};

    bool isSaturated() const { return counts[2] == INT16_MIN; }
    /// uT, body frame; z is exactly 2048.0 when saturated.
    Vector body() const
    {
        return fromSensorAxes({counts[0] * 0.0625, counts[1] * 0.0625, counts[2] * 0.0625});
    }
};

struct BarometerSample
{
    std::uint64_t number = 0;
    Nanoseconds time = 0;
    double pressure = 0.0; ///< Pa
};

/// The samples of a camera from one plugging in to the next. Within the last 30 s the same number
/// always returns the same sample. All operations may run on any thread.
class SensorSource
{
public:
    SensorSource() = default;
    virtual ~SensorSource() = default;
    SensorSource(const SensorSource&) = delete;
    SensorSource& operator=(const SensorSource&) = delete;

    /// Whether the stream exists at all.
    virtual bool has(STREAM stream) const = 0;
    /// Number of the newest sample at or before the time; nothing before the first one, and where
    /// the stream does not exist. Never a sample that is lost.
    virtual std::optional<std::uint64_t> newest(STREAM stream, Nanoseconds time) const = 0;
    /// Time of the sample, also of one to come.
    virtual Nanoseconds timeOf(STREAM stream, std::uint64_t number) const = 0;
    /// Whether the sample is lost on its way out of the camera. It has a number and a time.
    virtual bool isLost(STREAM /*stream*/, std::uint64_t /*number*/) const { return false; }

    virtual ImuSample imu(std::uint64_t number) const = 0;
    virtual MagnetometerSample magnetometer(std::uint64_t number) const = 0;
    virtual BarometerSample barometer(std::uint64_t number) const = 0;
    /// Degrees Celsius by location; nothing where there is no sensor.
    virtual std::array<std::optional<double>, 4> temperatures(Nanoseconds time) const = 0;

    /// Last changes to the record of an IMU sample, in the axes of the body. A source that plays
    /// recorded values puts them in exactly.
    virtual void complete(std::uint64_t /*imuNumber*/, SensorsData& /*data*/) const {}
};

} // namespace om::bench
