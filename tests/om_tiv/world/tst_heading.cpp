#include "world/heading.h"

#include <QtTest>

#include <cmath>
#include <limits>
#include <vector>

using om::bench::correctedField;
using om::bench::HeadingMonitor;
using om::bench::HeadingQuality;
using om::bench::MagCalibration;
using om::bench::tiltCompensatedHeading;
using om::bench::Vector;

Q_DECLARE_METATYPE(Vector)

namespace {

constexpr double degree = om::bench::pi / 180.0;
constexpr double radius = 48.0; // uT, of the field in the tests of the monitor
constexpr double period = 0.02; // s, of its readings
constexpr int readingsOf30s = 1500;

/// Level: a field that points down by v and to north by h, with north in the given place.
Vector levelField(double ahead, double right)
{
    return {43.0, -right, ahead};
}

/// Evenly spread unit vectors.
std::vector<Vector> sphere(int count)
{
    std::vector<Vector> directions;
    for (int i = 0; i < count; ++i) {
        // Neighbours in time are far apart on the sphere, so that any part of it is covered.
        const double u = 1.0 - 2.0 * (0.5 + (i * 7) % count) / count;
        const double angle = 2.399963229728653 * ((i * 7) % count);
        const double r = std::sqrt(1.0 - u * u);
        directions.push_back({r * std::cos(angle), r * std::sin(angle), u});
    }
    return directions;
}

/// The reading of sensor axes with these offsets and radii for a field of this strength in the
/// direction.
Vector reading(const Vector& direction, double strength = radius)
{
    return {5.0 + strength * 1.1 * direction.x, -20.0 + strength * 0.9 * direction.y,
            30.0 + strength * direction.z};
}

/// Unit vector away from the earth in a field of the direction that dips by the angle.
Vector upIn(const Vector& direction, double dip = 64.0 * degree)
{
    // Any vector perpendicular to the field works.
    const Vector other =
        std::abs(direction.x) < 0.7 ? Vector{1.0, 0.0, 0.0} : Vector{0.0, 1.0, 0.0};
    Vector across = other - dot(other, direction) * direction;
    across = (1.0 / length(across)) * across;
    return -std::sin(dip) * direction + std::cos(dip) * across;
}

void add(HeadingMonitor& monitor, double time, const Vector& direction, double strength = radius)
{
    monitor.add({time, reading(direction, strength), upIn(direction), false});
}

MagCalibration matchingCalibration()
{
    return {{static_cast<float>(1.0 / (1.1 * radius)), static_cast<float>(1.0 / (0.9 * radius)),
             static_cast<float>(1.0 / radius)},
            {5.0F, -20.0F, 30.0F}};
}

MagCalibration withOffset(double axis1, double axis2, double axis3)
{
    MagCalibration calibration = matchingCalibration();
    calibration.offset[0] += static_cast<float>(axis1);
    calibration.offset[1] += static_cast<float>(axis2);
    calibration.offset[2] += static_cast<float>(axis3);
    return calibration;
}

/// Turns the camera through all directions for 30 s; returns the time after it.
double turnAround(HeadingMonitor& monitor, double start = 0.0)
{
    double time = start;
    for (const Vector& direction : sphere(readingsOf30s)) {
        add(monitor, time, direction);
        time += period;
    }
    return time;
}

const Vector someDirection{0.48, 0.6, 0.64};

/// Lies still for a time, in a field with this disturbance.
double restFor(HeadingMonitor& monitor, double start, double seconds,
               const Vector& disturbance = {})
{
    double time = start;
    for (; time < start + seconds; time += period) {
        monitor.add({time, reading(someDirection) + disturbance, upIn(someDirection), false});
    }
    return time;
}

} // namespace

class HeadingTest : public QObject
{
    Q_OBJECT

private slots:
    void levelHeadingIsTheAngleFromNorthToForward_data()
    {
        QTest::addColumn<double>("ahead");
        QTest::addColumn<double>("right");
        QTest::addColumn<double>("expected");
        QTest::newRow("looking north") << 20.0 << 0.0 << 0.0;
        QTest::newRow("looking east, north on the left") << 0.0 << -20.0 << 90.0;
        QTest::newRow("looking south, north behind") << -20.0 << 0.0 << 180.0;
        QTest::newRow("looking west, north on the right") << 0.0 << 20.0 << 270.0;
        QTest::newRow("looking north-east") << 14.0 << -14.0 << 45.0;
        QTest::newRow("30 degrees west of north")
            << 20.0 * std::cos(30.0 * degree) << 20.0 * std::sin(30.0 * degree) << 330.0;
    }
    void levelHeadingIsTheAngleFromNorthToForward()
    {
        QFETCH(double, ahead);
        QFETCH(double, right);
        QFETCH(double, expected);
        // Level: the force that holds the camera points up, against axis 1.
        const double heading = tiltCompensatedHeading(levelField(ahead, right), {-9.8, 0.0, 0.0});
        QVERIFY2(std::abs(heading / degree - expected) < 1e-9,
                 qPrintable(QString::number(heading / degree)));
    }

