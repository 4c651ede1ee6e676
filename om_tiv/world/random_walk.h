/// @file
/// Random walk of a sensor's bias, as a function of time.
#pragma once

#include "base/clock.h"
#include "world/midpoint_path.h"

#include <cstdint>
#include <vector>

namespace om::bench {

/// Brownian motion: 0 at the time 0, with a variance that grows by 1 per second. It is linear
/// within cells of 2 ms.
///
/// The values depend only on seed and channel, not on earlier calls. The cost of any time grows
/// with its logarithm. A walk through time at the rate of a sensor draws about two random numbers
/// per call. One thread at a time.
class RandomWalk
{
public:
    RandomWalk(std::uint64_t seed, std::uint64_t channel);

    double at(Nanoseconds time);

private:
    NodeNumbers m_numbers;
    MidpointPath m_path;
    MidpointPath::Interval m_interval;         ///< the interval of the last call
    std::vector<MidpointPath::Level> m_levels; ///< the levels of that interval
};

} // namespace om::bench
