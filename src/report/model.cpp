#include "report/model.h"

#include "report/number_text.h"
#include "report/rest.h"
#include "report/series.h"
#include "report/verdicts.h"

#include <algorithm>
#include <cmath>

namespace report {

namespace {

using analysis::Nanoseconds;
using analysis::Recording;
using analysis::Stretches;
using analysis::Timing;
using analysis::Vectors;

constexpr std::size_t mostGaps = 1000;
constexpr std::size_t mostReadings = 1000;
constexpr std::size_t mostTemperatures = 600;
/// Rows at less than this share of the sensor's rate are a choice of its samples.
constexpr double leastRateShare = 0.9;
/// A temperature that changes less than this says nothing about what follows it.
constexpr double leastTemperatureRange = 1.0; // degrees Celsius
/// Values beyond which a run at one end of an axis is the end of the sensor's range and not noise.
constexpr double leastSaturatedAcceleration = 15.0;     // m/s^2
constexpr double leastSaturatedAngularVelocity = 100.0; // degrees per second
constexpr std::size_t imuTemperature = 2;
constexpr std::size_t mostLines = 8;

/// Part of a series; the series itself where the part is all of it.
template <typename T>
class Part
{
public:
    Part(const std::vector<T>& all, const Rows& rows)
    {
        if (rows.first == 0 && rows.end == all.size()) {
            m_values = &all;
        } else {
            m_part.assign(all.begin() + static_cast<std::ptrdiff_t>(rows.first),
                          all.begin() + static_cast<std::ptrdiff_t>(rows.end));
            m_values = &m_part;
        }
    }
    Part(const Part&) = delete;
    Part& operator=(const Part&) = delete;

