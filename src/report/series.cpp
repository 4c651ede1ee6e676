#include "report/series.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

namespace report {

namespace {

using analysis::Gap;
using analysis::Nanoseconds;
using analysis::Timing;

constexpr std::size_t leastSaturatedRun = 4;
/// The tail of a distribution gets thinner. This many samples at its last value, and this many
/// times the samples at the last but one, are not a tail.
constexpr std::uint64_t leastPiled = 8;
constexpr std::uint64_t piledFactor = 4;
/// An axis with fewer different values has no tail to compare with.
constexpr std::size_t leastValues = 32;

bool hasManyValues(const std::vector<double>& values)
{
    std::set<double> different;
    for (const double value : values) {
        different.insert(value);
        if (different.size() == leastValues) {
            return true;
        }
    }
    return false;
}

/// Number of samples at the last value towards one end, if they accumulate there; else 0.
/// @param sign 1 for the highest value, -1 for the lowest one
std::uint64_t piledAt(const std::vector<double>& values, double last, double sign)
{
    const auto atLast = static_cast<std::uint64_t>(std::count(values.begin(), values.end(), last));
    if (atLast < leastPiled) {
        return 0;
    }
    double lastButOne = -std::numeric_limits<double>::infinity();
    for (const double value : values) {
        if (value != last) {
            lastButOne = std::max(lastButOne, sign * value);
        }
    }
    const auto atLastButOne =
        static_cast<std::uint64_t>(std::count(values.begin(), values.end(), sign * lastButOne));
    return atLast > piledFactor * atLastButOne ? atLast : 0;
}

} // namespace

double secondsBetween(Nanoseconds from, Nanoseconds to)
{
    return static_cast<double>(to - from) * 1e-9;
}

Envelope envelopeOf(const std::vector<Nanoseconds>& times, const std::vector<double>& values,
                    std::size_t parts)
{
    return envelopeOf(
        times, 0, values.size(), [&](std::size_t row) { return values[row]; }, parts);
}

std::vector<Point> gapSpansOf(const std::vector<Gap>& gaps, Nanoseconds start, double duration)
{
    std::vector<Point> spans;
    const double column = duration / static_cast<double>(envelopeParts);
    for (const Gap& gap : gaps) {
        const Point span{secondsBetween(start, gap.start), secondsBetween(start, gap.end)};
        if (!spans.empty() && span.x - spans.back().y < column) {
            spans.back().y = span.y;
        } else {
            spans.push_back(span);
        }
    }
    return spans;
}

Envelope driftOf(const std::vector<Nanoseconds>& times, const Timing& timing)
{
    // Number of samples from the first row to each row, including missing ones.
    const double perRow = timing.samplesPerRow;
    const double all = static_cast<double>(times.size() - 1) * perRow;
    double missing = 0.0;
    for (const Gap& gap : timing.gaps) {
        missing += static_cast<double>(gap.missing);
    }
    const double period = secondsBetween(times.front(), times.back()) / (all + missing);
    std::size_t gap = 0;
    double passed = 0.0;
    return envelopeOf(times, 0, times.size(), [&](std::size_t row) {
        for (; gap < timing.gaps.size() && timing.gaps[gap].row <= row; ++gap) {
            passed += static_cast<double>(timing.gaps[gap].missing);
        }
        const double even = (static_cast<double>(row) * perRow + passed) * period;
        return 1e3 * (secondsBetween(times.front(), times[row]) - even);
    });
}

std::size_t longestEqualRun(const std::vector<double>& values)
{
    std::size_t longest = 0;
    std::size_t run = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        run = i > 0 && values[i] == values[i - 1] ? run + 1 : 1;
        longest = std::max(longest, run);
    }
    return longest;
}

std::uint64_t saturatedIn(const std::vector<double>& values, double least)
{
    if (values.empty()) {
        return 0;
    }
    const auto [lowest, highest] = std::minmax_element(values.begin(), values.end());
    const auto atEnd = [&, low = *lowest, high = *highest](double value) {
        return std::abs(value) >= least && (value == low || value == high);
    };
    std::uint64_t saturated = 0;
    std::size_t run = 0;
    const auto close = [&] {
        saturated += run >= leastSaturatedRun ? run : 0;
        run = 0;
    };
    for (const double value : values) {
        if (atEnd(value)) {
            ++run;
        } else {
            close();
        }
    }
    close();
    // Spikes and peaks that the range cuts off reach its end for single samples only.
    const std::uint64_t piled =
        hasManyValues(values) ? piledAt(values, *highest, 1.0) + piledAt(values, *lowest, -1.0) : 0;
    return std::max(saturated, piled);
}

} // namespace report
