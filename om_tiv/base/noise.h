/// @file
/// Random numbers without a state: each is a function of seed, channel and number. A value that is
/// computed again is the same, independent of caller and order.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace om::bench {

/// The finaliser of the SplitMix64 generator: a bijection whose output bits all depend on all input
/// bits.
inline std::uint64_t mix(std::uint64_t x)
{
    x += 0x9E3779B97F4A7C15ULL;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ULL;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBULL;
    return x ^ (x >> 31);
}

/// Random bits as a number in (0, 1).
inline double unitInterval(std::uint64_t bits)
{
    // The largest number of bits would be rounded to 1.
    return std::min((static_cast<double>(bits >> 11) + 0.5) * 0x1.0p-53, 1.0 - 0x1.0p-53);
}

/// In (0, 1).
inline double uniform(std::uint64_t seed, std::uint64_t channel, std::uint64_t number)
{
    return unitInterval(mix(mix(mix(seed) ^ channel) ^ number));
}

/// Normal with standard deviation 1, by the Box-Muller transform.
inline double gaussian(std::uint64_t seed, std::uint64_t channel, std::uint64_t number)
{
    const double u = uniform(seed, 2 * channel, number);
    const double v = uniform(seed, 2 * channel + 1, number);
    return std::sqrt(-2.0 * std::log(u)) * std::cos(6.283185307179586 * v);
}

} // namespace om::bench
