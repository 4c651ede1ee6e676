#include "world/motion.h"

#include "world/degrees.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace om::bench {

namespace {

constexpr Nanoseconds history = 30 * nsPerS;
constexpr std::size_t mostSegments = 20000;

/// Minimum time of a transition, and the rate of longer ones.
constexpr double shortestGlide = 0.4;                           // s
constexpr double glideRate = toRadians(200.0);                  // rad/s
constexpr double differenceStep = 0.00025;                      // s
constexpr double staticRate = toRadians(0.6);                   // rad/s
constexpr double staticAcceleration = 0.03;                     // m/s^2
constexpr double fallingForce = 3.0;                            // m/s^2
constexpr std::array<double, 3> stillSince = {0.15, 0.3, 0.45}; // s

double seconds(Nanoseconds from, Nanoseconds to)
{
    return to <= from ? 0.0 : static_cast<double>(to - from) * 1e-9;
}

/// From 0 to 1 with the first two derivatives 0 at both ends.
double smooth(double u)
{
    u = std::clamp(u, 0.0, 1.0);
    return u * u * u * (10.0 + u * (-15.0 + u * 6.0));
}

double smoothCurvature(double u)
{
    return u * (60.0 + u * (-180.0 + u * 120.0));
}

Quaternion turnAbout(const Vector& axis, double turns)
{
    return fromRotationVector((2.0 * pi * std::remainder(turns, 1.0)) * axis);
}

/// Through all orientations: constant rates about the world's y axis, about x and about the body's
/// z axis. With these periods the directions of gravity and of a field of any inclination pass
/// within 20 degrees of every direction of the body in 60 s.
Quaternion tumble(double t)
{
    return turnAbout({0.0, 1.0, 0.0}, t / 24.6) * turnAbout({1.0, 0.0, 0.0}, t / 18.48) *
           turnAbout({0.0, 0.0, 1.0}, t / 2.74);
}

struct Swing
{
    double amplitude;
    double frequency; // Hz
};

/// The motion of an unsteady hand: two swings per axis, in radians and in metres.
constexpr std::array<std::array<Swing, 2>, 3> handTurns = {{{{{0.060, 0.31}, {0.014, 1.27}}},
                                                            {{{0.080, 0.23}, {0.011, 1.61}}},
                                                            {{{0.045, 0.37}, {0.013, 1.43}}}}};
constexpr std::array<std::array<Swing, 2>, 3> handSways = {{{{{0.015, 0.29}, {0.0008, 1.9}}},
                                                            {{{0.010, 0.41}, {0.0009, 1.7}}},
                                                            {{{0.012, 0.33}, {0.0007, 2.1}}}}};

double swing(const std::array<Swing, 2>& swings, double t)
{
    double sum = 0.0;
    for (const Swing& s : swings) {
        sum += s.amplitude * std::sin(2.0 * pi * s.frequency * t);
    }
    return sum;
}

double swingAcceleration(const std::array<Swing, 2>& swings, double t)
{
    double sum = 0.0;
    for (const Swing& s : swings) {
        const double rate = 2.0 * pi * s.frequency;
        sum -= s.amplitude * rate * rate * std::sin(rate * t);
    }
    return sum;
}

struct Vertical
{
    double height;
    double acceleration;
};

/// Held for half a second, half a second of free fall, caught within a quarter of a second, lifted
/// again.
Vertical fall(double t)
{
    constexpr double held = 0.5;
    constexpr double falling = 0.5;
    constexpr double caught = 0.25;
    constexpr double lifted = 1.25;
    constexpr double g = standardGravity;
    constexpr double speed = g * falling;
    constexpr double brake = speed / caught;
    constexpr double depth = 0.5 * g * falling * falling + 0.5 * speed * caught;

    t = std::fmod(t, held + falling + caught + lifted);
    if (t < held) {
        return {0.0, 0.0};
    }
    t -= held;
    if (t < falling) {
        return {-0.5 * g * t * t, -g};
    }
    t -= falling;
    if (t < caught) {
        return {-0.5 * g * falling * falling - speed * t + 0.5 * brake * t * t, brake};
    }
    t -= caught;
    const double u = t / lifted;
    return {-depth * (1.0 - smooth(u)), depth * smoothCurvature(u) / (lifted * lifted)};
}

} // namespace

MotionTimeline::MotionTimeline(MOTION motion, const Quaternion& pose, Nanoseconds start)
    : m_posed(normalized(pose))
{
    Segment segment;
    segment.start = start;
    segment.motion = motion;
    segment.base = m_posed;
    m_segments.push_back(segment);
}

void MotionTimeline::setMotion(MOTION motion, Nanoseconds time)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    Segment segment;
    segment.start = time;
    segment.motion = motion;
    const Segment& former = segmentAt(time);
    segment.base =
        motion == MOTION::POSED ? m_posed : normalized(poseIn(former, seconds(former.start, time)));
    segment.glide = -1.0;
    append(segment);
}

