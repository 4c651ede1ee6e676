#include "library/sensor_reader.h"

#include "world/heading.h"
#include "world/standard_air.h"

#include <algorithm>

namespace om {

int SensorsData::TemperatureData::get(SENSOR_LOCATION location, float& value) const
{
    const auto found = values.find(location);
    if (found == values.end()) {
        return 1;
    }
    value = found->second;
    return 0;
}

} // namespace om

namespace om::bench {

namespace {

/// Longest wait for a new sample.
constexpr std::chrono::milliseconds newSampleWait{5};

/// Samples over which the pressure at the opening is averaged: two seconds.
constexpr std::uint64_t groundSamples = 50;

constexpr Nanoseconds temperatureSlot = 40 * nsPerMs;

using LOCATION = SensorsData::TemperatureData::SENSOR_LOCATION;

} // namespace

SensorReader::SensorReader(std::shared_ptr<VirtualCamera> camera, COORDINATE_SYSTEM system)
    : m_camera(std::move(camera)), m_source(m_camera->source()),
      m_imageAxes(system == COORDINATE_SYSTEM::IMAGE)
{
    const Nanoseconds now = m_camera->clock().now();
    for (Stream* const stream : {&m_imu, &m_magnetometer, &m_barometer}) {
        const auto last = m_source->newest(stream->kind, now);
        // The slow streams begin with their newest reading: a record without a pressure would mean
        // a vacuum.
        stream->first = last ? *last + (stream->kind == STREAM::IMU ? 1 : 0) : 0;
    }
    if (m_source->has(STREAM::BAROMETER)) {
        // The average of samples before the opening; the noise of a single sample would be a
        // permanent error.
        const std::uint64_t from = m_barometer.first - std::min(m_barometer.first, groundSamples);
        const std::uint64_t count = std::max<std::uint64_t>(m_barometer.first - from, 1);
        for (std::uint64_t i = 0; i < count; ++i) {
            m_groundPressure += m_source->barometer(from + i).pressure / static_cast<double>(count);
        }
    }
    m_camera->startCounting(m_imu.first);
}

void SensorReader::current(SensorsData& data, const std::function<bool()>& done)
{
    Clock& clock = m_camera->clock();
    Nanoseconds next = 0;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        std::uint64_t number = m_returned ? *m_returned + 1 : m_imu.first;
        while (m_source->isLost(STREAM::IMU, number)) {
            ++number;
        }
        next = m_source->timeOf(STREAM::IMU, number);
    }
    if (clock.now() < next) {
        clock.waitUntil(next, newSampleWait, done);
    }
    const Nanoseconds now = clock.now();
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto number = newest(m_imu, now);
    fill(now, data);
    if (number && number != m_returned) {
        m_camera->countDelivered(readingOf(data));
        m_returned = number;
    }
}

void SensorReader::at(Nanoseconds time, SensorsData& data)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    fill(time, data);
}

std::optional<std::uint64_t> SensorReader::newest(const Stream& stream, Nanoseconds time) const
{
    const auto number = m_source->newest(stream.kind, time);
    return number && *number >= stream.first ? number : std::nullopt;
}

/// Measured over the number of samples of a second at the nominal rate, or over the samples since
/// the opening if there are fewer.
float SensorReader::effectiveRate(const Stream& stream, std::uint64_t number) const
{
    const std::uint64_t span =
        std::min(number - stream.first, static_cast<std::uint64_t>(stream.rate));
    if (span == 0) {
        return 0.0F;
    }
    const Nanoseconds time =
        m_source->timeOf(stream.kind, number) - m_source->timeOf(stream.kind, number - span);
    return static_cast<float>(static_cast<double>(span) * 1e9 / static_cast<double>(time));
}

void SensorReader::fill(Nanoseconds time, SensorsData& data)
{
    const Faults faults = m_camera->faults();
    fillMagnetometer(time, faults, data);
    fillBarometer(time, faults, data);
    fillTemperatures(time, faults, data);
    if (const auto number = newest(m_imu, time); number) {
        fillImu(*number, data);
        if (!m_imageAxes) {
            m_source->complete(*number, data);
        }
    } else {
        data.imu = SensorsData::IMUData();
        data.cameraMovingState = 0;
    }
}

