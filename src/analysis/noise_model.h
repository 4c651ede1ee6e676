/// @file
/// Noise density, bias instability and random walk of an inertial sensor, from its Allan deviation.
///
/// Model and names: IEEE Std 952-1997, annex C. The Allan variance of independent kinds of noise is
/// the sum of theirs:
///
///     sigma^2(tau) = 3 Q^2 / tau^2 + N^2 / tau + (2 ln 2 / pi) B^2 + K^2 tau / 3 + R^2 tau^2 / 2
///
/// with quantisation Q, noise density N, bias instability B, random walk K and ramp R.
#pragma once

#include "analysis/allan.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace analysis {

/// Terms of the model by increasing slope of their line in the plot of the deviation.
enum TERM : std::size_t {
    QUANTISATION,
    NOISE_DENSITY,
    BIAS_INSTABILITY,
    RANDOM_WALK_TERM,
    RAMP,
    TERMS
};

/// sqrt(2 ln 2 / pi): the deviation of flicker noise in units of B.
constexpr double flickerLevel = 0.66428;

/// A coefficient with its 68 % interval, or the reason why it is not observable.
struct Coefficient
{
    std::optional<double> value;
    double low = 0.0;
    double high = 0.0;
    std::string reason; ///< empty if there is a value, otherwise one sentence for the user
};

/// The results from the Allan deviation of one axis. With u the unit of the samples:
struct NoiseModel
{
    /// Factors of the terms in sigma^2: 3 Q^2, N^2, (2 ln 2 / pi) B^2, K^2 / 3, R^2 / 2. A term
    /// that the data do not need is 0.
    std::array<double, TERMS> factors{};
    /// Relative standard errors of the factors. They include those of the other terms, which share
    /// the points of the curve.
    std::array<double, TERMS> errors{};

    Coefficient noiseDensity;    ///< N, u / sqrt(Hz): the line of slope -1/2 at tau = 1 s
    Coefficient biasInstability; ///< B, u: minimum / 0.664, without the lines of N and K
    Coefficient randomWalk;      ///< K, u / s / sqrt(Hz): the line of slope +1/2 at tau = 3 s

    /// Variance of the model, u^2.
    double variance(double tau) const;
    /// Share of the term in the variance, 0 to 1.
    double share(TERM term, double tau) const;
};

/// The deviation of each axis and the model through it.
struct AxisNoise
{
    std::vector<AllanPoint> allan;
    NoiseModel model;
};

/// The model of a curve: weighted least squares with factors that are not negative. A term is used
/// only if the data need it (Bayesian information criterion).
///
/// A coefficient has a value only if its slope is in the data: its term is at least half of the
/// variance over a factor of 3 in averaging time. For the bias instability one of these points has
/// at least 50 degrees of freedom.
NoiseModel fitNoiseModel(const std::vector<AllanPoint>& allan);

/// Deviation and model of samples at equal intervals. The intervals of the deviation use the kind
/// of noise of the model at each averaging time.
/// @param rate stretches of the sensor's output
/// @param samplePeriod s
AxisNoise analyseNoise(const Stretches& rate, double samplePeriod);

} // namespace analysis
