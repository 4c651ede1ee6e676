#include "camera/fps_counter.h"
#include "camera/frame_rates.h"

#include <QtTest>

#include <cmath>
#include <limits>

using namespace std::chrono_literals;
using Clock = std::chrono::system_clock;

class TestFrameRates : public QObject
{
    Q_OBJECT

private slots:
    void intervalStartsNow();
    void intervalIsMeasuredInMilliseconds();
    void counterStartsAtZero();
    void frameWithinTheSecondIsOnlyCounted();
    void frameAtExactlyOneSecondDoesNotEndTheSpan();
    void frameAfterOneSecondMakesTheCountTheRate();
    void spansFollowEachOther();

    void readingsStartAtTen();
    void shiftMovesTheNewerReadingToTheOlder();
    void meanRateIsHalfTheSumTruncated_data();
    void meanRateIsHalfTheSumTruncated();
    void meanOfReportedRatesIsHalfTheSumTruncated_data();
    void meanOfReportedRatesIsHalfTheSumTruncated();
    void publishedRateFallsFromTenWithinTwoFrames();
    void publishedRateIsLimitedOnlyForALiveCamera_data();
    void publishedRateIsLimitedOnlyForALiveCamera();

    void expectedPeriodFollowsTheFrameRate();
    void timeStampZeroChangesNothing();
    void firstFrameOnlyStoresItsTimeStamp();
    void rateIsTheMeanOfTheLastAndTheNewest();
    void droppedFrameIsCountedFromAGapOfOnePointEightPeriods_data();
    void droppedFrameIsCountedFromAGapOfOnePointEightPeriods();
    void longGapCountsAsOneDroppedFrame();
    void periodOfZeroKeepsTheTimeStampOfTheFrameBefore();
    void unknownFrameRateNeverDropsAFrame();
};

void TestFrameRates::intervalStartsNow()
{
    const Clock::time_point before = Clock::now();
    const Interval interval;
    const Clock::time_point after = Clock::now();
    QVERIFY(interval.start >= before);
    QVERIFY(interval.start <= after);
}

void TestFrameRates::intervalIsMeasuredInMilliseconds()
{
    Interval interval;
    QCOMPARE(interval.milliseconds(interval.start), 0.0);
    QCOMPARE(interval.milliseconds(interval.start + 2500ms), 2500.0);
    QCOMPARE(interval.milliseconds(interval.start + 1ns), 1e-6);
    // The wall clock may be set back.
    QCOMPARE(interval.milliseconds(interval.start - 1s), -1000.0);
}

void TestFrameRates::counterStartsAtZero()
{
    const FpsCounter counter;
    QCOMPARE(counter.framesPerSecond, 0U);
    QCOMPARE(counter.frames, 0U);
}

void TestFrameRates::frameWithinTheSecondIsOnlyCounted()
{
    FpsCounter counter;
    const Clock::time_point start = counter.interval.start;
    countFrame(counter, start + 10ms);
    countFrame(counter, start + 999ms);
    QCOMPARE(counter.frames, 2U);
    QCOMPARE(counter.framesPerSecond, 0U);
    QVERIFY(counter.interval.start == start);
}

void TestFrameRates::frameAtExactlyOneSecondDoesNotEndTheSpan()
{
    FpsCounter counter;
    const Clock::time_point start = counter.interval.start;
    countFrame(counter, start + 1s);
    QCOMPARE(counter.frames, 1U);
    QCOMPARE(counter.framesPerSecond, 0U);
    countFrame(counter, start + 1s + 1us);
    QCOMPARE(counter.framesPerSecond, 2U);
}

void TestFrameRates::frameAfterOneSecondMakesTheCountTheRate()
{
    FpsCounter counter;
    const Clock::time_point start = counter.interval.start;
    for (int frame = 1; frame <= 30; ++frame) {
        countFrame(counter, start + frame * 33ms);
    }
    QCOMPARE(counter.framesPerSecond, 0U);
    countFrame(counter, start + 1023ms);
    QCOMPARE(counter.framesPerSecond, 31U);
    QCOMPARE(counter.frames, 0U);
    QVERIFY(counter.interval.start == start + 1023ms);
}

