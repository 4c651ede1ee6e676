#include "world/random_walk.h"

#include <cmath>

namespace om::bench {

namespace {

constexpr unsigned int cellBits = 21;     // ns: 2.1 ms, below the period of the fastest sensor
constexpr unsigned int intervalBits = 50; // for the nodes of an interval, below 2^(64 - cellBits)

} // namespace

RandomWalk::RandomWalk(std::uint64_t seed, std::uint64_t channel) : m_numbers(seed, channel)
{
    m_interval.name = UINT64_MAX;
}

/// The intervals of the path are the first cell, the next cell, the next two, the next four and so
/// on. The walk continues from the end of each interval to the end of the next, so that time has no
/// limit.
double RandomWalk::at(Nanoseconds time)
{
    const std::uint64_t cell = time >> cellBits;
    const double fraction =
        static_cast<double>(time & ((std::uint64_t{1} << cellBits) - 1)) * std::ldexp(1.0, -21);
    std::uint64_t name = 0; // number of bits in the cell's number
    while (cell >> name != 0) {
        ++name;
    }
    const std::size_t levels = name > 0 ? name - 1 : 0;
    const double cellSeconds = std::ldexp(1e-9, cellBits);
    if (name != m_interval.name) {
        m_interval.name = name;
        m_interval.offset = name << intervalBits;
        m_interval.first = 0.0;
        // The number 0 of each interval's nodes is the step over the interval.
        m_interval.last = std::sqrt(cellSeconds) * m_numbers.at(0);
        for (std::uint64_t i = 1; i <= name; ++i) {
            m_interval.first = m_interval.last;
            m_interval.last += std::sqrt(std::ldexp(cellSeconds, static_cast<int>(i) - 1)) *
                               m_numbers.at(i << intervalBits);
        }
        m_levels.resize(levels);
        for (std::size_t i = 0; i < levels; ++i) {
            // The middle of an interval of length L has the variance L / 4 between its ends.
            m_levels[i].deviation =
                0.5 * std::sqrt(std::ldexp(cellSeconds, static_cast<int>(levels - i)));
        }
    }
    const std::uint64_t inInterval = name > 0 ? cell - (std::uint64_t{1} << levels) : 0;
    return m_path.at(m_interval, m_levels, m_numbers, inInterval, fraction);
}

} // namespace om::bench
