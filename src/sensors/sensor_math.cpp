#include "sensors/sensor_math.h"

namespace sensormath {

double seconds(std::uint64_t timestampUs)
{
    return static_cast<double>(timestampUs) / 1e6;
}

float degrees(float radian)
{
    return static_cast<float>(static_cast<double>(radian) * 180.0 / 3.141592653589793);
}

om::Vector3<float> eulerDegrees(const om::SensorsData& record)
{
    const om::Transform& pose = record.imu.pose;
    return {degrees(pose.getEulerAngles(true).x), degrees(pose.getEulerAngles(true).y),
            degrees(pose.getEulerAngles(true).z)};
}

bool BoardTemperatures::take(const om::SensorsData& record)
{
    const int leftResult = record.temperature.get(omlib::onLeft, m_left);
    const int rightResult = record.temperature.get(omlib::onRight, m_right);
    const bool isReplaced = leftResult != 0 || rightResult != 0;
    if (isReplaced) {
        record.temperature.get(omlib::atImu, m_left);
        record.temperature.get(omlib::atImu, m_right);
    }
    return isReplaced;
}

SensorTemperatures sensorTemperatures(const om::SensorsData& record)
{
    float celsius = 0.0F;
    SensorTemperatures temperatures;
    record.temperature.get(omlib::atImu, celsius);
    temperatures.imu = celsius;
    record.temperature.get(omlib::atBarometer, celsius);
    temperatures.barometer = celsius;
    return temperatures;
}

float hectopascals(float pascals)
{
    return static_cast<float>(static_cast<double>(pascals) / 100.0);
}

} // namespace sensormath
