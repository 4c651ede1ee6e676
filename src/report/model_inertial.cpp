#include "report/model_parts.h"

#include "analysis/disturbances.h"
#include "report/series.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace report {

namespace {

using analysis::Nanoseconds;
using analysis::Recording;
using analysis::Stretches;
using analysis::Vectors;

constexpr std::size_t mostTemperatures = 600;
/// A slope is determined only if the temperature changes by at least this much.
constexpr double leastTemperatureRange = 1.0; // degrees Celsius
constexpr std::size_t mostLines = 8;
constexpr std::uint64_t mostFilled = 4; // samples of a gap

void meanAndDeviation(const std::vector<double>& values, double& mean, double& deviation)
{
    double sum = 0.0;
    for (const double value : values) {
        sum += value;
    }
    mean = sum / static_cast<double>(values.size());
    double squares = 0.0;
    for (const double value : values) {
        squares += (value - mean) * (value - mean);
    }
    deviation = std::sqrt(squares / static_cast<double>(values.size()));
}

/// Means of the axis between groups of temperature samples, against the mean temperature of the
/// group.
std::vector<Point> againstTemperature(const Recording& recording, const std::vector<double>& axis,
                                      const Rows& rest)
{
    std::vector<Point> points;
    const std::vector<Nanoseconds>& times = recording.temperatureTimes;
    const std::vector<double>& values = recording.temperatures[analysis::imuTemperature];
    const std::size_t step = times.size() / mostTemperatures + 1;
    std::size_t row = rest.first;
    for (std::size_t i = 0; i + step < times.size(); i += step) {
        while (row < rest.end && recording.times[row] < times[i]) {
            ++row;
        }
        double sum = 0.0;
        double count = 0.0;
        for (; row < rest.end && recording.times[row] < times[i + step]; ++row) {
            sum += axis[row];
            count += 1.0;
        }
        double temperature = 0.0;
        for (std::size_t k = i; k < i + step; ++k) {
            temperature += values[k];
        }
        if (count > 0.0) {
            points.push_back({temperature / static_cast<double>(step), sum / count});
        }
    }
    return points;
}

/// y = offset + slope x
struct Line
{
    double offset = 0.0;
    double slope = 0.0;
};

/// Least squares for correlated errors: each error is the previous one times the correlation, plus
/// an independent part.
Line lineThrough(const std::vector<Point>& points, double correlation)
{
    const double first = std::sqrt(1.0 - correlation * correlation);
    double cc = 0.0;
    double cx = 0.0;
    double cy = 0.0;
    double xx = 0.0;
    double xy = 0.0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const double c = i == 0 ? first : 1.0 - correlation;
        const double x = i == 0 ? first * points[i].x : points[i].x - correlation * points[i - 1].x;
        const double y = i == 0 ? first * points[i].y : points[i].y - correlation * points[i - 1].y;
        cc += c * c;
        cx += c * x;
        cy += c * y;
        xx += x * x;
        xy += x * y;
    }
    const double determinant = cc * xx - cx * cx;
    return {(cy * xx - cx * xy) / determinant, (cc * xy - cx * cy) / determinant};
}

/// Correlation between the distances of successive points from the line, 0 to 0.999.
double correlationAlong(const std::vector<Point>& points, const Line& line)
{
    double products = 0.0;
    double squares = 0.0;
    double before = 0.0;
    for (const Point& point : points) {
        const double off = point.y - line.offset - line.slope * point.x;
        products += off * before;
        squares += before * before;
        before = off;
    }
    return squares > 0.0 ? std::clamp(products / squares, 0.0, 0.999) : 0.0;
}

/// Slope of a line through points in the order of time. The bias also wanders without the
/// temperature, so that neighbouring points have similar errors; without their correlation (Prais
/// and Winsten, 1954) a wandering bias would be taken for an effect of the temperature.
std::optional<double> slopeOf(std::vector<Point> points)
{
    if (points.size() < leastSlopePoints) {
        return std::nullopt;
    }
    const auto count = static_cast<double>(points.size());
    Point mean;
    double lowest = points.front().x;
    double highest = lowest;
    for (const Point& point : points) {
        mean.x += point.x / count;
        mean.y += point.y / count;
        lowest = std::min(lowest, point.x);
        highest = std::max(highest, point.x);
    }
    if (highest - lowest < leastTemperatureRange) {
        return std::nullopt;
    }
    for (Point& point : points) {
        point.x -= mean.x;
        point.y -= mean.y;
    }
    constexpr int mostRounds = 20;
    constexpr double close = 1e-4;
    double correlation = 0.0;
    Line line = lineThrough(points, correlation);
    for (int round = 0; round < mostRounds; ++round) {
        const double next = correlationAlong(points, line);
        const bool settled = std::abs(next - correlation) < close;
        correlation = next;
        line = lineThrough(points, correlation);
        if (settled) {
            break;
        }
    }
    return line.slope;
}

