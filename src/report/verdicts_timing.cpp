#include "report/verdicts_parts.h"

#include "report/number_text.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

namespace report {

namespace {

constexpr double mostRateError = 0.02;     // share of the sensor's rate
constexpr double mostMissingShare = 0.001; // of the samples
constexpr double mostGapSeconds = 0.1;
constexpr double goodJitter = 0.1; // share of the period
constexpr double mostJitter = 0.25;
constexpr double leastSeconds = 10.0;

std::string percent(double share)
{
    return number(100.0 * share, 3) + " %";
}

std::string percentLimit(double share)
{
    return plainNumber(100.0 * share) + " %";
}

void judgeLength(const RecordingReport& report, std::vector<Verdict>& verdicts)
{
    const double seconds = report.timing.durationSeconds;
    const bool isLong = seconds >= leastSeconds;
    verdicts.push_back({"length", "Length of the recording", isLong ? STATE::PASSED : STATE::WARNED,
                        durationText(seconds), plainNumber(leastSeconds) + " s at least (ours)",
                        isLong ? "Long enough for the noise density; bias instability and random "
                                 "walk take hours."
                               : "Too short to say much about a sensor: record some minutes."});
}

void judgeRate(const RecordingReport& report, std::vector<Verdict>& verdicts)
{
    const analysis::Timing& timing = report.timing;
    const double rate = timing.numbersSkip ? timing.sensorRateHz : timing.rateHz;
    const double wanted = report.options.sensorRateHz;
    const double error = std::abs(rate / wanted - 1.0);
    Verdict verdict{"rate",
                    "Rate of the IMU",
                    error <= mostRateError ? STATE::PASSED : STATE::FAILED,
                    number(rate, 5) + " Hz",
                    plainNumber(wanted) + " Hz ± " + percentLimit(mostRateError) +
                        " (the sensor's own)",
                    "Gaps are left out."};
    if (timing.numbersSkip) {
        verdict.why = "From the times and the numbers of the samples; the rows come at " +
                      number(timing.rateHz) + " Hz.";
    } else if (report.decimated) {
        verdict.state = STATE::UNKNOWN;
        verdict.why = "The rows have a lower rate than the sensor's samples, and their numbers do "
                      "not show how many samples there were.";
    }
    verdicts.push_back(verdict);
}

void judgeDecimation(const RecordingReport& report, std::vector<Verdict>& verdicts)
{
    const analysis::Timing& timing = report.timing;
    verdicts.push_back(
        {"decimated", "Every sample has a row", report.decimated ? STATE::WARNED : STATE::PASSED,
         report.decimated ? "no" : "yes", "yes",
         report.decimated
             ? "Samples were left out without a filter: signals above " +
                   number(timing.rateHz / 2.0) + " Hz are aliased, and noise densities are up to " +
                   number(densityFactorOf(report), 3) + " times too high."
             : "Noise densities are those of the sensor."});
}

void judgeGaps(const RecordingReport& report, std::vector<Verdict>& verdicts)
{
    const analysis::Timing& timing = report.timing;
    const std::string sensor = report.hasImu ? "IMU" : "magnetometer";
    const double share = missingShareOf(report);
    verdicts.push_back(
        {"missing_samples", "Missing samples of the " + sensor,
         timing.missingSamples == 0  ? STATE::PASSED
         : share <= mostMissingShare ? STATE::WARNED
                                     : STATE::FAILED,
         number(timing.missingSamples) + " (" + percent(share) + ")",
         "none; at most " + percentLimit(mostMissingShare) + " (ours)",
         "Counted from the time stamps: a sample is missing where another one would fit."});
    verdicts.push_back({"gaps", "Gaps",
                        report.gapCount == 0                         ? STATE::PASSED
                        : report.longestGapSeconds <= mostGapSeconds ? STATE::WARNED
                                                                     : STATE::FAILED,
                        report.gapCount == 0
                            ? "none"
                            : number(std::uint64_t{report.gapCount}) + ", the longest of " +
                                  number(1e3 * report.longestGapSeconds, 3) + " ms",
                        "none; none above " + plainNumber(1e3 * mostGapSeconds) + " ms (ours)",
                        "For the noise, short gaps are interpolated linearly; after a longer gap "
                        "the analysis starts again."});
}

void judgeJitter(const RecordingReport& report, std::vector<Verdict>& verdicts)
{
    const analysis::Timing& timing = report.timing;
    const double jitter =
        timing.periodSeconds > 0.0 ? timing.jitterSeconds / timing.periodSeconds : 0.0;
    Verdict even{"jitter",
                 "Evenness of the time stamps",
                 within(jitter, goodJitter, mostJitter),
                 number(1e6 * timing.jitterSeconds, 3) + " µs (" + percent(jitter) +
                     " of the period)",
                 percentLimit(goodJitter) + "; at most " + percentLimit(mostJitter) + " (ours)",
                 "Standard deviation of the intervals between rows, without gaps."};
    if (report.decimated) {
        even.state = STATE::UNKNOWN;
        even.why = "The intervals between rows depend on the recorder.";
    }
    verdicts.push_back(even);
}

void judgeRows(const RecordingReport& report, std::vector<Verdict>& verdicts)
{
    const analysis::ReadReport& read = report.read;
    const std::uint64_t bad =
        read.tornRows + read.invalidRows + read.repeatedRows + read.backwardRows;
    Verdict verdict{"rows",
                    "Rows that can be used",
                    STATE::PASSED,
                    number(read.rows) + " of " + number(read.rows + bad),
                    "all; at most " + percentLimit(analysis::mostLostRows) + " lost (ours)",
                    "No row is torn, repeated or out of order."};
    const std::pair<const analysis::SlowReport&, const char*> slowSensors[] = {
        {read.magnetometer, "magnetometer"}, {read.barometer, "barometer"}};
    for (const auto& [samples, name] : slowSensors) {
        if (samples.backward > 0) {
            verdict.value += "; " + number(samples.samples) + " of " +
                             number(samples.samples + samples.backward) + " samples of the " + name;
        }
    }
    const bool stepsBack =
        read.backwardRows + read.magnetometer.backward + read.barometer.backward > 0;
    if (bad > 0 || stepsBack) {
        verdict.state =
            analysis::lostShareOf(read) <= analysis::mostLostRows ? STATE::WARNED : STATE::FAILED;
        verdict.why = "Left out: " + analysis::leftOutText(read) + ".";
    }
    if (stepsBack) {
        verdict.why += " The clock was set back, recordings were joined, or one time is far too "
                       "late.";
    }
    verdicts.push_back(verdict);
}

} // namespace

double sensorRateOf(const RecordingReport& report)
{
    const analysis::Timing& timing = report.timing;
    return timing.numbersSkip ? timing.sensorRateHz : report.options.sensorRateHz;
}

double densityFactorOf(const RecordingReport& report)
{
    return std::sqrt(sensorRateOf(report) / report.timing.rateHz);
}

double missingShareOf(const RecordingReport& report)
{
    const analysis::Timing& timing = report.timing;
    const std::uint64_t readings = report.magnetometer ? report.magnetometer->samples : 0;
    const auto rows = static_cast<double>(report.hasImu ? report.read.rows : readings);
    const double samples = static_cast<double>(timing.missingSamples) + timing.samplesPerRow * rows;
    return static_cast<double>(timing.missingSamples) / std::max(samples, 1.0);
}

void judgeTiming(const RecordingReport& report, std::vector<Verdict>& verdicts)
{
    judgeLength(report, verdicts);
    if (report.hasImu) {
        judgeRate(report, verdicts);
        judgeDecimation(report, verdicts);
    }
    judgeGaps(report, verdicts);
    judgeJitter(report, verdicts);
    judgeRows(report, verdicts);
}

} // namespace report
