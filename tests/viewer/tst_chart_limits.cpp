#include "viewer/chart_limits.h"

#include <QtTest>

#include <functional>
#include <limits>
#include <vector>

using namespace chartlimits;
using sensorsample::Sample;
using Values = std::vector<float>;

namespace {

/// The limits with the values that the main window starts with.
struct Start
{
    Shared<float> accel = 15.0F;
    Shared<float> gyro = 15.0F;
    Shared<float> mag = 6.5F;
    Shared<float> orient = 45.0F;
    Shared<float> pressureMax = 1050.0F;
    Shared<float> pressureMin = 1000.0F;
    Shared<float> altitudeMax = 5.0F;
    Shared<float> altitudeMin = 0.0F;
    Shared<float> temperatureMax = 45.0F;
    Shared<float> temperatureMin = 45.0F;
    Limits limits{accel,       gyro,        mag,         orient,         pressureMax,
                  pressureMin, altitudeMax, altitudeMin, temperatureMax, temperatureMin};

    void take(const Sample& sample) { widen(limits, sample); }

    Values values() const
    {
        return {accel,       gyro,        mag,         orient,         pressureMax,
                pressureMin, altitudeMax, altitudeMin, temperatureMax, temperatureMin};
    }
};

/// Within all limits.
Sample sampleWithin()
{
    Sample sample;
    sample.pressure = 1025.0F;
    sample.left = 45.0F;
    sample.right = 45.0F;
    return sample;
}

} // namespace

Q_DECLARE_METATYPE(om::Vector3<float>)
Q_DECLARE_METATYPE(Sample)

class TestChartLimits : public QObject
{
    Q_OBJECT

private slots:
    void aSampleWidensTheLimitsOfItsValuesOnly_data()
    {
        QTest::addColumn<Sample>("sample");
        QTest::addColumn<int>("limit");
        QTest::addColumn<float>("widened");
        const auto row = [](const char* name, int limit, float widened,
                            const std::function<void(Sample&)>& change) {
            Sample sample = sampleWithin();
            change(sample);
            QTest::newRow(name) << sample << limit << widened;
        };
        const float nan = std::numeric_limits<float>::quiet_NaN();
        row("nothing", -1, 0.0F, [](Sample&) {});
        row("acceleration", 0, 20.0F, [](Sample& s) { s.acceleration.y = -20.0F; });
        row("its direction", -1, 0.0F, [](Sample& s) { s.direction.x = 100.0F; });
        row("angular velocity", 1, 30.0F, [](Sample& s) { s.angularVelocity.z = -30.0F; });
        row("field", 2, 40.0F, [](Sample& s) { s.field.x = -40.0F; });
        row("saturated field", -1, 0.0F, [](Sample& s) { s.field = {-40.0F, 0.0F, -2048.0F}; });
        row("Euler angle", 3, 90.0F, [](Sample& s) { s.angles.z = -90.0F; });
        row("pressure above", 4, 1151.0F, [](Sample& s) { s.pressure = 1051.0F; });
        row("pressure below", 5, 899.0F, [](Sample& s) { s.pressure = 999.0F; });
        row("altitude above", 6, 11.0F, [](Sample& s) { s.altitude = 10.0F; });
        row("altitude below", 7, -11.0F, [](Sample& s) { s.altitude = -10.0F; });
        row("the left one warmer", 8, 55.0F, [](Sample& s) { s.left = 50.0F; });
        row("the right one warmer", 8, 55.0F, [](Sample& s) { s.right = 50.0F; });
        row("the left one colder", 9, 35.0F, [](Sample& s) { s.left = 40.0F; });
        row("the right one colder", 9, 35.0F, [](Sample& s) { s.right = 40.0F; });
        row("not a number", -1, 0.0F, [nan](Sample& s) { s.pressure = s.altitude = nan; });
    }

    void aSampleWidensTheLimitsOfItsValuesOnly()
    {
        QFETCH(Sample, sample);
        QFETCH(int, limit);
        QFETCH(float, widened);
        Start start;
        Values wanted = start.values();
        if (limit >= 0) {
            wanted[static_cast<std::size_t>(limit)] = widened;
        }
        start.take(sample);
        QCOMPARE(start.values(), wanted);
    }

