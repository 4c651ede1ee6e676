#include "exchange/axes.h"

#include <cmath>

namespace exchange {

namespace {

constexpr double pi = 3.14159265358979323846;

Quaternion aboutAxis(std::size_t axis, double degrees)
{
    const double half = degrees * (pi / 360.0);
    Quaternion rotation{};
    rotation.at(axis) = std::sin(half);
    rotation[3] = std::cos(half);
    return rotation;
}

} // namespace

Quaternion product(const Quaternion& a, const Quaternion& b)
{
    return {a[3] * b[0] + a[0] * b[3] + a[1] * b[2] - a[2] * b[1],
            a[3] * b[1] - a[0] * b[2] + a[1] * b[3] + a[2] * b[0],
            a[3] * b[2] + a[0] * b[1] - a[1] * b[0] + a[2] * b[3],
            a[3] * b[3] - a[0] * b[0] - a[1] * b[1] - a[2] * b[2]};
}

Quaternion fromEulerAngles(const Vector& degrees)
{
    return product(aboutAxis(2, degrees[2]),
                   product(aboutAxis(1, degrees[1]), aboutAxis(0, degrees[0])));
}

Vector turned(const Vector& camera, AXES axes)
{
    return axes == AXES::CAMERA ? camera : Vector{-camera[2], -camera[0], camera[1]};
}

Quaternion turned(const Quaternion& camera, AXES axes)
{
    if (axes == AXES::CAMERA) {
        return camera;
    }
    // From east, up and south to east, north and up.
    const Quaternion world = aboutAxis(0, 90.0);
    // From forward, left and up to right, up and backward: the inverse of the conversion of
    // vectors.
    const Quaternion body{-0.5, 0.5, 0.5, 0.5};
    return product(world, product(camera, body));
}

std::string nameOf(AXES axes)
{
    return axes == AXES::CAMERA ? "x right, y up, z backward" : "x forward, y left, z up";
}

std::string nameOfWorld(AXES axes)
{
    return axes == AXES::CAMERA ? "x east, y up, z south" : "x east, y north, z up";
}

} // namespace exchange
