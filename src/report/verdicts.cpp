#include "report/verdicts.h"

#include "report/number_text.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace report {

namespace {

using analysis::Coefficient;

constexpr std::array<const char*, 3> axisNames{"x", "y", "z"};

constexpr double mostRateError = 0.02;     // share of the sensor's rate
constexpr double mostMissingShare = 0.001; // of the samples
constexpr double mostGapSeconds = 0.1;
constexpr double goodJitter = 0.1; // share of the period
constexpr double mostJitter = 0.25;
constexpr double goodGravity = 0.2; // m/s^2
constexpr double mostGravity = 0.5;
constexpr double mostEqualSeconds = 0.5;
constexpr double mostSpikeShare = 1e-5;     // of the samples
constexpr double leastDensityShare = 0.02;  // of the good density
constexpr double leastLineAmplitude = 0.02; // m/s^2
constexpr double mostCoverageGaps = 20.0;   // percent
constexpr double mostCovered = 50.0;
constexpr double coldest = -40.0; // degrees Celsius
constexpr double hottest = 85.0;
constexpr double mostTemperatureChange = 5.0;
constexpr std::size_t imuTemperature = 2;

STATE within(double value, double good, double usual)
{
    return value <= good ? STATE::PASSED : value <= usual ? STATE::WARNED : STATE::FAILED;
}

std::string percent(double share)
{
    return number(100.0 * share, 3) + " %";
}

std::string percentLimit(double share)
{
    return plainNumber(100.0 * share) + " %";
}

void judgeTiming(const RecordingReport& report, std::vector<Verdict>& verdicts)
{
    const analysis::Timing& timing = report.timing;
    const std::string sensor = report.hasImu ? "IMU" : "magnetometer";
    if (report.hasImu) {
        const double rate = timing.decimated ? timing.sensorRateHz : timing.rateHz;
        const double wanted = report.options.sensorRateHz;
        const double error = std::abs(rate / wanted - 1.0);
        Verdict verdict{"rate",
                        "Rate of the IMU",
                        error <= mostRateError ? STATE::PASSED : STATE::FAILED,
                        number(rate, 5) + " Hz",
                        plainNumber(wanted) + " Hz ± " + percentLimit(mostRateError) +
                            " (the sensor's own)",
                        "Gaps are left out."};
        if (timing.decimated) {
            verdict.why = "From the times and the numbers of the samples; the rows come at " +
                          number(timing.rateHz) + " Hz.";
        } else if (report.decimated) {
            verdict.state = STATE::UNKNOWN;
            verdict.why = "The rows come more slowly than the sensor's samples, and do not say how "
                          "many there were.";
        }
        verdicts.push_back(verdict);

        verdicts.push_back(
            {"decimated", "Every sample has a row",
             report.decimated ? STATE::WARNED : STATE::PASSED, report.decimated ? "no" : "yes",
             "yes",
             report.decimated
                 ? "Samples were left out without a filter: what the sensor does above " +
                       number(timing.rateHz / 2.0) +
                       " Hz is folded down, and noise densities come out up to " +
                       number(std::sqrt(report.options.sensorRateHz / timing.rateHz), 3) +
                       " times too high."
                 : "Noise densities are those of the sensor."});
    }
    const double samples =
        static_cast<double>(timing.missingSamples) +
        timing.samplesPerRow * static_cast<double>(report.hasImu ? report.read.rows : 1);
    const double share = static_cast<double>(timing.missingSamples) / std::max(samples, 1.0);
    verdicts.push_back({"missing_samples", "Missing samples of the " + sensor,
                        timing.missingSamples == 0  ? STATE::PASSED
                        : share <= mostMissingShare ? STATE::WARNED
                                                    : STATE::FAILED,
                        number(timing.missingSamples) + " (" + percent(share) + ")",
                        "none; at most " + percentLimit(mostMissingShare) + " (ours)",
                        "Counted from the time stamps: one more sample would have fitted."});
    verdicts.push_back({"gaps", "Gaps",
                        report.gapCount == 0                         ? STATE::PASSED
                        : report.longestGapSeconds <= mostGapSeconds ? STATE::WARNED
                                                                     : STATE::FAILED,
                        report.gapCount == 0
                            ? "none"
                            : number(std::uint64_t{report.gapCount}) + ", the longest of " +
                                  number(1e3 * report.longestGapSeconds, 3) + " ms",
                        "none; none above " + plainNumber(1e3 * mostGapSeconds) + " ms (ours)",
                        "Short gaps are filled on a straight line for the noise; at a longer one "
                        "the analysis begins anew."});
    const double jitter =
        timing.periodSeconds > 0.0 ? timing.jitterSeconds / timing.periodSeconds : 0.0;
    Verdict even{"jitter",
                 "Evenness of the time stamps",
                 within(jitter, goodJitter, mostJitter),
                 number(1e6 * timing.jitterSeconds, 3) + " µs (" + percent(jitter) +
                     " of the period)",
                 percentLimit(goodJitter) + "; at most " + percentLimit(mostJitter) + " (ours)",
                 "Standard deviation of the distances of rows, gaps left out."};
    if (report.decimated) {
        even.state = STATE::UNKNOWN;
        even.why = "The distances of the rows are those that the recorder chose.";
    }
    verdicts.push_back(even);

    const std::uint64_t bad = report.read.tornRows + report.read.invalidRows +
                              report.read.repeatedRows + report.read.backwardRows;
    verdicts.push_back({"rows", "Rows that can be used", bad == 0 ? STATE::PASSED : STATE::WARNED,
                        number(report.read.rows) + " of " + number(report.read.rows + bad), "all",
                        bad == 0
                            ? "No row is torn, repeated or out of order."
                            : "Left out: " + number(report.read.tornRows) + " torn, " +
                                  number(report.read.invalidRows) + " with no number, " +
                                  number(report.read.repeatedRows) +
                                  " with the time of the row "
                                  "before, " +
                                  number(report.read.backwardRows) + " with an earlier time."});
}

void judgeRest(const RecordingReport& report, std::vector<Verdict>& verdicts)
{
    if (!report.accelerometer && !report.gyroscope) {
        return;
    }
    Verdict verdict{"rest", "Camera at rest",       STATE::UNKNOWN,
                    "no",   "all of the recording", report.restReason + ": noise is not judged."};
    if (report.rest) {
        const RestReport& rest = *report.rest;
        verdict.state = rest.whole ? STATE::PASSED : STATE::UNKNOWN;
        verdict.value =
            durationText(rest.seconds) + " of " + durationText(report.timing.durationSeconds);
        verdict.why = rest.whole ? "Noise is judged over all of it."
                                 : "Noise is judged over the longest rest, from " +
                                       number(rest.startSeconds) + " s to " +
                                       number(rest.startSeconds + rest.seconds) + " s.";
    }
    verdicts.push_back(verdict);
}

void judgeGravity(const RecordingReport& report, std::vector<Verdict>& verdicts)
{
    if (!report.accelerometer) {
        return;
    }
    Verdict verdict{"gravity",
                    "Gravity at rest",
                    STATE::UNKNOWN,
                    "-",
                    plainNumber(report.options.gravity) + " ± " + plainNumber(goodGravity) +
                        " m/s²; ± " + plainNumber(mostGravity) + " m/s² at most (ours)",
                    "There was no rest."};
    if (report.gravity) {
        const double error = report.gravity->mean - report.options.gravity;
        verdict.state = within(std::abs(error), goodGravity, mostGravity);
        verdict.value = number(report.gravity->mean, 5) + " m/s²";
        verdict.why = "Length of the mean acceleration. Latitude and height make up 0.05 m/s² of "
                      "the difference at most; the rest is bias and scale.";
    }
    verdicts.push_back(verdict);
}

struct Sensor
{
    const InertialReport* report;
    const char* id;
    const char* name;
    const char* unit;
    const char* slopeUnit; ///< of the random walk
    NoiseLimits limits;
};

void judgeHealth(const RecordingReport& report, const Sensor& sensor,
                 std::vector<Verdict>& verdicts)
{
    double equal = 0.0;
    std::size_t stuck = 0;
    std::uint64_t saturated = 0;
    std::uint64_t spikes = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        const AxisReport& axis = sensor.report->axes[i];
        if (axis.longestEqualSeconds > equal) {
            equal = axis.longestEqualSeconds;
            stuck = i;
        }
        saturated += axis.saturated;
        spikes += axis.spikes;
    }
    const std::string id = sensor.id;
    const std::string name = sensor.name;
    const auto rows = static_cast<double>(report.read.rows);
    verdicts.push_back({id + ".stuck", name + " alive",
                        equal > mostEqualSeconds ? STATE::FAILED : STATE::PASSED,
                        number(equal, 3) + " s without a change, axis " + axisNames[stuck],
                        "at most " + plainNumber(mostEqualSeconds) + " s (ours)",
                        "An axis whose value stands still has no noise: it is stuck."});
    verdicts.push_back({id + ".saturation", name + " within its range",
                        saturated > 0 ? STATE::FAILED : STATE::PASSED,
                        number(saturated) + " samples at the end of the range", "none",
                        "Runs of at least 4 samples at exactly the highest or lowest value of an "
                        "axis, far from zero."});
    if (report.rest) {
        const double share = static_cast<double>(spikes) / std::max(rows, 1.0);
        verdicts.push_back({id + ".spikes", name + " without spikes",
                            spikes == 0               ? STATE::PASSED
                            : share <= mostSpikeShare ? STATE::WARNED
                                                      : STATE::FAILED,
                            number(spikes) + " spikes",
                            "none; at most one in 100000 samples (ours)",
                            "Single samples at rest that lie off both neighbours by more than 10 "
                            "standard deviations."});
    }
}

