#include "world/motion.h"

#include <QtTest>

#include <cmath>
#include <vector>

using namespace om::bench;

namespace {

constexpr Nanoseconds startTime = 1'000 * nsPerS;
constexpr double degree = pi / 180.0;

Nanoseconds after(double seconds)
{
    return startTime + static_cast<Nanoseconds>(seconds * 1e9);
}

/// Angle between two poses, degrees.
double angle(const Quaternion& a, const Quaternion& b)
{
    return length(toRotationVector(conjugate(a) * b)) / degree;
}

double distance(const Vector& a, const Vector& b)
{
    return length(a - b);
}

MotionTimeline timeline(MOTION motion, const Quaternion& pose = Quaternion())
{
    return MotionTimeline(motion, pose, startTime);
}

/// Directions spread evenly over the sphere (a Fibonacci spiral).
std::vector<Vector> directions(int count)
{
    std::vector<Vector> all;
    for (int i = 0; i < count; ++i) {
        const double z = 1.0 - (2.0 * i + 1.0) / count;
        const double azimuth = pi * (1.0 + std::sqrt(5.0)) * i;
        const double radius = std::sqrt(1.0 - z * z);
        all.push_back({radius * std::cos(azimuth), radius * std::sin(azimuth), z});
    }
    return all;
}

/// Times in steps from the first one to before the end, s.
std::vector<double> times(double from, double end, double step)
{
    std::vector<double> list;
    for (int i = 0; from + i * step < end; ++i) {
        list.push_back(from + i * step);
    }
    return list;
}

/// Largest angle between a direction of the body and the nearest direction in which a world vector
/// pointed, degrees.
double largestGap(const MotionTimeline& motion, const Vector& world, double seconds)
{
    const std::vector<Vector> cells = directions(300);
    std::vector<double> nearest(cells.size(), -1.0);
    for (const double t : times(0.0, seconds, 0.02)) {
        const Vector body = rotate(conjugate(motion.poseAt(after(t))), world);
        for (std::size_t i = 0; i < cells.size(); ++i) {
            nearest[i] = std::max(nearest[i], dot(body, cells[i]));
        }
    }
    return std::acos(*std::min_element(nearest.begin(), nearest.end())) / degree;
}

} // namespace

Q_DECLARE_METATYPE(om::bench::MOTION)

class TestMotion : public QObject
{
    Q_OBJECT

private slots:
    void axesOfTheWorld();
    void axesOfTheSensor();
    void rotationVectorsGoToQuaternionsAndBack();
    void fieldPointsNorthAndDown();
    void headingFollowsThePose_data();
    void headingFollowsThePose();
    void headingOfACameraThatLooksUpIsZero();

    void atRestNothingMoves();
    void specificForceAtRestPointsUpWithGravity();
    void handHeldMovesALittle();
    void tumbleBringsEveryVectorToEveryDirection_data();
    void tumbleBringsEveryVectorToEveryDirection();
    void tumbleTurnsAtAHandsPace();
    void angularVelocityIntegratesToThePose_data();
    void angularVelocityIntegratesToThePose();
    void specificForceFollowsTheHeight_data();
    void specificForceFollowsTheHeight();
    void fallShowsAllThreeMovingStates();
    void movingStateStaysAtATurningPoint();
    void movingStateEndsHalfASecondAfterTheMotion();

    void aPoseIsGlidedTo();
    void aPoseWithoutGlideIsThereAtOnce();
    void aChangeOfMotionKeepsThePose_data();
    void aChangeOfMotionKeepsThePose();
    void theGlideIntoTumbleStaysWithinTheGyroscopesRange();
    void posedGoesBackToTheLastPose();
    void thePastStaysAsItWas();
    void manyChangesAreBounded();
};

