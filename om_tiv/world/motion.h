/// @file
/// The true motion of a body over time.
#pragma once

#include "base/clock.h"
#include "world/config.h"
#include "world/geometry.h"

#include <deque>
#include <mutex>

namespace om::bench {

/// The body at one moment.
struct BodyState
{
    Quaternion pose;        ///< body to world
    Vector angularVelocity; ///< rad/s, body frame
    Vector specificForce;   ///< m/s^2, body frame: reading of an accelerometer without errors
    double height = 0.0;    ///< m above the initial place of the body
    int movingState = 0;    ///< 0 static, 1 moving, 2 falling
};

/// The consecutive motions of a body. A query for a past time (up to 30 s ago) returns the motion
/// of that time. Any thread.
class MotionTimeline
{
public:
    MotionTimeline(MOTION motion, const Quaternion& pose, Nanoseconds start);

    /// Starts a transition to the motion at the given time; its duration depends on the turn. Times
    /// must not run backward from call to call.
    void setMotion(MOTION motion, Nanoseconds time);
    /// Turns to the pose within the glide and holds it (MOTION::POSED), or continues to turn from
    /// it with the spin, rad/s in the body frame.
    void setPose(const Quaternion& pose, Nanoseconds time, Nanoseconds glide,
                 const Vector& spin = {});

    MOTION motion() const;
    Quaternion poseAt(Nanoseconds time) const;
    BodyState at(Nanoseconds time) const;

private:
    /// One motion. The pose at s seconds after its start is that of the motion, after the rest of
    /// the turn from the previous one.
    struct Segment
    {
        Nanoseconds start = 0;
        MOTION motion = MOTION::AT_REST;
        Quaternion base;     ///< pose about which the camera moves
        Vector spin;         ///< rad/s, body frame, of a pose that continues to turn
        Vector turn;         ///< rotation vector from the motion's pose at its start to the former
                             ///< motion's last one
        double glide = 0.0;  ///< s, time in which the turn goes to 0
        double height = 0.0; ///< m, left by the previous motion
    };

    const Segment& segmentAt(Nanoseconds time) const;
    void append(Segment segment);
    static Quaternion motionPose(const Segment& segment, double seconds);
    static Quaternion poseIn(const Segment& segment, double seconds);
    static BodyState stateIn(const Segment& segment, double seconds);
    static bool moves(const BodyState& state);

    mutable std::mutex m_mutex;
    std::deque<Segment> m_segments; ///< never empty
    Quaternion m_posed;             ///< target of the last setPose()
};

} // namespace om::bench
