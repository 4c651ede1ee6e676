/// @file
/// Errors of a sensor in the terms of data sheets (IEEE Std 952 and IEEE Std 1293).
#pragma once

#include "world/geometry.h"

namespace om::bench {

/// Errors of one sensor in its unit u: m/s^2, degrees per second, uT or Pa. By default there are
/// none. A sensor with one axis uses x.
struct ErrorModel
{
    /// Reference temperature, degrees Celsius: here the temperature has no effect.
    static constexpr double referenceTemperature = 25.0;

    Vector noiseDensity;    ///< u / sqrt(Hz), white noise
    Vector biasInstability; ///< u, flicker noise: the Allan deviation's floor is 0.664 of it
    double biasCorrelationTime = 1000.0; ///< s, longest correlation time of the flicker noise
    Vector randomWalk;                   ///< u / s / sqrt(Hz), random walk of the bias
    Vector turnOnSpread;                 ///< u, deviation of a bias that each plugging in draws
    Vector temperatureBias;              ///< u per degree from the reference temperature
    Vector temperatureScaleFactor;       ///< percent per degree from the reference temperature
    Vector scaleFactor{1.0, 1.0, 1.0};   ///< 1 is perfect
    Matrix3 axesMisalignment{};          ///< percent of axis k in the reading of axis i; diagonal 0
    Matrix3 gSensitivity{};              ///< u per m/s^2 of specific force along k, on axis i
    double resolution = 0.0;             ///< u, step of the readings; 0: no steps
    double measurementRange = 0.0;       ///< u, limit of the readings; 0: the sensor's own
    double vibrationFrequency = 0.0;     ///< Hz
    Vector vibrationAmplitude;           ///< u, amplitude of a sine
    double spikeShare = 0.0;             ///< percent of the samples that have a spike
    double spikeAmplitude = 0.0;         ///< u, size of a spike, on one axis

    bool isOff() const;
};

} // namespace om::bench
