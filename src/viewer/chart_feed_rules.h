/// @file
/// The arithmetic of the chart feed: the part of a series that the chart shows, the axes, and the
/// update period. No state, no widgets.
#pragma once

#include <QString>

#include <cstdint>
#include <optional>

namespace chartfeed {

/// The names of the units in the texts of the time range, in the user's language.
struct UnitNames
{
    QString seconds;
    QString minutes;
    QString hours;
};

/// Seconds in a text such as "Last 10 sec": the second word is the number, the third the unit; an
/// unknown or missing unit means seconds. A word that is not a number counts as 0. No value for a
/// text without a second word, such as that of an empty combo box.
std::optional<int> windowSeconds(const QString& text, const UnitNames& units);

/// Number of samples in a window of this length at this rate.
std::int64_t windowSamples(int seconds, int samplesPerSecond);

/// The same for the IMU series, with 30 % more samples: a camera that is faster than its nominal
/// rate then still fills the chart up to the left edge.
std::int64_t imuWindowSamples(int seconds, int samplesPerSecond);

/// Index of the first of the last `window` of `stored` samples; 0 if there are fewer. `stored`
/// itself for an empty window.
int windowStart(int stored, std::int64_t window);

/// Milliseconds between two updates of a chart with this number of samples per curve: 25 up to
/// 12499 samples, then 1 ms per 500 samples, and 500 from 250000 on.
int updatePeriodMs(int samples);

struct AxisRange
{
    double min;
    double max;
};

/// The time axis over samples from `first` to `last`, always `seconds` wide. The samples fill it
/// from the left; once they cover it, it ends with the newest.
AxisRange timeAxis(double first, double last, int seconds);

/// The value axis of a sensor whose largest absolute value is `limit`.
AxisRange symmetricAxis(float limit, double margin);

/// Margins around the limit: from a selection to the next update, and afterwards. The axis becomes
/// slightly narrower after a selection.
constexpr double selectionMargin = 1.1;
constexpr double updateMargin = 1.05;

} // namespace chartfeed
