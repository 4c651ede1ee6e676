/// @file
/// Rate, jitter and gaps of recorded samples.
#pragma once

#include "analysis/allan.h"
#include "analysis/recording.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace analysis {

/// A place where samples of the sensor are missing between two rows.
struct Gap
{
    std::size_t row = 0; ///< the first row behind it
    Nanoseconds start = 0;
    Nanoseconds end = 0;
    std::uint64_t missing = 0; ///< samples that have no row and should have one
};

/// How the rows of the IMU lie in time.
struct Timing
{
    double durationSeconds = 0.0;
    double rateHz = 0.0;        ///< of the rows, gaps left out
    double sensorRateHz = 0.0;  ///< of the sensor, from the times and the numbers of its samples
    double periodSeconds = 0.0; ///< between rows, the inverse of rateHz
    double jitterSeconds = 0.0; ///< standard deviation of the distances of rows, gaps left out
    std::uint64_t missingSamples = 0;
    std::vector<Gap> gaps;
    /// Rows are fewer than the samples that the recorder saw: the number of the sample rises by
    /// more than one from row to row more often than not. Such a file has lost the sensor's highest
    /// frequencies unfiltered, which raises its noise density by up to the root of the ratio.
    bool decimated = false;
    double samplesPerRow = 1.0; ///< mean, gaps left out
};

/// Of times that rise, with the numbers of the samples. A distance of rows counts as a gap where at
/// least one more sample fits into it: than one, or, where the file is decimated, than the numbers
/// say.
/// @param times at least 2
/// @param numbers as many; a number that falls, as after another start of the recorder's count,
/// counts
///        as the next one
Timing analyseTiming(const std::vector<Nanoseconds>& times,
                     const std::vector<std::uint32_t>& numbers);

/// The axis in stretches without gaps that are longer than a few samples: up to `mostFilled`
/// missing samples are filled in on a straight line, at a longer gap a new stretch begins.
/// Stretches of less than 3 samples are left out.
Stretches stretchesOf(const std::vector<double>& axis, const Timing& timing,
                      std::uint64_t mostFilled = 4);

/// Distances of rows as a histogram, for a chart.
struct Histogram
{
    double first = 0.0; ///< lower edge of the first bin
    double width = 0.0;
    std::vector<std::uint64_t> counts;
};

/// Of the distances of neighbouring times, s. The bins cover the distances without gaps; what lies
/// outside counts in the first or last one.
Histogram intervalHistogram(const std::vector<Nanoseconds>& times, const Timing& timing,
                            std::size_t bins = 60);

} // namespace analysis
