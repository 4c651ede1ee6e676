#include "viewer/chart_limits.h"

#include <QtTest>

#include <limits>

using namespace chartlimits;

class TestChartLimits : public QObject
{
    Q_OBJECT

private slots:
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
