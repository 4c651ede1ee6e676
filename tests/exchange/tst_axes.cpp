// From the camera's axes to those of a robot.

#include "exchange/axes.h"

#include <QTest>

#include <cmath>

using namespace exchange;

namespace {

Vector rotated(const Quaternion& q, const Vector& v)
{
    const Quaternion conjugate{-q[0], -q[1], -q[2], q[3]};
    const Quaternion result = product(product(q, {v[0], v[1], v[2], 0.0}), conjugate);
    return {result[0], result[1], result[2]};
}

bool near(const Vector& a, const Vector& b)
{
    return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]) < 1e-12;
}

const Vector forward{1.0, 0.0, 0.0};
const Vector up{0.0, 0.0, 1.0};
const Vector east{1.0, 0.0, 0.0};
const Vector north{0.0, 1.0, 0.0};

} // namespace

class TestAxes : public QObject
{
    Q_OBJECT

private slots:
    void vectorsChangePlacesAndSigns()
    {
        QCOMPARE(turned(Vector{1.0, 2.0, 3.0}, AXES::ROBOT), (Vector{-3.0, -1.0, 2.0}));
        QCOMPARE(turned(Vector{1.0, 2.0, 3.0}, AXES::CAMERA), (Vector{1.0, 2.0, 3.0}));
    }

    void aLevelCameraThatLooksNorthIsARobotThatLooksNorth()
    {
        const Quaternion robot = turned(fromEulerAngles({0.0, 0.0, 0.0}), AXES::ROBOT);
        QVERIFY(near(rotated(robot, forward), north));
        QVERIFY(near(rotated(robot, up), {0.0, 0.0, 1.0}));
    }

    void aTurnToTheRightLooksEast()
    {
        // About the camera's y axis, which is up: to the right is negative.
        const Quaternion robot = turned(fromEulerAngles({0.0, -90.0, 0.0}), AXES::ROBOT);
        QVERIFY(near(rotated(robot, forward), east));
    }

    void anglesTurnAboutXThenYThenZ()
    {
        const Quaternion q = fromEulerAngles({90.0, 90.0, 0.0});
        // y goes to z by the first turn and to x by the second.
        QVERIFY(near(rotated(q, {0.0, 1.0, 0.0}), {1.0, 0.0, 0.0}));
        QVERIFY(near(rotated(fromEulerAngles({0.0, 0.0, 90.0}), {1.0, 0.0, 0.0}), {0.0, 1.0, 0.0}));
    }
};

QTEST_APPLESS_MAIN(TestAxes)
#include "tst_axes.moc"
