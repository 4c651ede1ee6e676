/// @file
/// The longest part of a recording without motion.
#pragma once

#include "analysis/recording.h"

#include <cstddef>
#include <optional>

namespace report {

/// Rows from `first` up to, but not including, `end`.
struct Rows
{
    std::size_t first = 0;
    std::size_t end = 0;

    std::size_t size() const { return end - first; }
};

/// The longest run of whole seconds in which the mean acceleration and the mean angular velocity
/// change on each axis by no more than 0.3 m/s^2 and 2 degrees per second or, if this is more, by
/// no more than the noise explains, and in which the mean angular velocity about each axis is at
/// most 20 degrees per second. Slow changes of a bias are not motion. An incomplete second at the
/// end belongs to the second before it.
/// @return all rows, whatever their values, if the recording is not longer than two seconds; none
/// if it is longer and has no two seconds of rest, or has neither accelerometer nor gyroscope
std::optional<Rows> longestRest(const analysis::Recording& recording);

} // namespace report
