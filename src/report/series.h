/// @file
/// Reduces series of millions of samples for a chart, and counts events in them.
#pragma once

#include "report/model.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace report {

/// Number of parts of the time in an envelope: about the pixels of a chart.
constexpr std::size_t envelopeParts = 480;

double secondsBetween(analysis::Nanoseconds from, analysis::Nanoseconds to);

/// Lowest and highest of the values over equal parts of the time from the first to the last sample.
Envelope envelopeOf(const std::vector<analysis::Nanoseconds>& times,
                    const std::vector<double>& values, std::size_t parts = envelopeParts);

/// The same for the values that `valueAt(row)` returns, for the rows from `first` up to, but not
/// including, `end`.
template <typename ValueAt>
Envelope envelopeOf(const std::vector<analysis::Nanoseconds>& times, std::size_t first,
                    std::size_t end, const ValueAt& valueAt, std::size_t parts = envelopeParts)
{
    Envelope envelope;
    if (first >= end) {
        return envelope;
    }
    const double start = secondsBetween(times.front(), times[first]);
    const double length = secondsBetween(times[first], times[end - 1]);
    const double width = length > 0.0 ? length / static_cast<double>(parts) : 1.0;
    std::size_t part = parts; // none yet
    for (std::size_t row = first; row < end; ++row) {
        const double value = valueAt(row);
        // Times of a broken clock, which may not increase, stay within the chart.
        const double place = secondsBetween(times[first], times[row]) / width;
        const std::size_t here = !(place > 0.0) ? 0
                                 : place < static_cast<double>(parts)
                                     ? static_cast<std::size_t>(place)
                                     : parts - 1;
        if (here != part) {
            part = here;
            envelope.seconds.push_back(start + (static_cast<double>(part) + 0.5) * width);
            envelope.lowest.push_back(value);
            envelope.highest.push_back(value);
            continue;
        }
        envelope.lowest.back() = value < envelope.lowest.back() ? value : envelope.lowest.back();
        envelope.highest.back() = value > envelope.highest.back() ? value : envelope.highest.back();
    }
    return envelope;
}

/// Spans of the gaps for a chart of envelopeParts columns. Gaps in the same column are one span.
std::vector<Point> gapSpansOf(const std::vector<analysis::Gap>& gaps, analysis::Nanoseconds start,
                              double duration);

/// Delay of each sample against an even rate, ms. Missing samples count. The even rate is that from
/// the first sample to the last.
Envelope driftOf(const std::vector<analysis::Nanoseconds>& times, const analysis::Timing& timing);

/// The longest run of equal values, in rows.
std::size_t longestEqualRun(const std::vector<double>& values);

/// Number of samples at the end of the sensor's range. These are samples at exactly the lowest or
/// the highest value of the axis: in runs of at least 4, if that value is farther than `least` from
/// zero, or so many that they are not the tail of a distribution.
std::uint64_t saturatedIn(const std::vector<double>& values, double least);

} // namespace report
