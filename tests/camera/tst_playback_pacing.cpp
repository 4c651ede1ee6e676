#include "camera/playback_pacing.h"

#include <QtTest>

#include <cmath>
#include <cstdint>
#include <limits>

class TestPlaybackPacing : public QObject
{
    Q_OBJECT

private slots:
    void frameIsHeldBackForTheRestOfItsGap_data();
    void frameIsHeldBackForTheRestOfItsGap();
};

void TestPlaybackPacing::frameIsHeldBackForTheRestOfItsGap_data()
{
    QTest::addColumn<std::uint64_t>("timestamp");
    QTest::addColumn<std::uint64_t>("lastTimestamp");
    QTest::addColumn<int>("elapsedMs");
    QTest::addColumn<unsigned long>("delayUs");

    const std::uint64_t start = 1'600'000'000'000'000'000;
    const auto after = [](double ms) {
        return start + static_cast<std::uint64_t>(std::llround(ms * 1e6));
    };
    const auto row = [start](const char* name, std::uint64_t timestamp, int elapsedMs,
                             unsigned long delayUs) {
        QTest::newRow(name) << timestamp << start << elapsedMs << delayUs;
    };

    QTest::newRow("no time stamp") << std::uint64_t(0) << start << 0 << 0UL;
    QTest::newRow("no time stamp, first frame") << std::uint64_t(0) << std::uint64_t(0) << 0 << 0UL;
    QTest::newRow("first frame") << start << std::uint64_t(0) << 0 << 0UL;
    row("nothing passed", after(40), 0, 40'000);
    row("part passed", after(40), 15, 25'000);
    row("one ms left", after(40), 39, 1'000);
    row("fractions are kept", after(33.25), 3, 30'250);
    row("below a µs is cut off", start + 1'000'900, 0, 1'000);
    row("as much passed", after(40), 40, 0);
    row("more passed", after(40), 41, 0);
    row("same time stamp", start, 0, 0);
    row("rest just below a second", start + 999'999'999, 0, 999'999);
    row("rest of a second", after(1000), 0, 0);
    row("rest above a second", after(5000), 3500, 0);
    row("long gap with a short rest", after(5000), 4100, 900'000);
    row("gap just below ten seconds", after(9999.5), 9500, 499'500);
    row("gap of ten seconds", after(10'000), 9500, 0);
    row("gap above ten seconds", after(10'400), 10'000, 0);
    row("step backward, as a file starts over", start - 40'000'000, 0, 0);
    row("time of the frame before unknown", after(40), std::numeric_limits<int>::max(), 0);
}

void TestPlaybackPacing::frameIsHeldBackForTheRestOfItsGap()
{
    QFETCH(std::uint64_t, timestamp);
    QFETCH(std::uint64_t, lastTimestamp);
    QFETCH(int, elapsedMs);
    QFETCH(unsigned long, delayUs);
    QCOMPARE(playbackDelayUs(timestamp, lastTimestamp, elapsedMs), delayUs);
}

QTEST_APPLESS_MAIN(TestPlaybackPacing)
#include "tst_playback_pacing.moc"
