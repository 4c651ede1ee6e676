/// @file
/// The limits of the chart's value axis, and how a new sample widens them. Without Qt.
#pragma once

#include "camera/camera_library.h"
#include "viewer/sensor_sample.h"
#include "viewer/shared.h"

namespace chartlimits {

/// The limits of the chart, which only widen. Units as in sensorsample::Sample.
struct Limits
{
    Shared<float>& accel;
    Shared<float>& gyro;
    Shared<float>& mag;
    Shared<float>& orient;
    Shared<float>& pressureMax;
    Shared<float>& pressureMin;
    Shared<float>& altitudeMax;
    Shared<float>& altitudeMin;
    Shared<float>& temperatureMax;
    Shared<float>& temperatureMin;
};

/// Widens each limit by its value of the sample; a saturated field leaves its limit alone. One
/// thread at a time.
void widen(const Limits& limits, const sensorsample::Sample& sample);

/// The largest absolute value of the three components.
float largestMagnitude(const om::Vector3<float>& v);

/// True for a saturated magnetometer reading: an absolute z of exactly 2048 uT.
bool isSaturated(const om::Vector3<float>& magneticField);

// Each takes a limit and a new value and returns the new limit.

float widenedRange(float range, float magnitude);

float widenedPressureMax(float limit, float pressure); ///< hPa, 100 hPa beyond the value
float widenedPressureMin(float limit, float pressure);

/// m. An altitude above the limit is multiplied by 1.1 if the limit is positive, otherwise by 0.9.
float widenedAltitudeMax(float limit, float altitude);
/// m. An altitude below the limit is multiplied by 0.9 if the limit is positive, otherwise by 1.1.
float widenedAltitudeMin(float limit, float altitude);

float widenedTemperatureMax(float limit, float temperature); ///< degrees Celsius, 5 beyond
float widenedTemperatureMin(float limit, float temperature);

} // namespace chartlimits
