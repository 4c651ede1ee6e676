/// @file
/// Samples of noise of known strength.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace noise_samples {

/// White noise of density N (u / sqrt(Hz)) and a random walk of strength K (u / s / sqrt(Hz)),
/// sampled every `period` seconds.
inline std::vector<double> whiteAndWalk(std::size_t count, double period, double density,
                                        double walk, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    std::normal_distribution<double> normal;
    std::vector<double> samples(count);
    double bias = 0.0;
    for (double& sample : samples) {
        bias += walk * std::sqrt(period) * normal(generator);
        sample = bias + density / std::sqrt(period) * normal(generator);
    }
    return samples;
}

/// Flicker noise of bias instability B: first-order processes an octave apart in correlation time,
/// from `shortest` seconds up. A process of variance v and correlation time T has the one-sided
/// density 4 v T / (1 + (2 pi f T)^2); together they add up to v / (f ln 2), which is B^2 / (pi f).
inline std::vector<double> flicker(std::size_t count, double period, double instability,
                                   double shortest, int octaves, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    std::normal_distribution<double> normal;
    const double deviation = instability * std::sqrt(std::log(2.0) / 3.14159265358979323846);
    std::vector<double> samples(count, 0.0);
    for (int octave = 0; octave < octaves; ++octave) {
        const double time = std::ldexp(shortest, octave);
        const double keep = std::exp(-period / time);
        const double add = deviation * std::sqrt(1.0 - keep * keep);
        double state = deviation * normal(generator);
        for (double& sample : samples) {
            sample += state;
            state = keep * state + add * normal(generator);
        }
    }
    return samples;
}

} // namespace noise_samples
