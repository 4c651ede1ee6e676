#include "world/flicker.h"

#include <algorithm>
#include <cmath>

namespace om::bench {

namespace {

/// Minimum length of an interval in correlation times: its ends are then independent.
constexpr double independent = 40.0;
constexpr double cellsPerCorrelationTime = 32.0;
constexpr unsigned int shortestCellBits = 21; // 2.1 ms, below the period of the fastest sensor

/// Variance of each octave in units of B^2. A process of variance v and correlation time T has the
/// one-sided density 4 v T / (1 + (2 pi f T)^2), and an octave apart they add up to v / (f ln 2).
constexpr double octaveVariance = 0.69314718055994531 / 3.14159265358979323846;

} // namespace

FirstOrderProcess::FirstOrderProcess(std::uint64_t seed, std::uint64_t channel,
                                     double correlationTime)
    : m_numbers(seed, channel),
      m_cellBits(std::max(shortestCellBits,
                          static_cast<unsigned int>(std::max(
                              0, std::ilogb(correlationTime * 1e9 / cellsPerCorrelationTime))))),
      m_cellInverse(std::ldexp(1.0, -static_cast<int>(m_cellBits)))
{
    const double cell = std::ldexp(1e-9, static_cast<int>(m_cellBits)) / correlationTime;
    std::size_t levels = 0;
    while (std::ldexp(cell, static_cast<int>(levels)) < independent) {
        ++levels;
    }
    for (std::size_t i = 0; i < levels; ++i) {
        // Half of the interval's length.
        const double correlation = std::exp(-std::ldexp(cell, static_cast<int>(levels - i) - 1));
        const double square = correlation * correlation;
        m_levels.push_back(
            {correlation / (1.0 + square), std::sqrt((1.0 - square) / (1.0 + square))});
    }
    m_interval.name = UINT64_MAX;
}

/// The value at the border of two intervals. It uses the random number of node 0, which the path
/// does not use.
double FirstOrderProcess::boundary(std::uint64_t number) const
{
    return m_numbers.at(number << m_levels.size());
}

double FirstOrderProcess::at(Nanoseconds time)
{
    const std::uint64_t cell = time >> m_cellBits;
    const double fraction = static_cast<double>(time - (cell << m_cellBits)) * m_cellInverse;
    const std::uint64_t interval = cell >> m_levels.size();
    if (interval != m_interval.name) {
        m_interval = {interval, interval << m_levels.size(), boundary(interval),
                      boundary(interval + 1)};
    }
    return m_path.at(m_interval, m_levels, m_numbers,
                     cell & ((std::uint64_t{1} << m_levels.size()) - 1), fraction);
}

Flicker::Flicker(std::uint64_t seed, std::uint64_t channel, double correlationTime)
{
    for (double time = correlationTime; time >= shortest && m_octaves.size() < channels;
         time *= 0.5) {
        m_octaves.emplace_back(seed, channel + m_octaves.size(), time);
    }
}

double Flicker::at(Nanoseconds time)
{
    double sum = 0.0;
    for (FirstOrderProcess& octave : m_octaves) {
        sum += octave.at(time);
    }
    static const double deviation = std::sqrt(octaveVariance);
    return deviation * sum;
}

} // namespace om::bench
