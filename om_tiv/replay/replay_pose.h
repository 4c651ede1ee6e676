/// @file
/// Poses and pressures whose way through the library's arithmetic and the program's ends exactly at
/// a recorded value.
#pragma once

#include <om_tiv/transform.h>

#include <array>

namespace om::bench {

/// A rotation matrix whose Euler angles (as Transform::getEulerAngles() has them, turned into
/// degrees with 180 / pi and rounded to float) are these, to the last bit where some angle in
/// radians has these degrees, and the nearest ones elsewhere. Angles that no matrix has (Y beyond
/// 90, X and Z beyond 180 degrees) give the matrix of that rotation.
Transform transformOfEulerDegrees(const std::array<float, 3>& degrees);

/// The pressure in Pa that, divided by 100 and rounded to float, is this one in hPa.
float pascalsOfHectopascals(float hectopascals);

} // namespace om::bench
