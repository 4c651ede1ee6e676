/// @file
/// Random processes as functions of time: each time has one value, whatever was queried before.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace om::bench {

/// Quantile of the normal distribution with standard deviation 1, for a probability in (0, 1).
/// Relative error about 1e-16.
double normalQuantile(double probability);

/// Normal random numbers with standard deviation 1, one for each node of a process.
class NodeNumbers
{
public:
    /// @param channel number of the process; processes with the same seed and distinct channels are
    /// independent
    NodeNumbers(std::uint64_t seed, std::uint64_t channel);

    double at(std::uint64_t node) const;

private:
    std::uint64_t m_key;
};

/// A Gauss-Markov process within an interval between two known values: the middle of the interval
/// is drawn from its distribution between the ends, then the middles of both halves, and so on down
/// to cells within which the process is linear (P. Lévy's construction of Brownian motion). Only
/// the nodes above the wanted cell are drawn. Those of the last call are kept, so that a walk
/// through time draws each node once.
class MidpointPath
{
public:
    static constexpr std::size_t mostLevels = 56;

    /// How the middle of an interval follows from its ends.
    struct Level
    {
        double weight = 0.5;    ///< factor of the sum of the ends
        double deviation = 0.0; ///< standard deviation of the middle about that
    };

    /// An interval of 2^levels cells with the values at both ends. Node n of it is the middle of
    /// the interval, 2 n and 2 n + 1 are the middles of the halves of n, from 1.
    struct Interval
    {
        std::uint64_t name = 0;   ///< distinct for each interval of the process
        std::uint64_t offset = 0; ///< added to the numbers of its nodes
        double first = 0.0;
        double last = 0.0;
    };

    /// The value in a cell.
    /// @param levels   one for each halving, starting with the whole interval
    /// @param cell     below 2^levels.size()
    /// @param fraction place in the cell, 0 to 1
    double at(const Interval& interval, const std::vector<Level>& levels,
              const NodeNumbers& numbers, std::uint64_t cell, double fraction);

private:
    struct Ends
    {
        double first = 0.0;
        double last = 0.0;
    };

    std::array<Ends, mostLevels + 1> m_ends{}; ///< nested intervals, from the whole one
    std::uint64_t m_name = UINT64_MAX;
    std::uint64_t m_cell = 0;
    std::size_t m_levels = 0;
};

} // namespace om::bench
