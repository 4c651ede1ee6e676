/// @file
/// Turning samples from the camera's axes into others.
#pragma once

#include "exchange/samples.h"

#include <string>

namespace exchange {

/// The Hamilton product: first b, then a.
Quaternion product(const Quaternion& a, const Quaternion& b);

/// Of Euler angles in degrees: Rz(z) Ry(y) Rx(x).
Quaternion fromEulerAngles(const Vector& degrees);

/// A vector of the camera's axes in others. Exact: components only change place and sign.
Vector turned(const Vector& camera, AXES axes);

/// An orientation between the camera's axes and its world as one between those of `axes`.
Quaternion turned(const Quaternion& camera, AXES axes);

/// "x forward, y left, z up"
std::string nameOf(AXES axes);
/// Of the world: "x east, y north, z up"
std::string nameOfWorld(AXES axes);

} // namespace exchange
