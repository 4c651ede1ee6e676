/// @file
/// The verdicts on a recording, and their limits.
///
/// A limit without a standard is our own, and its verdict says so. The limits of noise follow the
/// data sheets of inertial sensors of micromachined silicon: "good" is the level of the better
/// ones, "usual" the worst level that is common in consumer devices.
#pragma once

#include "report/model.h"

#include <array>
#include <string>

namespace report {

/// Limits of one coefficient. Up to `good` it passes; up to `usual` it has a warning.
struct NoiseLimit
{
    double good = 0.0;
    double usual = 0.0;
};

/// The limits of a sensor's three coefficients, in terms of the unit of its samples.
struct NoiseLimits
{
    NoiseLimit density;
    NoiseLimit instability;
    NoiseLimit walk;
};

constexpr NoiseLimits accelerometerLimits{
    {0.001, 0.004}, // m/s^2/sqrt(Hz): 100 and 400 ug/sqrt(Hz)
    {0.001, 0.005}, // m/s^2: 100 and 500 ug
    {0.0005, 0.003} // m/s^3/sqrt(Hz)
};
constexpr NoiseLimits gyroscopeLimits{
    {0.006, 0.02},  // deg/s/sqrt(Hz)
    {0.005, 0.02},  // deg/s: 18 and 72 degrees per hour
    {0.0005, 0.005} // deg/s^2/sqrt(Hz)
};

/// uT; each is twice the one before.
constexpr std::array<double, 4> residualLimits{0.4, 0.8, 1.6, 3.2};
constexpr std::array<const char*, 5> residualNames{"excellent", "good", "usable", "poor",
                                                   "useless"};

/// Index into residualNames.
std::size_t residualClass(double residualRms);

/// "passed", "warning", "failed", "not judged".
const char* nameOf(STATE state);

/// Rank in a table with the worst state first: 0 FAILED, 1 WARNED, 2 PASSED, 3 UNKNOWN.
int rankOf(STATE state);

/// The reason why the coefficient has no value: that of the analysis, or the lack of a rest.
std::string reasonOf(const RecordingReport& report, const analysis::Coefficient& coefficient);

/// Sets the warning and the verdicts of the report from its other members.
void judge(RecordingReport& report);

} // namespace report