/// One coefficient of all axes.
void judgeCoefficient(const RecordingReport& report, const Sensor& sensor, const char* id,
                      const char* name, const std::string& unit, const NoiseLimit& limit,
                      Coefficient analysis::NoiseModel::*member, std::vector<Verdict>& verdicts)
{
    Verdict verdict{std::string(sensor.id) + "." + id,
                    std::string(sensor.name) + ": " + name,
                    STATE::UNKNOWN,
                    "",
                    plainNumber(limit.good) + " " + unit + "; at most " + plainNumber(limit.usual) +
                        " " + unit + " (ours)",
                    ""};
    std::size_t worst = 3;
    double most = 0.0;
    std::string reason;
    for (std::size_t i = 0; i < 3; ++i) {
        const Coefficient& coefficient = sensor.report->axes[i].noise.model.*member;
        verdict.value += i > 0 ? " / " : "";
        if (!coefficient.value) {
            verdict.value += "-";
            reason = reason.empty() ? reasonOf(report, coefficient) : reason;
            continue;
        }
        verdict.value += number(*coefficient.value, 3);
        if (*coefficient.value > most) {
            most = *coefficient.value;
            worst = i;
        }
    }
    if (worst == 3) {
        verdict.value = "-";
        verdict.why = reason + ".";
        verdict.why[0] = static_cast<char>(std::toupper(verdict.why[0]));
        verdicts.push_back(verdict);
        return;
    }
    verdict.value += " " + unit;
    verdict.state = within(most, limit.good, limit.usual);
    const std::string axis = std::string("axis ") + axisNames[worst];
    switch (verdict.state) {
    case STATE::PASSED:
        verdict.why = "As good sensors of silicon have it; highest on " + axis + ".";
        break;
    case STATE::WARNED:
        verdict.why = "As sensors for consumers have it; highest on " + axis + ".";
        break;
    default:
        verdict.why = "Above what sensors for consumers have, on " + axis + ".";
        break;
    }
    const bool density = member == &analysis::NoiseModel::noiseDensity;
    if (density && most < leastDensityShare * limit.good) {
        verdict.state = STATE::WARNED;
        verdict.why = "Far below what sensors of silicon have: the samples were smoothed, or are "
                      "none of a sensor.";
    }
    if (density && report.decimated && verdict.state != STATE::PASSED) {
        verdict.state = STATE::WARNED;
        verdict.why += " The file is decimated, so that the value is an upper bound.";
    }
    verdicts.push_back(verdict);
}