void TestMotion::axesOfTheWorld()
{
    // Identity: level, looks north. East is x, up is y, north is -z.
    const Vector forward{0.0, 0.0, -1.0};
    const Vector right{1.0, 0.0, 0.0};
    const Vector up{0.0, 1.0, 0.0};
    QVERIFY(distance(rotate(fromHeading(pi / 2), forward), {1.0, 0.0, 0.0}) < 1e-12);
    QVERIFY(distance(rotate(fromHeading(pi), forward), {0.0, 0.0, 1.0}) < 1e-12);
    QVERIFY(distance(rotate(fromHeading(pi / 2), right), {0.0, 0.0, 1.0}) < 1e-12);
    // Nose up, then right side down.
    QVERIFY(distance(rotate(fromHeading(0.0, pi / 2), forward), {0.0, 1.0, 0.0}) < 1e-12);
    QVERIFY(distance(rotate(fromHeading(0.0, 0.0, pi / 2), right), {0.0, -1.0, 0.0}) < 1e-12);
    QVERIFY(distance(rotate(fromHeading(0.0, 0.0, pi / 2), up), {1.0, 0.0, 0.0}) < 1e-12);
}

void TestMotion::axesOfTheSensor()
{
    QVERIFY(distance(toSensorAxes({0.0, -1.0, 0.0}), {1.0, 0.0, 0.0}) == 0.0); // 1: down
    QVERIFY(distance(toSensorAxes({-1.0, 0.0, 0.0}), {0.0, 1.0, 0.0}) == 0.0); // 2: left
    QVERIFY(distance(toSensorAxes({0.0, 0.0, -1.0}), {0.0, 0.0, 1.0}) == 0.0); // 3: forward
    const Vector v{1.0, 2.0, 3.0};
    QVERIFY(distance(fromSensorAxes(toSensorAxes(v)), v) == 0.0);
}

void TestMotion::rotationVectorsGoToQuaternionsAndBack()
{
    for (const Vector& v : {Vector{0.0, 0.0, 0.0}, Vector{1e-12, 0.0, -2e-12},
                            Vector{0.3, -0.2, 0.9}, Vector{-3.0, 0.5, 0.2}}) {
        QVERIFY(distance(toRotationVector(fromRotationVector(v)), v) < 1e-12);
    }
    // A quarter turn about y turns x to -z.
    QVERIFY(distance(rotate(fromRotationVector({0.0, pi / 2, 0.0}), {1.0, 0.0, 0.0}),
                     {0.0, 0.0, -1.0}) < 1e-12);
}

void TestMotion::fieldPointsNorthAndDown()
{
    Field field;
    field.strength = 50.0;
    field.inclination = 60.0;
    field.declination = 0.0;
    QVERIFY(distance(field.world(), {0.0, -50.0 * std::sqrt(0.75), -25.0}) < 1e-12);
    field.declination = 90.0; // all of the horizontal part to the east
    QVERIFY(distance(field.world(), {25.0, -50.0 * std::sqrt(0.75), 0.0}) < 1e-12);
}

void TestMotion::headingFollowsThePose_data()
{
    QTest::addColumn<double>("declination");
    QTest::addColumn<double>("heading");
    QTest::addColumn<double>("expected");
    QTest::newRow("north") << 0.0 << 0.0 << 0.0;
    QTest::newRow("east") << 0.0 << 90.0 << 90.0;
    QTest::newRow("west") << 0.0 << 270.0 << 270.0;
    QTest::newRow("from magnetic north") << 10.0 << 90.0 << 80.0;
    QTest::newRow("never negative") << 10.0 << 4.0 << 354.0;
}

void TestMotion::headingFollowsThePose()
{
    QFETCH(double, declination);
    QFETCH(double, heading);
    QFETCH(double, expected);
    Field field;
    field.declination = declination;
    // Pitch and roll do not change the heading.
    const Quaternion pose = fromHeading(heading * degree, 0.4, -0.7);
    QVERIFY(std::abs(magneticHeading(pose, field) / degree - expected) < 1e-9);
}

void TestMotion::headingOfACameraThatLooksUpIsZero()
{
    QVERIFY(std::abs(rotate(fromHeading(1.0, pi / 2), {0.0, 0.0, -1.0}).y - 1.0) < 1e-12);
    QCOMPARE(magneticHeading(Quaternion{std::sqrt(0.5), std::sqrt(0.5), 0.0, 0.0}, Field()), 0.0);
}

