#include "world/physics.h"

#include "base/noise.h"
#include "world/degrees.h"
#include "world/standard_air.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace om::bench {

namespace {

/// The channels of the random numbers.
enum CHANNEL : std::uint64_t {
    JITTER_IMU = 1,
    JITTER_MAGNETOMETER,
    JITTER_BAROMETER,
    ACCELERATION,
    ANGULAR_VELOCITY = ACCELERATION + 3,
    MAGNETIC = ANGULAR_VELOCITY + 3,
    PRESSURE = MAGNETIC + 3,
    TEMPERATURE,
    WEATHER = 1000, // for uniform(), whose channels are separate from those of gaussian()
    LOSS = 1100,    // for uniform(); one for each stream
    ACCELEROMETER_ERRORS = 1U << 20U, // far above the others, which gaussian() doubles
    GYROSCOPE_ERRORS = ACCELEROMETER_ERRORS + SensorErrorProcess::channels,
    MAGNETOMETER_ERRORS = GYROSCOPE_ERRORS + SensorErrorProcess::channels,
    BAROMETER_ERRORS = MAGNETOMETER_ERRORS + SensorErrorProcess::channels,
};

constexpr double jitterDeviation = 0.012; // share of a period

/// Ranges of the IMU.
constexpr double mostAcceleration = 8.0 * standardGravity; // m/s^2
constexpr double mostAngularVelocity = 1000.0;             // degrees per second

constexpr double mostPressure = 130000.0;      // Pa, far above any air on earth
constexpr double leastPressure = 100.0;        // Pa; a pressure below 0 has no altitude
constexpr double mostField = INT16_MAX / 16.0; // uT, of the magnetometer's counts

/// In air of constant temperature, the camera's temperatures are T0 + R (1 - exp(-t / T)).
constexpr double temperatureRise = 12.0;          // R, degrees Celsius
constexpr double temperatureTimeConstant = 240.0; // T, s
constexpr Nanoseconds temperaturePeriod = 40 * nsPerMs;

/// The location whose temperature a sensor has; the magnetometer is next to the IMU.
constexpr std::size_t imuLocation = 0;
constexpr std::size_t barometerLocation = 1;

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
        return imuRate;
    case STREAM::MAGNETOMETER:
        return magnetometerRate;
    case STREAM::BAROMETER:
        break;
    }
    return barometerRate;
}

PhysicsSource::PhysicsSource(const CameraConfig& config,
                             std::shared_ptr<const MotionTimeline> motion,
                             std::shared_ptr<const Environment> environment, Nanoseconds start,
                             std::uint64_t plugCount)
    : m_config(config), m_seed(config.seed != 0 ? config.seed : mix(config.serialNumber)),
      m_motion(std::move(motion)), m_environment(std::move(environment)), m_start(start),
      m_accelerometer(
          errorsOf(config.errors.accelerometer, ACCELEROMETER_ERRORS, imuRate, plugCount)),
      m_gyroscope(errorsOf(config.errors.gyroscope, GYROSCOPE_ERRORS, imuRate, plugCount)),
      m_magnetometer(
          errorsOf(config.errors.magnetometer, MAGNETOMETER_ERRORS, magnetometerRate, plugCount)),
      m_barometer(errorsOf(config.errors.barometer, BAROMETER_ERRORS, barometerRate, plugCount))
{}

PhysicsSource::Errors PhysicsSource::errorsOf(const ErrorModel& model, std::uint64_t channel,
                                              double rate, std::uint64_t plugCount) const
{
    return model.isOff() ? nullptr
                         : std::make_unique<const SensorErrorProcess>(model, m_seed, channel, rate,
                                                                      plugCount);
}

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
    const double jitter = std::clamp(
        jitterDeviation * gaussian(m_seed, jitterChannel(stream), number), -mostJitter, mostJitter);
    const auto offset = static_cast<std::int64_t>(jitter * static_cast<double>(period));
    const Nanoseconds elapsed = (number + 1) * period; // by the sensors' clock
    const double fast = 1e-6 * m_config.errors.clockDrift;
    const std::int64_t early = std::llround(static_cast<double>(elapsed) * (fast / (1.0 + fast)));
    return m_start + elapsed + static_cast<Nanoseconds>(offset) - static_cast<Nanoseconds>(early);
}

