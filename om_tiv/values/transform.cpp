#include <om_tiv/transform.h>

#include <Eigen/Geometry>

#include <algorithm>
#include <cmath>

namespace om {

namespace {

constexpr double pi = 3.14159265358979323846;

using RowMajor3 = Eigen::Matrix<float, 3, 3, Eigen::RowMajor>;
using RowMajor4 = Eigen::Matrix<float, 4, 4, Eigen::RowMajor>;

Eigen::Vector3f eigen(const Vector3<float>& v)
{
    return {v.x, v.y, v.z};
}
Eigen::Quaternionf eigen(const Orientation& o)
{
    return {o.ow, o.ox, o.oy, o.oz};
}

Eigen::Map<RowMajor4> eigen(Matrix4f& matrix)
{
    return Eigen::Map<RowMajor4>(matrix.m);
}
Eigen::Map<const RowMajor4> eigen(const Matrix4f& matrix)
{
    return Eigen::Map<const RowMajor4>(matrix.m);
}

void assign(Orientation& orientation, const Eigen::Quaternionf& q)
{
    orientation.ox = q.x();
    orientation.oy = q.y();
    orientation.oz = q.z();
    orientation.ow = q.w();
}

} // namespace

void Translation::normalize()
{
    // In double, so that lengths whose squares exceed the range of float are right too.
    const Eigen::Vector3d v = eigen(*this).cast<double>();
    const double length = v.norm();
    if (length > 0.0) {
        x = static_cast<float>(v.x() / length);
        y = static_cast<float>(v.y() / length);
        z = static_cast<float>(v.z() / length);
    }
}

Translation Translation::operator*(const Orientation& rotation) const
{
    const Eigen::Vector3f turned = eigen(rotation) * eigen(*this);
    return {turned.x(), turned.y(), turned.z()};
}

Rotation::Rotation(float angle, const Translation& axis)
{
    Translation unit = axis;
    unit.normalize();
    Eigen::Map<RowMajor3> matrix(m_r);
    if (unit.x == 0.0F && unit.y == 0.0F && unit.z == 0.0F) {
        matrix.setIdentity();
        return;
    }
    matrix = Eigen::AngleAxisd(angle, eigen(unit).cast<double>().normalized())
                 .toRotationMatrix()
                 .cast<float>();
}

Orientation::Orientation(const Rotation& rotation)
{
    const Eigen::Map<const RowMajor3> matrix(rotation.matrix());
    assign(*this, Eigen::Quaternionf(matrix).normalized());
}

Orientation::Orientation(const Translation& a, const Translation& b)
{
    const Eigen::Vector3d from = eigen(a).cast<double>();
    const Eigen::Vector3d to = eigen(b).cast<double>();
    if (from.isZero(0.0) || to.isZero(0.0)) {
        return; // a vector without a direction turns nothing
    }
    const Eigen::Vector3d u = from.normalized();
    const Eigen::Vector3d v = to.normalized();
    // The length of the sum is twice the cosine of half the angle; the length of the cross product
    // is the sine of the angle. 1 + cos would also work, but loses all digits near half a turn.
    const double sum = (u + v).norm();
    Eigen::Quaterniond q(0.5 * sum, 0.0, 0.0, 0.0);
    constexpr double opposite = 1e-6; // floats don't distinguish directions better
    if (sum < opposite) {
        Eigen::Index axis = 0;
        u.cwiseAbs().minCoeff(&axis);
        q.w() = 0.0;
        q.vec() = Eigen::Vector3d::Unit(axis) - u(axis) * u;
    } else {
        q.vec() = u.cross(v) / sum;
    }
    assign(*this, q.normalized().cast<float>());
}

void Orientation::setIdentity()
{
    *this = Orientation();
}

Orientation Orientation::operator*(const Orientation& first) const
{
    Orientation product;
    // Normalised, so that repeated products stay rotations.
    assign(product, (eigen(*this) * eigen(first)).normalized());
    return product;
}

Matrix4f::Matrix4f()
{
    setIdentity();
}

void Matrix4f::setIdentity()
{
    eigen(*this).setIdentity();
}

Matrix4f Matrix4f::identity()
{
    return {};
}

Matrix4f Matrix4f::inverse(const Matrix4f& matrix)
{
    Matrix4f result;
    eigen(result) = eigen(matrix).cast<double>().inverse().cast<float>();
    return result;
}

Matrix4f Matrix4f::transpose(const Matrix4f& matrix)
{
    Matrix4f result;
    eigen(result) = eigen(matrix).transpose();
    return result;
}

Matrix4f Matrix4f::operator*(const Matrix4f& right) const
{
    Matrix4f product;
    eigen(product) = eigen(*this) * eigen(right);
    return product;
}

Transform::Transform(const Orientation& rotation, const Translation& translation)
{
    setOrientation(rotation);
    setTranslation(translation);
}

void Transform::setOrientation(const Orientation& rotation)
{
    eigen(*this).topLeftCorner<3, 3>() = eigen(rotation).toRotationMatrix();
}

void Transform::setTranslation(const Translation& translation)
{
    eigen(*this).topRightCorner<3, 1>() = eigen(translation);
}

Orientation Transform::getOrientation() const
{
    const RowMajor3 matrix = eigen(*this).topLeftCorner<3, 3>();
    Orientation orientation;
    assign(orientation, Eigen::Quaternionf(matrix).normalized());
    return orientation;
}

Translation Transform::getTranslation() const
{
    return {m[3], m[7], m[11]};
}

Vector3<float> Transform::getEulerAngles(bool radian) const
{
    const double r00 = m[0];
    const double r10 = m[4];
    const double r20 = m[8];
    const double cosY = std::hypot(r00, r10);
    double y = std::atan2(-r20, cosY);
    double x = 0.0;
    double z = 0.0;
    // Below this limit only the difference or the sum of X and Z is determined, and rounding in the
    // matrix could make each of them any angle.
    constexpr double locked = 1e-6;
    if (cosY > locked) {
        x = std::atan2(double{m[9]}, double{m[10]});
        z = std::atan2(r10, r00);
    } else {
        x = std::atan2(-double{m[6]}, double{m[5]});
        y = std::copysign(pi / 2.0, -r20);
    }
    // atan2 returns -pi for a sine of -0.
    x = x <= -pi ? pi : x;
    z = z <= -pi ? pi : z;
    const double unit = radian ? 1.0 : 180.0 / pi;
    return {static_cast<float>(x * unit), static_cast<float>(y * unit),
            static_cast<float>(z * unit)};
}

} // namespace om
