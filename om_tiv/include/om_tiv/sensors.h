/// @file
/// The record of all sensors of a camera.
///
/// Vectors are in the camera's body frame in the coordinate system of InitParameters; in
/// COORDINATE_SYSTEM::RIGHT_HANDED_Y_UP x points right, y up and z backward. Poses take the body
/// frame to the world, whose axes point east, up and south in that system: a level camera that
/// looks north has the identity as its pose. In COORDINATE_SYSTEM::IMAGE y and z of both frames
/// have the opposite directions.
#pragma once

#include <om_tiv/transform.h>

#include <cstdint>
#include <map>

namespace om {

struct SensorsData
{
    struct BarometerData
    {
        bool isAvailable = false;      ///< this stream has data
        std::uint64_t timestamp = 0;   ///< ns
        float pressure = 0.0F;         ///< Pa
        float relativeAltitude = 0.0F; ///< m above the height at open()
        float effectiveRate = 0.0F;    ///< Hz, measured
    };

    /// Temperatures in degrees Celsius by location.
    class TemperatureData
    {
    public:
        enum class SENSOR_LOCATION : int { IMU = 0, BAROMETER = 1, LEFT = 2, RIGHT = 3 };

        /// 0 with the value if the location is present; otherwise non-zero, and the value does not
        /// change.
        int get(SENSOR_LOCATION location, float& value) const;

        std::map<SENSOR_LOCATION, float> values;
    };

    struct MagnetometerData
    {
        bool isAvailable = false;
        std::uint64_t timestamp = 0; ///< ns
        /// uT, corrected with the calibration in the camera's EEPROM. Only the ratios of its gains
        /// are used, so that the field keeps its unit. Equal to the uncalibrated field while the
        /// calibration is neutral or unusable (a scale that is not positive, a value that is not
        /// finite).
        Vector3<float> magneticFieldCalibrated;
        /// uT. An absolute z of exactly 2048.0 marks a saturated reading.
        Vector3<float> magneticFieldUncalibrated;
        float effectiveRate = 0.0F; ///< Hz, measured
    };

    struct IMUData
    {
        std::uint64_t timestamp = 0;       ///< ns; 0 before the first sample
        Transform pose;                    ///< orientation of the camera in the world
        Vector3<float> angularVelocity;    ///< degrees per second
        Vector3<float> linearAcceleration; ///< m/s^2, specific force: +g along world up at rest
        float effectiveRate = 0.0F;        ///< Hz, measured
    };

    BarometerData barometer;
    TemperatureData temperature;
    MagnetometerData magnetometer;
    IMUData imu;
    int cameraMovingState = 0; ///< 0 static, 1 moving, 2 falling
};

} // namespace om
