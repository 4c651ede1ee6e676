/// @file
/// Angles in degrees and radians.
#pragma once

#include "world/geometry.h"

namespace om::bench {

constexpr double degreesPerRadian = 180.0 / pi;

constexpr double toRadians(double degrees)
{
    return degrees * pi / 180.0;
}

} // namespace om::bench
