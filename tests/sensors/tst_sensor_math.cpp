#include "sensors/sensor_math.h"

#include <QtTest>

#include <cmath>
#include <map>

namespace sm = sensormath;
using Verdict = sm::SampleClock::Verdict;

using Location = om::SensorsData::TemperatureData::SENSOR_LOCATION;
using Temperatures = std::map<Location, float>;

Q_DECLARE_METATYPE(om::Vector3<float>)
Q_DECLARE_METATYPE(Temperatures)

namespace {

om::SensorsData recordWith(const Temperatures& temperatures)
{
    om::SensorsData record;
    record.temperature.values = temperatures;
    return record;
}

} // namespace

class TestSensorMath : public QObject
{
    Q_OBJECT

private slots:
    void timeStampsBelowOneMicrosecondAreAbsent()
    {
        sm::SampleClock clock;
        QCOMPARE(clock.look(0), Verdict::Absent);
        QCOMPARE(clock.look(999), Verdict::Absent);
        // None of them was the first one.
        QCOMPARE(clock.look(1000), Verdict::First);
        QCOMPARE(clock.look(500), Verdict::Absent);
        QCOMPARE(clock.look(1999), Verdict::Repeat);
    }

    void theFirstTimeStampOnlySetsTheClock()
    {
        sm::SampleClock clock;
        QCOMPARE(clock.look(5'000'000), Verdict::First);
        QCOMPARE(clock.look(7'500'000), Verdict::New);
        QCOMPARE(clock.rate(), 400.0);
    }

    void theSameMicrosecondIsARepeat()
    {
        sm::SampleClock clock;
        clock.look(5'000'000);
        QCOMPARE(clock.look(5'000'999), Verdict::Repeat);
        QCOMPARE(clock.look(5'001'000), Verdict::New);
        QCOMPARE(clock.rate(), 1e6);
        QCOMPARE(clock.look(5'001'001), Verdict::Repeat);
        QCOMPARE(clock.rate(), 1e6);
    }

    void anEarlierTimeStampCountsAsNew()
    {
        sm::SampleClock clock;
        clock.look(5'000'000);
        QCOMPARE(clock.look(4'000'000), Verdict::New);
    }

