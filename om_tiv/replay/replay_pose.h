/// @file
/// Poses and pressures from which the arithmetic of library and program results in exactly the
/// recorded values.
#pragma once

#include <om_tiv/transform.h>

#include <array>

namespace om::bench {

/// A rotation matrix whose Euler angles (from Transform::getEulerAngles(), converted to degrees
/// with 180 / pi and rounded to float) are these: to the last bit if an angle in radians has these
/// degrees, otherwise the nearest ones. For angles that no matrix has (Y above 90, X and Z above
/// 180 degrees) the result is the matrix of that rotation.
Transform transformOfEulerDegrees(const std::array<float, 3>& degrees);

/// The pressure in Pa that, divided by 100 and rounded to float, is this one in hPa.
float pascalsOfHectopascals(float hectopascals);

} // namespace om::bench