    void headingDoesNotDependOnPitchAndRoll_data()
    {
        QTest::addColumn<double>("pitch");
        QTest::addColumn<double>("roll");
        for (const double pitch : {-80.0, -30.0, 0.0, 15.0, 60.0}) {
            for (const double roll : {-170.0, -45.0, 0.0, 20.0, 90.0}) {
                QTest::addRow("pitch %g, roll %g", pitch, roll) << pitch << roll;
            }
        }
    }
    void headingDoesNotDependOnPitchAndRoll()
    {
        QFETCH(double, pitch);
        QFETCH(double, roll);
        const om::bench::Field field; // declination included: the heading is the magnetic one
        for (const double geographic : {0.0, 77.0, 163.0, 291.0}) {
            const om::bench::Quaternion pose =
                om::bench::fromHeading(geographic * degree, pitch * degree, roll * degree);
            const auto toSensor = [&pose](const Vector& world) {
                return toSensorAxes(rotate(conjugate(pose), world));
            };
            const double heading =
                tiltCompensatedHeading(toSensor(field.world()), toSensor({0.0, 9.8, 0.0}));
            const double error = std::remainder(heading - (geographic - field.declination) * degree,
                                                2.0 * om::bench::pi);
            QVERIFY2(std::abs(error) < 1e-9, qPrintable(QString::number(error / degree)));
        }
    }

    void onlyDirectionsCount()
    {
        const Vector field{40.0, -11.0, 17.0};
        const Vector force{-9.0, 2.0, 3.0};
        const double heading = tiltCompensatedHeading(field, force);
        QVERIFY(std::abs(tiltCompensatedHeading(1e-4 * field, 1e3 * force) - heading) < 1e-12);
    }

    void thereIsNoHeadingWithoutTwoDirections_data()
    {
        QTest::addColumn<double>("field");
        QTest::addColumn<double>("force");
        const double inf = std::numeric_limits<double>::infinity();
        const double nan = std::numeric_limits<double>::quiet_NaN();
        QTest::newRow("no field") << 0.0 << -9.8;
        QTest::newRow("free fall") << 48.0 << 0.0;
        QTest::newRow("field straight down") << 48.0 << -9.8;
        QTest::newRow("field straight up") << -48.0 << -9.8;
        QTest::newRow("field not finite") << inf << -9.8;
        QTest::newRow("field not a number") << nan << -9.8;
        QTest::newRow("force not a number") << 48.0 << nan;
    }
    void thereIsNoHeadingWithoutTwoDirections()
    {
        QFETCH(double, field);
        QFETCH(double, force);
        QCOMPARE(tiltCompensatedHeading({field, 0.0, 0.0}, {force, 0.0, 0.0}), 0.0);
    }

    void headingStaysBelowAFullTurnAsAFloatToo()
    {
        const double heading = tiltCompensatedHeading(levelField(20.0, 1e-9), {-9.8, 0.0, 0.0});
        QCOMPARE(heading, 0.0);
        const double below = tiltCompensatedHeading(levelField(20.0, 1e-4), {-9.8, 0.0, 0.0});
        QVERIFY(below > 6.0);
        QVERIFY(static_cast<double>(static_cast<float>(below)) < 2.0 * om::bench::pi);
    }

    void neutralCalibrationLeavesTheFieldAsItIs()
    {
        MagCalibration calibration;
        calibration.offset[1] = -0.0F;
        const Vector field = correctedField(calibration, {12.3, -45.6, 7.8});
        QCOMPARE(field.x, 12.3);
        QCOMPARE(field.y, -45.6);
        QCOMPARE(field.z, 7.8);
    }

    void correctedFieldIsInMicrotesla()
    {
        const Vector field = correctedField(matchingCalibration(), reading(someDirection));
        const double mean = radius * std::cbrt(1.1 * 0.9);
        QVERIFY(std::abs(field.x - mean * 0.48) < 1e-4);
        QVERIFY(std::abs(field.y - mean * 0.6) < 1e-4);
        QVERIFY(std::abs(field.z - mean * 0.64) < 1e-4);
    }

