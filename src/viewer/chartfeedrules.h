/// @file
/// The arithmetic of the chart feed: which part of a series the chart shows, over which axes, and
/// how often it is refreshed. No state, no widgets.
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

/// Seconds that a text such as "Last 10 sec" stands for: its second word is the number, the third
/// the unit, and an unknown or missing unit counts as seconds. A word that is no number counts as
/// 0. Nothing for a text without a second word, such as that of an empty combo box.
std::optional<int> windowSeconds(const QString& text, const UnitNames& units);

/// Samples that a window of so many seconds holds at this rate.
std::int64_t windowSamples(int seconds, int samplesPerSecond);

/// The same for the IMU series, which are handed over with 30 % more samples than that: a camera
/// faster than its nominal rate fills the chart up to the left edge all the same.
std::int64_t imuWindowSamples(int seconds, int samplesPerSecond);

/// Index where the last `window` of `stored` samples begin; 0 where there are not as many.
/// `stored` itself for an empty window.
int windowStart(int stored, std::int64_t window);

/// Milliseconds between two updates of a chart that shows so many samples a curve: 25 up to 12499
/// samples, then about 500 samples a millisecond, and 500 from 250000 on.
int updatePeriodMs(int samples);

struct AxisRange
{
    double min;
    double max;
};

/// The time axis over samples from `first` to `last`, always `seconds` wide: the samples fill it
/// from the left, and once they span it, it ends with the newest.
AxisRange timeAxis(double first, double last, int seconds);

/// The value axis of a sensor whose largest absolute value is `limit`.
AxisRange symmetricAxis(float limit, double margin);

/// Margins around the limit: from a selection to the next update, and from then on. The axis
/// settles a little tighter after a selection.
constexpr double selectionMargin = 1.1;
constexpr double updateMargin = 1.05;

} // namespace chartfeed
