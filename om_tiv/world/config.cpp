#include "world/config.h"

namespace om::bench {

SensorErrors SensorErrors::none()
{
    SensorErrors errors;
    errors.accelerationNoise = 0.0;
    errors.accelerationBias = {};
    errors.angularVelocityNoise = 0.0;
    errors.angularVelocityBias = {};
    errors.magneticNoise = 0.0;
    errors.pressureNoise = 0.0;
    errors.pressureDrift = 0.0;
    errors.temperatureNoise = 0.0;
    return errors;
}

bool hasImu(MODEL model)
{
    return model != MODEL::TIV;
}

bool hasBarometer(MODEL model)
{
    switch (model) {
    case MODEL::TIV:
    case MODEL::TIV_N:
    case MODEL::TIV_R:
    case MODEL::TIV_S:
        return false;
    default:
        return true;
    }
}

bool hasMagnetometer(MODEL model)
{
    return hasBarometer(model);
}

bool hasTemperature(MODEL model, int location)
{
    return hasBarometer(model) ||
           (location == 0 && (model == MODEL::TIV_R || model == MODEL::TIV_S));
}

BUS_TYPE busOf(MODEL model)
{
    return model == MODEL::TIV_R || model == MODEL::TIV_S ? BUS_TYPE::SERIAL : BUS_TYPE::USB;
}

} // namespace om::bench
