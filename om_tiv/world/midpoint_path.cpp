#include "world/midpoint_path.h"

#include "base/noise.h"

#include <cmath>

namespace om::bench {

NodeNumbers::NodeNumbers(std::uint64_t seed, std::uint64_t channel)
    : m_key(mix(mix(seed) ^ channel))
{}

/// The Box-Muller transform.
double NodeNumbers::at(std::uint64_t node) const
{
    const std::uint64_t bits = mix(m_key ^ node);
    return std::sqrt(-2.0 * std::log(unitInterval(bits))) *
           std::cos(6.283185307179586 * unitInterval(mix(bits)));
}

double MidpointPath::at(const Interval& interval, const std::vector<Level>& levels,
                        const NodeNumbers& numbers, std::uint64_t cell, double fraction)
{
    const std::size_t count = levels.size();
    std::size_t depth = 0;
    if (interval.name == m_name && count == m_levels) {
        // What the two ways from the whole interval to the cells have in common is known.
        depth = count;
        for (std::uint64_t differing = cell ^ m_cell; differing != 0; differing >>= 1U) {
            --depth;
        }
    } else {
        m_name = interval.name;
        m_levels = count;
        m_ends[0] = {interval.first, interval.last};
    }
    m_cell = cell;
    for (; depth < count; ++depth) {
        const Ends& whole = m_ends[depth];
        const std::uint64_t node = (std::uint64_t{1} << depth) + (cell >> (count - depth));
        const double middle = levels[depth].weight * (whole.first + whole.last) +
                              levels[depth].deviation * numbers.at(interval.offset + node);
        const bool inSecond = ((cell >> (count - depth - 1)) & 1U) != 0;
        m_ends[depth + 1] = inSecond ? Ends{middle, whole.last} : Ends{whole.first, middle};
    }
    const Ends& ends = m_ends[count];
    return ends.first + fraction * (ends.last - ends.first);
}

} // namespace om::bench
