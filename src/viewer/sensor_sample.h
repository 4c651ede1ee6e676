/// @file
/// Converts a record of the camera library to one sample in the program's units. Without Qt.
#pragma once

#include "camera/camera_library.h"
#include "sensors/sensor_math.h"
#include "viewer/sample_clock.h"
#include "viewer/shared.h"

#include <cstdint>
#include <optional>

namespace sensorsample {

/// True if any component differs.
bool differ(const om::Vector3<float>& a, const om::Vector3<float>& b);

/// The vector divided by its Euclidean length, in float. For a zero vector no component is a
/// number.
om::Vector3<float> unit(const om::Vector3<float>& v);

/// One new IMU sample with the current values of the other sensors.
struct Sample
{
    /// The sample of the barometer or of the magnetometer.
    struct Slow
    {
        bool isNew = false; ///< this sensor has a new sample
        double time = 0.0;  ///< s, of the record; 0 without such a sensor
        double rate = 0.0;  ///< Hz, of its newest sample
    };

    double time = 0.0; ///< s of the library's clock
    double rate = 0.0; ///< Hz, 1 over the time since the sample before
    Slow barometer;
    Slow magnetometer;

    om::Vector3<float> acceleration;    ///< m/s^2
    om::Vector3<float> direction;       ///< of the acceleration, a unit vector; may be not-a-number
    om::Vector3<float> angularVelocity; ///< degrees per second
    om::Vector3<float> field;           ///< uT, uncalibrated
    bool fieldIsCalibrated = false;     ///< the library corrects the field
    om::Vector3<float> angles;          ///< Euler angles, degrees
    om::Orientation orientation;
    float pressure = 0.0F; ///< hPa
    float altitude = 0.0F; ///< m
    int movingState = 0;
    float left = 0.0F;  ///< degrees Celsius
    float right = 0.0F; ///< degrees Celsius
    /// Both temperatures are the IMU's, because the board reports none.
    bool temperatureFallback = false;
};

/// What a stream reports in addition to its samples.
struct Stream
{
    Shared<double>& effectiveRate; ///< Hz, as the library reports it
    std::uint64_t& startTime;      ///< us, of the first sample of the run
};

/// One run of the sensor thread. Its first valid IMU record only sets the clock. The variables that
/// the streams refer to must outlive it. One thread uses it.
class Sampler
{
public:
    Sampler(const Stream& imu, const Stream& barometer, const Stream& magnetometer);

    /// The sample of a record that was just polled; none if its IMU time is not new.
    std::optional<Sample> take(const om::SensorsData& record);

private:
    struct Clocked : Stream
    {
        explicit Clocked(const Stream& stream) : Stream(stream) {}
        SampleClock clock;
    };

    static bool isNew(Clocked& stream, std::uint64_t timestampNs);
    template <typename Block>
    static Sample::Slow slowSample(Clocked& stream, const Block& block);
    static void takeMotion(const om::SensorsData& record, Sample& sample);
    void takeTemperatures(const om::SensorsData& record, Sample& sample);

    Clocked m_imu;
    Clocked m_barometer;
    Clocked m_magnetometer;
    sensormath::BoardTemperatures m_boardTemperatures;
};

} // namespace sensorsample
