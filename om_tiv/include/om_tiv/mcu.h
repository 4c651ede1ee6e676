/// @file
/// The direct link to a camera's sensor microcontroller.
#pragma once

#include <om_tiv/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace om {

/// Output data rate of the IMU that the link requests.
enum _imu_odr : int { IMU_ODR_400_HZ = 2 };

#pragma pack(push, 1)

/// One sensor record of the microcontroller; packed, little-endian. Sensor axes: 1 down, 2 left, 3
/// forward (body -y, -x, -z). Values outside the range of a field are clamped.
struct IMUReaderData
{
    /// 1: the record is valid. 0: the link is not open, capture has not run yet, the camera is gone
    /// or its microcontroller is silent; all other fields are then 0.
    std::uint8_t linkValid = 0;
    std::uint8_t sequence = 0; ///< counts records, modulo 256
    /// Ticks of 39 us since open(): of the magnetometer reading if it is new, otherwise of the IMU
    /// sample. 0 for a sample before open().
    std::uint64_t timestamp = 0;
    /// Sensor axes, 4096 counts per g; specific force, so +1 g upward at rest.
    std::int16_t acceleration[3] = {};
    std::int16_t angularVelocity[3] = {};  ///< sensor axes, 32.8 counts per degree per second
    std::int16_t imuTemperature = 0;       ///< 100 counts to 1 degree Celsius
    std::uint32_t pressure = 0;            ///< 100 counts to 1 Pa; 0 without a barometer
    std::int16_t barometerTemperature = 0; ///< 100 counts to 1 degree Celsius
    /// 0 no data, 1 no new reading, 2 or more a new reading
    std::uint8_t magState = 0;
    /// Sensor axes 1 to 3, raw, 16 counts per uT. A saturated reading has -32768 on axis 3.
    std::int16_t mag[3] = {};
};
static_assert(offsetof(IMUReaderData, linkValid) == 0, "");
static_assert(offsetof(IMUReaderData, timestamp) == 2, "");
static_assert(offsetof(IMUReaderData, magState) == 30, "");
static_assert(offsetof(IMUReaderData, mag) == 31, "");
static_assert(sizeof(IMUReaderData) == 37, "");

/// The pose record of the microcontroller's fusion; packed, little-endian. A default record means
/// that there is none: no link, no capture so far, or no sample yet.
struct IMUPose
{
    std::uint64_t timestamp = 0;   ///< ns since the epoch of the library's clock
    float orientation[4] = {};     ///< x, y, z, w: from the body to a world with x east and y up
    float rotation[9] = {};        ///< the same, row-major
    float angularVelocity[3] = {}; ///< degrees per second, sensor axes
    float reserved1[13] = {};
    /// Specific force, m/s^2, sensor axes; second argument of calcMagHeading.
    float acceleration[3] = {};
    /// uT, sensor axes: the raw field corrected with the stored calibration. Only the ratios of its
    /// gains are used, so that the field keeps its unit. The raw field while the calibration is
    /// neutral.
    float magCalibrated[3] = {};
    float reserved2[22] = {};
    float magUncalibrated[3] = {}; ///< raw field, uT, sensor axes; first argument of calcMagHeading
    float reserved3[3] = {};
    /// Quality of the heading: 0 good, 1 acceptable, 2 not good, 3 not calibrated (the stored
    /// calibration is neutral), other not available (no magnetometer, no reading yet).
    ///
    /// It follows from the spread of the corrected field over the readings of the last 30 s: the
    /// larger one of the spread of its strength (standard deviation divided by mean) and that of
    /// its angle with the horizon (radians), with the same weight for the six ends of the sensor
    /// axes. Up to 2.5 % is good, up to 6 % acceptable. A calibration is good only after readings
    /// at all six ends, and only while in the last 2 s no reading was saturated, the strength was
    /// within 5 % of the calibration's radius, and the angle with the horizon within 0.05 rad of
    /// its mean at the six ends.
    std::int32_t headingState = 4;
    float headingAccuracy = 0.0F; ///< 1 at a spread of 0, linear down to 0 at one of 10 %
    /// Radians, with the stored calibration: calcMagHeading of the corrected field.
    float heading = 0.0F;
};
static_assert(offsetof(IMUPose, acceleration) == 124, "");
static_assert(offsetof(IMUPose, magUncalibrated) == 236, "");
static_assert(offsetof(IMUPose, headingState) == 260, "");
static_assert(offsetof(IMUPose, headingAccuracy) == 264, "");
static_assert(offsetof(IMUPose, heading) == 268, "");

/// The magnetometer calibration as in the EEPROM; packed, little-endian, sensor axes. A raw reading
/// r in uT is corrected to scale * (r - offset). Neutral: scale 1, offset 0 or -0.
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

