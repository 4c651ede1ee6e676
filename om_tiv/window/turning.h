/// @file
/// How the mouse turns a body: the ball under the pointer, and the rate with which the body
/// continues to turn.
///
/// Frames as in world/geometry.h. The eye's frame has x to the right of the picture, y up and z
/// towards the eye.
#pragma once

#include "world/geometry.h"

#include <deque>

namespace benchwindow {

using om::bench::Quaternion;
using om::bench::Vector;

/// Eye to world: from behind and above, like the first view of Gravimon's 3D view, so that a turn
/// looks the same in both windows.
Quaternion viewAttitude();

struct Attitude
{
    double heading = 0.0; ///< degrees clockwise from geographic north, [0, 360)
    double pitch = 0.0;   ///< degrees, nose up
    double roll = 0.0;    ///< degrees, right side down
};

/// The inverse of om::bench::fromHeading().
Attitude attitudeOf(const Quaternion& pose);

/// Rounded; the heading stays below 360, and no angle is a negative 0.
Attitude inWholeDegrees(const Attitude& attitude);

/// A point of the picture in radii of the ball from its centre, y up.
struct BallPoint
{
    double x = 0.0;
    double y = 0.0;
};

/// The rotation in the eye's frame that moves the ball's surface from one point under the pointer
/// to another. Outside the ball it becomes a rotation about the line of sight.
Quaternion ballTurn(const BallPoint& from, const BallPoint& to);

/// The rate of the most recent turns.
class SpinMeter
{
public:
    static constexpr double window = 0.08;  ///< s
    static constexpr double fastest = 10.0; ///< rad/s
    static constexpr double stillBelow =
        0.35; ///< rad/s; at a slower release the body does not spin

    void start(double seconds);                   ///< at a press: forgets all turns
    void add(double seconds, const Vector& turn); ///< rotation vector
    /// rad/s, in the frame of the turns. Not faster than fastest.
    Vector rateAt(double seconds) const;

private:
    struct Entry
    {
        double seconds;
        Vector turn;
    };
    double m_start = 0.0;
    std::deque<Entry> m_entries;
};

} // namespace benchwindow
