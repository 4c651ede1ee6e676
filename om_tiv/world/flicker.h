/// @file
/// Flicker noise of a sensor's bias (bias instability), as a function of time.
#pragma once

#include "base/clock.h"
#include "world/midpoint_path.h"

#include <cstdint>
#include <vector>

namespace om::bench {

/// A stationary first-order process (Ornstein-Uhlenbeck) with standard deviation 1 and the
/// autocorrelation exp(-|t| / correlation time). It is linear within cells of 1/64 to 1/32 of the
/// correlation time, at least 2 ms. One thread at a time.
class FirstOrderProcess
{
public:
    /// @param correlationTime s, above 0
    FirstOrderProcess(std::uint64_t seed, std::uint64_t channel, double correlationTime);

    double at(Nanoseconds time);

private:
    double boundary(std::uint64_t number) const;

    NodeNumbers m_numbers;
    MidpointPath m_path;
    std::vector<MidpointPath::Level> m_levels;
    unsigned int m_cellBits;           ///< a cell is 2^m_cellBits ns long
    double m_cellInverse;              ///< 1 / ns
    MidpointPath::Interval m_interval; ///< the interval of the last call
};

/// Noise with a one-sided density of B^2 / (pi f) from 1 / (2 pi T) to about 10 Hz: a sum of
/// first-order processes whose correlation times are an octave apart, the longest of them T. Its
/// Allan deviation is flat at 0.664 B from some tens of milliseconds to about T.
///
/// The values depend only on seed, channel and T. One thread at a time.
class Flicker
{
public:
    /// The shortest correlation time lies between this and twice as much, s.
    static constexpr double shortest = 0.012;
    /// Number of channels of random numbers that it uses, starting with the given one.
    static constexpr std::uint64_t channels = 40;

    /// @param correlationTime T in seconds, shortest to 1e7
    Flicker(std::uint64_t seed, std::uint64_t channel, double correlationTime);

    double at(Nanoseconds time); ///< in units of B

private:
    std::vector<FirstOrderProcess> m_octaves;
};

} // namespace om::bench
