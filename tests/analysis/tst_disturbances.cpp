#include "analysis/disturbances.h"

#include "analysis/noise_samples.h"

#include <QtTest>

#include <cmath>

using namespace analysis;

class TestDisturbances : public QObject
{
    Q_OBJECT

private slots:
    void spikesAreReplacedByTheirNeighbours();
    void aStepAndAWideBumpAreNoSpikes();
    void spikesInSuccessionAreRemoved_data();
    void spikesInSuccessionAreRemoved();
    void spikeBesideAGapIsRemovedWithTheGap_data();
    void spikeBesideAGapIsRemovedWithTheGap();
    void noiseHasNoSpikes();
    void tooFewOrEqualSamplesHaveNoSpikes_data();
    void tooFewOrEqualSamplesHaveNoSpikes();
    void driftOfTheTemperatureIsRemoved();
    void temperatureBeyondItsSamplesIsConstant();
    void withoutATemperatureNothingChanges();
};

void TestDisturbances::spikesAreReplacedByTheirNeighbours()
{
    const auto noise = noise_samples::whiteAndWalk(20000, 1.0, 0.1, 0.0, 1);
    Stretches stretches{noise, noise};
    std::uint64_t count = 0;
    for (std::size_t i = 50; i + 1 < noise.size(); i += 1000) {
        stretches[0][i] += i % 2000 == 50 ? 5.0 : -5.0;
        ++count;
    }
    std::vector<FilledGap> filled;
    QCOMPARE(removeSpikes(stretches, filled), count);
    QCOMPARE(filled.size(), std::size_t{count});
    for (std::size_t i = 0; i < noise.size(); ++i) {
        QVERIFY(i % 1000 == 50 ? std::abs(stretches[0][i]) < 0.2 : stretches[0][i] == noise[i]);
    }
    QCOMPARE(stretches[1], noise);
}

void TestDisturbances::aStepAndAWideBumpAreNoSpikes()
{
    auto samples = noise_samples::whiteAndWalk(2000, 1.0, 0.1, 0.0, 2);
    for (std::size_t i = 1000; i < samples.size(); ++i) {
        samples[i] += 5.0;
    }
    samples[500] += 5.0;
    samples[501] += 5.0;
    samples[502] += 5.0;
    Stretches stretches{samples};
    std::vector<FilledGap> filled;
    QCOMPARE(removeSpikes(stretches, filled), std::uint64_t{0});
    QCOMPARE(stretches[0], samples);
    QVERIFY(filled.empty());
}

void TestDisturbances::spikesInSuccessionAreRemoved_data()
{
    QTest::addColumn<double>("first");
    QTest::addColumn<double>("second");
    QTest::newRow("to the same side") << 5.0 << 5.0;
    QTest::newRow("to both sides") << 5.0 << -5.0;
    QTest::newRow("of different heights") << -4.0 << -9.0;
}

void TestDisturbances::spikesInSuccessionAreRemoved()
{
    QFETCH(double, first);
    QFETCH(double, second);
    const auto noise = noise_samples::whiteAndWalk(2000, 1.0, 0.1, 0.0, 5);
    Stretches stretches{noise};
    stretches[0][500] += first;
    stretches[0][501] += second;
    std::vector<FilledGap> filled;
    QCOMPARE(removeSpikes(stretches, filled), std::uint64_t{2});
    QCOMPARE(filled.size(), std::size_t{1});
    QCOMPARE(filled[0].first, std::size_t{500});
    QCOMPARE(filled[0].end, std::size_t{502});
    for (std::size_t i = 0; i < noise.size(); ++i) {
        QVERIFY(i == 500 || i == 501 ? std::abs(stretches[0][i]) < 0.2
                                     : stretches[0][i] == noise[i]);
    }
}

void TestDisturbances::spikeBesideAGapIsRemovedWithTheGap_data()
{
    QTest::addColumn<int>("place");
    QTest::newRow("before it") << 499;
    QTest::newRow("behind it") << 504;
}