    void unusableCalibrationCorrectsNothing()
    {
        for (const float scale : {0.0F, -0.02F, std::numeric_limits<float>::quiet_NaN()}) {
            MagCalibration calibration = matchingCalibration();
            calibration.scale[2] = scale;
            const Vector field = correctedField(calibration, {12.3, -45.6, 7.8});
            QCOMPARE(field.x, 12.3);
            QCOMPARE(field.y, -45.6);
            QCOMPARE(field.z, 7.8);
        }
    }

    void qualityIsNotAvailableBeforeTheFirstReading()
    {
        HeadingMonitor monitor;
        for (const MagCalibration& calibration : {MagCalibration(), matchingCalibration()}) {
            const HeadingQuality quality = monitor.assess(calibration);
            QCOMPARE(quality.state, 4);
            QCOMPARE(quality.accuracy, 0.0F);
        }
    }

    void neutralCalibrationIsNotCalibrated()
    {
        HeadingMonitor monitor;
        // A sensor that needs no correction at all does not change that.
        for (const Vector& direction : sphere(readingsOf30s)) {
            monitor.add({0.0, radius * direction, upIn(direction), false});
        }
        MagCalibration calibration;
        calibration.offset[1] = -0.0F;
        const HeadingQuality quality = monitor.assess(calibration);
        QCOMPARE(quality.state, 3);
        QCOMPARE(quality.accuracy, 0.0F);
    }

    void matchingCalibrationIsGood()
    {
        HeadingMonitor monitor;
        turnAround(monitor);
        const HeadingQuality quality = monitor.assess(matchingCalibration());
        QCOMPARE(quality.state, 0);
        QVERIFY(quality.accuracy > 0.99F);
    }

    void stateAndAccuracyFollowTheSpread_data()
    {
        QTest::addColumn<double>("spread");
        QTest::addColumn<int>("state");
        QTest::addColumn<float>("accuracy");
        QTest::newRow("0 %") << 0.0 << 0 << 1.0F;
        QTest::newRow("1 %") << 0.01 << 0 << 0.9F;
        QTest::newRow("just good") << 0.0249 << 0 << 0.751F;
        QTest::newRow("just not good any more") << 0.0251 << 1 << 0.749F;
        QTest::newRow("4 %") << 0.04 << 1 << 0.6F;
        QTest::newRow("just acceptable") << 0.0599 << 1 << 0.401F;
        QTest::newRow("just not acceptable") << 0.0601 << 2 << 0.399F;
        QTest::newRow("10 %") << 0.10 << 2 << 0.0F;
        QTest::newRow("30 %") << 0.30 << 2 << 0.0F;
    }
    void stateAndAccuracyFollowTheSpread()
    {
        QFETCH(double, spread);
        QFETCH(int, state);
        QFETCH(float, accuracy);
        // In every direction the same number of readings is too strong and too weak by the spread.
        HeadingMonitor monitor;
        double time = 0.0;
        for (const Vector& direction : sphere(readingsOf30s / 2)) {
            for (const double sign : {-1.0, 1.0}) {
                add(monitor, time, direction, radius * (1.0 + sign * spread));
                time += period;
            }
        }
        const HeadingQuality quality = monitor.assess(matchingCalibration());
        QCOMPARE(quality.state, state);
        QVERIFY2(std::abs(quality.accuracy - accuracy) < 1e-4F,
                 qPrintable(QString::number(static_cast<double>(quality.accuracy))));
    }

    void spreadOfTheDipCountsAsTheSpreadOfTheStrengthDoes_data()
    {
        QTest::addColumn<double>("spread"); // rad
        QTest::addColumn<int>("state");
        QTest::addColumn<float>("accuracy");
        QTest::newRow("good") << 0.02 << 0 << 0.8F;
        QTest::newRow("acceptable") << 0.05 << 1 << 0.5F;
        QTest::newRow("not good") << 0.08 << 2 << 0.2F;
    }
    void spreadOfTheDipCountsAsTheSpreadOfTheStrengthDoes()
    {
        QFETCH(double, spread);
        QFETCH(int, state);
        QFETCH(float, accuracy);
        HeadingMonitor monitor;
        double time = 0.0;
        for (const Vector& direction : sphere(readingsOf30s / 2)) {
            for (const double sign : {-1.0, 1.0}) {
                monitor.add({time, reading(direction),
                             upIn(direction, 64.0 * degree + sign * spread), false});
                time += period;
            }
        }
        const HeadingQuality quality = monitor.assess(matchingCalibration());
        QCOMPARE(quality.state, state);
        QVERIFY2(std::abs(quality.accuracy - accuracy) < 1e-3F,
                 qPrintable(QString::number(static_cast<double>(quality.accuracy))));
    }