void judgeNoise(const RecordingReport& report, const Sensor& sensor, std::vector<Verdict>& verdicts)
{
    using analysis::NoiseModel;
    judgeCoefficient(report, sensor, "noise_density", "noise density",
                     std::string(sensor.unit) + "/√Hz", sensor.limits.density,
                     &NoiseModel::noiseDensity, verdicts);
    judgeCoefficient(report, sensor, "bias_instability", "bias instability", sensor.unit,
                     sensor.limits.instability, &NoiseModel::biasInstability, verdicts);
    judgeCoefficient(report, sensor, "random_walk", "random walk", sensor.slopeUnit,
                     sensor.limits.walk, &NoiseModel::randomWalk, verdicts);
}

void judgeVibration(const RecordingReport& report, std::vector<Verdict>& verdicts)
{
    if (!report.accelerometer || !report.rest) {
        return;
    }
    const analysis::SpectralLine* strongest = nullptr;
    std::size_t axis = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        for (const analysis::SpectralLine& line : report.accelerometer->axes[i].lines) {
            if (strongest == nullptr || line.amplitude > strongest->amplitude) {
                strongest = &line;
                axis = i;
            }
        }
    }
    Verdict verdict{"vibration",
                    "Free of vibration",
                    STATE::PASSED,
                    "no line in the spectrum",
                    "no line above " + plainNumber(leastLineAmplitude) + " m/s² (ours)",
                    "A place that vibrates raises the Allan deviation and moves its minimum."};
    if (strongest != nullptr) {
        verdict.value = number(strongest->amplitude, 3) + " m/s² at " +
                        number(strongest->frequencyHz, 5) + " Hz, axis " + axisNames[axis];
        verdict.state = strongest->amplitude > leastLineAmplitude ? STATE::WARNED : STATE::PASSED;
        if (report.decimated) {
            verdict.why += " The file is decimated, so that the frequency may be a folded one.";
        }
    }
    verdicts.push_back(verdict);
}

