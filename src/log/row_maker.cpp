#include "log/row_maker.h"

#include <array>

namespace sm = sensormath;

namespace samplelog {

namespace {

std::array<double, 3> doubles(const om::Vector3<float>& v)
{
    return {double{v.x}, double{v.y}, double{v.z}};
}

/// Time of a slow sensor, s; 0 if the camera does not have it.
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
    row.orientation = doubles(sm::eulerDegrees(record));
    row.pressure = double{sm::hectopascals(record.barometer.pressure)};
    row.relativeAltitude = double{record.barometer.relativeAltitude};
    row.movingState = static_cast<double>(record.cameraMovingState);
    m_boardTemperatures.take(record);
    row.tempLeft = double{m_boardTemperatures.left()};
    row.tempRight = double{m_boardTemperatures.right()};
    const sm::SensorTemperatures inside = sm::sensorTemperatures(record);
    row.tempImu = inside.imu;
    row.tempBarometer = inside.barometer;
    return made;
}

} // namespace samplelog
