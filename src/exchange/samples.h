/// @file
/// The samples of a recording in SI units, each sensor at its own rate.
#pragma once

#include "analysis/recording.h"

#include <array>

namespace exchange {

using analysis::Nanoseconds;
using Vector = std::array<double, 3>;
using Quaternion = std::array<double, 4>; ///< x, y, z, w

/// The axes of vectors and orientations.
enum class AXES {
    CAMERA, ///< x right, y up, z backward; the world's are east, up and south
    ROBOT,  ///< x forward, y left, z up; the world's are east, north and up
};

struct ImuSample
{
    Nanoseconds time = 0;
    Vector acceleration{};    ///< m/s^2, with gravity
    Vector angularVelocity{}; ///< rad/s
    Quaternion orientation{}; ///< rotates the sensor's axes into the world's
    int movingState = 0;      ///< 0 static, 1 moving, 2 falling
};

struct MagneticSample
{
    Nanoseconds time = 0;
    Vector field{}; ///< T, without the stored calibration
};

struct BarometerSample
{
    Nanoseconds time = 0;
    double pressure = 0.0; ///< Pa
    double altitude = 0.0; ///< m above the place where the camera was opened
};

struct TemperatureSample
{
    Nanoseconds time = 0;
    std::array<double, 4> celsius{}; ///< left, right, IMU, barometer
};

/// The sensors and quantities that a recording has.
struct Contents
{
    bool acceleration = false;
    bool angularVelocity = false;
    bool orientation = false;
    bool movingState = false;
    bool magneticField = false;
    bool barometer = false;
    bool temperatures = false;

    bool imu() const { return acceleration || angularVelocity || orientation || movingState; }
    bool any() const { return imu() || magneticField || barometer || temperatures; }
};

/// Number of samples of each kind.
struct Counts
{
    std::uint64_t imu = 0;
    std::uint64_t magneticField = 0;
    std::uint64_t barometer = 0;
    std::uint64_t temperatures = 0;
};

/// Receives samples. Those of one sensor arrive in the order of their times.
class SampleSink
{
public:
    virtual ~SampleSink() = default;
    virtual void take(const ImuSample& sample) = 0;
    virtual void take(const MagneticSample& sample) = 0;
    virtual void take(const BarometerSample& sample) = 0;
    virtual void take(const TemperatureSample& sample) = 0;
};

} // namespace exchange
