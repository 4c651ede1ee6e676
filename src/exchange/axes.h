/// @file
/// Converts samples from the camera's axes to others.
#pragma once

#include "exchange/samples.h"

#include <string>

namespace exchange {

/// The Hamilton product: first b, then a.
Quaternion product(const Quaternion& a, const Quaternion& b);

/// The rotation Rz(z) Ry(y) Rx(x) of Euler angles in degrees.
Quaternion fromEulerAngles(const Vector& degrees);

/// Converts a vector from the camera's axes. Exact: components only change position and sign.
Vector turned(const Vector& camera, AXES axes);

/// Converts an orientation, which rotates the camera's axes into its world, to the body and world
/// of `axes`.
Quaternion turned(const Quaternion& camera, AXES axes);

/// "x forward, y left, z up"
std::string nameOf(AXES axes);
/// The same for the world: "x east, y north, z up"
std::string nameOfWorld(AXES axes);

} // namespace exchange
