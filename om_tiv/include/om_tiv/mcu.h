/// @file
/// The direct link to a camera's sensor microcontroller.
#pragma once

#include <om_tiv/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace om {

/// Output data rate of the IMU as the link asks for it.
enum _imu_odr : int { IMU_ODR_400_HZ = 2 };

#pragma pack(push, 1)

/// One sensor record of the microcontroller; packed, little-endian.
struct IMUReaderData
{
    std::uint8_t linkValid = 0;            ///< 1: the record is good
    std::uint8_t sequence = 0;             ///< counts records
    std::uint64_t timestamp = 0;           ///< ticks of 39 us since the microcontroller's start
    std::int16_t acceleration[3] = {};     ///< sensor axes, 4096 counts to 1 g
    std::int16_t angularVelocity[3] = {};  ///< sensor axes, 32.8 counts to 1 degree per second
    std::int16_t imuTemperature = 0;       ///< 100 counts to 1 degree Celsius
    std::uint32_t pressure = 0;            ///< 100 counts to 1 Pa
    std::int16_t barometerTemperature = 0; ///< 100 counts to 1 degree Celsius
    /// 0 no data, 1 no new reading, 2 or more a new reading
    std::uint8_t magState = 0;
    std::int16_t mag[3] = {}; ///< sensor axes 1 to 3, raw, 16 counts to 1 uT
};
static_assert(offsetof(IMUReaderData, linkValid) == 0, "");
static_assert(offsetof(IMUReaderData, timestamp) == 2, "");
static_assert(offsetof(IMUReaderData, magState) == 30, "");
static_assert(offsetof(IMUReaderData, mag) == 31, "");
static_assert(sizeof(IMUReaderData) == 37, "");

/// The pose record of the microcontroller's fusion; packed, little-endian.
struct IMUPose
{
    std::uint64_t timestamp = 0;   ///< ns
    float orientation[4] = {};     ///< x, y, z, w
    float rotation[9] = {};        ///< row-major
    float angularVelocity[3] = {}; ///< degrees per second, sensor axes
    float reserved1[13] = {};
    float acceleration[3] = {};  ///< m/s^2, sensor axes; second argument of calcMagHeading
    float magCalibrated[3] = {}; ///< corrected field, uT, sensor axes
    float reserved2[22] = {};
    float magUncalibrated[3] = {}; ///< raw field, uT, sensor axes; first argument of calcMagHeading
    float reserved3[3] = {};
    /// 0 good, 1 acceptable, 2 not good, 3 not calibrated, other not available
    std::int32_t headingState = 4;
    float headingAccuracy = 0.0F; ///< 0 worst to 1 best
    float heading = 0.0F; ///< with the stored calibration, radians clockwise from magnetic north
};
static_assert(offsetof(IMUPose, acceleration) == 124, "");
static_assert(offsetof(IMUPose, magUncalibrated) == 236, "");
static_assert(offsetof(IMUPose, headingState) == 260, "");
static_assert(offsetof(IMUPose, headingAccuracy) == 264, "");
static_assert(offsetof(IMUPose, heading) == 268, "");

/// The magnetometer calibration as the EEPROM holds it; packed, little-endian, sensor axes. A raw
/// reading r in uT is corrected to scale * (r - offset). Neutral: scale 1, offset 0.
struct _mag_calib_data
{
    std::uint8_t reserved; ///< not evaluated
    float scale[3];        ///< 1/uT, the reciprocal of the radius on the axis
    float offset[3];       ///< uT
};
static_assert(offsetof(_mag_calib_data, scale) == 1, "");
static_assert(offsetof(_mag_calib_data, offset) == 13, "");
static_assert(sizeof(_mag_calib_data) == 25, "");

#pragma pack(pop)

/// The link to the microcontroller of one camera. The viewer's Camera and this link exclude each
/// other.
///
/// Threads: all operations may run on any thread, beside each other; an operation on a link that is
/// not open does nothing and returns failure or an invalid record.
class TIVmcu
{
public:
    /// Prepares a link; opens nothing.
    /// @param verbose   writes what happens to standard error
    /// @param vendorId  USB vendor identifier
    /// @param model     model of the camera
    /// @param bootloader the device is in its boot loader (not supported by the stand-in)
    /// @param path      system path of the device; empty finds it by serial number
    TIVmcu(bool verbose, unsigned short vendorId, MODEL model, bool bootloader, std::string path);
    ~TIVmcu(); ///< closes
    TIVmcu(const TIVmcu&) = delete;
    TIVmcu& operator=(const TIVmcu&) = delete;

    /// Opens the device of the serial number. 0 means success.
    /// @param exclusive  refuses when another process has the device open
    /// @param odr        output data rate
    /// @param accelBias  three floats subtracted from the acceleration, or null
    /// @param gyroBias   three floats subtracted from the angular velocity, or null
    /// @param fusion     the microcontroller's fusion runs (pose records)
    /// @param raw        only raw records
    int open(unsigned int serial, bool exclusive, _imu_odr odr, float* accelBias, float* gyroBias,
             bool fusion, bool raw);
    void close();

    /// Starts the stream and sets captureRunning.
    /// @param period least time between two records in ms; 0 for every one
    void startCapture(float period);
    void stopCapture(); ///< ends the stream and clears captureRunning

    /// The latest record; returns at once, whether new data exist or not. A reading is new
    /// (magState 2) in one record and known (magState 1) in those that follow.
    IMUReaderData getIMUReaderData();
    /// @param sensors fusion inputs; 6 for accelerometer, gyroscope and magnetometer
    IMUPose getIMUPose(int sensors);

    /// Tilt-compensated heading in radians, clockwise from magnetic north, in [0, 2 pi); without
    /// the stored calibration. Sensor axes: 1 down, 2 left, 3 forward at rest.
    float calcMagHeading(Vector3<float> mag, Vector3<float> acceleration);

    /// Reads the EEPROM into storedMagCalib.
    void updateEepromMemory(bool all);
    /// Starts the write. 0 means success.
    int writeMagCalibInEEprom(_mag_calib_data& data);

    bool captureRunning = false; ///< true between startCapture() and stopCapture()
    /// Scales then offsets of the sensor axes 1 to 3, as of the last updateEepromMemory().
    float storedMagCalib[6] = {1.0F, 1.0F, 1.0F, 0.0F, 0.0F, 0.0F};

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace om