    void wrongCalibrationIsNotGood_data()
    {
        QTest::addColumn<QVector<double>>(
            "change"); // factors of the scales, addends of the offsets
        QTest::newRow("offset of axis 1") << QVector<double>{1.0, 1.0, 1.0, 3.0, 0.0, 0.0};
        QTest::newRow("offset of axis 2") << QVector<double>{1.0, 1.0, 1.0, 0.0, -3.0, 0.0};
        QTest::newRow("offset of axis 3") << QVector<double>{1.0, 1.0, 1.0, 0.0, 0.0, 3.0};
        QTest::newRow("sign of the offset of axis 2")
            << QVector<double>{1.0, 1.0, 1.0, 0.0, 40.0, 0.0};
        QTest::newRow("scale of axis 1") << QVector<double>{1.1, 1.0, 1.0, 0.0, 0.0, 0.0};
        QTest::newRow("scale of axis 2") << QVector<double>{1.0, 0.9, 1.0, 0.0, 0.0, 0.0};
        QTest::newRow("scale of axis 3") << QVector<double>{1.0, 1.0, 1.1, 0.0, 0.0, 0.0};
        QTest::newRow("scales of axes 1 and 2 swapped")
            << QVector<double>{1.1 / 0.9, 0.9 / 1.1, 1.0, 0.0, 0.0, 0.0};
        QTest::newRow("all scales: a field of another strength")
            << QVector<double>{1.2, 1.2, 1.2, 0.0, 0.0, 0.0};
    }
    void wrongCalibrationIsNotGood()
    {
        QFETCH(QVector<double>, change);
        HeadingMonitor monitor;
        turnAround(monitor);
        MagCalibration calibration = matchingCalibration();
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const int i = static_cast<int>(axis);
            calibration.scale[axis] *= static_cast<float>(change[i]);
            calibration.offset[axis] += static_cast<float>(change[3 + i]);
        }
        QVERIFY(monitor.assess(calibration).state != 0);
        QCOMPARE(monitor.assess(matchingCalibration()).state, 0);
    }

    void unusableCalibrationIsNotGood()
    {
        // Not even on a sensor that needs no correction, whose field does not change.
        HeadingMonitor monitor;
        double time = 0.0;
        for (const Vector& direction : sphere(readingsOf30s)) {
            monitor.add({time, radius * direction, upIn(direction), false});
            time += period;
        }
        const auto scale = static_cast<float>(1.0 / radius);
        QCOMPARE(monitor.assess({{scale, scale, scale}, {}}).state, 0);
        for (const float value : {std::numeric_limits<float>::quiet_NaN(),
                                  std::numeric_limits<float>::infinity(), -scale, 0.0F}) {
            const HeadingQuality quality = monitor.assess({{scale, value, scale}, {}});
            QCOMPARE(quality.state, 2);
            QCOMPARE(quality.accuracy, 0.0F);
        }
    }

    void cameraThatWasNotTurnedToAllSixEndsIsAcceptableAtBest_data()
    {
        QTest::addColumn<int>("end");
        for (int end = 0; end < 6; ++end) {
            QTest::addRow("axis %d, %s end", end / 2 + 1, end % 2 == 0 ? "positive" : "negative")
                << end;
        }
    }
    void cameraThatWasNotTurnedToAllSixEndsIsAcceptableAtBest()
    {
        QFETCH(int, end);
        HeadingMonitor monitor;
        double time = 0.0;
        for (const Vector& direction : sphere(readingsOf30s)) {
            const double sign = end % 2 == 0 ? 1.0 : -1.0;
            const double along = sign * (end / 2 == 0   ? direction.x
                                         : end / 2 == 1 ? direction.y
                                                        : direction.z);
            if (along < 0.57) { // the middle of a cube's face is seen from 1 / sqrt(3) on
                add(monitor, time, direction);
                time += period;
            }
        }
        const HeadingQuality quality = monitor.assess(matchingCalibration());
        QCOMPARE(quality.state, 1);
        QVERIFY(std::abs(quality.accuracy - 0.5F) < 1e-4F);
    }

    void restingCameraProvesNothing()
    {
        HeadingMonitor monitor;
        restFor(monitor, 0.0, 30.0);
        QCOMPARE(monitor.assess(matchingCalibration()).state, 1);
        // So wrong that the strength shows it even here.
        QCOMPARE(monitor.assess(withOffset(0.0, 12.0, 0.0)).state, 2);
    }

    void provenCalibrationStaysGoodWhileTheCameraRests()
    {
        HeadingMonitor monitor;
        double time = turnAround(monitor);
        QCOMPARE(monitor.assess(matchingCalibration()).state, 0);
        time = restFor(monitor, time, 100.0);
        QCOMPARE(monitor.assess(matchingCalibration()).state, 0);
        // Another calibration has not been proven.
        QCOMPARE(monitor.assess(withOffset(0.01, 0.0, 0.0)).state, 1);
    }

    void longRestDoesNotHideAPoorCalibration()
    {
        HeadingMonitor monitor;
        const double time = turnAround(monitor);
        // 26 of the last 30 s are at one place.
        restFor(monitor, time, 26.0);
        QVERIFY(monitor.assess(withOffset(4.0, 0.0, 0.0)).state != 0);
    }

    void calibrationStoredAfterTheTurningIsJudgedByIt()
    {
        HeadingMonitor monitor;
        const double time = turnAround(monitor);
        QCOMPARE(monitor.assess(MagCalibration()).state, 3);
        restFor(monitor, time, 10.0);
        QCOMPARE(monitor.assess(matchingCalibration()).state, 0);
    }

    void disturbanceAroundARestingCameraIsNotGood_data()
    {
        QTest::addColumn<Vector>("disturbance");
        QTest::addColumn<int>("state");
        QTest::newRow("along the field") << 9.0 * someDirection << 2;
        QTest::newRow("against the field") << -9.0 * someDirection << 2;
        // Such a disturbance hardly changes the strength, but it turns the field.
        const Vector across = upIn(someDirection, 0.0);
        QTest::newRow("across the field, downward") << -9.0 * across << 2;
        QTest::newRow("across the field, upward") << 9.0 * across << 2;
    }
    void disturbanceAroundARestingCameraIsNotGood()
    {
        QFETCH(Vector, disturbance);
        QFETCH(int, state);
        HeadingMonitor monitor;
        double time = turnAround(monitor);
        QCOMPARE(monitor.assess(matchingCalibration()).state, 0);
        time = restFor(monitor, time, 2.5, disturbance);
        QCOMPARE(monitor.assess(matchingCalibration()).state, state);
        time = restFor(monitor, time, 40.0, disturbance);
        QCOMPARE(monitor.assess(matchingCalibration()).state, state);
        // The proven calibration is uncertain now, until the camera is turned again.
        time = restFor(monitor, time, 40.0);
        QVERIFY(monitor.assess(matchingCalibration()).state != 0);
        turnAround(monitor, time);
        QCOMPARE(monitor.assess(matchingCalibration()).state, 0);
    }

    void saturatedReadingIsNotGoodForTwoSeconds()
    {
        HeadingMonitor monitor;
        double time = turnAround(monitor);
        monitor.add({time, {0.0, 0.0, -2048.0}, upIn(someDirection), true});
        HeadingQuality quality = monitor.assess(matchingCalibration());
        QCOMPARE(quality.state, 2);
        QCOMPARE(quality.accuracy, 0.0F);
        time = restFor(monitor, time + period, 1.9);
        QCOMPARE(monitor.assess(matchingCalibration()).state, 2);
        restFor(monitor, time, 0.2);
        QCOMPARE(monitor.assess(matchingCalibration()).state, 0);
    }

    void gainsWithoutARadiusAreJudgedByTheEarthsField_data()
    {
        QTest::addColumn<double>("strength");
        QTest::addColumn<int>("state");
        QTest::newRow("too weak") << 19.0 << 2;
        QTest::newRow("weak") << 23.0 << 0;
        QTest::newRow("strong") << 66.0 << 0;
        QTest::newRow("too strong") << 71.0 << 2;
    }
    void gainsWithoutARadiusAreJudgedByTheEarthsField()
    {
        QFETCH(double, strength);
        QFETCH(int, state);
        HeadingMonitor monitor;
        double time = 0.0;
        for (const Vector& direction : sphere(readingsOf30s)) {
            monitor.add(
                {time, strength * direction + Vector{5.0, -20.0, 30.0}, upIn(direction), false});
            time += period;
        }
        QCOMPARE(monitor.assess({{1.0F, 1.0F, 1.0F}, {5.0F, -20.0F, 30.0F}}).state, state);
    }

    void clearForgetsReadingsAndWhatTheyProved()
    {
        HeadingMonitor monitor;
        turnAround(monitor);
        QCOMPARE(monitor.assess(matchingCalibration()).state, 0);
        monitor.clear();
        QCOMPARE(monitor.assess(matchingCalibration()).state, 4);
        restFor(monitor, 0.0, 1.0);
        QCOMPARE(monitor.assess(matchingCalibration()).state, 1);
    }
};

QTEST_GUILESS_MAIN(HeadingTest)
#include "tst_heading.moc"
