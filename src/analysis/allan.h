/// @file
/// Allan, modified Allan and Hadamard deviations of a sensor's output, with confidence intervals.
///
/// Formulas and notation: W. J. Riley, Handbook of Frequency Stability Analysis, NIST Special
/// Publication 1065 (2008), sections 5.2 to 5.6. The sensor's output replaces the fractional
/// frequency y; its integral is the phase x, x[0] = 0, x[k + 1] = x[k] + y[k] tau0.
#pragma once

#include <cstddef>
#include <vector>

namespace analysis {

/// The deviations of SP 1065.
enum class DEVIATION {
    ALLAN,             ///< consecutive averages, equation 7
    OVERLAPPING_ALLAN, ///< all averages, equation 9
    MODIFIED_ALLAN,    ///< all averages, also averaged over the phase, equation 14
    HADAMARD,          ///< second differences of consecutive averages, equation 18
};

/// One or several stretches of samples at equal intervals. Differences are computed within a
/// stretch and never across a gap between two.
using Stretches = std::vector<std::vector<double>>;

/// The deviation at one averaging time, in the unit of the samples.
/// @param rate samples of the sensor's output
/// @param averaging number m of samples in an average, 1 at least; the averaging time is m tau0
/// @return NaN if there are too few samples: 2 m are needed, 3 m - 1 for MODIFIED_ALLAN, 3 m for
///         HADAMARD
double deviation(DEVIATION kind, const std::vector<double>& rate, std::size_t averaging);

struct AllanPoint
{
    std::size_t averaging = 0; ///< m, samples in an average
    std::size_t samples = 0;   ///< of the stretches that are long enough for it
    double tau = 0.0;          ///< s, averaging time
    double deviation = 0.0;    ///< overlapping Allan deviation, in the unit of the samples
    double low = 0.0;          ///< lower bound of the 68 % interval
    double high = 0.0;         ///< upper bound of the 68 % interval
    double degreesOfFreedom = 0.0;
};

/// The kinds of noise, with the power of the averaging time that the Allan deviation follows.
enum class NOISE {
    WHITE_PHASE, ///< -1: quantisation; flicker of phase looks the same
    WHITE,       ///< -1/2: white noise of the output (random walk of its integral)
    FLICKER,     ///< 0: bias instability
    RANDOM_WALK, ///< +1/2 and above: random walk of the output, and drift
};

/// The equivalent degrees of freedom of an overlapping Allan variance: SP 1065, table 5.
/// @param noise   dominant kind of noise at this averaging time
/// @param samples number of samples of the output
/// @param averaging m, at least 1, at most half of the samples
/// @return at least 1
double overlappingAllanDegreesOfFreedom(NOISE noise, std::size_t samples, std::size_t averaging);

/// The overlapping Allan deviation at averaging times evenly spaced on a logarithmic axis, from one
/// sample to a third of the longest stretch.
///
/// Up to an averaging of `exactUpTo` samples every overlapping difference is used. Above, one in
/// each m / exactUpTo is used: the others are nearly the same, and their computing time would grow
/// with the number of averaging times.
///
/// The intervals are those of white noise; setInterval() sets them for another kind.
/// @param rate stretches of the sensor's output
/// @param samplePeriod tau0, s
/// @param perDecade averaging times per decade
/// @return by increasing averaging time; empty if no stretch has 3 samples
std::vector<AllanPoint> overlappingAllan(const Stretches& rate, double samplePeriod,
                                         std::size_t perDecade = 10, std::size_t exactUpTo = 64);

/// Sets degrees of freedom and 68 % interval of a point: those of the chi-squared distribution for
/// the kind of noise that dominates at its averaging time.
void setInterval(AllanPoint& point, NOISE noise);

} // namespace analysis
