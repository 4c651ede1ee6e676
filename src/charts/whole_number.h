/// @file
/// Whether a position or a scale factor is one of whole pixels.
#pragma once

#include <cmath>
#include <limits>

/// True for a whole number of up to 2^31 - 1, of either sign. False for what is not finite.
inline bool isWhole(double value)
{
    return std::abs(value) <= std::numeric_limits<int>::max() && value == static_cast<int>(value);
}
