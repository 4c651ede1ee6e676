#include "analysis/timing.h"

#include <QtTest>

#include <cmath>

using namespace analysis;

namespace {

constexpr Nanoseconds period = 2'500'000;
constexpr Nanoseconds begin = 1'706'711'000'000'000'000;

/// Rows of the sensor's samples with these numbers, as the recorder counts those that it saw.
struct Rows
{
    std::vector<Nanoseconds> times;
    std::vector<std::uint32_t> numbers;

    void add(int sample, std::uint32_t number)
    {
        times.push_back(begin + sample * period);
        numbers.push_back(number);
    }
};

} // namespace

class TestTiming : public QObject
{
    Q_OBJECT

private slots:
    void evenRowsHaveNoGap();
    void missingSampleIsAGap();
    void everySecondSampleIsDecimatedAndHasNoGap();
    void changingStepIsDecimated();
    void missingSampleOfADecimatedFileIsAGap();
    void holeInADecimatedFileIsAGap();
    void countThatStartsAnewIsTheNextSample();
    void jitterIsTheDeviationOfTheDistances();
    void shortGapsAreFilledOnALine();
    void gapIsFilledAgainBetweenTheMeansOfEightSamples();
    void filledSamplesAreNoNeighboursOfAGap();
    void longGapBeginsANewStretch();
    void shortStretchIsLeftOut();
    void histogramHoldsEveryDistance();
};

void TestTiming::evenRowsHaveNoGap()
{
    Rows rows;
    for (int i = 0; i < 401; ++i) {
        rows.add(i, static_cast<std::uint32_t>(i));
    }
    const Timing timing = analyseTiming(rows.times, rows.numbers);
    QCOMPARE(timing.durationSeconds, 1.0);
    QVERIFY(std::abs(timing.rateHz - 400.0) < 1e-6);
    QVERIFY(std::abs(timing.sensorRateHz - 400.0) < 1e-6);
    QCOMPARE(timing.missingSamples, std::uint64_t{0});
    QVERIFY(timing.gaps.empty());
    QVERIFY(!timing.numbersSkip);
    QVERIFY(timing.jitterSeconds < 1e-8);
}

void TestTiming::missingSampleIsAGap()
{
    Rows rows;
    std::uint32_t number = 0;
    for (int i = 0; i < 400; ++i) {
        if (i != 100 && !(i >= 200 && i < 205)) {
            rows.add(i, number++);
        }
    }
    const Timing timing = analyseTiming(rows.times, rows.numbers);
    QCOMPARE(timing.missingSamples, std::uint64_t{6});
    QCOMPARE(timing.gaps.size(), std::size_t{2});
    QCOMPARE(timing.gaps[0].row, std::size_t{100});
    QCOMPARE(timing.gaps[0].missing, std::uint64_t{1});
    QCOMPARE(timing.gaps[0].end - timing.gaps[0].start, 2 * period);
    QCOMPARE(timing.gaps[1].missing, std::uint64_t{5});
    QVERIFY(std::abs(timing.rateHz - 400.0) < 1e-6);
}

void TestTiming::everySecondSampleIsDecimatedAndHasNoGap()
{
    Rows rows;
    for (int i = 0; i < 400; i += 2) {
        rows.add(i, static_cast<std::uint32_t>(i));
    }
    const Timing timing = analyseTiming(rows.times, rows.numbers);
    QVERIFY(timing.numbersSkip);
    QVERIFY(timing.gaps.empty());
    QVERIFY(std::abs(timing.rateHz - 200.0) < 1e-6);
    QVERIFY(std::abs(timing.sensorRateHz - 400.0) < 1e-6);
    QCOMPARE(timing.samplesPerRow, 2.0);
}

void TestTiming::changingStepIsDecimated()
{
    Rows rows;
    for (int i = 0; i < 400; i += i % 5 == 0 ? 2 : 3) {
        rows.add(i, static_cast<std::uint32_t>(i));
    }
    const Timing timing = analyseTiming(rows.times, rows.numbers);
    QVERIFY(timing.numbersSkip);
    QVERIFY(timing.gaps.empty());
    QVERIFY(std::abs(timing.samplesPerRow - 2.5) < 0.01);
    QVERIFY(std::abs(timing.sensorRateHz - 400.0) < 1e-6);
}

void TestTiming::missingSampleOfADecimatedFileIsAGap()
{
    Rows rows;
    std::uint32_t seen = 0;
    for (int i = 0; i < 400; ++i) {
        if (i == 101) {
            continue; // the recorder never saw it
        }
        if (seen % 2 == 0) {
            rows.add(i, seen);
        }
        ++seen;
    }
    const Timing timing = analyseTiming(rows.times, rows.numbers);
    QVERIFY(timing.numbersSkip);
    QCOMPARE(timing.missingSamples, std::uint64_t{1});
}

void TestTiming::holeInADecimatedFileIsAGap()
{
    Rows rows;
    for (int i = 0; i < 400; i += 2) {
        if (i < 100 || i >= 200) {
            rows.add(i, static_cast<std::uint32_t>(i)); // the numbers went on meanwhile
        }
    }
    const Timing timing = analyseTiming(rows.times, rows.numbers);
    QVERIFY(timing.numbersSkip);
    QCOMPARE(timing.gaps.size(), std::size_t{1});
    QCOMPARE(timing.missingSamples, std::uint64_t{100});
    QVERIFY(std::abs(timing.rateHz - 200.0) < 1e-6);
}