void TestDisturbances::spikeBesideAGapIsRemovedWithTheGap()
{
    QFETCH(int, place);
    const auto noise = noise_samples::whiteAndWalk(2000, 1.0, 0.1, 0.0, 6);
    Stretches stretches{{}, noise}; // the first one has nothing to find
    std::vector<double>& samples = stretches[1];
    samples[static_cast<std::size_t>(place)] = 9.0;
    for (std::size_t i = 500; i < 504; ++i) {
        samples[i] =
            samples[499] + 0.2 * static_cast<double>(i - 499) * (samples[504] - samples[499]);
    }
    std::vector<FilledGap> filled{{1, 500, 504}};
    QCOMPARE(removeSpikes(stretches, filled), std::uint64_t{1});
    QCOMPARE(filled.size(), std::size_t{1});
    QCOMPARE(filled[0].first, static_cast<std::size_t>(std::min(place, 500)));
    QCOMPARE(filled[0].end, static_cast<std::size_t>(std::max(place + 1, 504)));
    for (std::size_t i = 0; i < noise.size(); ++i) {
        const bool filledHere = i >= filled[0].first && i < filled[0].end;
        QVERIFY(filledHere ? std::abs(samples[i]) < 0.2 : samples[i] == noise[i]);
    }
}

void TestDisturbances::noiseHasNoSpikes()
{
    for (std::uint64_t seed = 0; seed < 10; ++seed) {
        Stretches stretches{noise_samples::whiteAndWalk(200000, 0.0025, 0.01, 0.001, seed)};
        std::vector<FilledGap> filled;
        QCOMPARE(removeSpikes(stretches, filled), std::uint64_t{0});
    }
}

void TestDisturbances::tooFewOrEqualSamplesHaveNoSpikes_data()
{
    QTest::addColumn<std::vector<double>>("samples");
    QTest::newRow("none") << std::vector<double>();
    QTest::newRow("one") << std::vector<double>{1.0};
    QTest::newRow("few") << std::vector<double>{0.0, 0.1, 9.0, 0.1, 0.0};
    std::vector<double> stuck(100, 1.0);
    stuck[50] = 9.0;
    QTest::newRow("equal but one") << stuck;
}

void TestDisturbances::tooFewOrEqualSamplesHaveNoSpikes()
{
    QFETCH(std::vector<double>, samples);
    Stretches stretches{samples};
    std::vector<FilledGap> filled;
    QCOMPARE(removeSpikes(stretches, filled), std::uint64_t{0});
    QCOMPARE(stretches[0], samples);
}

void TestDisturbances::driftOfTheTemperatureIsRemoved()
{
    // A camera that warms up by 12 degrees, its temperature measured with noise.
    constexpr std::size_t count = 400000;
    const auto celsius = [](double seconds) { return 39.0 - 12.0 * std::exp(-seconds / 300.0); };
    const auto noise = noise_samples::whiteAndWalk(count, 0.0025, 0.001, 0.0, 3);
    const auto errors = noise_samples::whiteAndWalk(count / 16, 1.0, 0.01, 0.0, 4);
    std::vector<Nanoseconds> times;
    std::vector<double> samples = noise;
    std::vector<Nanoseconds> temperatureTimes;
    std::vector<double> temperatures;
    for (std::size_t i = 0; i < count; ++i) {
        const double seconds = 0.0025 * static_cast<double>(i);
        times.push_back(static_cast<Nanoseconds>(i) * 2'500'000);
        samples[i] += 0.01 * celsius(seconds);
        if (i % 16 == 0) {
            temperatureTimes.push_back(times.back());
            temperatures.push_back(celsius(seconds) + errors[i / 16]);
        }
    }
    removeTemperature(samples, times, temperatureTimes, temperatures, 0.01);
    double largest = 0.0;
    for (std::size_t i = 0; i < count; ++i) {
        largest = std::max(largest, std::abs(samples[i] - noise[i]));
    }
    // Of 0.12 that the drift was.
    QVERIFY2(largest < 5e-4, qPrintable(QString::number(largest)));
}

void TestDisturbances::temperatureBeyondItsSamplesIsConstant()
{
    std::vector<double> samples(5, 10.0);
    removeTemperature(samples, {0, 10, 20, 30, 40}, {10, 30}, {1.0, 3.0}, 2.0);
    QCOMPARE(samples, (std::vector<double>{8.0, 8.0, 6.0, 4.0, 4.0}));
}

void TestDisturbances::withoutATemperatureNothingChanges()
{
    std::vector<double> samples{1.0, 2.0};
    removeTemperature(samples, {0, 10}, {}, {}, 2.0);
    QCOMPARE(samples, (std::vector<double>{1.0, 2.0}));
}

QTEST_APPLESS_MAIN(TestDisturbances)
#include "tst_disturbances.moc"
