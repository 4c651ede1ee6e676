#include "report/verdicts_parts.h"

#include "report/inertial_sensors.h"
#include "report/number_text.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace report {

namespace {

using analysis::Coefficient;

constexpr double goodGravity = 0.2; // m/s^2
constexpr double mostGravity = 0.5;
constexpr double mostEqualSeconds = 0.5;
constexpr double mostSpikeShare = 1e-5;     // of the samples
constexpr double mostFilledShare = 0.01;    // of the samples
constexpr double leastDensityShare = 0.02;  // of the good density
constexpr double leastLineAmplitude = 0.02; // m/s^2

/// A sensor that the recording has.
struct JudgedSensor
{
    const InertialSensor& about;
    const InertialReport& report;
    const NoiseLimits& limits;
};

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
        verdict.why = "Length of the mean acceleration. Latitude and altitude explain at most 0.05 "
                      "m/s² of the difference; the rest is bias and scale.";
    }
    verdicts.push_back(verdict);
}

void judgeHealth(const RecordingReport& report, const JudgedSensor& sensor,
                 std::vector<Verdict>& verdicts)
{
    double equal = 0.0;
    std::size_t stuck = 0;
    std::uint64_t saturated = 0;
    std::uint64_t spikes = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        const AxisReport& axis = sensor.report.axes[i];
        if (axis.longestEqualSeconds > equal) {
            equal = axis.longestEqualSeconds;
            stuck = i;
        }
        saturated += axis.saturated;
        spikes += axis.spikes;
    }
    const std::string id = sensor.about.id;
    const std::string name = sensor.about.name;
    verdicts.push_back({id + ".stuck", name + " alive",
                        equal > mostEqualSeconds ? STATE::FAILED : STATE::PASSED,
                        number(equal, 3) + " s without a change, axis " + axisNames[stuck],
                        "at most " + plainNumber(mostEqualSeconds) + " s (ours)",
                        "An axis whose value does not change has no noise: it is stuck."});
    verdicts.push_back({id + ".saturation", name + " within its range",
                        saturated > 0 ? STATE::FAILED : STATE::PASSED,
                        number(saturated) + " samples at the end of the range", "none",
                        "Samples at exactly the highest or lowest value of an axis: runs of at "
                        "least 4 far from zero, or more than noise leaves there."});
    if (report.rest) {
        const auto rows = static_cast<double>(report.rest->end - report.rest->first);
        const double share = static_cast<double>(spikes) / std::max(rows, 1.0);
        verdicts.push_back({id + ".spikes", name + " without spikes",
                            spikes == 0               ? STATE::PASSED
                            : share <= mostSpikeShare ? STATE::WARNED
                                                      : STATE::FAILED,
                            number(spikes) + " spikes",
                            "none; at most one in 100000 samples (ours)",
                            "Samples at rest, one or two in succession, that differ from their "
                            "neighbours on both sides by more than 10 standard deviations. They "
                            "are left out of the noise."});
    }
}

/// Judges one coefficient of all axes.
void judgeCoefficient(const RecordingReport& report, const JudgedSensor& sensor, const char* id,
                      const char* name, const std::string& unit, const NoiseLimit& limit,
                      Coefficient analysis::NoiseModel::*member, std::vector<Verdict>& verdicts)
{
    Verdict verdict{std::string(sensor.about.id) + "." + id,
                    std::string(sensor.about.name) + ": " + name,
                    STATE::UNKNOWN,
                    "",
                    plainNumber(limit.good) + " " + unit + "; at most " + plainNumber(limit.usual) +
                        " " + unit + " (ours)",
                    ""};
    std::size_t worst = 3;
    double most = 0.0;
    std::string reason;
    for (std::size_t i = 0; i < 3; ++i) {
        const Coefficient& coefficient = sensor.report.axes[i].noise.model.*member;
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
        verdict.why = sentence(reason);
        verdicts.push_back(verdict);
        return;
    }
    verdict.value += " " + unit;
    verdict.state = within(most, limit.good, limit.usual);
    const std::string axis = std::string("axis ") + axisNames[worst];
    switch (verdict.state) {
    case STATE::PASSED:
        verdict.why = "Typical of good silicon sensors; highest on " + axis + ".";
        break;
    case STATE::WARNED:
        verdict.why = "Typical of consumer sensors; highest on " + axis + ".";
        break;
    default:
        verdict.why = "Higher than in consumer sensors, on " + axis + ".";
        break;
    }
    const bool density = member == &analysis::NoiseModel::noiseDensity;
    if (density && most < leastDensityShare * limit.good) {
        verdict.state = STATE::WARNED;
        verdict.why = "Far below the noise of silicon sensors: the samples were smoothed or are "
                      "not those of a sensor.";
    }
    if (density && report.decimated && verdict.state != STATE::PASSED) {
        verdict.state = STATE::WARNED;
        verdict.why += " The file is decimated, so that the value is an upper bound.";
    }
    if (missingShareOf(report) > mostFilledShare) {
        verdict.why += " So many samples are missing that the interpolated ones change the value.";
    }
    verdicts.push_back(verdict);
}

void judgeNoise(const RecordingReport& report, const JudgedSensor& sensor,
                std::vector<Verdict>& verdicts)
{
    using analysis::NoiseModel;
    judgeCoefficient(report, sensor, "noise_density", "noise density",
                     std::string(sensor.about.unit) + "/√Hz", sensor.limits.density,
                     &NoiseModel::noiseDensity, verdicts);
    judgeCoefficient(report, sensor, "bias_instability", "bias instability", sensor.about.unit,
                     sensor.limits.instability, &NoiseModel::biasInstability, verdicts);
    judgeCoefficient(report, sensor, "random_walk", "random walk", sensor.about.walkUnit,
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
                    "Vibration raises the Allan deviation and moves its minimum."};
    if (strongest != nullptr) {
        verdict.value = number(strongest->amplitude, 3) + " m/s² at " +
                        number(strongest->frequencyHz, 5) + " Hz, axis " + axisNames[axis];
        verdict.state = strongest->amplitude > leastLineAmplitude ? STATE::WARNED : STATE::PASSED;
        if (report.decimated) {
            verdict.why += " The file is decimated, so that the frequency may be an aliased one.";
        }
    }
    verdicts.push_back(verdict);
}

} // namespace

void judgeInertial(const RecordingReport& report, std::vector<Verdict>& verdicts)
{
    judgeRest(report, verdicts);
    judgeGravity(report, verdicts);
    constexpr std::array<NoiseLimits, 2> limits{accelerometerLimits, gyroscopeLimits};
    static_assert(limits.size() == inertialSensors.size());
    for (std::size_t i = 0; i < limits.size(); ++i) {
        const InertialSensor& about = inertialSensors.at(i);
        if (const auto& inertial = report.*about.report) {
            const JudgedSensor sensor{about, *inertial, limits.at(i)};
            judgeHealth(report, sensor, verdicts);
            judgeNoise(report, sensor, verdicts);
        }
    }
    judgeVibration(report, verdicts);
}

} // namespace report
