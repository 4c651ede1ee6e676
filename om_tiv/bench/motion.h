/// @file
/// The true motion of a body over time.
#pragma once

#include "bench/clock.h"
#include "bench/config.h"
#include "bench/geometry.h"

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
    MotionTimeline(MOTION motion, const Quaternion& pose, std::uint64_t seed, Nanoseconds start);

    /// Goes over into the motion from the given time on.
    void setMotion(MOTION motion, Nanoseconds time);
    /// Turns to the pose within the glide and holds it (MOTION::POSED).
    void setPose(const Quaternion& pose, Nanoseconds time, Nanoseconds glide);

    MOTION motion() const;
    Quaternion poseAt(Nanoseconds time) const;
    BodyState at(Nanoseconds time) const;

private:
    struct Segment
    {
        Nanoseconds start = 0;
        Nanoseconds glide = 0; ///< time of the transition
        MOTION motion = MOTION::AT_REST;
        Quaternion base;     ///< pose that the motion is about
        Vector offset;       ///< rotation vector from the motion's start to the former motion's end
        double height = 0.0; ///< that the former motion left
    };

    const Segment& segmentAt(Nanoseconds time) const;
    Quaternion poseIn(const Segment& segment, double seconds) const;
    void append(Segment segment);

    const std::uint64_t m_seed;
    mutable std::mutex m_mutex;
    std::deque<Segment> m_segments; ///< never empty
};

} // namespace om::bench