void TestMotion::atRestNothingMoves()
{
    const Quaternion pose = fromHeading(1.0, 0.2, -0.3);
    const MotionTimeline motion = timeline(MOTION::AT_REST, pose);
    for (double t : {0.0, 1.0, 100.0}) {
        const BodyState state = motion.at(after(t));
        QVERIFY(angle(state.pose, pose) < 1e-9);
        QVERIFY(length(state.angularVelocity) < 1e-9);
        QCOMPARE(state.height, 0.0);
        QCOMPARE(state.movingState, 0);
    }
}

void TestMotion::specificForceAtRestPointsUpWithGravity()
{
    QVERIFY(distance(timeline(MOTION::AT_REST).at(startTime).specificForce, {0.0, 9.80665, 0.0}) <
            1e-12);
    // Right side down: up is the body's -x.
    const MotionTimeline tilted = timeline(MOTION::AT_REST, fromHeading(0.0, 0.0, pi / 2));
    QVERIFY(distance(tilted.at(startTime).specificForce, {-9.80665, 0.0, 0.0}) < 1e-9);
}

void TestMotion::handHeldMovesALittle()
{
    const Quaternion pose = fromHeading(2.0);
    const MotionTimeline motion = timeline(MOTION::HAND_HELD, pose);
    double farthest = 0.0;
    for (const double t : times(0.0, 30.0, 0.05)) {
        const BodyState state = motion.at(after(t));
        farthest = std::max(farthest, angle(state.pose, pose));
        QVERIFY(std::abs(length(state.specificForce) - standardGravity) < 0.6);
        QVERIFY(length(state.angularVelocity) / degree < 40.0);
    }
    QVERIFY(farthest > 2.0 && farthest < 15.0);
}

void TestMotion::tumbleBringsEveryVectorToEveryDirection_data()
{
    QTest::addColumn<double>("inclination");
    QTest::newRow("down") << 90.0;
    QTest::newRow("field of the default bench") << 64.0;
    QTest::newRow("shallow field") << 30.0;
    QTest::newRow("horizontal field") << 0.0;
    QTest::newRow("southern field") << -60.0;
}

void TestMotion::tumbleBringsEveryVectorToEveryDirection()
{
    QFETCH(double, inclination);
    Field field;
    field.strength = 1.0;
    field.inclination = inclination;
    const MotionTimeline motion = timeline(MOTION::TUMBLE);
    QVERIFY2(largestGap(motion, field.world(), 60.0) < 20.0,
             qPrintable(QString::number(largestGap(motion, field.world(), 60.0))));
}

void TestMotion::tumbleTurnsAtAHandsPace()
{
    const MotionTimeline motion = timeline(MOTION::TUMBLE);
    for (const double t : times(0.0, 60.0, 0.1)) {
        const double rate = length(motion.at(after(t)).angularVelocity) / degree;
        QVERIFY(rate > 60.0 && rate < 180.0);
        QCOMPARE(motion.at(after(t)).movingState, 1);
    }
}

void TestMotion::angularVelocityIntegratesToThePose_data()
{
    QTest::addColumn<MOTION>("motion");
    QTest::newRow("tumble") << MOTION::TUMBLE;
    QTest::newRow("hand-held") << MOTION::HAND_HELD;
    QTest::newRow("fall") << MOTION::FALL;
}

void TestMotion::angularVelocityIntegratesToThePose()
{
    QFETCH(MOTION, motion);
    MotionTimeline body = timeline(motion, fromHeading(0.7, 0.3, 0.1));
    body.setPose(fromHeading(-1.0, -0.4, 2.0), after(3.0), nsPerS / 2);
    body.setMotion(motion, after(5.0));

    constexpr double step = 0.0025;
    Quaternion integrated = body.poseAt(startTime);
    for (const double t : times(0.0, 10.0 - step / 2, step)) {
        // The rate at the middle of the step, in the body frame.
        const Vector rate = body.at(after(t + step / 2)).angularVelocity;
        integrated = normalized(integrated * fromRotationVector(step * rate));
    }
    const double error = angle(integrated, body.poseAt(after(10.0)));
    QVERIFY2(error < 0.02, qPrintable(QString::number(error)));
}

