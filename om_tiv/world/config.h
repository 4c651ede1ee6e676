/// @file
/// The configuration of a virtual camera: model, motion, sensor errors and faults.
#pragma once

#include "world/error_model.h"
#include "world/faults.h"
#include "world/geometry.h"

#include <om_tiv/types.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>

namespace om::bench {

class SensorRecording;

/// The motion of a camera. A change is a smooth transition, so that the angular velocity stays
/// finite.
enum class MOTION {
    AT_REST,   ///< does not move
    HAND_HELD, ///< turns and sways slightly about its pose
    TUMBLE,    ///< turned by hand through all orientations within about a minute
    FALL,      ///< dropped, caught and lifted again, every 2.5 s
    POSED,     ///< holds the pose of the last Bench::setPose()
};

/// The errors of the sensors. A noise is the standard deviation of one sample's white noise. The
/// error models add to the noises and to the constant biases.
struct SensorErrors
{
    double accelerationNoise = 0.03;               ///< m/s^2
    Vector accelerationBias{0.02, -0.015, 0.03};   ///< m/s^2, body
    double angularVelocityNoise = 0.06;            ///< degrees per second
    Vector angularVelocityBias{0.08, -0.05, 0.03}; ///< degrees per second, body
    double magneticNoise = 0.25;                   ///< uT
    double pressureNoise = 1.2;                    ///< Pa
    double pressureBias = 0.0;                     ///< Pa
    double pressureDrift = 6.0;     ///< Pa, amplitude of the slow changes of the weather
    double temperatureNoise = 0.01; ///< degrees Celsius

    ErrorModel accelerometer; ///< u is m/s^2
    ErrorModel gyroscope;     ///< u is degrees per second
    ErrorModel magnetometer;  ///< u is uT; scale and misalignment are the soft iron
    ErrorModel barometer;     ///< u is Pa

    /// Parts per million by which the sensors' clock, and so their rates, are too fast.
    double clockDrift = 0.0;
    double droppedSamples = 0.0; ///< percent of the samples that never reach the program
    int droppedTogether = 1;     ///< consecutive samples of a sensor dropped together

    static SensorErrors none();
};

struct CameraConfig
{
    MODEL model = MODEL::TIV_Q; ///< a value without an enumerator is allowed
    unsigned int serialNumber = 0;
    int id = -1;                         ///< -1: the smallest that is free on the bench
    unsigned int firmwareVersion = 1201; ///< as CameraInformation reports it
    std::uint16_t usbRelease = 0x0103;   ///< release number of the USB device, 1.3
    int usbProductId = -1;               ///< -1: that of the model; 0: no valid one
    bool plugged = true;                 ///< at the start
    MOTION motion = MOTION::TUMBLE;      ///< at the start
    Quaternion pose;                     ///< at the start; for AT_REST, HAND_HELD, FALL, POSED
    std::uint64_t seed = 0;              ///< of noise and jitter; 0: derived from the serial number
    Vector hardIron{18.5, -24.0, 11.5};  ///< uT, body
    Matrix3 softIron = {{{1.06, 0.0, 0.0}, {0.0, 0.93, 0.0}, {0.0, 0.0, 1.02}}}; ///< body
    SensorErrors errors;
    double altitude = 120.0; ///< m above sea level
    /// Degrees Celsius when the camera is plugged in, by location: IMU, barometer, left, right. The
    /// temperatures rise by about 12 degrees with a time constant of 4 minutes.
    std::array<double, 4> startTemperatures{27.0, 26.5, 28.5, 29.0};
    std::string replay; ///< CSV recording to play in place of the physics; empty: none
    /// The content of the recording; null if there is none or if it has not been read yet.
    std::shared_ptr<const SensorRecording> recording;
    bool replayLoop = true; ///< starts again after its last row
    Faults faults;
};

/// The sensors of the models.
bool hasImu(MODEL model);          ///< true for all models but TIV
bool hasBarometer(MODEL model);    ///< true for TIV_P, TIV_Q and models without an enumerator
bool hasMagnetometer(MODEL model); ///< as hasBarometer()
/// Whether the location (0 to 3) has a temperature sensor. Models with a barometer have all four,
/// TIV_R and TIV_S only that of the IMU.
bool hasTemperature(MODEL model, int location);
BUS_TYPE busOf(MODEL model); ///< SERIAL for TIV_R and TIV_S, USB for the others

} // namespace om::bench
