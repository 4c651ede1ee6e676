#include "charts/waves.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace waves {

namespace {

constexpr double pi = 3.141592653589793;
constexpr int spikeDistance = 397;

} // namespace

QVector<int> spikes(int sampleCount, int channel)
{
    QVector<int> indices;
    for (int i = 100 + 37 * channel; i < sampleCount; i += spikeDistance) {
        indices.append(i);
    }
    return indices;
}

Series make(Shape shape, double rate, double seconds, int channel)
{
    std::mt19937 random(20240131U + static_cast<unsigned>(channel));
    std::normal_distribution<double> noise(0.0, 1.0);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);

    const int count = static_cast<int>(rate * seconds);
    const double phase = channel * 2.0 * pi / 3.0;
    Series series;
    series.time.reserve(count);
    series.values.reserve(count);
    double time = startTime;
    for (int i = 0; i < count; ++i) {
        const double nominal = i / rate;
        time = startTime + nominal + 0.1 / rate * uniform(random);
        double value = 0.0;
        switch (shape) {
        case Shape::SineWithNoise:
        case Shape::NotANumber:
        case Shape::Gaps:
            value = 9.8 * std::sin(2.0 * pi * nominal / 4.0 + phase) + 0.3 * noise(random);
            break;
        case Shape::WhiteNoise:
            value = std::clamp(3.0 * (channel - 1) + 3.0 * noise(random), -range, range);
            break;
        case Shape::Steps:
            value = 4.0 * (channel - 1) + (std::fmod(nominal, 1.0) < 0.5 ? -6.0 : 6.0);
            break;
        case Shape::Spikes:
            value = 2.0 * (channel - 1) + 0.05 * noise(random);
            break;
        case Shape::Constant:
            value = 4.0 * (channel - 1);
            break;
        }
        // Every two seconds four tenths are missing.
        if (shape == Shape::Gaps && std::fmod(nominal, 2.0) > 1.6) {
            continue;
        }
        if (shape == Shape::NotANumber && i % 997 == 500 + channel) {
            value = std::numeric_limits<double>::quiet_NaN();
        }
        series.time.append(time);
        series.values.append(value);
    }
    if (shape == Shape::Spikes) {
        const QVector<int> indices = spikes(series.values.size(), channel);
        for (int i = 0; i < indices.size(); ++i) {
            series.values[indices[i]] = i % 2 == 0 ? 13.0 - channel : -13.0 + channel;
        }
    }
    return series;
}

} // namespace waves
