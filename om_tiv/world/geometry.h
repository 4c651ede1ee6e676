/// @file
/// Vectors and rotations of the bench, in double precision, and its world.
///
/// World frame: right-handed, x points east, y up, z south, so that -z is geographic north. Body
/// frame: x right, y up, z backward, so that a camera with the identity as its pose lies level and
/// looks north. A pose q converts body coordinates to world coordinates.
///
/// Sensor axes of the microcontroller: axis 1 is down (body -y), axis 2 left (body -x), axis 3
/// forward (body -z).
#pragma once

#include <array>

namespace om::bench {

struct Vector
{
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

inline Vector operator+(const Vector& a, const Vector& b)
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Vector operator-(const Vector& a, const Vector& b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vector operator*(double s, const Vector& v)
{
    return {s * v.x, s * v.y, s * v.z};
}
inline double dot(const Vector& a, const Vector& b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline Vector cross(const Vector& a, const Vector& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
double length(const Vector& v);
inline bool isSame(const Vector& a, const Vector& b)
{
    return a.x == b.x && a.y == b.y && a.z == b.z;
}

/// A unit quaternion, Hamilton's convention.
struct Quaternion
{
    double w = 1.0;
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

Quaternion operator*(const Quaternion& a, const Quaternion& b); ///< b first, then a
Quaternion conjugate(const Quaternion& q);
Quaternion normalized(const Quaternion& q);
inline bool isSame(const Quaternion& a, const Quaternion& b)
{
    return a.w == b.w && a.x == b.x && a.y == b.y && a.z == b.z;
}
Vector rotate(const Quaternion& q, const Vector& v);
Quaternion fromRotationVector(const Vector& v); ///< axis times angle in radians
Vector toRotationVector(const Quaternion& q);   ///< angle in [0, pi]

/// The pose of a camera that faces the heading (radians clockwise from geographic north), then
/// rotated nose up by pitch, then right side down by roll.
Quaternion fromHeading(double heading, double pitch = 0.0, double roll = 0.0);

/// Body or world vector to sensor axes 1 to 3, and back.
inline Vector toSensorAxes(const Vector& body)
{
    return {-body.y, -body.x, -body.z};
}
inline Vector fromSensorAxes(const Vector& sensor)
{
    return {-sensor.y, -sensor.x, -sensor.z};
}

/// Row-major.
using Matrix3 = std::array<std::array<double, 3>, 3>;
inline constexpr Matrix3 identity3 = {{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}};
Vector operator*(const Matrix3& m, const Vector& v);

constexpr double pi = 3.14159265358979323846;
constexpr double standardGravity = 9.80665; ///< m/s^2

/// The geomagnetic field of the bench, the same for all cameras.
struct Field
{
    double strength = 48.0;    ///< uT
    double inclination = 64.0; ///< degrees below the horizon
    double declination = 2.5;  ///< degrees, magnetic north east of geographic north

    Vector world() const; ///< uT
};

/// Heading of the forward axis, radians clockwise from magnetic north in [0, 2 pi). 0 for a camera
/// that looks straight up or down.
double magneticHeading(const Quaternion& pose, const Field& field);

} // namespace om::bench
