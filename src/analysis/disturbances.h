/// @file
/// Removes what is not noise from the samples of a sensor at rest: spikes of a bad contact, and
/// the drift that follows the temperature. removeLines() removes lines of the spectrum.
///
/// Short gaps are filled with a straight line (stretchesOf()), and filled again after spectral
/// lines and spikes are removed (refillGaps()): a straight line in place of some periods of a
/// vibration is not a wave, and would remain as noise. A straight line has less noise from sample
/// to sample, but its ends are means of only m recorded samples on either side. So a gap of g
/// samples adds g + g^2 / (2 m) times the variance of a sample to long averages. The noise density
/// of n samples is too high by half of that share: by 0.25 % with m = 8 and one gap of 4 samples in
/// 1000, by nearly 2 % where 3 % of the samples are missing in groups of four. The verdict on
/// missing samples of such a recording is "failed" anyway.
#pragma once

#include "analysis/allan.h"
#include "analysis/recording.h"
#include "analysis/timing.h"

#include <cstdint>
#include <vector>

namespace analysis {

/// Replaces spikes as refillGaps() replaces gaps. A spike is one recorded sample or two successive
/// ones. Each is above both recorded samples beside the spike or below both, and farther from them
/// than ten standard deviations. That is the deviation of a sample's distance from the mean of its
/// neighbours, estimated from the median, which spikes do not change.
/// @param filled interpolated samples by stretch and place: they are neither spikes nor neighbours.
/// The spikes are added to it.
/// @return number of samples in spikes; 0 of less than 16 samples, or where most samples equal
/// their neighbours
std::uint64_t removeSpikes(Stretches& stretches, std::vector<FilledGap>& filled);

/// Subtracts slope times temperature. Between the means of at most 600 equal parts of its samples
/// the temperature is on a straight line, before and after them constant.
/// @param samples of one axis
/// @param times of the samples, increasing, as many
/// @param temperatureTimes increasing
/// @param temperatures as many; degrees Celsius
/// @param slope unit of the samples per degree
void removeTemperature(std::vector<double>& samples, const std::vector<Nanoseconds>& times,
                       const std::vector<Nanoseconds>& temperatureTimes,
                       const std::vector<double>& temperatures, double slope);

} // namespace analysis
