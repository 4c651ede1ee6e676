/// @file
/// The verdicts over a recording, and the limits behind them.
///
/// A limit that no standard gives is ours, and its verdict says so. Those of noise follow what data
/// sheets state for inertial sensors of micromachined silicon: "good" is what the better ones have,
/// "usual" the worst that is common in devices for consumers.
#pragma once

#include "report/model.h"

#include <array>
#include <string>

namespace report {

/// Limits of one coefficient. Up to `good` it passes, up to `usual` with a warning.
struct NoiseLimit
{
    double good = 0.0;
    double usual = 0.0;
};

/// All three of a sensor, in the unit of its samples.
struct NoiseLimits
{
    NoiseLimit density;
    NoiseLimit instability;
    NoiseLimit walk;
};

constexpr NoiseLimits accelerometerLimits{
    {0.002, 0.004}, // m/s^2/sqrt(Hz): 200 and 400 ug/sqrt(Hz)
    {0.001, 0.005}, // m/s^2: 100 and 500 ug
    {0.0005, 0.003} // m/s^3/sqrt(Hz)
};
constexpr NoiseLimits gyroscopeLimits{
    {0.008, 0.02},  // deg/s/sqrt(Hz)
    {0.005, 0.02},  // deg/s: 18 and 72 degrees per hour
    {0.0005, 0.005} // deg/s^2/sqrt(Hz)
};

/// uT; each is the double of the one before.
constexpr std::array<double, 4> residualLimits{0.4, 0.8, 1.6, 3.2};
constexpr std::array<const char*, 5> residualNames{"excellent", "good", "usable", "poor",
                                                   "useless"};

/// Index into residualNames.
std::size_t residualClass(double residualRms);

/// "passed", "warning", "failed", "not judged".
const char* nameOf(STATE state);

/// Place in a table that has the worst first: 0 FAILED, 1 WARNED, 2 PASSED, 3 UNKNOWN.
int rankOf(STATE state);

/// Why the coefficient has no value: that of the analysis, or that there was no rest.
std::string reasonOf(const RecordingReport& report, const analysis::Coefficient& coefficient);

/// Fills the warning and the verdicts from everything else.
void judge(RecordingReport& report);

} // namespace report
