/// @file
/// Removes what is not noise from the samples of a sensor at rest: spikes, as of a bad contact, and
/// the drift that follows the temperature. removeLines() removes lines of the spectrum.
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
