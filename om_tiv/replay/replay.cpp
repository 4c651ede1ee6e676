#include "replay/replay.h"

#include "replay/replay_pose.h"
#include "world/degrees.h"
#include "world/environment.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace om::bench {

namespace {

/// The rotation of Euler angles in degrees, X first.
Quaternion rotationOf(const std::array<float, 3>& degrees)
{
    const auto about = [](const Vector& axis, double angle) {
        return fromRotationVector(toRadians(angle) * axis);
    };
    return about({0.0, 0.0, 1.0}, degrees[2]) *
           (about({0.0, 1.0, 0.0}, degrees[1]) * about({1.0, 0.0, 0.0}, degrees[0]));
}

} // namespace

ReplaySource::ReplaySource(std::shared_ptr<const SensorRecording> recording, bool looping,
                           Nanoseconds start, std::shared_ptr<const Environment> environment)
    : m_recording(std::move(recording)), m_looping(looping), m_start(start),
      m_environment(std::move(environment)),
      m_period(m_recording->time(m_recording->size() - 1) *
               (1.0 + 1.0 / static_cast<double>(m_recording->size() - 1)))
{}

std::size_t ReplaySource::countOf(STREAM stream) const
{
    switch (stream) {
    case STREAM::MAGNETOMETER:
        return m_recording->magnetometerRows().size();
    case STREAM::BAROMETER:
        return m_recording->barometerRows().size();
    case STREAM::IMU:
        break;
    }
    return m_recording->size();
}

bool ReplaySource::has(STREAM stream) const
{
    return countOf(stream) > 0;
}

std::size_t ReplaySource::rowOf(STREAM stream, std::uint64_t number) const
{
    const std::size_t count = countOf(stream);
    const auto place = static_cast<std::size_t>(
        m_looping ? number % count : std::min<std::uint64_t>(number, count - 1));
    switch (stream) {
    case STREAM::MAGNETOMETER:
        return m_recording->magnetometerRows()[place];
    case STREAM::BAROMETER:
        return m_recording->barometerRows()[place];
    case STREAM::IMU:
        break;
    }
    return place;
}

double ReplaySource::secondsOf(STREAM stream, std::uint64_t number) const
{
    const std::uint64_t round = m_looping ? number / countOf(stream) : 0;
    return static_cast<double>(round) * m_period + m_recording->time(rowOf(stream, number));
}

Nanoseconds ReplaySource::timeOf(STREAM stream, std::uint64_t number) const
{
    if (!m_looping && number >= countOf(stream)) {
        return UINT64_MAX; // never
    }
    return m_start + static_cast<Nanoseconds>(std::llround(secondsOf(stream, number) * 1e9));
}

std::optional<std::uint64_t> ReplaySource::newest(STREAM stream, Nanoseconds time) const
{
    const std::size_t count = countOf(stream);
    if (count == 0 || time < m_start) {
        return std::nullopt;
    }
    const double seconds = static_cast<double>(time - m_start) * 1e-9;
    const auto round = m_looping ? static_cast<std::uint64_t>(seconds / m_period) : 0;
    const double within = seconds - static_cast<double>(round) * m_period;
    std::size_t first = 0; // of the samples after that moment
    for (std::size_t rest = count; rest > 0;) {
        const std::size_t half = rest / 2;
        if (m_recording->time(rowOf(stream, first + half)) <= within) {
            first += half + 1;
            rest -= half + 1;
        } else {
            rest = half;
        }
    }
    std::uint64_t number = round * count + first;
    // The search uses seconds, but the reported times are whole nanoseconds.
    while (number > 0 && timeOf(stream, number - 1) > time) {
        --number;
    }
    while (timeOf(stream, number) <= time) {
        ++number;
    }
    return number > 0 ? std::optional<std::uint64_t>(number - 1) : std::nullopt;
}

ImuSample ReplaySource::imu(std::uint64_t number) const
{
    const SensorRecording::Row row = m_recording->row(rowOf(STREAM::IMU, number));
    ImuSample sample;
    sample.number = number;
    sample.time = timeOf(STREAM::IMU, number);
    sample.pose = rotationOf(row.eulerAngles);
    sample.angularVelocity = {row.angularVelocity[0], row.angularVelocity[1],
                              row.angularVelocity[2]};
    sample.linearAcceleration = {row.acceleration[0], row.acceleration[1], row.acceleration[2]};
    sample.movingState = row.movingState;
    return sample;
}

MagnetometerSample ReplaySource::magnetometer(std::uint64_t number) const
{
    const SensorRecording::Row row = m_recording->row(rowOf(STREAM::MAGNETOMETER, number));
    MagnetometerSample sample;
    sample.number = number;
    sample.time = timeOf(STREAM::MAGNETOMETER, number);
    Vector field{row.magneticField[0], row.magneticField[1], row.magneticField[2]};
    if (m_environment) {
        field = field + rotate(conjugate(rotationOf(row.eulerAngles)),
                               m_environment->disturbanceAt(sample.time));
    }
    const Vector sensor = toSensorAxes(field);
    const std::array<double, 3> axes = {sensor.x, sensor.y, sensor.z};
    for (std::size_t i = 0; i < axes.size(); ++i) {
        sample.counts[i] =
            static_cast<std::int16_t>(std::lround(std::clamp(axes[i] * 16.0, -32768.0, 32767.0)));
    }
    if (m_environment && m_environment->magnetometerSaturated.load()) {
        sample.counts[2] = INT16_MIN;
    }
    return sample;
}

BarometerSample ReplaySource::barometer(std::uint64_t number) const
{
    const SensorRecording::Row row = m_recording->row(rowOf(STREAM::BAROMETER, number));
    return {number, timeOf(STREAM::BAROMETER, number), double{row.pressure} * 100.0};
}

std::array<std::optional<double>, 4> ReplaySource::temperatures(Nanoseconds time) const
{
    const auto number = newest(STREAM::IMU, time);
    if (!m_recording->hasTemperatures || !number) {
        return {};
    }
    const SensorRecording::Row row = m_recording->row(rowOf(STREAM::IMU, *number));
    std::array<std::optional<double>, 4> values;
    std::copy(row.temperatures.begin(), row.temperatures.end(), values.begin());
    return values;
}

void ReplaySource::complete(std::uint64_t imuNumber, SensorsData& data) const
{
    // Restores the recorded values, which the library's arithmetic may have rounded.
    const SensorRecording::Row row = m_recording->row(rowOf(STREAM::IMU, imuNumber));
    if (m_recording->hasEulerAngles) {
        data.imu.pose = transformOfEulerDegrees(row.eulerAngles);
    }
    if (data.barometer.isAvailable && m_recording->hasBarometer) {
        data.barometer.pressure = pascalsOfHectopascals(row.pressure);
        data.barometer.relativeAltitude = row.relativeAltitude;
    }
    using Location = SensorsData::TemperatureData::SENSOR_LOCATION;
    for (std::size_t i = 0; i < row.temperatures.size(); ++i) {
        const auto present = data.temperature.values.find(static_cast<Location>(i));
        if (present != data.temperature.values.end()) {
            present->second = row.temperatures[i];
        }
    }
}

} // namespace om::bench