void TestFrameRates::spansFollowEachOther()
{
    FpsCounter counter;
    const Clock::time_point start = counter.interval.start;
    countFrame(counter, start + 1001ms);
    QCOMPARE(counter.framesPerSecond, 1U);
    countFrame(counter, start + 2001ms);
    QCOMPARE(counter.framesPerSecond, 1U);
    QCOMPARE(counter.frames, 1U);
    countFrame(counter, start + 2002ms);
    QCOMPARE(counter.framesPerSecond, 2U);
    QCOMPARE(counter.frames, 0U);
}

void TestFrameRates::readingsStartAtTen()
{
    const RateReadings<unsigned int> measured;
    QCOMPARE(measured.older, 10U);
    QCOMPARE(measured.newer, 10U);
    const RateReadings<int> reported;
    QCOMPARE(reported.older, 10);
    QCOMPARE(reported.newer, 10);
    QCOMPARE(meanRate(measured), 10);
    QCOMPARE(meanRate(reported), 10);
}

void TestFrameRates::shiftMovesTheNewerReadingToTheOlder()
{
    RateReadings<int> readings;
    readings.shift(60);
    QCOMPARE(readings.older, 10);
    QCOMPARE(readings.newer, 60);
    readings.shift(30);
    QCOMPARE(readings.older, 60);
    QCOMPARE(readings.newer, 30);
}

void TestFrameRates::meanRateIsHalfTheSumTruncated_data()
{
    QTest::addColumn<unsigned int>("older");
    QTest::addColumn<unsigned int>("newer");
    QTest::addColumn<int>("rate");

    QTest::newRow("none") << 0U << 0U << 0;
    QTest::newRow("half is cut off") << 0U << 1U << 0;
    QTest::newRow("odd") << 29U << 30U << 29;
    QTest::newRow("even") << 100U << 60U << 80;
    QTest::newRow("sum beyond the exact floats") << 16777216U << 1U << 8388608;
    QTest::newRow("unsigned sum wraps") << std::numeric_limits<unsigned int>::max() << 11U << 5;
}

void TestFrameRates::meanRateIsHalfTheSumTruncated()
{
    QFETCH(unsigned int, older);
    QFETCH(unsigned int, newer);
    QFETCH(int, rate);
    QCOMPARE(meanRate(RateReadings<unsigned int>{older, newer}), rate);
}

void TestFrameRates::meanOfReportedRatesIsHalfTheSumTruncated_data()
{
    QTest::addColumn<int>("older");
    QTest::addColumn<int>("newer");
    QTest::addColumn<int>("rate");

    QTest::newRow("none") << 0 << 0 << 0;
    QTest::newRow("half is cut off") << 10 << 15 << 12;
    QTest::newRow("same") << 30 << 30 << 30;
    QTest::newRow("toward zero") << 0 << -1 << 0;
}

void TestFrameRates::meanOfReportedRatesIsHalfTheSumTruncated()
{
    QFETCH(int, older);
    QFETCH(int, newer);
    QFETCH(int, rate);
    QCOMPARE(meanRate(RateReadings<int>{older, newer}), rate);
}

void TestFrameRates::publishedRateFallsFromTenWithinTwoFrames()
{
    RateReadings<unsigned int> readings;
    QCOMPARE(publishedRate(readings, true, 100), 10);
    readings.shift(0);
    QCOMPARE(publishedRate(readings, true, 100), 5);
    readings.shift(0);
    QCOMPARE(publishedRate(readings, true, 100), 0);
}

void TestFrameRates::publishedRateIsLimitedOnlyForALiveCamera_data()
{
    QTest::addColumn<bool>("live");
    QTest::addColumn<int>("limit");
    QTest::addColumn<int>("rate");

    QTest::newRow("live, above the limit") << true << 100 << 100;
    QTest::newRow("live, at the limit") << true << 120 << 120;
    QTest::newRow("live, below the limit") << true << 121 << 120;
    QTest::newRow("live, nothing asked for") << true << 0 << 0;
    QTest::newRow("file, above the limit") << false << 100 << 120;
    QTest::newRow("file, nothing asked for") << false << 0 << 120;
}

