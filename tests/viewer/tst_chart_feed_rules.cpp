#include "viewer/chart_feed_rules.h"

#include <QtTest>

#include <limits>

using namespace chartfeed;

class TestChartFeedRules : public QObject
{
    Q_OBJECT

private slots:
    void textOfTheTimeRangeGivesSeconds_data();
    void textOfTheTimeRangeGivesSeconds();
    void textWithoutANumberGivesNothing_data();
    void textWithoutANumberGivesNothing();
    void unitsAreThoseOfTheUsersLanguage();

    void windowHoldsSecondsTimesRate();
    void imuWindowHoldsThirtyPercentMore_data();
    void imuWindowHoldsThirtyPercentMore();
    void windowStartsSoManySamplesBeforeTheEnd_data();
    void windowStartsSoManySamplesBeforeTheEnd();
    void periodFollowsTheNumberOfSamples_data();
    void periodFollowsTheNumberOfSamples();
    void fullWindowsHaveTheirPeriods_data();
    void fullWindowsHaveTheirPeriods();

    void timeAxisFillsUpAndThenScrolls_data();
    void timeAxisFillsUpAndThenScrolls();
    void bothRulesAgreeOnExactlyTheWindow();
    void valueAxisIsTheLimitWithItsMargin();
    void valueAxisIsComputedInDoublePrecision();
};

void TestChartFeedRules::textOfTheTimeRangeGivesSeconds_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("seconds");
    QTest::newRow("5 s") << "Last 5 sec" << 5;
    QTest::newRow("10 s") << "Last 10 sec" << 10;
    QTest::newRow("30 s") << "Last 30 sec" << 30;
    QTest::newRow("60 s") << "Last 60 sec" << 60;
    QTest::newRow("minutes") << "Last 2 min" << 120;
    QTest::newRow("hours") << "Last 3 hours" << 10800;
    QTest::newRow("unknown unit") << "Last 7 days" << 7;
    QTest::newRow("no unit") << "Last 8" << 8;
    QTest::newRow("unit in another case") << "Last 9 MIN" << 9;
    QTest::newRow("more words") << "Last 4 min ago" << 240;
    QTest::newRow("empty parts count") << "Last  5 sec" << 0;
    QTest::newRow("no number") << "Last few sec" << 0;
    QTest::newRow("decimal base only") << "Last 0x10 sec" << 0;
    QTest::newRow("leading zero") << "Last 010 sec" << 10;
    QTest::newRow("beyond an int") << "Last 2000000000 hours" << std::numeric_limits<int>::max();
}

void TestChartFeedRules::textOfTheTimeRangeGivesSeconds()
{
    QFETCH(QString, text);
    QFETCH(int, seconds);
    const auto result = windowSeconds(text, {"sec", "min", "hours"});
    QVERIFY(result.has_value());
    QCOMPARE(*result, seconds);
}

void TestChartFeedRules::textWithoutANumberGivesNothing_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("null") << QString();
    QTest::newRow("empty") << "";
    QTest::newRow("one word") << "Last";
}

void TestChartFeedRules::textWithoutANumberGivesNothing()
{
    QFETCH(QString, text);
    QVERIFY(!windowSeconds(text, {"sec", "min", "hours"}).has_value());
}

void TestChartFeedRules::unitsAreThoseOfTheUsersLanguage()
{
    const UnitNames german{"s", "Minuten", "Stunden"};
    QCOMPARE(windowSeconds("Letzte 5 s", german).value(), 5);
    QCOMPARE(windowSeconds("Letzte 5 Minuten", german).value(), 300);
    QCOMPARE(windowSeconds("Letzte 5 Stunden", german).value(), 18000);
    QCOMPARE(windowSeconds("Letzte 5 min", german).value(), 5);
    // The units are compared in this order.
    QCOMPARE(windowSeconds("Last 5 x", {"x", "x", "x"}).value(), 5);
    QCOMPARE(windowSeconds("Last 5 x", {"s", "x", "x"}).value(), 300);
}

void TestChartFeedRules::windowHoldsSecondsTimesRate()
{
    QCOMPARE(windowSamples(10, 50), std::int64_t(500));
    QCOMPARE(windowSamples(60, 25), std::int64_t(1500));
    QCOMPARE(windowSamples(0, 400), std::int64_t(0));
    QCOMPARE(windowSamples(std::numeric_limits<int>::max(), 400), std::int64_t(858993458800));
}

void TestChartFeedRules::imuWindowHoldsThirtyPercentMore_data()
{
    QTest::addColumn<int>("seconds");
    QTest::addColumn<int>("rate");
    QTest::addColumn<qint64>("samples");
    QTest::newRow("5 s") << 5 << 400 << qint64(2600);
    QTest::newRow("10 s") << 10 << 400 << qint64(5200);
    QTest::newRow("30 s") << 30 << 400 << qint64(15600);
    QTest::newRow("60 s") << 60 << 400 << qint64(31200);
    QTest::newRow("fraction is cut off") << 1 << 3 << qint64(3);
    QTest::newRow("nothing") << 0 << 400 << qint64(0);
}

void TestChartFeedRules::imuWindowHoldsThirtyPercentMore()
{
    QFETCH(int, seconds);
    QFETCH(int, rate);
    QFETCH(qint64, samples);
    QCOMPARE(qint64(imuWindowSamples(seconds, rate)), samples);
}