void judgeMagnetometer(const RecordingReport& report, std::vector<Verdict>& verdicts)
{
    if (!report.magnetometer) {
        return;
    }
    Verdict residual{"magnetometer.residual",
                     "Magnetometer: residual of the fit",
                     STATE::UNKNOWN,
                     "-",
                     "0.8 µT; 1.6 µT at most (ours; the steps are 0.4, 0.8, 1.6 and 3.2 µT)",
                     ""};
    Verdict coverage{"magnetometer.coverage",
                     "Magnetometer: coverage of the sphere",
                     STATE::UNKNOWN,
                     "-",
                     "at most " + plainNumber(mostCoverageGaps) + " of 100 areas empty; " +
                         plainNumber(mostCovered) + " at most (ours)",
                     "Turn the camera through all orientations for a fit that can be trusted."};
    const MagnetometerPart& part = *report.magnetometer;
    if (part.fit) {
        const double rms = part.fit->aligned.residualRms;
        const double gaps = part.fit->quality.gaps;
        const std::size_t grade = residualClass(rms);
        const double inDegrees = std::asin(std::min(1.0, rms / part.fit->aligned.radius)) * 57.3;
        residual.value = number(rms, 3) + " µT: " + residualNames[grade];
        residual.state = within(rms, residualLimits[1], residualLimits[2]);
        residual.why = "Of offset and one radius an axis, as a camera stores them; it turns the "
                       "field's direction by some " +
                       number(inDegrees, 2) + "°.";
        coverage.value = number(gaps, 3) + " areas empty";
        coverage.state = within(gaps, mostCoverageGaps, mostCovered);
        if (coverage.state == STATE::FAILED) {
            // What is not seen is no fault of the sensor.
            coverage.state = STATE::WARNED;
        }
    } else {
        residual.why = part.reason + ".";
        residual.why[0] = static_cast<char>(std::toupper(residual.why[0]));
        coverage.why = residual.why;
    }
    verdicts.push_back(residual);
    verdicts.push_back(coverage);
}

void judgeTemperature(const RecordingReport& report, std::vector<Verdict>& verdicts)
{
    if (!report.temperatures) {
        return;
    }
    const double low = report.temperatures->minimum[imuTemperature];
    const double high = report.temperatures->maximum[imuTemperature];
    Verdict verdict{"temperature",
                    "Temperature of the IMU",
                    STATE::PASSED,
                    number(low, 3) + " to " + number(high, 3) + " °C",
                    plainNumber(coldest) + " to " + plainNumber(hottest) +
                        " °C (the industrial range); a change of " +
                        plainNumber(mostTemperatureChange) + " °C at most (ours)",
                    "A change takes the biases with it, and shows as random walk."};
    if (low < coldest || high > hottest) {
        verdict.state = STATE::FAILED;
    } else if (high - low > mostTemperatureChange) {
        verdict.state = STATE::WARNED;
        verdict.why += " Let the camera warm up first.";
    }
    verdicts.push_back(verdict);
}