void TestTiming::countThatStartsAnewIsTheNextSample()
{
    Rows rows;
    for (int i = 0; i < 200; ++i) {
        rows.add(i, static_cast<std::uint32_t>(i < 100 ? 1000 + i : i - 100));
    }
    const Timing timing = analyseTiming(rows.times, rows.numbers);
    QCOMPARE(timing.missingSamples, std::uint64_t{0});
    QVERIFY(std::abs(timing.rateHz - 400.0) < 1e-6);
}

void TestTiming::jitterIsTheDeviationOfTheDistances()
{
    Rows rows;
    for (int i = 0; i < 1001; ++i) {
        rows.add(i, static_cast<std::uint32_t>(i));
        rows.times.back() += i % 2 == 0 ? 0 : 100'000; // distances of 2.6 and 2.4 ms
    }
    const Timing timing = analyseTiming(rows.times, rows.numbers);
    QVERIFY2(std::abs(timing.jitterSeconds - 1e-4) < 1e-8,
             qPrintable(QString::number(timing.jitterSeconds)));
    QVERIFY(timing.gaps.empty());
}

void TestTiming::shortGapsAreFilledOnALine()
{
    Rows rows;
    std::vector<double> axis;
    std::uint32_t number = 0;
    for (int i = 0; i < 100; ++i) {
        if (i != 50 && i != 51) {
            rows.add(i, number++);
            axis.push_back(10.0 * i);
        }
    }
    const Timing timing = analyseTiming(rows.times, rows.numbers);
    const Stretches stretches = stretchesOf(axis, timing);
    QCOMPARE(stretches.size(), std::size_t{1});
    QCOMPARE(stretches[0].size(), std::size_t{100});
    for (int i = 0; i < 100; ++i) {
        QVERIFY(std::abs(stretches[0][static_cast<std::size_t>(i)] - 10.0 * i) < 1e-9);
    }
}

void TestTiming::gapIsFilledAgainBetweenTheMeansOfEightSamples()
{
    Stretches stretches{std::vector<double>(30)};
    std::vector<double>& samples = stretches[0];
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = 3.0 * static_cast<double>(i);
    }
    samples[5] += 1000.0; // the ninth before the gap
    samples[6] += 8.0;
    samples[14] = samples[15] = -99.0;
    refillGaps(stretches, {{0, 14, 16}});
    // The mean of the eight samples before is 1 higher, in the middle of places 6 to 13.
    QVERIFY(std::abs(samples[14] - (42.0 + 1.0 * (1.0 - 4.5 / 10.0))) < 1e-9);
    QVERIFY(std::abs(samples[15] - (45.0 + 1.0 * (1.0 - 5.5 / 10.0))) < 1e-9);
    QCOMPARE(samples[13], 39.0);
    QCOMPARE(samples[16], 48.0);
}

void TestTiming::filledSamplesAreNoNeighboursOfAGap()
{
    Stretches stretches{{1.0, -9.0, 3.0, -9.0, -9.0, 6.0, -9.0, 8.0}};
    refillGaps(stretches, {{0, 1, 2}, {0, 3, 5}, {0, 6, 7}});
    const std::vector<double> line{1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0};
    for (std::size_t i = 0; i < line.size(); ++i) {
        QVERIFY(std::abs(stretches[0][i] - line[i]) < 1e-12);
    }
}

void TestTiming::longGapBeginsANewStretch()
{
    Rows rows;
    std::vector<double> axis;
    std::uint32_t number = 0;
    for (int i = 0; i < 100; ++i) {
        if (i < 40 || i >= 45) {
            rows.add(i, number++);
            axis.push_back(i);
        }
    }
    const Timing timing = analyseTiming(rows.times, rows.numbers);
    const Stretches stretches = stretchesOf(axis, timing);
    QCOMPARE(stretches.size(), std::size_t{2});
    QCOMPARE(stretches[0].size(), std::size_t{40});
    QCOMPARE(stretches[1].front(), 45.0);
    QCOMPARE(stretchesOf(axis, timing, 5).size(), std::size_t{1});
}

void TestTiming::shortStretchIsLeftOut()
{
    Rows rows;
    std::vector<double> axis;
    std::uint32_t number = 0;
    for (int i = 0; i < 100; ++i) {
        if (i < 40 || (i >= 60 && i < 62) || i >= 80) {
            rows.add(i, number++);
            axis.push_back(i);
        }
    }
    const Stretches stretches = stretchesOf(axis, analyseTiming(rows.times, rows.numbers));
    QCOMPARE(stretches.size(), std::size_t{2});
    QCOMPARE(stretches[1].front(), 80.0);
}

void TestTiming::histogramHoldsEveryDistance()
{
    Rows rows;
    for (int i = 0; i < 500; ++i) {
        rows.add(i < 400 ? i : i + 30, static_cast<std::uint32_t>(i));
        rows.times.back() += (i * 7919 % 200) * 100;
    }
    const Timing timing = analyseTiming(rows.times, rows.numbers);
    const Histogram histogram = intervalHistogram(rows.times, timing, 20);
    std::uint64_t all = 0;
    for (const std::uint64_t count : histogram.counts) {
        all += count;
    }
    QCOMPARE(all, std::uint64_t{499});
    QVERIFY(histogram.counts.back() >= 1); // the gap
    QVERIFY(histogram.first < 0.0025 && 0.0025 < histogram.first + 20.0 * histogram.width);
}

QTEST_APPLESS_MAIN(TestTiming)
#include "tst_timing.moc"
