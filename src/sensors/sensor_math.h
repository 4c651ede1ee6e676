/// @file
/// The arithmetic of the sensors: which samples are new, their units, and which rate is shown.
#pragma once

#include "camera/camera_library.h"

#include <cstdint>

namespace sensormath {

/// The time stamps of one stream during one run of the sensor thread: distinguishes new samples
/// from repeats.
class SampleClock
{
public:
    enum class Verdict {
        Absent, ///< a time stamp below 1 us
        First,  ///< the first of the run, which only sets the clock
        Repeat, ///< the same microsecond as before
        New,    ///< a new sample; rate() belongs to it
    };

    /// @param timestampNs time stamp of the record, ns
    Verdict look(std::uint64_t timestampNs)
    {
        if (timestampNs < 1000) {
            return Verdict::Absent;
        }
        const std::uint64_t us = timestampNs / 1000;
        if (m_first) {
            m_first = false;
            m_previousUs = us;
            return Verdict::First;
        }
        if (us == m_previousUs) {
            return Verdict::Repeat;
        }
        m_rate = 1.0 / (static_cast<double>(us - m_previousUs) / 1e6);
        m_previousUs = us;
        return Verdict::New;
    }

    /// Rate at the newest sample, Hz: 1 divided by the time since the previous one.
    double rate() const { return m_rate; }

private:
    bool m_first = true;
    std::uint64_t m_previousUs = 0;
    double m_rate = 0.0;
};

/// Time stamp in seconds, with microsecond resolution.
double seconds(std::uint64_t timestampUs);

/// The largest absolute value of the three components.
float largestMagnitude(const om::Vector3<float>& v);

/// True for a saturated magnetometer reading: an absolute z of exactly 2048 uT.
bool isSaturated(const om::Vector3<float>& magneticField);

/// True if any component differs.
bool differ(const om::Vector3<float>& a, const om::Vector3<float>& b);

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

/// The vector divided by its Euclidean length, in float. For a zero vector no component is a
/// number.
om::Vector3<float> unit(const om::Vector3<float>& v);

/// Converts Pa to hPa.
float hectopascals(float pascals);

/// The reported rate up to the nominal one, rounded up to a whole number, Hz. 0 for a rate that is
/// not a number or below all integers. The nominal rate is finite.
int shownRate(double reported, double nominal);

} // namespace sensormath
