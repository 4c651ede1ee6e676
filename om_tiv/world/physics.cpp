#include "world/physics.h"

#include "base/noise.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace om::bench {

namespace {

/// What a random number is for.
enum CHANNEL : std::uint64_t {
    JITTER_IMU = 1,
    JITTER_MAGNETOMETER,
    JITTER_BAROMETER,
    ACCELERATION,
    ANGULAR_VELOCITY = ACCELERATION + 3,
    MAGNETIC = ANGULAR_VELOCITY + 3,
    PRESSURE = MAGNETIC + 3,
    TEMPERATURE,
    WEATHER = 1000, // of uniform(), whose channels lie beside those of gaussian()
};

constexpr double JITTER_DEVIATION = 0.012; // of a period

/// Ranges of the IMU.
constexpr double MOST_ACCELERATION = 8.0 * STANDARD_GRAVITY; // m/s^2
constexpr double MOST_ANGULAR_VELOCITY = 1000.0;             // degrees per second

/// In air that stays the same, temperatures follow T0 + RISE (1 - exp(-t / TIME_CONSTANT)).
constexpr double TEMPERATURE_RISE = 12.0;           // degrees Celsius
constexpr double TEMPERATURE_TIME_CONSTANT = 240.0; // s
constexpr Nanoseconds TEMPERATURE_PERIOD = 40 * NS_PER_MS;

constexpr double DEGREES = 180.0 / PI;

/// The international standard atmosphere's troposphere; Pa from metres above sea level.
double standardPressure(double altitude)
{
    return 101325.0 * std::pow(1.0 - 2.25577e-5 * altitude, 5.25588);
}

Vector clipped(const Vector& v, double most)
{
    return {std::clamp(v.x, -most, most), std::clamp(v.y, -most, most),
            std::clamp(v.z, -most, most)};
}

std::uint64_t jitterChannel(STREAM stream)
{
    switch (stream) {
    case STREAM::IMU:
        return JITTER_IMU;
    case STREAM::MAGNETOMETER:
        return JITTER_MAGNETOMETER;
    case STREAM::BAROMETER:
        break;
    }
    return JITTER_BAROMETER;
}

} // namespace

double PhysicsSource::rateOf(STREAM stream)
{
    switch (stream) {
    case STREAM::IMU:
        return IMU_RATE;
    case STREAM::MAGNETOMETER:
        return MAGNETOMETER_RATE;
    case STREAM::BAROMETER:
        break;
    }
    return BAROMETER_RATE;
}

PhysicsSource::PhysicsSource(const CameraConfig& config,
                             std::shared_ptr<const MotionTimeline> motion,
                             std::shared_ptr<const Environment> environment, Nanoseconds start)
    : m_config(config), m_seed(config.seed != 0 ? config.seed : mix(config.serialNumber)),
      m_motion(std::move(motion)), m_environment(std::move(environment)), m_start(start)
{}

bool PhysicsSource::has(STREAM stream) const
{
    switch (stream) {
    case STREAM::IMU:
        return hasImu(m_config.model);
    case STREAM::MAGNETOMETER:
        return hasMagnetometer(m_config.model);
    case STREAM::BAROMETER:
        break;
    }
    return hasBarometer(m_config.model);
}

Nanoseconds PhysicsSource::timeOf(STREAM stream, std::uint64_t number) const
{
    const auto period = static_cast<Nanoseconds>(1e9 / rateOf(stream));
    const double jitter =
        std::clamp(JITTER_DEVIATION * gaussian(m_seed, jitterChannel(stream), number), -MOST_JITTER,
                   MOST_JITTER);
    const auto offset = static_cast<std::int64_t>(jitter * static_cast<double>(period));
    return m_start + (number + 1) * period + static_cast<Nanoseconds>(offset);
}

std::optional<std::uint64_t> PhysicsSource::newest(STREAM stream, Nanoseconds time) const
{
    if (!has(stream) || time < m_start) {
        return std::nullopt;
    }
    const auto period = static_cast<Nanoseconds>(1e9 / rateOf(stream));
    // The jitter is far below a period, so that the number is off by one at most.
    std::uint64_t count = (time - m_start) / period + 1; // of samples up to the time
    while (count > 0 && timeOf(stream, count - 1) > time) {
        --count;
    }
    return count > 0 ? std::optional<std::uint64_t>(count - 1) : std::nullopt;
}

