#include "window/turning.h"

#include "world/degrees.h"

#include <algorithm>
#include <cmath>

namespace benchwindow {

namespace {

using om::bench::degreesPerRadian;

/// The point of the ball under the pointer. The ball is a sphere in the middle with a smooth
/// transition to a hyperboloid at its rim.
Vector onBall(const BallPoint& point)
{
    const double square = point.x * point.x + point.y * point.y;
    const double z = square <= 0.5 ? std::sqrt(1.0 - square) : 0.5 / std::sqrt(square);
    const Vector v{point.x, point.y, z};
    return (1.0 / om::bench::length(v)) * v;
}

/// A sum of -0 and +0 is +0.
double rounded(double value)
{
    return std::round(value) + 0.0;
}

} // namespace

Quaternion viewAttitude()
{
    return om::bench::normalized({0.956623, -0.23252, 0.170843, 0.0401341});
}

Attitude attitudeOf(const Quaternion& pose)
{
    const Vector forward = om::bench::rotate(pose, {0.0, 0.0, -1.0});
    const Vector right = om::bench::rotate(pose, {1.0, 0.0, 0.0});
    Attitude attitude;
    const double heading = std::atan2(forward.x, -forward.z);
    attitude.heading = std::fmod(heading * degreesPerRadian + 360.0, 360.0);
    attitude.pitch = std::asin(std::clamp(forward.y, -1.0, 1.0)) * degreesPerRadian;
    const Vector level{std::cos(heading), 0.0, std::sin(heading)};
    attitude.roll =
        std::atan2(-om::bench::dot(right, cross(level, forward)), om::bench::dot(right, level)) *
        degreesPerRadian;
    return attitude;
}

Attitude inWholeDegrees(const Attitude& attitude)
{
    return {std::fmod(rounded(attitude.heading), 360.0), rounded(attitude.pitch),
            rounded(attitude.roll)};
}

Quaternion ballTurn(const BallPoint& from, const BallPoint& to)
{
    const Vector a = onBall(from);
    const Vector b = onBall(to);
    const Vector axis = cross(a, b);
    const double sine = om::bench::length(axis);
    if (sine < 1e-12) {
        return {};
    }
    return om::bench::fromRotationVector((std::atan2(sine, om::bench::dot(a, b)) / sine) * axis);
}

void SpinMeter::start(double seconds)
{
    m_start = seconds;
    m_entries.clear();
}

void SpinMeter::add(double seconds, const Vector& turn)
{
    m_entries.push_back({seconds, turn});
    while (m_entries.front().seconds < seconds - 2.0 * window) {
        m_entries.pop_front();
    }
}

Vector SpinMeter::rateAt(double seconds) const
{
    Vector sum;
    for (const Entry& entry : m_entries) {
        if (entry.seconds > seconds - window) {
            sum = sum + entry.turn;
        }
    }
    // Directly after the start the time span is shorter than the window, but contains at least two
    // events.
    const double span = std::clamp(seconds - m_start, 0.02, window);
    const Vector rate = (1.0 / span) * sum;
    const double speed = om::bench::length(rate);
    return speed > fastest ? (fastest / speed) * rate : rate;
}

} // namespace benchwindow
