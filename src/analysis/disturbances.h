/// @file
/// Removes what is not noise from the samples of a sensor at rest: spikes, as of a bad contact, and
/// the drift that follows the temperature. removeLines() removes lines of the spectrum.
///
/// Short gaps are a straight line (stretchesOf()), which is drawn again after lines and spikes are
/// removed (refillGaps()): a straight line in place of some periods of a vibration is not a wave,
/// and would be left as noise. A straight line has less noise from sample to sample, but the two
/// recorded samples beside it count for all: a gap of g samples adds g + g^2 / 2 times the variance
/// of a sample to long averages, which is the noise of so many samples more. N of n samples is too
/// high by half of that share: 0.6 % with one gap of 4 samples in 1000, above 2 % where 1.3 % of
/// the samples are missing in fours. Such a recording fails for its missing samples before.
#pragma once

#include "analysis/allan.h"
#include "analysis/recording.h"

#include <cstdint>
#include <vector>

namespace analysis {

/// Replaces spikes by the mean of their neighbours. A spike is a single sample that lies off both
/// neighbours to the same side, by more than ten standard deviations of a sample's distance from
/// the mean of its neighbours. The deviation is that of the median, which spikes do not move.
/// @return their number; 0 of less than 16 samples, or where most samples equal their neighbours
std::uint64_t removeSpikes(Stretches& stretches);

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
