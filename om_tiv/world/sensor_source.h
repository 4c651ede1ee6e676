/// @file
/// The source of a virtual camera's sensor samples: physics or a recording.
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

/// The samples of a camera while it stays plugged in. Within the last 30 s the same number always
/// returns the same sample. Any thread may call any operation.
class SensorSource
{
public:
    SensorSource() = default;
    virtual ~SensorSource() = default;
    SensorSource(const SensorSource&) = delete;
    SensorSource& operator=(const SensorSource&) = delete;

    /// Whether the camera has the stream.
    virtual bool has(STREAM stream) const = 0;
    /// Number of the newest sample at or before the time. None before the first sample, or if the
    /// camera does not have the stream. Lost samples are skipped.
    virtual std::optional<std::uint64_t> newest(STREAM stream, Nanoseconds time) const = 0;
    /// Time of the sample; works for future samples too.
    virtual Nanoseconds timeOf(STREAM stream, std::uint64_t number) const = 0;
    /// Whether the sample is lost on its way from the camera. It still has a number and a time.
    virtual bool isLost(STREAM /*stream*/, std::uint64_t /*number*/) const { return false; }

    virtual ImuSample imu(std::uint64_t number) const = 0;
    virtual MagnetometerSample magnetometer(std::uint64_t number) const = 0;
    virtual BarometerSample barometer(std::uint64_t number) const = 0;
    /// Degrees Celsius: IMU, barometer, left, right; none if there is no sensor.
    virtual std::array<std::optional<double>, 4> temperatures(Nanoseconds time) const = 0;

    /// Last changes to the record of an IMU sample, in body axes. A source that plays a recording
    /// sets the recorded values exactly.
    virtual void complete(std::uint64_t /*imuNumber*/, SensorsData& /*data*/) const {}
};

} // namespace om::bench
