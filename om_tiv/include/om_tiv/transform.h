/// @file
/// Rigid transforms in single precision.
///
/// Conventions, the same everywhere in the library:
/// - Column vectors. A Transform with rotation R and translation t maps p to R p + t, and a * b
///   applies b first. Orientation composes the same way: a * b is the rotation b followed by a.
/// - Quaternions are unit and in Hamilton's convention, scalar last in the fields.
/// - Rotations are right-handed: a positive angle turns counter-clockwise seen against the axis.
/// - Translation * Orientation is the vector turned by the rotation (not by its inverse).
#pragma once

#include <om_tiv/types.h>

namespace om {

class Orientation;

/// A vector in a frame and unit that its user defines (metres for positions).
class Translation : public Vector3<float>
{
public:
    Translation() = default;
    Translation(float vx, float vy, float vz) : Vector3<float>(vx, vy, vz) {}
    Translation(const Vector3<float>& v) : Vector3<float>(v) {}

    /// Scales to unit length. A vector of length 0 stays as it is.
    void normalize();

    /// The rotated vector.
    Translation operator*(const Orientation& rotation) const;
};

/// A rotation by an angle about an axis; used only to build an Orientation.
class Rotation
{
public:
    /// @param angle radians, any range
    /// @param axis  direction, any length but 0; a zero axis gives the identity
    Rotation(float angle, const Translation& axis);

    /// Row-major 3 x 3 matrix.
    const float* matrix() const { return m_r; }

private:
    float m_r[9];
};

/// A rotation, stored as a unit quaternion.
class Orientation
{
public:
    Orientation() = default; ///< the identity
    Orientation(const Rotation& rotation);

    /// The smallest rotation from direction a to direction b; the lengths do not matter. For
    /// opposite directions it is half a turn about the coordinate axis closest to perpendicular to
    /// a (the first of equals), made perpendicular to a. The identity if a or b has the length 0.
    Orientation(const Translation& a, const Translation& b);

    void setIdentity();

    /// Composition: the right factor is applied first.
    Orientation operator*(const Orientation& first) const;

    float ox = 0.0F;
    float oy = 0.0F;
    float oz = 0.0F;
    float ow = 1.0F;
};

/// 16 floats in row-major order.
class Matrix4f
{
public:
    Matrix4f(); ///< the identity

    void setIdentity();
    static Matrix4f identity();
    /// For a singular matrix the result has infinities or NaN.
    static Matrix4f inverse(const Matrix4f& matrix);
    static Matrix4f transpose(const Matrix4f& matrix);

    /// Indices from 0 to 3, unchecked.
    float& operator()(int row, int column) { return m[4 * row + column]; }
    const float& operator()(int row, int column) const { return m[4 * row + column]; }
    Matrix4f operator*(const Matrix4f& right) const;

    float m[16];
};

/// A rigid transform: a Matrix4f whose upper left block is a rotation and whose last row is 0 0 0
/// 1. This is not enforced, so it can also be a projection.
class Transform : public Matrix4f
{
public:
    Transform() = default; ///< the identity
    Transform(const Matrix4f& matrix) : Matrix4f(matrix) {}
    Transform(const Orientation& rotation, const Translation& translation);

    void setOrientation(const Orientation& rotation);    ///< the translation stays
    void setTranslation(const Translation& translation); ///< the rotation stays
    Orientation getOrientation() const;
    Translation getTranslation() const;

    /// Euler angles X, Y, Z of the rotation R = Rz(Z) Ry(Y) Rx(X): rotations about the fixed axes
    /// x, then y, then z. X and Z lie in (-pi, pi], Y in [-pi/2, pi/2]. At Y = +-pi/2 Z is 0 and X
    /// is the remaining rotation.
    /// @param radian true for radians, false for degrees
    Vector3<float> getEulerAngles(bool radian) const;
};

} // namespace om