void TestFrameRates::publishedRateIsLimitedOnlyForALiveCamera()
{
    QFETCH(bool, live);
    QFETCH(int, limit);
    QFETCH(int, rate);
    QCOMPARE(publishedRate({119, 121}, live, limit), rate);
}

void TestFrameRates::expectedPeriodFollowsTheFrameRate()
{
    QCOMPARE(expectedPeriodMs(100), 10.0);
    QCOMPARE(expectedPeriodMs(30), 1.0 / 30 * 1000.0);
    QVERIFY(std::isinf(expectedPeriodMs(0)));
}

void TestFrameRates::timeStampZeroChangesNothing()
{
    const FrameDrops drops = afterFrame({5'000'000, 3, 42.0}, 0, 10.0);
    QCOMPARE(drops.lastImageTime, std::uint64_t(5'000'000));
    QCOMPARE(drops.droppedFrames, 3U);
    QCOMPARE(drops.frameRate, 42.0);
}

void TestFrameRates::firstFrameOnlyStoresItsTimeStamp()
{
    const FrameDrops drops = afterFrame({}, 5'000'000'000, 10.0);
    QCOMPARE(drops.lastImageTime, std::uint64_t(5'000'000'000));
    QCOMPARE(drops.droppedFrames, 0U);
    QCOMPARE(drops.frameRate, 0.0);
}

void TestFrameRates::rateIsTheMeanOfTheLastAndTheNewest()
{
    FrameDrops drops = afterFrame({1'000'000'000, 0, 0.0}, 1'010'000'000, 10.0);
    QCOMPARE(drops.frameRate, 50.0);
    drops = afterFrame(drops, 1'020'000'000, 10.0);
    QCOMPARE(drops.frameRate, 75.0);
    QCOMPARE(drops.droppedFrames, 0U);
    QCOMPARE(drops.lastImageTime, std::uint64_t(1'020'000'000));
}

void TestFrameRates::droppedFrameIsCountedFromAGapOfOnePointEightPeriods_data()
{
    QTest::addColumn<std::uint64_t>("gapNs");
    QTest::addColumn<unsigned int>("dropped");

    QTest::newRow("one period") << std::uint64_t(10'000'000) << 0U;
    QTest::newRow("just below") << std::uint64_t(17'999'999) << 0U;
    QTest::newRow("exactly") << std::uint64_t(18'000'000) << 1U;
    QTest::newRow("two periods") << std::uint64_t(20'000'000) << 1U;
}

void TestFrameRates::droppedFrameIsCountedFromAGapOfOnePointEightPeriods()
{
    QFETCH(std::uint64_t, gapNs);
    QFETCH(unsigned int, dropped);
    const FrameDrops drops = afterFrame({1'000'000'000, 0, 0.0}, 1'000'000'000 + gapNs, 10.0);
    QCOMPARE(drops.droppedFrames, dropped);
    QCOMPARE(drops.lastImageTime, 1'000'000'000 + gapNs);
}

void TestFrameRates::longGapCountsAsOneDroppedFrame()
{
    QCOMPARE(afterFrame({1'000'000'000, 4, 0.0}, 2'000'000'000, 10.0).droppedFrames, 5U);
}

void TestFrameRates::periodOfZeroKeepsTheTimeStampOfTheFrameBefore()
{
    const FrameDrops drops = afterFrame({1'000'000'000, 0, 0.0}, 1'100'000'000, 0.0);
    QCOMPARE(drops.frameRate, 5.0);
    QCOMPARE(drops.droppedFrames, 0U);
    QCOMPARE(drops.lastImageTime, std::uint64_t(1'000'000'000));
}

void TestFrameRates::unknownFrameRateNeverDropsAFrame()
{
    const FrameDrops drops =
        afterFrame({1'000'000'000, 0, 0.0}, 9'000'000'000, expectedPeriodMs(0));
    QCOMPARE(drops.droppedFrames, 0U);
    QCOMPARE(drops.lastImageTime, std::uint64_t(9'000'000'000));
}

QTEST_APPLESS_MAIN(TestFrameRates)
#include "tst_frame_rates.moc"
