#include "log/row_maker.h"

#include "sensors/sensormath.h"

#include <array>

namespace sm = sensormath;

namespace samplelog {

namespace {

std::array<double, 3> doubles(const om::Vector3<float>& v)
{
    return {double{v.x}, double{v.y}, double{v.z}};
}

/// Time of a slow sensor, s; 0 without the sensor.
template <typename Block>
double secondsOf(const Block& block)
{
    return block.isAvailable ? sm::seconds(block.timestamp / 1000) : 0.0;
}

} // namespace

std::optional<TimedRow> RowMaker::take(const om::SensorsData& record)
{
    const std::uint64_t timeUs = record.imu.timestamp / 1000;
    if (timeUs == 0 || timeUs == m_lastUs) {
        return std::nullopt;
    }
    m_lastUs = timeUs;

    TimedRow made;
    made.timeUs = timeUs;
    made.effectiveRate = record.imu.effectiveRate;
    recorder::Row& row = made.row;
    row.index = m_next++;
    row.imuTime = sm::seconds(timeUs);
    row.magTime = secondsOf(record.magnetometer);
    row.baroTime = secondsOf(record.barometer);
    row.acceleration = doubles(record.imu.linearAcceleration);
    row.angularVelocity = doubles(record.imu.angularVelocity);
    row.magneticField = doubles(record.magnetometer.magneticFieldUncalibrated);
    const om::Vector3<float> angles = record.imu.pose.getEulerAngles(true);
    row.orientation =
        doubles({sm::degrees(angles.x), sm::degrees(angles.y), sm::degrees(angles.z)});
    row.pressure = double{sm::hectopascals(record.barometer.pressure)};
    row.relativeAltitude = double{record.barometer.relativeAltitude};
    row.movingState = static_cast<double>(record.cameraMovingState);
    takeTemperatures(record, row);
    return made;
}

void RowMaker::takeTemperatures(const om::SensorsData& record, recorder::Row& row)
{
    const auto& temperature = record.temperature;
    const int left = temperature.get(omlib::onLeft, m_left);
    const int right = temperature.get(omlib::onRight, m_right);
    if (left != 0 || right != 0) {
        // Without sensors on the board the IMU's temperature stands in for both.
        temperature.get(omlib::atImu, m_left);
        temperature.get(omlib::atImu, m_right);
    }
    row.tempLeft = double{m_left};
    row.tempRight = double{m_right};
    // One variable for both: a camera without barometer repeats the IMU's temperature.
    float celsius = 0.0F;
    temperature.get(omlib::atImu, celsius);
    row.tempImu = celsius;
    temperature.get(omlib::atBarometer, celsius);
    row.tempBarometer = celsius;
}

} // namespace samplelog
