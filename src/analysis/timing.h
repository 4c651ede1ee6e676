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
    std::size_t row = 0; ///< the first row after it
    Nanoseconds start = 0;
    Nanoseconds end = 0;
    std::uint64_t missing = 0; ///< samples without a row that should have one
};

/// The times of the rows of the IMU.
struct Timing
{
    double durationSeconds = 0.0;
    double rateHz = 0.0;        ///< of the rows, without gaps
    double sensorRateHz = 0.0;  ///< of the sensor, from the times and the numbers of its samples
    double periodSeconds = 0.0; ///< between rows, the inverse of rateHz
    double jitterSeconds = 0.0; ///< standard deviation of the intervals of rows, without gaps
    std::uint64_t missingSamples = 0;
    std::vector<Gap> gaps;
    /// The numbers of the samples increase by more than one for most rows: the recorder left
    /// samples out. Such a file was reduced without a filter: the sensor's highest frequencies are
    /// aliased, which raises its noise density by up to the root of the ratio.
    bool numbersSkip = false;
    double samplesPerRow = 1.0; ///< mean, without gaps
};

/// Timing of increasing times with the numbers of their samples. An interval of rows is a gap if at
/// least one additional sample fits into it; if the numbers skip, one more than they show. A
/// step of the numbers that is more than twice the usual one counts as the usual one.
/// @param times at least 2
/// @param numbers as many; a number that decreases, as after a restart of the recorder's count,
/// counts as the next one
Timing analyseTiming(const std::vector<Nanoseconds>& times,
                     const std::vector<std::uint32_t>& numbers);

/// Samples of a stretch that are not recorded but interpolated.
struct FilledGap
{
    std::size_t stretch = 0;
    std::size_t first = 0; ///< has a recorded sample before it
    std::size_t end = 0;   ///< one after the last: a recorded sample
};

/// The axis in stretches without long gaps: up to `mostFilled` missing samples are interpolated
/// linearly; a new stretch begins after a longer gap. Stretches of less than 3 samples are left
/// out.
/// @param filled the interpolated samples are appended to it
Stretches stretchesOf(const std::vector<double>& axis, const Timing& timing,
                      std::uint64_t mostFilled = 4, std::vector<FilledGap>* filled = nullptr);

/// Interpolates the same samples again, from recorded ones that have been changed: on a straight
/// line between the means of up to 8 recorded samples on either side.
/// @param filled by stretch and place, at least one recorded sample between two of them
void refillGaps(Stretches& stretches, const std::vector<FilledGap>& filled);

/// Histogram of the intervals of rows, for a chart. Edge and width in seconds.
struct Histogram
{
    double first = 0.0; ///< lower edge of the first bin
    double width = 0.0;
    std::vector<std::uint64_t> counts;
};

/// Histogram of the intervals of neighbouring times, s. The bins cover the intervals without gaps;
/// values outside count in the first or last bin.
Histogram intervalHistogram(const std::vector<Nanoseconds>& times, const Timing& timing,
                            std::size_t bins = 60);

} // namespace analysis
