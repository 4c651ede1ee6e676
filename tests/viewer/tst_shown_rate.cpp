#include "viewer/shown_rate.h"

#include <QtTest>

class TestShownRate : public QObject
{
    Q_OBJECT

private slots:
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
        QCOMPARE(shownRate(reported, nominal), shown);
    }
};

QTEST_GUILESS_MAIN(TestShownRate)
#include "tst_shown_rate.moc"
