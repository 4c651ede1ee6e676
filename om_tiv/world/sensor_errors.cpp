#include "world/sensor_errors.h"

#include "base/noise.h"
#include "world/flicker.h"
#include "world/random_walk.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>

namespace om::bench {

namespace {

/// The channels of the random numbers, relative to the sensor's first channel.
enum ERROR_CHANNEL : std::uint64_t {
    TURN_ON,
    SPIKE = TURN_ON + 3,
    SPIKE_AXIS,
    WALK = 16,
    FLICKER = 64,
};
static_assert(FLICKER + 3 * Flicker::channels <= SensorErrorProcess::channels);

std::array<double, 3> values(const Vector& v)
{
    return {v.x, v.y, v.z};
}

bool isZero(const Vector& v)
{
    return v.x == 0.0 && v.y == 0.0 && v.z == 0.0;
}

/// Element by element.
Vector product(const Vector& a, const Vector& b)
{
    return {a.x * b.x, a.y * b.y, a.z * b.z};
}

} // namespace

bool ErrorModel::isOff() const
{
    return isZero(noiseDensity) && isZero(biasInstability) && isZero(randomWalk) &&
           isZero(turnOnSpread) && isZero(temperatureBias) && isZero(temperatureScaleFactor) &&
           scaleFactor.x == 1.0 && scaleFactor.y == 1.0 && scaleFactor.z == 1.0 &&
           axesMisalignment == Matrix3{} && gSensitivity == Matrix3{} && resolution == 0.0 &&
           measurementRange == 0.0 && isZero(vibrationAmplitude) && spikeShare == 0.0;
}

/// The random processes of one axis; each is null if the axis does not have it.
struct SensorErrorProcess::Axis
{
    std::optional<RandomWalk> walk;
    std::optional<Flicker> flicker;
};

SensorErrorProcess::SensorErrorProcess(const ErrorModel& model, std::uint64_t seed,
                                       std::uint64_t channel, double rate, std::uint64_t plugCount)
    : m_model(model), m_seed(seed), m_channel(channel), m_rate(rate),
      m_turnOnBias(product(model.turnOnSpread, {gaussian(seed, channel + TURN_ON, plugCount),
                                                gaussian(seed, channel + TURN_ON + 1, plugCount),
                                                gaussian(seed, channel + TURN_ON + 2, plugCount)}))
{
    const std::array<double, 3> walks = values(model.randomWalk);
    const std::array<double, 3> instabilities = values(model.biasInstability);
    for (std::size_t i = 0; i < m_axes.size(); ++i) {
        m_axes[i] = std::make_unique<Axis>();
        if (walks[i] != 0.0) {
            m_axes[i]->walk.emplace(seed, channel + WALK + i);
        }
        if (instabilities[i] != 0.0) {
            m_axes[i]->flicker.emplace(seed, channel + FLICKER + i * Flicker::channels,
                                       model.biasCorrelationTime);
        }
    }
}

SensorErrorProcess::~SensorErrorProcess() = default;

Vector SensorErrorProcess::vibration(Nanoseconds time) const
{
    const double turns = m_model.vibrationFrequency * (static_cast<double>(time) * 1e-9);
    return std::sin(2.0 * pi * std::remainder(turns, 1.0)) * m_model.vibrationAmplitude;
}

Vector SensorErrorProcess::distorted(const Vector& truth, double temperature) const
{
    const double warmer = temperature - ErrorModel::referenceTemperature;
    const Vector felt = truth + 0.01 * (m_model.axesMisalignment * truth);
    return product(m_model.scaleFactor + (0.01 * warmer) * m_model.temperatureScaleFactor, felt);
}

Vector SensorErrorProcess::bias(Nanoseconds time, double temperature) const
{
    std::array<double, 3> walk{};
    std::array<double, 3> flicker{};
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (std::size_t i = 0; i < m_axes.size(); ++i) {
            walk[i] = m_axes[i]->walk ? m_axes[i]->walk->at(time) : 0.0;
            flicker[i] = m_axes[i]->flicker ? m_axes[i]->flicker->at(time) : 0.0;
        }
    }
    const double warmer = temperature - ErrorModel::referenceTemperature;
    return m_turnOnBias + product(m_model.randomWalk, {walk[0], walk[1], walk[2]}) +
           product(m_model.biasInstability, {flicker[0], flicker[1], flicker[2]}) +
           warmer * m_model.temperatureBias;
}

Vector SensorErrorProcess::gSensitivity(const Vector& force) const
{
    return m_model.gSensitivity * force;
}

Vector SensorErrorProcess::noise(double beside) const
{
    const double root = std::sqrt(m_rate);
    return {std::hypot(beside, root * m_model.noiseDensity.x),
            std::hypot(beside, root * m_model.noiseDensity.y),
            std::hypot(beside, root * m_model.noiseDensity.z)};
}

Vector SensorErrorProcess::spike(std::uint64_t number) const
{
    if (!(uniform(m_seed, m_channel + SPIKE, number) < 0.01 * m_model.spikeShare)) {
        return {};
    }
    const double drawn = 6.0 * uniform(m_seed, m_channel + SPIKE_AXIS, number);
    const double height = drawn < 3.0 ? m_model.spikeAmplitude : -m_model.spikeAmplitude;
    const double axis = std::fmod(drawn, 3.0);
    return {axis < 1.0 ? height : 0.0, axis >= 1.0 && axis < 2.0 ? height : 0.0,
            axis >= 2.0 ? height : 0.0};
}

double SensorErrorProcess::range(double own) const
{
    return m_model.measurementRange > 0.0 ? m_model.measurementRange : own;
}

Vector SensorErrorProcess::limited(const Vector& reading, double range) const
{
    const auto limit = [&](double value) {
        const double step = m_model.resolution;
        return std::clamp(step > 0.0 ? step * std::round(value / step) : value, -range, range);
    };
    return {limit(reading.x), limit(reading.y), limit(reading.z)};
}

} // namespace om::bench