bool PhysicsSource::isLost(STREAM stream, std::uint64_t number) const
{
    const SensorErrors& errors = m_config.errors;
    return errors.droppedSamples > 0.0 &&
           uniform(m_seed, LOSS + static_cast<std::uint64_t>(stream),
                   number / static_cast<std::uint64_t>(errors.droppedTogether)) <
               0.01 * errors.droppedSamples;
}

std::optional<std::uint64_t> PhysicsSource::newest(STREAM stream, Nanoseconds time) const
{
    if (!has(stream) || time < m_start) {
        return std::nullopt;
    }
    const auto period = static_cast<Nanoseconds>(1e9 / rateOf(stream));
    // The jitter is far below a period, so the number is wrong by at most one, or by two if the
    // clock drifts.
    std::uint64_t count = (time - m_start) / period + 1; // number of samples up to the time
    if (m_config.errors.clockDrift != 0.0) {
        count = static_cast<std::uint64_t>(static_cast<double>(time - m_start) *
                                           (1.0 + 1e-6 * m_config.errors.clockDrift) /
                                           static_cast<double>(period)) +
                2;
    }
    while (count > 0 && (timeOf(stream, count - 1) > time || isLost(stream, count - 1))) {
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

Vector PhysicsSource::noise(std::uint64_t channel, std::uint64_t number,
                            const Vector& deviation) const
{
    return {deviation.x * gaussian(m_seed, channel, number),
            deviation.y * gaussian(m_seed, channel + 1, number),
            deviation.z * gaussian(m_seed, channel + 2, number)};
}

Nanoseconds PhysicsSource::sinceStart(Nanoseconds time) const
{
    return time > m_start ? time - m_start : 0;
}

Vector PhysicsSource::accelerationOf(const ImuSample& sample, const Vector& force) const
{
    const SensorErrors& errors = m_config.errors;
    if (!m_accelerometer) {
        return clipped(force + errors.accelerationBias +
                           noise(ACCELERATION, sample.number, errors.accelerationNoise),
                       mostAcceleration);
    }
    const double temperature = trueTemperature(imuLocation, sample.time);
    const Vector reading =
        m_accelerometer->distorted(force, temperature) + errors.accelerationBias +
        m_accelerometer->bias(sinceStart(sample.time), temperature) +
        noise(ACCELERATION, sample.number, m_accelerometer->noise(errors.accelerationNoise)) +
        m_accelerometer->spike(sample.number);
    return m_accelerometer->limited(reading, m_accelerometer->range(mostAcceleration));
}

/// @param rate degrees per second
Vector PhysicsSource::angularVelocityOf(const ImuSample& sample, const Vector& rate,
                                        const Vector& force) const
{
    const SensorErrors& errors = m_config.errors;
    if (!m_gyroscope) {
        return clipped(rate + errors.angularVelocityBias +
                           noise(ANGULAR_VELOCITY, sample.number, errors.angularVelocityNoise),
                       mostAngularVelocity);
    }
    const double temperature = trueTemperature(imuLocation, sample.time);
    const Nanoseconds time = sinceStart(sample.time);
    const Vector reading =
        m_gyroscope->distorted(rate + m_gyroscope->vibration(time), temperature) +
        m_gyroscope->gSensitivity(force) + errors.angularVelocityBias +
        m_gyroscope->bias(time, temperature) +
        noise(ANGULAR_VELOCITY, sample.number, m_gyroscope->noise(errors.angularVelocityNoise)) +
        m_gyroscope->spike(sample.number);
    return m_gyroscope->limited(reading, m_gyroscope->range(mostAngularVelocity));
}

ImuSample PhysicsSource::imu(std::uint64_t number) const
{
    ImuSample sample;
    sample.number = number;
    sample.time = timeOf(STREAM::IMU, number);
    const BodyState body = m_motion->at(sample.time);
    sample.pose = body.pose;
    // A vibration moves the whole board, so that it also affects the gyroscope through its
    // g-sensitivity.
    const Vector force =
        m_accelerometer ? body.specificForce + m_accelerometer->vibration(sinceStart(sample.time))
                        : body.specificForce;
    sample.angularVelocity =
        angularVelocityOf(sample, degreesPerRadian * body.angularVelocity, force);
    sample.linearAcceleration = accelerationOf(sample, force);
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
    Vector reading;
    bool saturated = m_environment->magnetometerSaturated.load();
    if (!m_magnetometer) {
        reading = m_config.softIron * field + m_config.hardIron +
                  noise(MAGNETIC, number, m_config.errors.magneticNoise);
    } else {
        const double temperature = trueTemperature(imuLocation, sample.time);
        const Vector wide =
            m_magnetometer->distorted(m_config.softIron * field, temperature) + m_config.hardIron +
            m_magnetometer->bias(sinceStart(sample.time), temperature) +
            noise(MAGNETIC, number, m_magnetometer->noise(m_config.errors.magneticNoise)) +
            m_magnetometer->spike(number);
        const double range = m_magnetometer->range(mostField);
        saturated = saturated || std::abs(wide.x) > range || std::abs(wide.y) > range ||
                    std::abs(wide.z) > range;
        reading = m_magnetometer->limited(wide, range);
    }
    const Vector sensor = toSensorAxes(reading);
    const std::array<double, 3> values = {sensor.x, sensor.y, sensor.z};
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
        0.7 * std::sin(2.0 * pi * (seconds / 600.0 + uniform(m_seed, WEATHER, 0))) +
        0.3 * std::sin(2.0 * pi * (seconds / 173.0 + uniform(m_seed, WEATHER, 1)));
    const double deviation =
        m_barometer ? m_barometer->noise(errors.pressureNoise).x : errors.pressureNoise;
    sample.pressure = standardPressure(m_config.altitude + m_motion->at(sample.time).height) +
                      errors.pressureBias + errors.pressureDrift * weather +
                      deviation * gaussian(m_seed, PRESSURE, number);
    if (m_barometer) {
        const double temperature = trueTemperature(barometerLocation, sample.time);
        const Vector spike = m_barometer->spike(number); // on any axis: the sum is its size
        const double reading = sample.pressure +
                               m_barometer->bias(sinceStart(sample.time), temperature).x + spike.x +
                               spike.y + spike.z;
        sample.pressure = m_barometer->limited({reading, 0.0, 0.0}, mostPressure).x;
    }
    sample.pressure = std::max(sample.pressure, leastPressure);
    return sample;
}

double PhysicsSource::trueTemperature(std::size_t location, Nanoseconds time) const
{
    const double since = static_cast<double>(sinceStart(time)) * 1e-9;
    const double rise = temperatureRise * (1.0 - std::exp(-since / temperatureTimeConstant));
    return m_config.startTemperatures[location] + rise + m_environment->air.excessAt(time);
}

std::array<std::optional<double>, 4> PhysicsSource::temperatures(Nanoseconds time) const
{
    const Nanoseconds since = sinceStart(time);
    std::array<std::optional<double>, 4> values;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (hasTemperature(m_config.model, static_cast<int>(i))) {
            values[i] = trueTemperature(i, time) +
                        m_config.errors.temperatureNoise *
                            gaussian(m_seed, TEMPERATURE + i, since / temperaturePeriod);
        }
    }
    return values;
}

} // namespace om::bench
