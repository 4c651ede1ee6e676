#include "calibration/sample_math.h"

#include <QtTest>

#include <cmath>
#include <cstdint>
#include <limits>

class TestSampleMath : public QObject
{
    Q_OBJECT

private slots:
    void recordIsGoodWithALinkAndData_data();
    void recordIsGoodWithALinkAndData();
    void eachSensorAxisReachesItsDialogAxis_data();
    void eachSensorAxisReachesItsDialogAxis();
    void zeroCountsGivePlusZero();
    void timestampTicksAre39Microseconds_data();
    void timestampTicksAre39Microseconds();
    void rateIsBoundedAt60_data();
    void rateIsBoundedAt60();
    void pauseCountsSecondsAsMilliseconds_data();
    void pauseCountsSecondsAsMilliseconds();
};

void TestSampleMath::recordIsGoodWithALinkAndData_data()
{
    QTest::addColumn<int>("link");
    QTest::addColumn<int>("state");
    QTest::addColumn<bool>("good");
    QTest::newRow("dead link with new data") << 0 << 5 << false;
    QTest::newRow("dead link") << 0 << 0 << false;
    QTest::newRow("no data") << 1 << 0 << false;
    QTest::newRow("nothing new") << 1 << 1 << true;
    QTest::newRow("new") << 1 << 2 << true;
    QTest::newRow("new, any higher state") << 1 << 255 << true;
    QTest::newRow("link flag other than 1") << 2 << 2 << false;
}

void TestSampleMath::recordIsGoodWithALinkAndData()
{
    QFETCH(int, link);
    QFETCH(int, state);
    QFETCH(bool, good);
    om::IMUReaderData record;
    record.linkValid = static_cast<std::uint8_t>(link);
    record.magState = static_cast<std::uint8_t>(state);
    QCOMPARE(samplemath::isGood(record), good);
}

void TestSampleMath::eachSensorAxisReachesItsDialogAxis_data()
{
    QTest::addColumn<int>("axis1");
    QTest::addColumn<int>("axis2");
    QTest::addColumn<int>("axis3");
    QTest::addColumn<double>("x");
    QTest::addColumn<double>("y");
    QTest::addColumn<double>("z");
    QTest::newRow("all") << 100 << 200 << 300 << -12.5 << 6.25 << 18.75;
    QTest::newRow("axis 1 is Y") << 16 << 0 << 0 << 0.0 << 1.0 << 0.0;
    QTest::newRow("axis 1 reversed") << -16 << 0 << 0 << 0.0 << -1.0 << 0.0;
    QTest::newRow("axis 2 is -X") << 0 << 16 << 0 << -1.0 << 0.0 << 0.0;
    QTest::newRow("axis 2 reversed") << 0 << -16 << 0 << 1.0 << 0.0 << 0.0;
    QTest::newRow("axis 3 is Z") << 0 << 0 << 16 << 0.0 << 0.0 << 1.0;
    QTest::newRow("axis 3 reversed") << 0 << 0 << -16 << 0.0 << 0.0 << -1.0;
    QTest::newRow("lowest counts") << -32768 << -32768 << -32768 << 2048.0 << -2048.0 << -2048.0;
    QTest::newRow("highest counts")
        << 32767 << 32767 << 32767 << -2047.9375 << 2047.9375 << 2047.9375;
}

void TestSampleMath::eachSensorAxisReachesItsDialogAxis()
{
    QFETCH(int, axis1);
    QFETCH(int, axis2);
    QFETCH(int, axis3);
    QFETCH(double, x);
    QFETCH(double, y);
    QFETCH(double, z);
    om::IMUReaderData record;
    record.mag[0] = static_cast<std::int16_t>(axis1);
    record.mag[1] = static_cast<std::int16_t>(axis2);
    record.mag[2] = static_cast<std::int16_t>(axis3);
    const samplemath::Sample sample = samplemath::sampleOf(record);
    QVERIFY(sample.x == x);
    QVERIFY(sample.y == y);
    QVERIFY(sample.z == z);
}

void TestSampleMath::zeroCountsGivePlusZero()
{
    const samplemath::Sample sample = samplemath::sampleOf(om::IMUReaderData());
    QVERIFY(!std::signbit(sample.x));
    QVERIFY(!std::signbit(sample.y));
    QVERIFY(!std::signbit(sample.z));
}

void TestSampleMath::timestampTicksAre39Microseconds_data()
{
    QTest::addColumn<quint64>("ticks");
    QTest::addColumn<double>("ms");
    QTest::newRow("0") << quint64{0} << 0.0;
    QTest::newRow("1") << quint64{1} << 0.039;
    QTest::newRow("1000") << quint64{1000} << 39.0;
    QTest::newRow("a day") << quint64{2215384615} << 86399999.985;
    QTest::newRow("the last one") << ~quint64{0}
                                  << static_cast<double>(~quint64{0}) * 39.0 / 1000.0;
}

void TestSampleMath::timestampTicksAre39Microseconds()
{
    QFETCH(quint64, ticks);
    QFETCH(double, ms);
    QVERIFY(samplemath::millisecondsOf(ticks) == ms);
}

void TestSampleMath::rateIsBoundedAt60_data()
{
    QTest::addColumn<double>("previous");
    QTest::addColumn<double>("now");
    QTest::addColumn<double>("rate");
    QTest::newRow("50 Hz") << 100.0 << 120.0 << 50.0;
    QTest::newRow("60 Hz") << 0.0 << 1000.0 / 60.0 << 60.0;
    QTest::newRow("100 Hz") << 100.0 << 110.0 << 60.0;
    QTest::newRow("0.5 Hz") << 1000.0 << 3000.0 << 0.5;
    QTest::newRow("first of a run") << 0.0 << 4.0e6 << 0.00025;
    QTest::newRow("backward") << 3000.0 << 1000.0 << -0.5;
}

void TestSampleMath::rateIsBoundedAt60()
{
    QFETCH(double, previous);
    QFETCH(double, now);
    QFETCH(double, rate);
    QCOMPARE(samplemath::rateBetween(previous, now), rate);
}

void TestSampleMath::pauseCountsSecondsAsMilliseconds_data()
{
    QTest::addColumn<double>("rate");
    QTest::addColumn<qint64>("ms");
    QTest::newRow("60 Hz") << 60.0 << qint64{0};
    QTest::newRow("just above 1 Hz") << 1.0001 << qint64{0};
    QTest::newRow("1 Hz") << 1.0 << qint64{1};
    QTest::newRow("0.5 Hz") << 0.5 << qint64{2};
    QTest::newRow("0.3 Hz, cut off") << 0.3 << qint64{3};
    QTest::newRow("0.00025 Hz") << 0.00025 << qint64{4000};
    QTest::newRow("backward") << -0.5 << qint64{-2};
}

void TestSampleMath::pauseCountsSecondsAsMilliseconds()
{
    QFETCH(double, rate);
    QFETCH(qint64, ms);
    QCOMPARE(qint64{samplemath::pauseMs(rate)}, ms);
}

QTEST_APPLESS_MAIN(TestSampleMath)
#include "tst_sample_math.moc"
