#include "world/geometry.h"

#include "world/degrees.h"

#include <Eigen/Geometry>

#include <cmath>

namespace om::bench {

namespace {

Eigen::Quaterniond eigen(const Quaternion& q)
{
    return {q.w, q.x, q.y, q.z};
}
Eigen::Vector3d eigen(const Vector& v)
{
    return {v.x, v.y, v.z};
}
Quaternion from(const Eigen::Quaterniond& q)
{
    return {q.w(), q.x(), q.y(), q.z()};
}
Vector from(const Eigen::Vector3d& v)
{
    return {v.x(), v.y(), v.z()};
}

} // namespace

double length(const Vector& v)
{
    return std::sqrt(dot(v, v));
}

Quaternion operator*(const Quaternion& a, const Quaternion& b)
{
    return from(eigen(a) * eigen(b));
}

Quaternion conjugate(const Quaternion& q)
{
    return {q.w, -q.x, -q.y, -q.z};
}

Vector rotate(const Quaternion& q, const Vector& v)
{
    return from(eigen(q) * eigen(v));
}

Quaternion fromRotationVector(const Vector& v)
{
    const double angle = length(v);
    // sin(a / 2) / a, by its series where the division loses precision.
    const double factor = angle < 1e-6 ? 0.5 - angle * angle / 48.0 : std::sin(0.5 * angle) / angle;
    return {std::cos(0.5 * angle), factor * v.x, factor * v.y, factor * v.z};
}

Vector toRotationVector(const Quaternion& q)
{
    const Vector v{q.x, q.y, q.z};
    const double sine = length(v);
    const double sign = q.w < 0.0 ? -1.0 : 1.0;
    const double factor = sine < 1e-9 ? 2.0 : 2.0 * std::atan2(sine, std::abs(q.w)) / sine;
    return (sign * factor) * v;
}

Quaternion normalized(const Quaternion& q)
{
    return from(eigen(q).normalized());
}

Quaternion fromHeading(double heading, double pitch, double roll)
{
    using Eigen::AngleAxisd;
    using Eigen::Vector3d;
    return from(AngleAxisd(-heading, Vector3d::UnitY()) * AngleAxisd(pitch, Vector3d::UnitX()) *
                AngleAxisd(-roll, Vector3d::UnitZ()));
}

Vector operator*(const Matrix3& m, const Vector& v)
{
    const auto row = [&](std::size_t i) { return m[i][0] * v.x + m[i][1] * v.y + m[i][2] * v.z; };
    return {row(0), row(1), row(2)};
}

Vector Field::world() const
{
    const double horizontal = strength * std::cos(toRadians(inclination));
    return {horizontal * std::sin(toRadians(declination)),
            -strength * std::sin(toRadians(inclination)),
            -horizontal * std::cos(toRadians(declination))};
}

double magneticHeading(const Quaternion& pose, const Field& field)
{
    const Vector forward = rotate(pose, {0.0, 0.0, -1.0});
    if (std::hypot(forward.x, forward.z) < 1e-12) {
        return 0.0;
    }
    const double heading =
        std::remainder(std::atan2(forward.x, -forward.z) - toRadians(field.declination), 2.0 * pi);
    return heading < 0.0 ? heading + 2.0 * pi : heading;
}

} // namespace om::bench
