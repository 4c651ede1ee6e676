/// @file
/// The arithmetic of the sensors: the times, units, angles and temperatures of a record.
#pragma once

#include "camera/camera_library.h"

#include <cstdint>

namespace sensormath {

/// Time stamp in seconds, with microsecond resolution.
double seconds(std::uint64_t timestampUs);

/// Converts radians to degrees in double precision and rounds to float.
float degrees(float radian);

/// The Euler angles of the record's pose, degrees.
om::Vector3<float> eulerDegrees(const om::SensorsData& record);

/// The temperatures of both sides of the board, degrees Celsius. They outlive a record: without any
/// temperature in it the last ones stay.
class BoardTemperatures
{
public:
    /// @return whether a side has no sensor: both then have the temperature of the IMU
    bool take(const om::SensorsData& record);
    float left() const { return m_left; }
    float right() const { return m_right; }

private:
    float m_left = 0.0F;
    float m_right = 0.0F;
};

/// The temperatures inside two sensors, degrees Celsius. A missing one of the IMU is 0, a missing
/// one of the barometer is that of the IMU.
struct SensorTemperatures
{
    float imu = 0.0F;
    float barometer = 0.0F;
};

SensorTemperatures sensorTemperatures(const om::SensorsData& record);

/// Converts Pa to hPa.
float hectopascals(float pascals);

} // namespace sensormath
