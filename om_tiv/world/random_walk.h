/// @file
/// Random walk of a sensor's bias, as a function of time.
#pragma once

#include "base/clock.h"
#include "world/midpoint_path.h"

#include <cstdint>

namespace om::bench {

/// Brownian motion: 0 at the time 0, with a variance that grows by 1 in a second. Of cells of 2 ms
/// within which it runs straight.
///
/// The values depend on seed and channel alone, not on what was read before; the cost grows
/// with the logarithm of the time, and is that of some two random numbers in a walk through time
/// at the pace of a sensor. One thread at a time.
class RandomWalk
{
public:
    RandomWalk(std::uint64_t seed, std::uint64_t channel);

    double at(Nanoseconds time);

private:
    NodeNumbers m_numbers;
    MidpointPath m_path;
    MidpointPath::Interval m_interval;         ///< the one asked for last
    std::vector<MidpointPath::Level> m_levels; ///< of it
};

} // namespace om::bench