void TestChartFeedRules::windowStartsSoManySamplesBeforeTheEnd_data()
{
    QTest::addColumn<int>("stored");
    QTest::addColumn<qint64>("window");
    QTest::addColumn<int>("start");
    QTest::newRow("fewer than the window") << 100 << qint64(2600) << 0;
    QTest::newRow("one fewer") << 2599 << qint64(2600) << 0;
    QTest::newRow("as many") << 2600 << qint64(2600) << 0;
    QTest::newRow("one more") << 2601 << qint64(2600) << 1;
    QTest::newRow("many more") << 1440000 << qint64(31200) << 1408800;
    QTest::newRow("no sample") << 0 << qint64(2600) << 0;
    QTest::newRow("empty window") << 100 << qint64(0) << 100;
    QTest::newRow("negative window") << 100 << qint64(-5) << 100;
    QTest::newRow("window beyond an int") << 100 << qint64(858993458800) << 0;
}

void TestChartFeedRules::windowStartsSoManySamplesBeforeTheEnd()
{
    QFETCH(int, stored);
    QFETCH(qint64, window);
    QFETCH(int, start);
    QCOMPARE(windowStart(stored, window), start);
}

void TestChartFeedRules::periodFollowsTheNumberOfSamples_data()
{
    QTest::addColumn<int>("samples");
    QTest::addColumn<int>("period");
    QTest::newRow("none") << 0 << 25;
    QTest::newRow("one") << 1 << 25;
    QTest::newRow("last of the shortest period") << 12499 << 25;
    QTest::newRow("first of the middle") << 12500 << 25;
    QTest::newRow("integer division") << 12999 << 25;
    QTest::newRow("next step") << 13000 << 26;
    QTest::newRow("last of the middle") << 249999 << 499;
    QTest::newRow("first of the longest period") << 250000 << 500;
    QTest::newRow("far beyond") << 10000000 << 500;
}

void TestChartFeedRules::periodFollowsTheNumberOfSamples()
{
    QFETCH(int, samples);
    QFETCH(int, period);
    QCOMPARE(updatePeriodMs(samples), period);
}

void TestChartFeedRules::fullWindowsHaveTheirPeriods_data()
{
    QTest::addColumn<int>("seconds");
    QTest::addColumn<int>("period");
    QTest::newRow("5 s") << 5 << 25;
    QTest::newRow("10 s") << 10 << 25;
    QTest::newRow("30 s") << 30 << 31;
    QTest::newRow("60 s") << 60 << 62;
}

void TestChartFeedRules::fullWindowsHaveTheirPeriods()
{
    QFETCH(int, seconds);
    QFETCH(int, period);
    QCOMPARE(updatePeriodMs(static_cast<int>(imuWindowSamples(seconds, 400))), period);
}

void TestChartFeedRules::timeAxisFillsUpAndThenScrolls_data()
{
    QTest::addColumn<double>("first");
    QTest::addColumn<double>("last");
    QTest::addColumn<double>("min");
    QTest::addColumn<double>("max");
    QTest::newRow("one sample") << 1000.0 << 1000.0 << 1000.0 << 1010.0;
    QTest::newRow("fills up from the left") << 1000.0 << 1004.5 << 1000.0 << 1010.0;
    QTest::newRow("nearly full") << 1000.0 << 1009.9975 << 1000.0 << 1010.0;
    QTest::newRow("exactly full") << 1000.0 << 1010.0 << 1000.0 << 1010.0;
    QTest::newRow("scrolls") << 1000.0 << 1010.0025 << 1000.0025 << 1010.0025;
    QTest::newRow("surplus beyond the left edge") << 1000.0 << 1013.0 << 1003.0 << 1013.0;
    QTest::newRow("times that go back") << 1000.0 << 900.0 << 1000.0 << 1010.0;
}

void TestChartFeedRules::timeAxisFillsUpAndThenScrolls()
{
    QFETCH(double, first);
    QFETCH(double, last);
    QFETCH(double, min);
    QFETCH(double, max);
    const AxisRange axis = timeAxis(first, last, 10);
    QCOMPARE(axis.min, min);
    QCOMPARE(axis.max, max);
}

void TestChartFeedRules::bothRulesAgreeOnExactlyTheWindow()
{
    for (const int seconds : {5, 10, 30, 60}) {
        const double first = 1706711000.25;
        const AxisRange axis = timeAxis(first, first + seconds, seconds);
        QCOMPARE(axis.min, first);
        QCOMPARE(axis.max, first + seconds);
    }
}

void TestChartFeedRules::valueAxisIsTheLimitWithItsMargin()
{
    QCOMPARE(symmetricAxis(10.0F, selectionMargin).max, 11.0);
    QCOMPARE(symmetricAxis(10.0F, selectionMargin).min, -11.0);
    QCOMPARE(symmetricAxis(10.0F, updateMargin).max, 10.5);
    QCOMPARE(symmetricAxis(10.0F, updateMargin).min, -10.5);
}

void TestChartFeedRules::valueAxisIsComputedInDoublePrecision()
{
    const float limit = 19.6133F;
    QVERIFY(symmetricAxis(limit, 1.05).max == static_cast<double>(limit) * 1.05);
    QVERIFY(symmetricAxis(limit, 1.05).max != static_cast<double>(limit * 1.05F));
}

QTEST_APPLESS_MAIN(TestChartFeedRules)
#include "tst_chart_feed_rules.moc"
