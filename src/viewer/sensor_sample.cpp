#include "viewer/sensor_sample.h"

#include <cmath>

namespace sm = sensormath;

namespace sensorsample {

bool differ(const om::Vector3<float>& a, const om::Vector3<float>& b)
{
    return a.x != b.x || a.y != b.y || a.z != b.z;
}

om::Vector3<float> unit(const om::Vector3<float>& v)
{
    const float length = std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
    return {v.x / length, v.y / length, v.z / length};
}

Sampler::Sampler(const Stream& imu, const Stream& barometer, const Stream& magnetometer)
    : m_imu(imu), m_barometer(barometer), m_magnetometer(magnetometer)
{}

bool Sampler::isNew(Clocked& stream, std::uint64_t timestampNs)
{
    using Verdict = SampleClock::Verdict;
    const Verdict verdict = stream.clock.look(timestampNs);
    if (verdict == Verdict::First) {
        stream.startTime = timestampNs / 1000;
    }
    return verdict == Verdict::New;
}

template <typename Block>
Sample::Slow Sampler::slowSample(Clocked& stream, const Block& block)
{
    Sample::Slow sample;
    if (block.isAvailable) {
        stream.effectiveRate = static_cast<double>(block.effectiveRate);
        sample.time = sm::seconds(block.timestamp / 1000);
        sample.isNew = isNew(stream, block.timestamp);
        sample.rate = stream.clock.rate();
    }
    return sample;
}

std::optional<Sample> Sampler::take(const om::SensorsData& record)
{
    m_imu.effectiveRate = static_cast<double>(record.imu.effectiveRate);
    if (!isNew(m_imu, record.imu.timestamp)) {
        return std::nullopt;
    }
    Sample sample;
    sample.time = sm::seconds(record.imu.timestamp / 1000);
    sample.rate = m_imu.clock.rate();
    // They are read only with a new IMU sample, which limits their rate.
    sample.barometer = slowSample(m_barometer, record.barometer);
    sample.magnetometer = slowSample(m_magnetometer, record.magnetometer);
    takeMotion(record, sample);
    sample.pressure = sm::hectopascals(record.barometer.pressure);
    sample.altitude = record.barometer.relativeAltitude;
    takeTemperatures(record, sample);
    return sample;
}

void Sampler::takeMotion(const om::SensorsData& record, Sample& sample)
{
    const auto& imu = record.imu;
    sample.acceleration = imu.linearAcceleration;
    sample.direction = unit(sample.acceleration);
    sample.angularVelocity = imu.angularVelocity;
    sample.field = record.magnetometer.magneticFieldUncalibrated;
    sample.fieldIsCalibrated = differ(record.magnetometer.magneticFieldCalibrated, sample.field);
    sample.angles = sm::eulerDegrees(record);
    sample.orientation = imu.pose.getOrientation();
    sample.movingState = record.cameraMovingState;
}

void Sampler::takeTemperatures(const om::SensorsData& record, Sample& sample)
{
    sample.temperatureFallback = m_boardTemperatures.take(record);
    sample.left = m_boardTemperatures.left();
    sample.right = m_boardTemperatures.right();
}

} // namespace sensorsample