    void eachFurtherSampleStartsFromTheWidenedLimits()
    {
        Start start;
        for (const float pressure : {1051.0F, 1151.0F, 1152.0F}) {
            Sample sample = sampleWithin();
            sample.pressure = pressure;
            start.take(sample);
        }
        QCOMPARE(static_cast<float>(start.pressureMax), 1252.0F);
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
        QCOMPARE(largestMagnitude(vector), magnitude);
    }

    void onlyAThirdComponentOfExactly2048IsSaturated()
    {
        QVERIFY(isSaturated({0, 0, 2048.0F}));
        QVERIFY(isSaturated({0, 0, -2048.0F}));
        QVERIFY(!isSaturated({2048.0F, 2048.0F, 0}));
        QVERIFY(!isSaturated({0, 0, 2047.9F}));
        QVERIFY(!isSaturated({0, 0, 2049.0F}));
    }

    void rangesOnlyGrow()
    {
        QCOMPARE(widenedRange(15.0F, 14.0F), 15.0F);
        QCOMPARE(widenedRange(15.0F, 15.0F), 15.0F);
        QCOMPARE(widenedRange(15.0F, 15.5F), 15.5F);
    }

    void notANumberLeavesALimitAlone()
    {
        const float nan = std::numeric_limits<float>::quiet_NaN();
        QCOMPARE(widenedRange(15.0F, nan), 15.0F);
        QCOMPARE(widenedPressureMax(1050.0F, nan), 1050.0F);
        QCOMPARE(widenedPressureMin(1000.0F, nan), 1000.0F);
        QCOMPARE(widenedAltitudeMax(5.0F, nan), 5.0F);
        QCOMPARE(widenedAltitudeMin(0.0F, nan), 0.0F);
        QCOMPARE(widenedTemperatureMax(45.0F, nan), 45.0F);
        QCOMPARE(widenedTemperatureMin(45.0F, nan), 45.0F);
    }

    void pressureLimitsMoveAHundredBeyondTheValue()
    {
        QCOMPARE(widenedPressureMax(1050.0F, 1050.0F), 1050.0F);
        QCOMPARE(widenedPressureMax(1050.0F, 1051.0F), 1151.0F);
        QCOMPARE(widenedPressureMin(1000.0F, 1000.0F), 1000.0F);
        QCOMPARE(widenedPressureMin(1000.0F, 999.0F), 899.0F);
    }

    void altitudeLimitsFollowTheSignOfTheOldLimit_data()
    {
        QTest::addColumn<bool>("upper");
        QTest::addColumn<float>("limit");
        QTest::addColumn<float>("altitude");
        QTest::addColumn<float>("widened");
        QTest::newRow("max: within") << true << 5.0F << 5.0F << 5.0F;
        QTest::newRow("max: positive limit") << true << 5.0F << 10.0F << 11.0F;
        QTest::newRow("max: zero limit") << true << 0.0F << 10.0F << 9.0F;
        QTest::newRow("max: negative limit") << true << -5.0F << -2.0F << -1.8F;
        QTest::newRow("min: within") << false << 0.0F << 0.0F << 0.0F;
        QTest::newRow("min: zero limit") << false << 0.0F << -10.0F << -11.0F;
        QTest::newRow("min: negative limit") << false << -11.0F << -20.0F << -22.0F;
        QTest::newRow("min: positive limit") << false << 5.0F << 2.0F << 1.8F;
        QTest::newRow("min: positive limit, negative value") << false << 5.0F << -10.0F << -9.0F;
    }

    void altitudeLimitsFollowTheSignOfTheOldLimit()
    {
        QFETCH(bool, upper);
        QFETCH(float, limit);
        QFETCH(float, altitude);
        QFETCH(float, widened);
        QCOMPARE(upper ? widenedAltitudeMax(limit, altitude) : widenedAltitudeMin(limit, altitude),
                 widened);
    }

    void temperatureLimitsMoveFiveBeyondTheValue()
    {
        QCOMPARE(widenedTemperatureMin(45.0F, 30.0F), 25.0F);
        QCOMPARE(widenedTemperatureMax(45.0F, 30.0F), 45.0F);
        QCOMPARE(widenedTemperatureMax(45.0F, 50.0F), 55.0F);
        QCOMPARE(widenedTemperatureMin(25.0F, 50.0F), 25.0F);
        QCOMPARE(widenedTemperatureMax(45.0F, 45.0F), 45.0F);
        QCOMPARE(widenedTemperatureMin(45.0F, 45.0F), 45.0F);
    }
};

QTEST_GUILESS_MAIN(TestChartLimits)
#include "tst_chart_limits.moc"
