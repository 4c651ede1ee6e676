#include "viewer/chart_limits.h"

#include <algorithm>
#include <cmath>

namespace chartlimits {

void widen(const Limits& limits, const sensorsample::Sample& sample)
{
    limits.accel = widenedRange(limits.accel, largestMagnitude(sample.acceleration));
    limits.gyro = widenedRange(limits.gyro, largestMagnitude(sample.angularVelocity));
    if (!isSaturated(sample.field)) {
        limits.mag = widenedRange(limits.mag, largestMagnitude(sample.field));
    }
    limits.orient = widenedRange(limits.orient, largestMagnitude(sample.angles));
    limits.pressureMax = widenedPressureMax(limits.pressureMax, sample.pressure);
    limits.pressureMin = widenedPressureMin(limits.pressureMin, sample.pressure);
    limits.altitudeMax = widenedAltitudeMax(limits.altitudeMax, sample.altitude);
    limits.altitudeMin = widenedAltitudeMin(limits.altitudeMin, sample.altitude);
    limits.temperatureMax =
        widenedTemperatureMax(limits.temperatureMax, std::max(sample.left, sample.right));
    limits.temperatureMin =
        widenedTemperatureMin(limits.temperatureMin, std::min(sample.left, sample.right));
}

float largestMagnitude(const om::Vector3<float>& v)
{
    return std::max({std::fabs(v.x), std::fabs(v.y), std::fabs(v.z)});
}

bool isSaturated(const om::Vector3<float>& magneticField)
{
    return std::fabs(magneticField.z) == 2048.0F;
}

float widenedRange(float range, float magnitude)
{
    return range < magnitude ? magnitude : range;
}

float widenedPressureMax(float limit, float pressure)
{
    return limit < pressure ? pressure + 100.0F : limit;
}

float widenedPressureMin(float limit, float pressure)
{
    return limit > pressure ? pressure - 100.0F : limit;
}

float widenedAltitudeMax(float limit, float altitude)
{
    if (!(limit < altitude)) {
        return limit;
    }
    return static_cast<float>(static_cast<double>(altitude) * (limit > 0.0F ? 1.1 : 0.9));
}

float widenedAltitudeMin(float limit, float altitude)
{
    if (!(limit > altitude)) {
        return limit;
    }
    return static_cast<float>(static_cast<double>(altitude) * (limit > 0.0F ? 0.9 : 1.1));
}

float widenedTemperatureMax(float limit, float temperature)
{
    return limit < temperature ? temperature + 5.0F : limit;
}

float widenedTemperatureMin(float limit, float temperature)
{
    return limit > temperature ? temperature - 5.0F : limit;
}

} // namespace chartlimits
