#include "report/model.h"

#include "report/model_parts.h"
#include "report/rest.h"
#include "report/series.h"
#include "report/verdicts.h"

#include <algorithm>
#include <cmath>

namespace report {

namespace {

using analysis::Nanoseconds;
using analysis::Recording;
using analysis::Timing;

constexpr std::size_t mostGaps = 1000;
constexpr std::size_t mostReadings = 1000;
/// A file with a lower share of the sensor's rate is decimated.
constexpr double leastRateShare = 0.9;
/// A run at the end of an axis counts as the end of the sensor's range only beyond these values.
constexpr double leastSaturatedAcceleration = 15.0;     // m/s^2
constexpr double leastSaturatedAngularVelocity = 100.0; // degrees per second

MagnetometerPart analyseField(const Recording& recording)
{
    const analysis::VectorSeries& all = recording.magneticField;
    MagnetometerPart part;
    part.samples = all.times.size();
    const double seconds = secondsBetween(all.times.front(), all.times.back());
    part.rateHz = seconds > 0.0 ? static_cast<double>(part.samples - 1) / seconds : 0.0;
    const analysis::VectorSeries field = analysis::unsaturated(all);
    if (field.times.empty()) {
        part.reason = "all readings are saturated: remove magnets and steel from the camera";
        return part;
    }
    part.fit = analysis::analyseMagnetometer(field, part.reason);

    const std::size_t step = field.times.size() / mostReadings + 1;
    const std::size_t shown = (field.times.size() + step - 1) / step;
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
        // A sensor that is always 0 does not exist.
        any = any || *lowest != 0.0 || *highest != 0.0;
        report.envelopes[i] = envelopeOf(recording.temperatureTimes, values, 240);
    }
    return any ? std::make_optional(report) : std::nullopt;
}

/// Finds the rest and describes it in the report. Without a rest the report has the reason.
std::optional<RestRows> findRest(const Recording& recording, RecordingReport& report)
{
    const std::optional<Rows> rows = longestRest(recording);
    if (!rows || rows->size() < 2) {
        report.restReason = recording.acceleration.empty() && recording.angularVelocity.empty()
                                ? "the recording has neither accelerometer nor gyroscope"
                                : "the camera was never at rest for two seconds";
        return std::nullopt;
    }
    RestRows rest{*rows, report.timing};
    RestReport about;
    about.first = rows->first;
    about.end = rows->end;
    about.startSeconds = secondsBetween(recording.times.front(), recording.times[rows->first]);
    about.seconds = secondsBetween(recording.times[rows->first], recording.times[rows->end - 1]);
    about.whole = rows->first == 0 && rows->end == recording.times.size();
    if (!about.whole) {
        const Part<Nanoseconds> times(recording.times, *rows);
        const Part<std::uint32_t> numbers(recording.numbers, *rows);
        rest.timing = analysis::analyseTiming(*times, *numbers);
    }
    report.rest = about;
    return rest;
}

void analyseSixPositions(const Recording& recording, RecordingReport& report)
{
    report.sixPositions = analysis::solveSixPositions(
        analysis::findRests(recording), report.options.gravity, report.sixPositionsReason);
    if (!recording.acceleration.empty()) {
        const auto& axes = recording.acceleration.axes;
        report.accelerationLength =
            envelopeOf(recording.times, 0, recording.times.size(), [&](std::size_t row) {
                return std::hypot(axes[0][row], axes[1][row], axes[2][row]);
            });
    }
}

/// Consecutive sample numbers, for a series without numbers.
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
        timing.numbersSkip ||
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

    const std::optional<RestRows> rest = findRest(recording, report);
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
        analyseSixPositions(recording, report);
    }
    if (report.timing.gaps.size() > mostGaps) {
        report.timing.gaps.resize(mostGaps);
    }
    judge(report);
    return report;
}

} // namespace report