void TestMotion::specificForceFollowsTheHeight_data()
{
    QTest::addColumn<MOTION>("motion");
    QTest::newRow("hand-held") << MOTION::HAND_HELD;
    QTest::newRow("fall") << MOTION::FALL;
}

void TestMotion::specificForceFollowsTheHeight()
{
    QFETCH(MOTION, motion);
    const MotionTimeline body = timeline(motion, fromHeading(0.5, 0.2, 0.1));
    // The world's vertical part of the force, less gravity, integrated twice.
    constexpr double step = 0.0005;
    double speed = (body.at(after(step)).height - body.at(startTime).height) / step;
    double height = body.at(startTime).height;
    for (const double t : times(0.0, 2.5, step)) {
        const BodyState state = body.at(after(t + step / 2));
        const double acceleration = rotate(state.pose, state.specificForce).y - standardGravity;
        height += step * (speed + 0.5 * step * acceleration);
        speed += step * acceleration;
    }
    const double error = height - body.at(after(2.5)).height;
    QVERIFY2(std::abs(error) < 0.01, qPrintable(QString::number(error)));
}

void TestMotion::fallShowsAllThreeMovingStates()
{
    const MotionTimeline body = timeline(MOTION::FALL);
    QCOMPARE(body.at(after(0.2)).movingState, 0); // held
    QCOMPARE(body.at(after(0.7)).movingState, 2); // in free fall
    QVERIFY(length(body.at(after(0.7)).specificForce) < 1e-9);
    QCOMPARE(body.at(after(1.1)).movingState, 1); // caught
    QCOMPARE(body.at(after(1.8)).movingState, 1); // lifted
    QVERIFY(body.at(after(1.24)).height < -1.5);
    QVERIFY(std::abs(body.at(after(2.5)).height) < 1e-6);
    QCOMPARE(body.at(after(3.2)).movingState, 2); // and again
}

void TestMotion::movingStateStaysAtATurningPoint()
{
    const MotionTimeline body = timeline(MOTION::HAND_HELD);
    for (const double t : times(1.0, 20.0, 0.01)) {
        QCOMPARE(body.at(after(t)).movingState, 1);
    }
}

void TestMotion::movingStateEndsHalfASecondAfterTheMotion()
{
    MotionTimeline body = timeline(MOTION::TUMBLE);
    body.setMotion(MOTION::AT_REST, after(2.0));
    QCOMPARE(body.at(after(2.3)).movingState, 1);
    QCOMPARE(body.at(after(2.5)).movingState, 0);
}

void TestMotion::aPoseIsGlidedTo()
{
    const Quaternion from = fromHeading(0.0);
    const Quaternion to = fromHeading(2.0, 0.5, -0.3);
    MotionTimeline body = timeline(MOTION::AT_REST, from);
    body.setPose(to, after(1.0), 400 * nsPerMs);
    QCOMPARE(body.motion(), MOTION::POSED);
    QVERIFY(angle(body.poseAt(after(1.0)), from) < 1e-6);
    QVERIFY(angle(body.poseAt(after(1.2)), from) > 20.0);
    QVERIFY(angle(body.poseAt(after(1.2)), to) > 20.0);
    QVERIFY(angle(body.poseAt(after(1.4)), to) < 1e-6);
    QVERIFY(angle(body.poseAt(after(50.0)), to) < 1e-6);
    // Half a turn in that time, the most there can be, stays within 1000 degrees per second.
    QVERIFY(length(body.at(after(1.2)).angularVelocity) / degree < 1000.0);
}

void TestMotion::aPoseWithoutGlideIsThereAtOnce()
{
    MotionTimeline body = timeline(MOTION::AT_REST);
    const Quaternion to = fromHeading(pi * 0.9, 0.5);
    body.setPose(to, after(1.0), 0);
    QVERIFY(angle(body.poseAt(after(1.0)), to) < 1e-9);
    QVERIFY(length(body.at(after(1.0)).angularVelocity) < 1e-9);
}