void SensorReader::fillImu(std::uint64_t number, SensorsData& data)
{
    const ImuSample sample = m_source->imu(number);
    Orientation orientation;
    // In the axes of the image a rotation has the same angle and a rotated axis.
    const double sign = m_imageAxes ? -1.0 : 1.0;
    orientation.ow = static_cast<float>(sample.pose.w);
    orientation.ox = static_cast<float>(sample.pose.x);
    orientation.oy = static_cast<float>(sign * sample.pose.y);
    orientation.oz = static_cast<float>(sign * sample.pose.z);
    data.imu.timestamp = m_camera->reportedTime(STREAM::IMU, number);
    data.imu.pose = Transform(orientation, Translation());
    data.imu.angularVelocity = inSystem(sample.angularVelocity);
    data.imu.linearAcceleration = inSystem(sample.linearAcceleration);
    data.imu.effectiveRate = effectiveRate(m_imu, number);
    data.cameraMovingState = sample.movingState;
}

void SensorReader::fillMagnetometer(Nanoseconds time, const Faults& faults, SensorsData& data)
{
    if (!m_source->has(STREAM::MAGNETOMETER) || faults.magnetometerAbsent) {
        data.magnetometer = SensorsData::MagnetometerData();
        return;
    }
    const auto number = newest(m_magnetometer, time);
    const std::uint64_t version = m_camera->calibrationVersion();
    if (number && (number != m_magnetometerNumber || version != m_calibrationVersion)) {
        const Vector body = m_source->magnetometer(*number).body();
        m_magnetometerData.magneticFieldUncalibrated = inSystem(body);
        m_magnetometerData.magneticFieldCalibrated =
            inSystem(fromSensorAxes(correctedField(m_camera->calibration(), toSensorAxes(body))));
        m_magnetometerData.effectiveRate = effectiveRate(m_magnetometer, *number);
        m_magnetometerNumber = number;
        m_calibrationVersion = version;
    }
    data.magnetometer = number ? m_magnetometerData : SensorsData::MagnetometerData();
    if (number) {
        data.magnetometer.isAvailable = true;
        data.magnetometer.timestamp = m_camera->reportedTime(STREAM::MAGNETOMETER, *number);
    }
}

void SensorReader::fillBarometer(Nanoseconds time, const Faults& faults, SensorsData& data)
{
    if (!m_source->has(STREAM::BAROMETER) || faults.barometerAbsent) {
        data.barometer = SensorsData::BarometerData();
        return;
    }
    const auto number = newest(m_barometer, time);
    if (number && number != m_barometerNumber) {
        const double pressure = m_source->barometer(*number).pressure;
        m_barometerData.pressure = static_cast<float>(pressure);
        m_barometerData.relativeAltitude =
            static_cast<float>(heightAbove(m_groundPressure, pressure));
        m_barometerData.effectiveRate = effectiveRate(m_barometer, *number);
        m_barometerNumber = number;
    }
    data.barometer = number ? m_barometerData : SensorsData::BarometerData();
    if (number) {
        data.barometer.isAvailable = true;
        data.barometer.timestamp = m_camera->reportedTime(STREAM::BAROMETER, *number);
    }
}

void SensorReader::fillTemperatures(Nanoseconds time, const Faults& faults, SensorsData& data)
{
    const Nanoseconds slot = time / temperatureSlot;
    if (m_temperatureSlot != slot) {
        m_temperatureSlot = slot;
        m_temperatures.values.clear();
        const auto values = m_source->temperatures(slot * temperatureSlot);
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (values[i]) {
                m_temperatures.values[static_cast<LOCATION>(i)] = static_cast<float>(*values[i]);
            }
        }
    }
    data.temperature = m_temperatures;
    if (faults.boardTemperaturesAbsent) {
        data.temperature.values.erase(LOCATION::LEFT);
        data.temperature.values.erase(LOCATION::RIGHT);
    }
    if (faults.imuTemperatureAbsent) {
        data.temperature.values.erase(LOCATION::IMU);
    }
}

Reading SensorReader::readingOf(const SensorsData& data) const
{
    const auto inBody = [this](const Vector3<float>& v) {
        const double sign = m_imageAxes ? -1.0 : 1.0;
        return Vector{double{v.x}, sign * double{v.y}, sign * double{v.z}};
    };
    Reading reading;
    reading.acceleration = inBody(data.imu.linearAcceleration);
    reading.angularVelocity = inBody(data.imu.angularVelocity);
    if (data.magnetometer.isAvailable) {
        reading.field = inBody(data.magnetometer.magneticFieldUncalibrated);
    }
    return reading;
}

Vector3<float> SensorReader::inSystem(const Vector& body) const
{
    const double sign = m_imageAxes ? -1.0 : 1.0;
    return {static_cast<float>(body.x), static_cast<float>(sign * body.y),
            static_cast<float>(sign * body.z)};
}

} // namespace om::bench