void MotionTimeline::setPose(const Quaternion& pose, Nanoseconds time, Nanoseconds glide,
                             const Vector& spin)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_posed = normalized(pose);
    Segment segment;
    segment.start = time;
    segment.motion = MOTION::POSED;
    segment.base = m_posed;
    segment.spin = spin;
    segment.glide = static_cast<double>(glide) * 1e-9;
    append(segment);
}

/// Computes the turn from the previous motion. A negative glide means one that depends on the turn.
void MotionTimeline::append(Segment segment)
{
    // Two threads may have read their times in the other order.
    segment.start = std::max(segment.start, m_segments.back().start);
    const Segment& former = m_segments.back();
    const double end = seconds(former.start, segment.start);
    segment.turn = toRotationVector(conjugate(motionPose(segment, 0.0)) * poseIn(former, end));
    if (segment.glide < 0.0) {
        segment.glide = std::max(shortestGlide, length(segment.turn) / glideRate);
    }
    segment.height = stateIn(former, end).height;

    // A segment is needed as long as it is valid for a time within the history.
    while (m_segments.size() > mostSegments ||
           (m_segments.size() > 1 && m_segments[1].start + history < segment.start)) {
        m_segments.pop_front();
    }
    m_segments.push_back(segment);
}

MOTION MotionTimeline::motion() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_segments.back().motion;
}

Quaternion MotionTimeline::poseAt(Nanoseconds time) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const Segment& segment = segmentAt(time);
    return poseIn(segment, seconds(segment.start, time));
}

BodyState MotionTimeline::at(Nanoseconds time) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const Segment& segment = segmentAt(time);
    BodyState state = stateIn(segment, seconds(segment.start, time));
    if (length(state.specificForce) < fallingForce) {
        state.movingState = 2;
        return state;
    }
    // A swing at its turning point is not at rest.
    bool moving = moves(state);
    for (std::size_t i = 0; !moving && i < stillSince.size(); ++i) {
        const auto back = static_cast<Nanoseconds>(stillSince[i] * 1e9);
        const Nanoseconds before = time > back ? time - back : 0;
        const Segment& then = segmentAt(before);
        moving = moves(stateIn(then, seconds(then.start, before)));
    }
    state.movingState = moving ? 1 : 0;
    return state;
}

const MotionTimeline::Segment& MotionTimeline::segmentAt(Nanoseconds time) const
{
    const auto found = std::find_if(m_segments.rbegin(), m_segments.rend(),
                                    [&](const Segment& s) { return s.start <= time; });
    return found != m_segments.rend() ? *found : m_segments.front();
}

Quaternion MotionTimeline::motionPose(const Segment& segment, double t)
{
    switch (segment.motion) {
    case MOTION::TUMBLE:
        return tumble(t);
    case MOTION::HAND_HELD:
        return segment.base * fromRotationVector({swing(handTurns[0], t), swing(handTurns[1], t),
                                                  swing(handTurns[2], t)});
    case MOTION::POSED: {
        const double rate = length(segment.spin);
        return rate == 0.0
                   ? segment.base
                   : segment.base * turnAbout((1.0 / rate) * segment.spin, rate * t / (2.0 * pi));
    }
    case MOTION::AT_REST:
    case MOTION::FALL:
        break;
    }
    return segment.base;
}

Quaternion MotionTimeline::poseIn(const Segment& segment, double seconds)
{
    const Quaternion pose = motionPose(segment, seconds);
    if (segment.glide <= 0.0 || seconds >= segment.glide) {
        return pose;
    }
    return pose * fromRotationVector((1.0 - smooth(seconds / segment.glide)) * segment.turn);
}

BodyState MotionTimeline::stateIn(const Segment& segment, double t)
{
    BodyState state;
    state.pose = poseIn(segment, t);
    // Both poses belong to the same motion, so that a jump between motions has no rate.
    const Quaternion before = poseIn(segment, t - differenceStep);
    const Quaternion after = poseIn(segment, t + differenceStep);
    // A body at rest doesn't turn at all. On processors that fuse a product with a sum, as ARM, the
    // quaternions' product would have an error in the last digit.
    if (!isSame(before, after)) {
        state.angularVelocity =
            (0.5 / differenceStep) * toRotationVector(conjugate(before) * after);
    }

    Vector acceleration;
    if (segment.motion == MOTION::HAND_HELD) {
        acceleration = {swingAcceleration(handSways[0], t), swingAcceleration(handSways[1], t),
                        swingAcceleration(handSways[2], t)};
        state.height = swing(handSways[1], t);
    } else if (segment.motion == MOTION::FALL) {
        const Vertical vertical = fall(t);
        acceleration = {0.0, vertical.acceleration, 0.0};
        state.height = vertical.height;
    }
    state.height += segment.height;
    state.specificForce =
        rotate(conjugate(state.pose), acceleration + Vector{0.0, standardGravity, 0.0});
    return state;
}

bool MotionTimeline::moves(const BodyState& state)
{
    return length(state.angularVelocity) > staticRate ||
           std::abs(length(state.specificForce) - standardGravity) > staticAcceleration;
}

} // namespace om::bench
