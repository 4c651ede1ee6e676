/// @file
/// Power spectral density by Welch's method.
#pragma once

#include "analysis/allan.h"

#include <cstddef>
#include <vector>

namespace analysis {

/// One-sided density of a real signal. Its sum multiplied by the distance of the frequencies is the
/// variance of the signal.
struct Spectrum
{
    double resolutionHz = 0.0;   ///< distance of the frequencies
    std::vector<double> density; ///< u^2 / Hz at i * resolutionHz, u the unit of the samples
    std::size_t averages = 0;    ///< segments
};

/// A spectral line above the noise.
struct SpectralLine
{
    double frequencyHz = 0.0;
    double amplitude = 0.0; ///< peak of the sine, in the unit of the samples
    double low = 0.0;       ///< Hz, 68 % interval of the frequency
    double high = 0.0;      ///< Hz
};

/// Welch, IEEE Trans. Audio Electroacoust. 15 (1967): segments that overlap by half, each minus its
/// mean, under a Hann window.
/// @param rateHz  of the samples
/// @param segment number of samples in a segment, a power of two; halved until the longest stretch
///        contains one
/// @return no densities if no stretch has 8 samples
Spectrum welch(const Stretches& stretches, double rateHz, std::size_t segment = 8192);

/// The lines whose density is more than 30 times the noise around them, by decreasing
/// amplitude. Frequencies below 1 Hz are ignored because of slow motion.
std::vector<SpectralLine> spectralLines(const Spectrum& spectrum);

/// Subtracts the lines from the stretches: in each block of at most 8192
/// samples the sine of a line's frequency
/// that fits best. This also removes a share of 2 / block of the noise per line. Stretches of less
/// than four periods are not changed.
/// @param rateHz of the samples
void removeLines(Stretches& stretches, double rateHz, const std::vector<SpectralLine>& lines);

} // namespace analysis