void TestMotion::aChangeOfMotionKeepsThePose_data()
{
    QTest::addColumn<MOTION>("from");
    QTest::addColumn<MOTION>("to");
    const std::vector<std::pair<const char*, MOTION>> all = {{"rest", MOTION::AT_REST},
                                                             {"hand", MOTION::HAND_HELD},
                                                             {"tumble", MOTION::TUMBLE},
                                                             {"fall", MOTION::FALL},
                                                             {"posed", MOTION::POSED}};
    for (const auto& [fromName, from] : all) {
        for (const auto& [toName, to] : all) {
            QTest::newRow(qPrintable(QString("%1 to %2").arg(fromName, toName))) << from << to;
        }
    }
}

void TestMotion::aChangeOfMotionKeepsThePose()
{
    QFETCH(MOTION, from);
    QFETCH(MOTION, to);
    MotionTimeline body = timeline(from, fromHeading(1.0, 0.4));
    const double heightBefore = body.at(after(6.9)).height;
    const Quaternion before = body.poseAt(after(7.0));
    body.setMotion(to, after(7.0));
    QCOMPARE(body.motion(), to);
    QVERIFY(angle(body.poseAt(after(7.0)), before) < 1e-6);
    QVERIFY(std::abs(body.at(after(7.0)).height - heightBefore) < 0.7);
    for (const double t : times(7.0, 9.0, 0.0025)) {
        const double jump = angle(body.poseAt(after(t)), body.poseAt(after(t + 0.0025)));
        QVERIFY2(jump < 2.5, qPrintable(QString("%1 at %2").arg(jump).arg(t)));
    }
}

void TestMotion::theGlideIntoTumbleStaysWithinTheGyroscopesRange()
{
    // From a pose half a turn away from where the tumble begins.
    MotionTimeline body = timeline(MOTION::AT_REST, fromHeading(pi - 0.01));
    body.setMotion(MOTION::TUMBLE, after(1.0));
    for (const double t : times(1.0, 3.0, 0.01)) {
        QVERIFY(length(body.at(after(t)).angularVelocity) / degree < 1000.0);
    }
}

void TestMotion::posedGoesBackToTheLastPose()
{
    const Quaternion pose = fromHeading(2.0, 0.1);
    MotionTimeline body = timeline(MOTION::AT_REST);
    body.setPose(pose, after(1.0), nsPerS / 2);
    body.setMotion(MOTION::TUMBLE, after(2.0));
    body.setMotion(MOTION::POSED, after(8.0));
    QVERIFY(angle(body.poseAt(after(10.0)), pose) < 1e-6);
}

void TestMotion::thePastStaysAsItWas()
{
    MotionTimeline body = timeline(MOTION::TUMBLE);
    std::vector<Quaternion> before;
    for (const double t : times(0.0, 20.0, 0.5)) {
        before.push_back(body.poseAt(after(t)));
    }
    body.setMotion(MOTION::AT_REST, after(20.0));
    body.setPose(fromHeading(1.0), after(25.0), nsPerS);
    std::size_t i = 0;
    for (const double t : times(0.0, 20.0, 0.5)) {
        QVERIFY(angle(body.poseAt(after(t)), before[i++]) < 1e-9);
    }
}

void TestMotion::manyChangesAreBounded()
{
    MotionTimeline body = timeline(MOTION::AT_REST);
    for (int i = 1; i <= 50000; ++i) {
        body.setPose(fromHeading(i * 0.001), after(i * 0.001), nsPerMs);
    }
    QVERIFY(angle(body.poseAt(after(50.1)), fromHeading(50.0)) < 1e-6);
    // Still available: ten seconds ago.
    QVERIFY(angle(body.poseAt(after(40.0015)), fromHeading(40.0)) < 0.1);
}

QTEST_GUILESS_MAIN(TestMotion)
#include "tst_motion.moc"
