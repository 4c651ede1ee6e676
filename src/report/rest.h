/// @file
/// The longest part of a recording without motion.
#pragma once

#include "analysis/recording.h"

#include <cstddef>
#include <optional>

namespace report {

/// Rows from `first` up to, without, `end`.
struct Rows
{
    std::size_t first = 0;
    std::size_t end = 0;

    std::size_t size() const { return end - first; }
};

/// The longest run of whole seconds in which neither the mean acceleration nor the mean angular
/// velocity jumps by more than the noise explains. Slow changes of a bias are no motion. The first
/// and the last part of a second belong to the run that they border on.
/// @return none where there is neither accelerometer nor gyroscope, or no two seconds of rest in a
///         recording that has more than two seconds
std::optional<Rows> longestRest(const analysis::Recording& recording);

} // namespace report