    const std::vector<T>& operator*() const { return *m_values; }

private:
    std::vector<T> m_part;
    const std::vector<T>* m_values = nullptr;
};

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

/// Mean of the axis between one temperature sample and the next so many, against the temperature.
std::vector<Point> againstTemperature(const Recording& recording, const std::vector<double>& axis,
                                      const Rows& rest)
{
    std::vector<Point> points;
    const std::vector<Nanoseconds>& times = recording.temperatureTimes;
    const std::vector<double>& values = recording.temperatures[imuTemperature];
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

std::optional<double> slopeOf(const std::vector<Point>& points)
{
    if (points.size() < 3) {
        return std::nullopt;
    }
    const auto count = static_cast<double>(points.size());
    double meanX = 0.0;
    double meanY = 0.0;
    double lowest = points.front().x;
    double highest = lowest;
    for (const Point& point : points) {
        meanX += point.x / count;
        meanY += point.y / count;
        lowest = std::min(lowest, point.x);
        highest = std::max(highest, point.x);
    }
    if (highest - lowest < leastTemperatureRange) {
        return std::nullopt;
    }
    double xx = 0.0;
    double xy = 0.0;
    for (const Point& point : points) {
        xx += (point.x - meanX) * (point.x - meanX);
        xy += (point.x - meanX) * (point.y - meanY);
    }
    return xy / xx;
}

/// Timing of the rows at rest, and those rows.
struct Rest
{
    Rows rows;
    Timing timing;
};

InertialReport analyseInertial(const Recording& recording, const Vectors& vectors,
                               const std::optional<Rest>& rest, double leastSaturated,
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
        axis.spikes = spikesIn(*part);
        {
            Stretches stretches = stretchesOf(*part, rest->timing);
            axis.spectrum = analysis::welch(stretches, rest->timing.rateHz);
            axis.lines = analysis::spectralLines(axis.spectrum);
            if (axis.lines.size() > mostLines) {
                axis.lines.resize(mostLines);
            }
            // A vibration is no noise: its waves in the deviation would hide the slopes.
            if (!axis.lines.empty()) {
                axis.allanWithLines =
                    analysis::overlappingAllan(stretches, rest->timing.periodSeconds);
                analysis::removeLines(stretches, rest->timing.rateHz, axis.lines);
            }
            axis.noise = analysis::analyseNoise(stretches, rest->timing.periodSeconds);
        }
        if (!recording.temperatureTimes.empty()) {
            axis.temperature = againstTemperature(recording, values, rest->rows);
            axis.temperatureSlope = slopeOf(axis.temperature);
        }
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

    // Means over a second, or over what a chart can show of a long one.
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

MagnetometerPart analyseField(const Recording& recording)
{
    const analysis::VectorSeries& field = recording.magneticField;
    MagnetometerPart part;
    part.samples = field.times.size();
    const double seconds = secondsBetween(field.times.front(), field.times.back());
    part.rateHz = seconds > 0.0 ? static_cast<double>(part.samples - 1) / seconds : 0.0;
    part.fit = analysis::analyseMagnetometer(field, part.reason);

    const std::size_t step = part.samples / mostReadings + 1;
    const std::size_t shown = (part.samples + step - 1) / step;
    part.before.resize(3, static_cast<Eigen::Index>(shown));
    for (std::size_t i = 0; i < shown; ++i) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            part.before(static_cast<Eigen::Index>(axis), static_cast<Eigen::Index>(i)) =
                field.values.axes[axis][i * step];
        }
    }
    if (part.fit) {
        part.after.resize(3, part.before.cols());
        for (Eigen::Index i = 0; i < part.before.cols(); ++i) {
            const Eigen::Vector3d corrected = part.fit->aligned.corrected(part.before.col(i));
            part.after.col(i) = corrected;
            part.residuals.push_back(
                {secondsBetween(field.times.front(),
                                field.times[static_cast<std::size_t>(i) * step]),
                 corrected.norm() - part.fit->aligned.radius});
        }
    }
    return part;
}

std::optional<TemperatureReport> analyseTemperatures(const Recording& recording)
{
    if (recording.temperatureTimes.empty()) {
        return std::nullopt;
    }
    TemperatureReport report;
    bool any = false;
    for (std::size_t i = 0; i < report.envelopes.size(); ++i) {
        const std::vector<double>& values = recording.temperatures[i];
        const auto [lowest, highest] = std::minmax_element(values.begin(), values.end());
        report.minimum[i] = *lowest;
        report.maximum[i] = *highest;
        // What is 0 throughout is a sensor that is not there.
        any = any || *lowest != 0.0 || *highest != 0.0;
        report.envelopes[i] = envelopeOf(recording.temperatureTimes, values, 240);
    }
    return any ? std::make_optional(report) : std::nullopt;
}

/// Sample numbers of a series without them.
std::vector<std::uint32_t> counted(std::size_t count)
{
    std::vector<std::uint32_t> numbers(count);
    for (std::size_t i = 0; i < count; ++i) {
        numbers[i] = static_cast<std::uint32_t>(i);
    }
    return numbers;
}

void analyseTimes(const Recording& recording, RecordingReport& report)
{
    report.hasImu = !recording.times.empty();
    const std::vector<Nanoseconds>& times =
        report.hasImu ? recording.times : recording.magneticField.times;
    if (times.size() < 2) {
        return;
    }
    report.timing =
        analysis::analyseTiming(times, report.hasImu ? recording.numbers : counted(times.size()));
    const Timing& timing = report.timing;
    report.decimated =
        timing.decimated ||
        (report.hasImu && timing.rateHz < leastRateShare * report.options.sensorRateHz);
    report.gapCount = timing.gaps.size();
    for (const analysis::Gap& gap : timing.gaps) {
        report.longestGapSeconds =
            std::max(report.longestGapSeconds, secondsBetween(gap.start, gap.end));
    }
    report.gapSpans = gapSpansOf(timing.gaps, times.front(), timing.durationSeconds);
    report.intervals = intervalHistogram(times, timing);
    report.intervalEnvelope = envelopeOf(times, 1, times.size(), [&](std::size_t row) {
        return 1e3 * secondsBetween(times[row - 1], times[row]);
    });
    report.drift = driftOf(times, timing);
}

} // namespace

STATE RecordingReport::overall() const
{
    STATE worst = STATE::UNKNOWN;
    for (const Verdict& verdict : verdicts) {
        if (verdict.state != STATE::UNKNOWN && (worst == STATE::UNKNOWN || verdict.state > worst)) {
            worst = verdict.state;
        }
    }
    return worst;
}

RecordingReport analyse(const Recording& recording, const Options& options)
{
    RecordingReport report;
    report.path = recording.path;
    report.model = recording.model;
    report.serial = recording.serial;
    report.read = recording.report;
    report.options = options;
    analyseTimes(recording, report);

    std::optional<Rest> rest;
    if (const std::optional<Rows> rows = longestRest(recording); rows && rows->size() > 1) {
        rest = Rest{*rows, report.timing};
        RestReport about;
        about.first = rows->first;
        about.end = rows->end;
        about.startSeconds = secondsBetween(recording.times.front(), recording.times[rows->first]);
        about.seconds =
            secondsBetween(recording.times[rows->first], recording.times[rows->end - 1]);
        about.whole = rows->first == 0 && rows->end == recording.times.size();
        if (!about.whole) {
            const Part<Nanoseconds> times(recording.times, *rows);
            const Part<std::uint32_t> numbers(recording.numbers, *rows);
            rest->timing = analysis::analyseTiming(*times, *numbers);
        }
        report.rest = about;
    } else {
        report.restReason = recording.acceleration.empty() && recording.angularVelocity.empty()
                                ? "the recording has neither accelerometer nor gyroscope"
                                : "the camera was never at rest for two seconds";
    }
    if (!recording.acceleration.empty()) {
        report.accelerometer =
            analyseInertial(recording, recording.acceleration, rest, leastSaturatedAcceleration,
                            report.timing.periodSeconds);
        if (rest) {
            report.gravity = analyseGravity(recording, rest->rows);
        }
    }
    if (!recording.angularVelocity.empty()) {
        report.gyroscope =
            analyseInertial(recording, recording.angularVelocity, rest,
                            leastSaturatedAngularVelocity, report.timing.periodSeconds);
    }
    if (recording.magneticField.times.size() > 1) {
        report.magnetometer = analyseField(recording);
    }
    report.temperatures = analyseTemperatures(recording);

    if (options.sixPositions) {
        report.sixPositions = analysis::solveSixPositions(
            analysis::findRests(recording), options.gravity, report.sixPositionsReason);
        if (!recording.acceleration.empty()) {
            const auto& axes = recording.acceleration.axes;
            report.accelerationLength =
                envelopeOf(recording.times, 0, recording.times.size(), [&](std::size_t row) {
                    return std::hypot(axes[0][row], axes[1][row], axes[2][row]);
                });
        }
    }
    if (report.timing.gaps.size() > mostGaps) {
        report.timing.gaps.resize(mostGaps);
    }
    judge(report);
    return report;
}

} // namespace report