    void theRateIsOneOverTheTimeSinceTheLastNewSample()
    {
        sm::SampleClock clock;
        clock.look(1'000'000'000);
        clock.look(1'000'000'000 + 20'000'000);
        QCOMPARE(clock.rate(), 50.0);
        clock.look(1'000'000'000 + 20'000'000);
        clock.look(1'000'000'000 + 60'000'000);
        QCOMPARE(clock.rate(), 25.0);
    }

    void secondsHaveTheResolutionOfAMicrosecond()
    {
        QCOMPARE(sm::seconds(1'706'711'000'123'456), 1706711000.123456);
        QCOMPARE(sm::seconds(0), 0.0);
        QCOMPARE(sm::seconds(1), 1e-6);
    }

    void largestMagnitudeIgnoresTheSign_data()
    {
        QTest::addColumn<om::Vector3<float>>("vector");
        QTest::addColumn<float>("magnitude");
        QTest::newRow("x") << om::Vector3<float>(-3, 1, 2) << 3.0F;
        QTest::newRow("y") << om::Vector3<float>(1, 3.5F, -2) << 3.5F;
        QTest::newRow("z") << om::Vector3<float>(1, 2, -4) << 4.0F;
        QTest::newRow("zero") << om::Vector3<float>() << 0.0F;
    }

    void largestMagnitudeIgnoresTheSign()
    {
        QFETCH(om::Vector3<float>, vector);
        QFETCH(float, magnitude);
        QCOMPARE(sm::largestMagnitude(vector), magnitude);
    }

    void onlyAThirdComponentOfExactly2048IsSaturated()
    {
        QVERIFY(sm::isSaturated({0, 0, 2048.0F}));
        QVERIFY(sm::isSaturated({0, 0, -2048.0F}));
        QVERIFY(!sm::isSaturated({2048.0F, 2048.0F, 0}));
        QVERIFY(!sm::isSaturated({0, 0, 2047.9F}));
        QVERIFY(!sm::isSaturated({0, 0, 2049.0F}));
    }

    void anyComponentMakesTriplesDiffer()
    {
        QVERIFY(!sm::differ({1, 2, 3}, {1, 2, 3}));
        QVERIFY(sm::differ({1, 2, 3}, {1.0001F, 2, 3}));
        QVERIFY(sm::differ({1, 2, 3}, {1, 2.0001F, 3}));
        QVERIFY(sm::differ({1, 2, 3}, {1, 2, 3.0001F}));
    }

    void degreesAreComputedInDoubleAndRoundedToFloat()
    {
        QCOMPARE(sm::degrees(0.0F), 0.0F);
        QCOMPARE(sm::degrees(static_cast<float>(M_PI)),
                 static_cast<float>(static_cast<double>(static_cast<float>(M_PI)) * 180.0 /
                                    3.141592653589793));
        QCOMPARE(sm::degrees(-0.5F), -28.647890F);
    }

    void eulerAnglesAreInDegrees()
    {
        om::SensorsData record;
        om::Orientation turned; // by a quarter of a turn about x
        turned.ox = static_cast<float>(M_SQRT1_2);
        turned.ow = static_cast<float>(M_SQRT1_2);
        record.imu.pose = om::Transform(turned, om::Translation());
        const om::Vector3<float> angles = sm::eulerDegrees(record);
        QVERIFY(std::fabs(angles.x - 90.0F) < 1e-3F);
        QVERIFY(std::fabs(angles.y) < 1e-3F && std::fabs(angles.z) < 1e-3F);
    }

    void theTemperatureOfTheImuReplacesBothOfTheBoardIfOneIsMissing_data()
    {
        QTest::addColumn<Temperatures>("temperatures");
        QTest::addColumn<bool>("isReplaced");
        QTest::addColumn<float>("left");
        QTest::addColumn<float>("right");
        QTest::newRow("all") << Temperatures{{Location::IMU, 30.0F},
                                             {Location::LEFT, 31.0F},
                                             {Location::RIGHT, 32.0F}}
                             << false << 31.0F << 32.0F;
        QTest::newRow("no left one")
            << Temperatures{{Location::IMU, 30.0F}, {Location::RIGHT, 32.0F}} << true << 30.0F
            << 30.0F;
        QTest::newRow("no right one")
            << Temperatures{{Location::IMU, 30.0F}, {Location::LEFT, 31.0F}} << true << 30.0F
            << 30.0F;
        QTest::newRow("only the right one")
            << Temperatures{{Location::RIGHT, 32.0F}} << true << 20.0F << 32.0F;
        QTest::newRow("none") << Temperatures{} << true << 20.0F << 21.0F;
    }

    void theTemperatureOfTheImuReplacesBothOfTheBoardIfOneIsMissing()
    {
        QFETCH(Temperatures, temperatures);
        sm::BoardTemperatures board;
        QVERIFY(!board.take(recordWith({{Location::LEFT, 20.0F}, {Location::RIGHT, 21.0F}})));
        QTEST(board.take(recordWith(temperatures)), "isReplaced");
        QTEST(board.left(), "left");
        QTEST(board.right(), "right");
    }

    void theTemperatureOfTheImuReplacesThatOfAMissingBarometer_data()
    {
        QTest::addColumn<Temperatures>("temperatures");
        QTest::addColumn<float>("imu");
        QTest::addColumn<float>("barometer");
        QTest::newRow("both") << Temperatures{{Location::IMU, 30.0F}, {Location::BAROMETER, 29.0F}}
                              << 30.0F << 29.0F;
        QTest::newRow("no barometer") << Temperatures{{Location::IMU, 30.0F}} << 30.0F << 30.0F;
        QTest::newRow("only the barometer")
            << Temperatures{{Location::BAROMETER, 29.0F}} << 0.0F << 29.0F;
        QTest::newRow("none") << Temperatures{} << 0.0F << 0.0F;
    }

    void theTemperatureOfTheImuReplacesThatOfAMissingBarometer()
    {
        QFETCH(Temperatures, temperatures);
        const sm::SensorTemperatures inside = sm::sensorTemperatures(recordWith(temperatures));
        QTEST(inside.imu, "imu");
        QTEST(inside.barometer, "barometer");
    }

    void theUnitVectorHasLengthOne()
    {
        const om::Vector3<float> u = sm::unit({2.0F, 3.0F, -6.0F});
        QCOMPARE(u.x, 2.0F / 7.0F);
        QCOMPARE(u.y, 3.0F / 7.0F);
        QCOMPARE(u.z, -6.0F / 7.0F);
    }

    void theUnitOfAZeroVectorIsNotANumber()
    {
        const om::Vector3<float> u = sm::unit({0, 0, 0});
        QVERIFY(std::isnan(u.x) && std::isnan(u.y) && std::isnan(u.z));
    }

    void pressureIsShownInHectopascals() { QCOMPARE(sm::hectopascals(101325.0F), 1013.25F); }

    void theShownRateIsCappedAndRoundedUp_data()
    {
        QTest::addColumn<double>("reported");
        QTest::addColumn<double>("nominal");
        QTest::addColumn<int>("shown");
        QTest::newRow("IMU above nominal") << 400.2 << 400.0 << 400;
        QTest::newRow("IMU below nominal") << 399.1 << 400.0 << 400;
        QTest::newRow("IMU whole") << 399.0 << 400.0 << 399;
        QTest::newRow("barometer") << 24.3 << 25.0 << 25;
        QTest::newRow("magnetometer above") << 51.7 << 50.0 << 50;
        QTest::newRow("no record yet") << 0.0 << 25.0 << 0;
        QTest::newRow("endless") << qInf() << 400.0 << 400;
        QTest::newRow("not a number") << qQNaN() << 400.0 << 0;
        QTest::newRow("below all numbers") << -qInf() << 400.0 << 0;
    }

    void theShownRateIsCappedAndRoundedUp()
    {
        QFETCH(double, reported);
        QFETCH(double, nominal);
        QFETCH(int, shown);
        QCOMPARE(sm::shownRate(reported, nominal), shown);
    }
};

QTEST_GUILESS_MAIN(TestSensorMath)
#include "tst_sensor_math.moc"
