/// @file
/// Errors of a sensor in the terms of data sheets (IEEE Std 952, IEEE Std 1293).
#pragma once

#include "world/geometry.h"

namespace om::bench {

/// Errors of one sensor in its unit u: m/s^2, degrees per second, uT or Pa. All off at first. A
/// sensor with one axis has it in x.
struct ErrorModel
{
    /// Degrees Celsius: the sensor's temperature at which the temperature has no effect.
    static constexpr double referenceTemperature = 25.0;

    Vector noiseDensity;    ///< u / sqrt(Hz), white noise
    Vector biasInstability; ///< u, flicker noise: the Allan deviation's floor is 0.664 of it
    double biasCorrelationTime = 1000.0; ///< s, the longest of the flicker noise
    Vector randomWalk;                   ///< u / s / sqrt(Hz), of the bias
    Vector turnOnSpread;               ///< u, deviation of a bias that each plugging in draws again
    Vector temperatureBias;            ///< u per degree from the reference temperature
    Vector temperatureScaleFactor;     ///< percent per degree from the reference temperature
    Vector scaleFactor{1.0, 1.0, 1.0}; ///< 1 is perfect
    Matrix3 axesMisalignment{};        ///< percent of axis k that axis i reads too; diagonal 0
    Matrix3 gSensitivity{};            ///< u per m/s^2 of specific force along k, on axis i
    double resolution = 0.0;           ///< u, step of the readings; 0 for none
    double measurementRange = 0.0; ///< u, readings end at plus and minus this; 0: the sensor's own
    double vibrationFrequency = 0.0; ///< Hz
    Vector vibrationAmplitude;       ///< u, of a sine that the sensor feels
    double spikeShare = 0.0;         ///< percent of the samples
    double spikeAmplitude = 0.0;     ///< u, by which such a sample is off along one axis

    bool isOff() const;
};

} // namespace om::bench
