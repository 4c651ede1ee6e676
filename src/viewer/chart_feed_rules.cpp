#include "viewer/chart_feed_rules.h"

#include <QStringList>

#include <algorithm>
#include <limits>

namespace chartfeed {

namespace {

constexpr double imuSurplus = 1.3;

constexpr int shortestPeriodMs = 25;
constexpr int longestPeriodMs = 500;
constexpr int samplesPerMs = 500;
constexpr int mostSamplesAtShortestPeriod = 12499;
constexpr int fewestSamplesAtLongestPeriod = 250000;

} // namespace

std::optional<int> windowSeconds(const QString& text, const UnitNames& units)
{
    const QStringList words = text.split(QLatin1Char(' '), Qt::KeepEmptyParts);
    if (words.size() < 2) {
        return std::nullopt;
    }
    const QString unit = words.value(2);
    std::int64_t seconds = words[1].toInt();
    if (unit == units.minutes && unit != units.seconds) {
        seconds *= 60;
    } else if (unit == units.hours && unit != units.seconds) {
        seconds *= 60 * 60;
    }
    return static_cast<int>(std::clamp<std::int64_t>(seconds, std::numeric_limits<int>::min(),
                                                     std::numeric_limits<int>::max()));
}

std::int64_t windowSamples(int seconds, int samplesPerSecond)
{
    return static_cast<std::int64_t>(seconds) * samplesPerSecond;
}

std::int64_t imuWindowSamples(int seconds, int samplesPerSecond)
{
    return static_cast<std::int64_t>(static_cast<double>(windowSamples(seconds, samplesPerSecond)) *
                                     imuSurplus);
}

int windowStart(int stored, std::int64_t window)
{
    return static_cast<int>(stored - std::clamp<std::int64_t>(window, 0, stored));
}

int updatePeriodMs(int samples)
{
    if (samples <= mostSamplesAtShortestPeriod) {
        return shortestPeriodMs;
    }
    if (samples >= fewestSamplesAtLongestPeriod) {
        return longestPeriodMs;
    }
    return samples / samplesPerMs;
}

AxisRange timeAxis(double first, double last, int seconds)
{
    if (last - first < seconds) {
        return {first, first + seconds};
    }
    return {last - seconds, last};
}

AxisRange symmetricAxis(float limit, double margin)
{
    const double value = static_cast<double>(limit) * margin;
    return {-value, value};
}

} // namespace chartfeed