/// The link to the microcontroller of one camera (TIV_N, TIV_P, TIV_Q). A camera can be open in an
/// om::Camera or in one link, not in two of them.
///
/// Threads: all operations except the destructor may run on any thread, at the same time. The two
/// public members have no lock. A thread that reads captureRunning during an operation that changes
/// it gets the old or the new value; one that reads storedMagCalib during updateEepromMemory() may
/// get a mixture of old and new values.
///
/// An operation on a link that is not open, whose camera was unplugged or whose microcontroller is
/// silent returns failure or an invalid record and has no effect except those described at
/// captureRunning and startCapture(). A camera that was unplugged needs a new open().
class TIVmcu
{
public:
    /// Prepares a link; opens nothing.
    /// @param verbose prints messages to standard error
    /// @param vendorId   USB vendor identifier, 0x7C15
    /// @param model      model of the camera; not used: the serial number alone selects the camera
    /// @param bootloader the device is in its boot loader: open() then fails with INVALID_INPUT
    /// @param path       path of the device in hid_enumerate; empty finds it by serial number alone
    TIVmcu(bool verbose, unsigned short vendorId, MODEL model, bool bootloader, std::string path);
    ~TIVmcu(); ///< closes
    TIVmcu(const TIVmcu&) = delete;
    TIVmcu& operator=(const TIVmcu&) = delete;

    /// Opens the device with the serial number; an open link is closed first. Capture is off and
    /// captureRunning cleared, also on failure.
    ///
    /// Returns 0 for success, or the value of an ERROR_CODE: NOT_DETECTED if no such device is
    /// plugged in, IN_USE if an om::Camera or another link has it open, TIMEOUT if its
    /// microcontroller does not answer, FAILURE if it refuses.
    /// @param exclusive excludes other processes; no effect for cameras of the bench
    /// @param odr        output data rate
    /// @param accelBias  three floats subtracted from the acceleration, m/s^2, sensor axes; copied.
    ///                   Null for none
    /// @param gyroBias   three floats subtracted from the angular velocity, degrees per second,
    ///                   sensor axes; copied. Null for none
    /// @param fusion the microcontroller's fusion runs; without it pose records have no data
    /// @param raw        only raw records, no pose records
    int open(unsigned int serial, bool exclusive, _imu_odr odr, float* accelBias, float* gyroBias,
             bool fusion, bool raw);
    void close(); ///< ends capture, clears captureRunning

    /// Starts the stream and sets captureRunning. On a link that is not open or whose camera was
    /// unplugged it only sets captureRunning. A silent microcontroller streams later.
    /// @param period minimum time between two records in ms; 0 for every record
    void startCapture(float period);
    void stopCapture(); ///< ends the stream and clears captureRunning

    /// The latest record; returns after one transfer over the bus (1 ms), whether new data exist or
    /// not. A reading of the magnetometer is new (magState 2) in one record and known (magState 1)
    /// in those that follow. While capture is stopped it is the last record before the stop,
    /// without new data.
    IMUReaderData getIMUReaderData();
    /// The latest record of the fusion; returns at once. While capture is stopped it is the last
    /// one before the stop.
    /// @param sensors fusion inputs; 6 for accelerometer, gyroscope and magnetometer. Any other
    ///                value omits the results that need the magnetometer.
    IMUPose getIMUPose(int sensors);

    /// Tilt-compensated heading of the forward axis in radians, clockwise from magnetic north, in
    /// [0, 2 pi); depends only on its arguments, not on the stored calibration. Any units; sensor
    /// axes: 1 down, 2 left, 3 forward.
    ///
    /// With d = -acceleration and m = mag: east = d x m, north = east x d, and the heading is
    /// atan2(east . forward, north . forward) of the unit vectors (M. J. Caruso, "Applications of
    /// Magnetic Sensors for Low Cost Compass Systems", IEEE PLANS 2000, in vector form). 0 if there
    /// is no heading: one of the two vectors is null, or they are parallel.
    float calcMagHeading(Vector3<float> mag, Vector3<float> acceleration);

    /// Reads the EEPROM into storedMagCalib, which does not change if the link does not answer. An
    /// image that is damaged or cannot be read counts as neutral.
    /// @param all the whole memory, or only what may have changed; the same for the calibration
    void updateEepromMemory(bool all);
    /// Writes the calibration. It takes effect at once, also for om::Camera, and is kept after the
    /// end of the process. All values are stored unchanged. If a value is not finite or a scale is
    /// not positive, the heading is that of the raw field and not good.
    ///
    /// Returns 0 for success, or the value of an ERROR_CODE: FAILURE if it was refused, is not open
    /// or cannot be kept (the previous calibration then stays), CAMERA_GONE, TIMEOUT. Read the
    /// calibration back to verify it.
    int writeMagCalibInEEprom(_mag_calib_data& data);

    /// Set by startCapture(); cleared by stopCapture(), open() and close(). It does not mean that
    /// records arrive: a lost link does not change it.
    bool captureRunning = false;
    /// Scales then offsets of the sensor axes 1 to 3, as of the last updateEepromMemory().
    float storedMagCalib[6] = {1.0F, 1.0F, 1.0F, 0.0F, 0.0F, 0.0F};

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace om
