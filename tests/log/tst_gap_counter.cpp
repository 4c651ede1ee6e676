// Missing samples, found by the times of those that came.

#include "log/gap_counter.h"

#include <QTest>

using samplelog::GapCounter;
using samplelog::StreamState;

namespace {

constexpr std::uint64_t start = 1'000'000'000;
constexpr std::uint64_t period = 2500;

/// Times of samples at 400 Hz with the numbers that keep() lets through.
template <typename Keep>
StreamState counted(std::uint64_t samples, float effectiveRate, Keep keep)
{
    GapCounter counter;
    for (std::uint64_t i = 0; i < samples; ++i) {
        if (keep(i)) {
            counter.add(start + i * period, effectiveRate);
        }
    }
    return counter.finish();
}

} // namespace

class TestGapCounter : public QObject
{
    Q_OBJECT

private slots:
    void aWholeStreamHasNoGaps()
    {
        const StreamState state = counted(10000, 400.0F, [](auto) { return true; });
        QCOMPARE(state.samples, std::uint64_t(10000));
        QCOMPARE(state.missing, std::uint64_t(0));
        QCOMPARE(state.gaps, std::uint64_t(0));
        QCOMPARE(state.periodUs, 2500.0);
        QCOMPARE(state.seconds(), 9999 * 0.0025);
    }

    void missingSamples_data()
    {
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("count");
        QTest::newRow("one early, before the period is known") << 5 << 1;
        QTest::newRow("several across the moment when it becomes known") << 60 << 10;
        QTest::newRow("one late") << 5000 << 1;
        QTest::newRow("a second") << 5000 << 400;
    }

    void missingSamples()
    {
        QFETCH(int, first);
        QFETCH(int, count);
        const auto from = static_cast<std::uint64_t>(first);
        const auto lost = static_cast<std::uint64_t>(count);
        const StreamState state =
            counted(10000, 0.0F, [&](auto i) { return i < from || i >= from + lost; });
        QCOMPARE(state.samples, 10000 - lost);
        QCOMPARE(state.missing, lost);
        QCOMPARE(state.gaps, std::uint64_t(1));
        QCOMPARE(state.longestGapUs, (lost + 1) * period);
        QCOMPARE(state.longestGapAtUs, start + (from - 1) * period);
    }

    void jitterIsNoGap()
    {
        GapCounter counter;
        for (std::uint64_t i = 0; i < 10000; ++i) {
            counter.add(start + i * period + (i * 7919) % 1000, 400.0F);
        }
        QCOMPARE(counter.finish().missing, std::uint64_t(0));
    }

    void aClockThatDriftsIsNoGap()
    {
        GapCounter counter;
        double time = start;
        for (int i = 0; i < 400000; ++i) {
            counter.add(static_cast<std::uint64_t>(time), 0.0F);
            time += 2500.0 * (1.0 + i * 2e-6); // 80 % slower at the end
        }
        QCOMPARE(counter.finish().missing, std::uint64_t(0));
    }

    void whereEverySecondSampleIsMissingTheCamerasRateShowsIt()
    {
        const StreamState state = counted(2000, 400.0F, [](auto i) { return i % 2 == 0; });
        QCOMPARE(state.samples, std::uint64_t(1000));
        QCOMPARE(state.missing, std::uint64_t(999));
        QCOMPARE(state.periodUs, 2500.0);
    }

    void aRateThatDoesNotFitIsNotBelieved()
    {
        for (const float rate : {0.0F, 37.0F, 560.0F, 1e30F}) {
            QCOMPARE(counted(2000, rate, [](auto) { return true; }).missing, std::uint64_t(0));
        }
    }

    void fewSamplesAreCountedAtTheEnd()
    {
        QCOMPARE(counted(10, 400.0F, [](auto i) { return i != 4; }).missing, std::uint64_t(1));
        QCOMPARE(counted(1, 400.0F, [](auto) { return true; }).periodUs, 0.0);
        QCOMPARE(counted(0, 400.0F, [](auto) { return true; }).seconds(), 0.0);
    }

    void aTimeThatRunsBackwardCountsAsASampleOnly_data()
    {
        QTest::addColumn<quint64>("at");
        QTest::newRow("while the period is unknown") << quint64(20);
        QTest::newRow("later") << quint64(150);
    }

    void aTimeThatRunsBackwardCountsAsASampleOnly()
    {
        QFETCH(quint64, at);
        GapCounter counter;
        for (std::uint64_t i = 0; i < 200; ++i) {
            counter.add(start + (i == at ? 10 : i) * period, 400.0F);
        }
        const StreamState state = counter.finish();
        QCOMPARE(state.samples, std::uint64_t(200));
        QCOMPARE(state.backward, std::uint64_t(1));
        QCOMPARE(state.missing, std::uint64_t(1)); // the one in whose place it came
        QCOMPARE(state.lastUs, start + 199 * period);
    }

    void aClockThatIsSetBackIsCounted()
    {
        GapCounter counter;
        constexpr std::uint64_t anHourUs = 3'600'000'000;
        for (std::uint64_t i = 0; i < 200; ++i) {
            counter.add(anHourUs + start + i * period - (i < 100 ? 0 : anHourUs), 400.0F);
        }
        counter.add(anHourUs + start + 99 * period, 400.0F); // the latest time again
        const StreamState state = counter.finish();
        QCOMPARE(state.backward, std::uint64_t(100));
        QCOMPARE(state.missing, std::uint64_t(0));
    }

    void afterOneSampleALongTimeCountsAsAGap()
    {
        for (const std::uint64_t moreUs : {999'999U, 1'000'000U, 3'600'000'000U}) {
            GapCounter counter;
            counter.add(start, 400.0F);
            const StreamState state = counter.finish(start + moreUs);
            const bool isGap = moreUs >= 1'000'000;
            QCOMPARE(state.missing, std::uint64_t(isGap ? 1 : 0)); // how many is unknown
            QCOMPARE(state.gaps, std::uint64_t(isGap ? 1 : 0));
            QCOMPARE(state.longestGapUs, isGap ? moreUs : 0);
            QCOMPARE(state.periodUs, 0.0);
        }
        QCOMPARE(GapCounter().finish(start).gaps, std::uint64_t(0));
    }

    void whatIsMissingBeforeTheEndCounts_data()
    {
        QTest::addColumn<int>("samples");
        QTest::newRow("fewer than the period needs") << 20;
        QTest::newRow("many") << 200;
    }

    void whatIsMissingBeforeTheEndCounts()
    {
        QFETCH(int, samples);
        for (const std::uint64_t more : {0U, 1U, 2U, 11U}) {
            GapCounter counter;
            std::uint64_t last = start;
            for (int i = 0; i < samples; ++i) {
                last = start + static_cast<std::uint64_t>(i) * period;
                counter.add(last, 400.0F);
            }
            const StreamState state = counter.finish(last + more * period + period / 10);
            QCOMPARE(state.periodUs, static_cast<double>(period));
            QCOMPARE(state.samples, static_cast<std::uint64_t>(samples));
            QCOMPARE(state.missing, more > 1 ? more - 1 : 0);
            QCOMPARE(state.gaps, std::uint64_t(more > 1 ? 1 : 0));
            QCOMPARE(state.longestGapAtUs, more > 1 ? last : 0);
            QCOMPARE(state.lastUs, last);
        }
    }
};

QTEST_APPLESS_MAIN(TestGapCounter)
#include "tst_gap_counter.moc"