/// Spectrum and noise at rest. What is not noise of the sensor is removed first: it would hide the
/// slopes of the deviation, or look like them.
void analyseAxisNoise(const Recording& recording, const std::vector<double>& part,
                      const RestRows& rest, AxisReport& axis)
{
    const double rate = rest.timing.rateHz;
    const double period = rest.timing.periodSeconds;
    std::vector<analysis::FilledGap> filled;
    Stretches stretches = stretchesOf(part, rest.timing, mostFilled, &filled);
    axis.spectrum = analysis::welch(stretches, rate);
    axis.lines = analysis::spectralLines(axis.spectrum);
    if (axis.lines.size() > mostLines) {
        axis.lines.resize(mostLines);
    }
    if (axis.temperatureSlope || !axis.lines.empty()) {
        axis.allanAsRecorded = analysis::overlappingAllan(stretches, period);
    }
    if (axis.temperatureSlope) {
        const Part<Nanoseconds> times(recording.times, rest.rows);
        std::vector<double> even = part;
        analysis::removeTemperature(even, *times, recording.temperatureTimes,
                                    recording.temperatures[analysis::imuTemperature],
                                    *axis.temperatureSlope);
        stretches = stretchesOf(even, rest.timing, mostFilled);
    }
    analysis::removeLines(stretches, rate, axis.lines);
    // The sines were also subtracted from the straight lines in the gaps, where they would remain
    // as noise.
    analysis::refillGaps(stretches, filled);
    axis.spikes = analysis::removeSpikes(stretches, filled);
    if (axis.spikes > 0) {
        // The spikes had an effect on the sines that were subtracted before.
        analysis::removeLines(stretches, rate, axis.lines);
        analysis::refillGaps(stretches, filled);
    }
    axis.noise = analysis::analyseNoise(stretches, period);
    if (axis.spikes > 0 && axis.allanAsRecorded.empty()) {
        stretches = stretchesOf(part, rest.timing, mostFilled);
        axis.allanAsRecorded = analysis::overlappingAllan(stretches, period);
    }
}

} // namespace

InertialReport analyseInertial(const Recording& recording, const Vectors& vectors,
                               const std::optional<RestRows>& rest, double leastSaturated,
                               double periodSeconds)
{
    InertialReport report;
    for (std::size_t i = 0; i < 3; ++i) {
        AxisReport& axis = report.axes[i];
        const std::vector<double>& values = vectors.axes[i];
        const auto [lowest, highest] = std::minmax_element(values.begin(), values.end());
        axis.minimum = *lowest;
        axis.maximum = *highest;
        axis.envelope = envelopeOf(recording.times, values);
        axis.saturated = saturatedIn(values, leastSaturated);
        axis.longestEqualSeconds = static_cast<double>(longestEqualRun(values) - 1) * periodSeconds;
        if (!rest) {
            meanAndDeviation(values, axis.mean, axis.deviation);
            continue;
        }
        const Part<double> part(values, rest->rows);
        meanAndDeviation(*part, axis.mean, axis.deviation);
        if (!recording.temperatureTimes.empty()) {
            axis.temperature = againstTemperature(recording, values, rest->rows);
            axis.temperatureSlope = slopeOf(axis.temperature);
        }
        analyseAxisNoise(recording, *part, *rest, axis);
    }
    return report;
}

GravityReport analyseGravity(const Recording& recording, const Rows& rest)
{
    GravityReport gravity;
    const auto& axes = recording.acceleration.axes;
    std::array<double, 3> sums{};
    double lengths = 0.0;
    double squares = 0.0;
    for (std::size_t row = rest.first; row < rest.end; ++row) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            sums[axis] += axes[axis][row];
        }
        const double length = std::hypot(axes[0][row], axes[1][row], axes[2][row]);
        lengths += length;
        squares += length * length;
    }
    const auto count = static_cast<double>(rest.size());
    gravity.mean = std::hypot(sums[0] / count, sums[1] / count, sums[2] / count);
    const double mean = lengths / count;
    gravity.deviation = std::sqrt(std::max(0.0, squares / count - mean * mean));

    // Means over a second, or over a longer time if a chart can't show as many.
    const double seconds =
        secondsBetween(recording.times[rest.first], recording.times[rest.end - 1]);
    const double width = std::max(1.0, seconds / static_cast<double>(envelopeParts));
    for (std::size_t row = rest.first; row < rest.end;) {
        const std::size_t begin = row;
        double sum = 0.0;
        for (;
             row < rest.end && secondsBetween(recording.times[begin], recording.times[row]) < width;
             ++row) {
            sum += std::hypot(axes[0][row], axes[1][row], axes[2][row]);
        }
        const double value = sum / static_cast<double>(row - begin);
        const double middle =
            secondsBetween(recording.times.front(), recording.times[begin]) +
            0.5 * secondsBetween(recording.times[begin], recording.times[row - 1]);
        gravity.envelope.seconds.push_back(middle);
        gravity.envelope.lowest.push_back(value);
        gravity.envelope.highest.push_back(value);
    }
    return gravity;
}

} // namespace report