void judgeSixPositions(const RecordingReport& report, std::vector<Verdict>& verdicts)
{
    constexpr double goodBias = 0.2;
    constexpr double mostBias = 0.5;
    constexpr double goodScale = 0.01;
    constexpr double mostScale = 0.03;
    if (!report.options.sixPositions) {
        return;
    }
    Verdict bias{"six_positions.bias",
                 "Six positions: bias",
                 STATE::UNKNOWN,
                 "-",
                 plainNumber(goodBias) + " m/s²; " + plainNumber(mostBias) + " m/s² at most (ours)",
                 report.sixPositionsReason + "."};
    Verdict scale{"six_positions.scale",
                  "Six positions: scale",
                  STATE::UNKNOWN,
                  "-",
                  "1 ± " + plainNumber(goodScale) + "; ± " + plainNumber(mostScale) +
                      " at most (ours)",
                  report.sixPositionsReason + "."};
    if (report.sixPositions) {
        const analysis::SixPositions& six = *report.sixPositions;
        bias.value = number(six.bias[0], 3) + " / " + number(six.bias[1], 3) + " / " +
                     number(six.bias[2], 3) + " m/s²";
        bias.state = within(six.bias.cwiseAbs().maxCoeff(), goodBias, mostBias);
        bias.why = "From " + number(std::uint64_t{six.rests.size()}) + " rests on the six sides.";
        scale.value = number(six.scale[0], 5) + " / " + number(six.scale[1], 5) + " / " +
                      number(six.scale[2], 5);
        scale.state = within((six.scale.array() - 1.0).abs().maxCoeff(), goodScale, mostScale);
        scale.why = bias.why;
    } else {
        bias.why[0] = static_cast<char>(std::toupper(bias.why[0]));
        scale.why = bias.why;
    }
    verdicts.push_back(bias);
    verdicts.push_back(scale);
}

} // namespace

std::size_t residualClass(double residualRms)
{
    std::size_t grade = 0;
    while (grade < residualLimits.size() && residualRms > residualLimits[grade]) {
        ++grade;
    }
    return grade;
}

const char* nameOf(STATE state)
{
    switch (state) {
    case STATE::PASSED:
        return "passed";
    case STATE::WARNED:
        return "warning";
    case STATE::FAILED:
        return "failed";
    case STATE::UNKNOWN:
        break;
    }
    return "not judged";
}

int rankOf(STATE state)
{
    switch (state) {
    case STATE::FAILED:
        return 0;
    case STATE::WARNED:
        return 1;
    case STATE::PASSED:
        return 2;
    case STATE::UNKNOWN:
        break;
    }
    return 3;
}

std::string reasonOf(const RecordingReport& report, const Coefficient& coefficient)
{
    return report.rest ? coefficient.reason : "not observable: " + report.restReason;
}

void judge(RecordingReport& report)
{
    std::vector<Verdict>& verdicts = report.verdicts;
    verdicts.clear();
    if (report.decimated) {
        report.warning = "This file was decimated: its rows come at " +
                         number(report.timing.rateHz) + " Hz, the sensor's samples at " +
                         number(report.timing.decimated ? report.timing.sensorRateHz
                                                        : report.options.sensorRateHz) +
                         " Hz. Noise densities in it are up to " +
                         number(std::sqrt((report.timing.decimated ? report.timing.sensorRateHz
                                                                   : report.options.sensorRateHz) /
                                          report.timing.rateHz),
                                3) +
                         " times too high.";
    }
    judgeTiming(report, verdicts);
    judgeRest(report, verdicts);
    judgeGravity(report, verdicts);
    const std::array<Sensor, 2> sensors{
        {{report.accelerometer ? &*report.accelerometer : nullptr, "accelerometer", "Accelerometer",
          "m/s²", "m/s³/√Hz", accelerometerLimits},
         {report.gyroscope ? &*report.gyroscope : nullptr, "gyroscope", "Gyroscope", "°/s",
          "°/s²/√Hz", gyroscopeLimits}}};
    for (const Sensor& sensor : sensors) {
        if (sensor.report != nullptr) {
            judgeHealth(report, sensor, verdicts);
            judgeNoise(report, sensor, verdicts);
        }
    }
    judgeVibration(report, verdicts);
    judgeMagnetometer(report, verdicts);
    judgeTemperature(report, verdicts);
    judgeSixPositions(report, verdicts);
    // The worst first: a reader stops after some lines.
    std::stable_sort(verdicts.begin(), verdicts.end(), [&](const Verdict& a, const Verdict& b) {
        return rankOf(a.state) < rankOf(b.state);
    });
}

} // namespace report
