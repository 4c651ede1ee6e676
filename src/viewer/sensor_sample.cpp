#include "viewer/sensor_sample.h"

#include <algorithm>

namespace sm = sensormath;

namespace sensorsample {

Sampler::Sampler(const Stream& imu, const Stream& barometer, const Stream& magnetometer,
                 const chartlimits::Limits& limits)
    : m_imu(imu), m_barometer(barometer), m_magnetometer(magnetometer), m_limits(limits)
{}

bool Sampler::isNew(Clocked& stream, std::uint64_t timestampNs)
{
    using Verdict = sm::SampleClock::Verdict;
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
    takeAir(record, sample);
    takeTemperatures(record, sample);
    return sample;
}

void Sampler::takeMotion(const om::SensorsData& record, Sample& sample)
{
    const auto& imu = record.imu;
    sample.acceleration = imu.linearAcceleration;
    sample.direction = sm::unit(sample.acceleration);
    sample.angularVelocity = imu.angularVelocity;
    m_limits.accel =
        chartlimits::widenedRange(m_limits.accel, sm::largestMagnitude(sample.acceleration));
    m_limits.gyro =
        chartlimits::widenedRange(m_limits.gyro, sm::largestMagnitude(sample.angularVelocity));

    sample.field = record.magnetometer.magneticFieldUncalibrated;
    sample.fieldIsCalibrated =
        sm::differ(record.magnetometer.magneticFieldCalibrated, sample.field);
    if (!sm::isSaturated(sample.field)) {
        m_limits.mag = chartlimits::widenedRange(m_limits.mag, sm::largestMagnitude(sample.field));
    }

    sample.angles = sm::eulerDegrees(record);
    m_limits.orient =
        chartlimits::widenedRange(m_limits.orient, sm::largestMagnitude(sample.angles));
    sample.orientation = imu.pose.getOrientation();
    sample.movingState = record.cameraMovingState;
}

void Sampler::takeAir(const om::SensorsData& record, Sample& sample)
{
    sample.pressure = sm::hectopascals(record.barometer.pressure);
    m_limits.pressureMax = chartlimits::widenedPressureMax(m_limits.pressureMax, sample.pressure);
    m_limits.pressureMin = chartlimits::widenedPressureMin(m_limits.pressureMin, sample.pressure);
    sample.altitude = record.barometer.relativeAltitude;
    m_limits.altitudeMax = chartlimits::widenedAltitudeMax(m_limits.altitudeMax, sample.altitude);
    m_limits.altitudeMin = chartlimits::widenedAltitudeMin(m_limits.altitudeMin, sample.altitude);
}

void Sampler::takeTemperatures(const om::SensorsData& record, Sample& sample)
{
    sample.temperatureFallback = m_boardTemperatures.take(record);
    sample.left = m_boardTemperatures.left();
    sample.right = m_boardTemperatures.right();
    m_limits.temperatureMax = chartlimits::widenedTemperatureMax(
        m_limits.temperatureMax, std::max(sample.left, sample.right));
    m_limits.temperatureMin = chartlimits::widenedTemperatureMin(
        m_limits.temperatureMin, std::min(sample.left, sample.right));
}

} // namespace sensorsample
