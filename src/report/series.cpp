#include "report/series.h"

#include <algorithm>
#include <cmath>

namespace report {

namespace {

using analysis::Gap;
using analysis::Nanoseconds;
using analysis::Timing;

constexpr double spikeFactor = 10.0;
constexpr std::size_t leastSaturatedRun = 4;
/// So many distances say what is usual.
constexpr std::size_t spikeSample = 100'000;

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

std::vector<Point> gapSpansOf(const std::vector<Gap>& gaps, Nanoseconds start, double duration,
                              std::size_t parts)
{
    std::vector<Point> spans;
    const double column = duration / static_cast<double>(parts);
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
    // The samples that lie between the first row and each other one, gaps counted.
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

std::uint64_t spikesIn(const std::vector<double>& values)
{
    if (values.size() < 16) {
        return 0;
    }
    const auto off = [&](std::size_t i) {
        return values[i] - 0.5 * (values[i - 1] + values[i + 1]);
    };
    const std::size_t step = values.size() / spikeSample + 1;
    std::vector<double> usual;
    for (std::size_t i = 1; i + 1 < values.size(); i += step) {
        usual.push_back(std::abs(off(i)));
    }
    const auto middle = usual.begin() + static_cast<std::ptrdiff_t>(usual.size() / 2);
    std::nth_element(usual.begin(), middle, usual.end());
    const double deviation = 1.4826 * *middle;
    if (!(deviation > 0.0)) {
        return 0;
    }
    const double most = spikeFactor * deviation;
    std::uint64_t spikes = 0;
    for (std::size_t i = 1; i + 1 < values.size(); ++i) {
        const double before = values[i] - values[i - 1];
        const double after = values[i] - values[i + 1];
        const bool peak = before * after > 0.0;
        if (peak && std::min(std::abs(before), std::abs(after)) > most) {
            ++spikes;
        }
    }
    return spikes;
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
    return saturated;
}

} // namespace report