Vector PhysicsSource::noise(std::uint64_t channel, std::uint64_t number, double deviation) const
{
    if (deviation == 0.0) {
        return {};
    }
    return deviation * Vector{gaussian(m_seed, channel, number),
                              gaussian(m_seed, channel + 1, number),
                              gaussian(m_seed, channel + 2, number)};
}

ImuSample PhysicsSource::imu(std::uint64_t number) const
{
    const SensorErrors& errors = m_config.errors;
    ImuSample sample;
    sample.number = number;
    sample.time = timeOf(STREAM::IMU, number);
    const BodyState body = m_motion->at(sample.time);
    sample.pose = body.pose;
    sample.angularVelocity =
        clipped(DEGREES * body.angularVelocity + errors.angularVelocityBias +
                    noise(ANGULAR_VELOCITY, number, errors.angularVelocityNoise),
                MOST_ANGULAR_VELOCITY);
    sample.linearAcceleration = clipped(body.specificForce + errors.accelerationBias +
                                            noise(ACCELERATION, number, errors.accelerationNoise),
                                        MOST_ACCELERATION);
    sample.movingState = body.movingState;
    return sample;
}

MagnetometerSample PhysicsSource::magnetometer(std::uint64_t number) const
{
    MagnetometerSample sample;
    sample.number = number;
    sample.time = timeOf(STREAM::MAGNETOMETER, number);
    const Vector field =
        rotate(conjugate(m_motion->poseAt(sample.time)), m_environment->fieldAt(sample.time));
    const Vector reading = m_config.softIron * field + m_config.hardIron +
                           noise(MAGNETIC, number, m_config.errors.magneticNoise);
    const Vector sensor = toSensorAxes(reading);
    const std::array<double, 3> values = {sensor.x, sensor.y, sensor.z};
    bool saturated = m_environment->magnetometerSaturated.load();
    for (std::size_t i = 0; i < 3; ++i) {
        const double counts = std::round(values[i] * 16.0);
        saturated = saturated || !(std::abs(counts) <= INT16_MAX);
        sample.counts[i] =
            static_cast<std::int16_t>(std::clamp(counts, -double{INT16_MAX}, double{INT16_MAX}));
    }
    if (saturated) {
        sample.counts[2] = INT16_MIN;
    }
    return sample;
}

BarometerSample PhysicsSource::barometer(std::uint64_t number) const
{
    const SensorErrors& errors = m_config.errors;
    BarometerSample sample;
    sample.number = number;
    sample.time = timeOf(STREAM::BAROMETER, number);
    const double seconds = static_cast<double>(sample.time - m_start) * 1e-9;
    const double weather =
        0.7 * std::sin(2.0 * PI * (seconds / 600.0 + uniform(m_seed, WEATHER, 0))) +
        0.3 * std::sin(2.0 * PI * (seconds / 173.0 + uniform(m_seed, WEATHER, 1)));
    sample.pressure = standardPressure(m_config.altitude + m_motion->at(sample.time).height) +
                      errors.pressureBias + errors.pressureDrift * weather +
                      errors.pressureNoise * gaussian(m_seed, PRESSURE, number);
    return sample;
}

std::array<std::optional<double>, 4> PhysicsSource::temperatures(Nanoseconds time) const
{
    const Nanoseconds since = time > m_start ? time - m_start : 0;
    const double rise =
        TEMPERATURE_RISE *
        (1.0 - std::exp(-static_cast<double>(since) * 1e-9 / TEMPERATURE_TIME_CONSTANT));
    const double excess = m_environment->air.excessAt(time);
    std::array<std::optional<double>, 4> values;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (hasTemperature(m_config.model, static_cast<int>(i))) {
            values[i] = m_config.startTemperatures[i] + rise + excess +
                        m_config.errors.temperatureNoise *
                            gaussian(m_seed, TEMPERATURE + i, since / TEMPERATURE_PERIOD);
        }
    }
    return values;
}

} // namespace om::bench
