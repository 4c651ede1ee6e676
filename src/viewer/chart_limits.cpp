#include "viewer/chart_limits.h"

namespace chartlimits {

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
