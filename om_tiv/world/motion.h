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
    Vector specificForce;   ///< m/s^2, body frame: what an accelerometer without errors reads
    double height = 0.0;    ///< m above the place where the body was put
    int movingState = 0;    ///< 0 static, 1 moving, 2 falling
};

/// The motions of a body one after the other. A query for a past moment (up to 30 s back) gives
/// what held then. Any thread.
class MotionTimeline
{
public:
    MotionTimeline(MOTION motion, const Quaternion& pose, Nanoseconds start);

    /// Goes over into the motion from the given time on; the transition takes the longer, the
    /// larger the turn to it. Times must not run backward from call to call.
    void setMotion(MOTION motion, Nanoseconds time);
    /// Turns to the pose within the glide and holds it (MOTION::POSED), or turns on from it at the
    /// spin, rad/s in the body frame.
    void setPose(const Quaternion& pose, Nanoseconds time, Nanoseconds glide,
                 const Vector& spin = {});

    MOTION motion() const;
    Quaternion poseAt(Nanoseconds time) const;
    BodyState at(Nanoseconds time) const;

private:
    /// One motion. The pose at s seconds from its start is that of the motion, preceded by what is
    /// left of the turn from the former one.
    struct Segment
    {
        Nanoseconds start = 0;
        MOTION motion = MOTION::AT_REST;
        Quaternion base;     ///< pose that the motion is about
        Vector spin;         ///< rad/s, body frame, of a pose that turns on
        Vector turn;         ///< rotation vector from the motion's pose at its start to the former
                             ///< motion's last one
        double glide = 0.0;  ///< s, time in which the turn goes to 0
        double height = 0.0; ///< m, that the former motion left
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
