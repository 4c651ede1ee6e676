/// Random walk and flicker noise as functions of time.

#include "base/noise.h"
#include "world/flicker.h"
#include "world/random_walk.h"

#include <QtTest>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <random>
#include <vector>

using namespace om::bench;

namespace {

using Process = std::function<double(Nanoseconds)>;

/// A process of its own each time.
struct Maker
{
    std::function<Process(std::uint64_t seed)> make;
};

template <typename T, typename... More>
Maker makerOf(More... more)
{
    return {[=](std::uint64_t seed) {
        const auto process = std::make_shared<T>(seed, 5, more...);
        return [process](Nanoseconds time) { return process->at(time); };
    }};
}

Nanoseconds seconds(double s)
{
    return static_cast<Nanoseconds>(std::llround(s * 1e9));
}

double variance(const std::vector<double>& values)
{
    double sum = 0.0;
    double squares = 0.0;
    for (const double value : values) {
        sum += value;
        squares += value * value;
    }
    const auto count = static_cast<double>(values.size());
    return squares / count - sum * sum / (count * count);
}

} // namespace

Q_DECLARE_METATYPE(Maker)

class TestBiasProcesses : public QObject
{
    Q_OBJECT

private slots:
    void quantilesOfTheNormalDistribution_data();
    void quantilesOfTheNormalDistribution();
    void randomNumbersAreBetweenZeroAndOne();
    void aTimeHasOneValueInWhateverOrder_data();
    void aTimeHasOneValueInWhateverOrder();
    void thereIsNoJump_data() { aTimeHasOneValueInWhateverOrder_data(); }
    void thereIsNoJump();
    void seedsAndChannelsAreIndependent();

    void varianceOfTheWalkGrowsByOneInASecond_data();
    void varianceOfTheWalkGrowsByOneInASecond();
    void stepsOfTheWalkAreIndependent();

    void firstOrderProcessIsCorrelatedOverItsTime_data();
    void firstOrderProcessIsCorrelatedOverItsTime();
    void flickerHasTheSameVarianceInEachOctave();
};

void TestBiasProcesses::quantilesOfTheNormalDistribution_data()
{
    QTest::addColumn<double>("quantile");
    for (const double x : {0.0, 0.1, 0.6, 1.0, 1.4, 1.5, 2.0, 3.0, 4.5, 6.0, 7.5, 8.1}) {
        QTest::addRow("%g", x) << x;
    }
}

/// The distribution at the quantile is the probability: by the complementary error function.
void TestBiasProcesses::quantilesOfTheNormalDistribution()
{
    QFETCH(double, quantile);
    const double below = 0.5 * std::erfc(quantile / std::sqrt(2.0)); // of -quantile
    QVERIFY(std::abs(normalQuantile(below) + quantile) < 1e-13 * (1.0 + quantile));
    if (quantile < 4.0) { // above, 1 - below has too few digits
        QVERIFY(std::abs(normalQuantile(1.0 - below) - quantile) < 1e-11);
    }
}

void TestBiasProcesses::randomNumbersAreBetweenZeroAndOne()
{
    const double least = unitInterval(0);
    const double most = unitInterval(UINT64_MAX);
    QVERIFY(least > 0.0 && most < 1.0);
    QVERIFY(std::isfinite(normalQuantile(least)) && std::isfinite(normalQuantile(most)));
}

void TestBiasProcesses::aTimeHasOneValueInWhateverOrder_data()
{
    QTest::addColumn<Maker>("maker");
    QTest::newRow("walk") << makerOf<RandomWalk>();
    QTest::newRow("first order, slow") << makerOf<FirstOrderProcess>(300.0);
    QTest::newRow("first order, fast") << makerOf<FirstOrderProcess>(0.02);
    QTest::newRow("flicker") << makerOf<Flicker>(1000.0);
}

void TestBiasProcesses::aTimeHasOneValueInWhateverOrder()
{
    QFETCH(Maker, maker);
    std::vector<Nanoseconds> times;
    times.reserve(3010);
    for (int i = 0; i < 3000; ++i) {
        times.push_back(seconds(0.0025 * i));
    }
    for (const double hours : {0.5, 1.0, 3.0, 100.0, 1e5}) {
        times.push_back(seconds(3600.0 * hours));
        times.push_back(seconds(3600.0 * hours + 0.0025));
    }
    const Process forward = maker.make(7);
    std::vector<double> values;
    for (const Nanoseconds time : times) {
        values.push_back(forward(time));
        QVERIFY(std::isfinite(values.back()));
    }
    std::vector<std::size_t> order(times.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    std::shuffle(order.begin(), order.end(), std::mt19937_64(1));
    const Process shuffled = maker.make(7);
    for (const std::size_t i : order) {
        QVERIFY(shuffled(times[i]) == values[i]);
    }
    // Without any history.
    for (std::size_t i = 0; i < times.size(); i += 100) {
        QVERIFY(maker.make(7)(times[i]) == values[i]);
    }
}

/// Also where the construction goes over from one interval to the next.
void TestBiasProcesses::thereIsNoJump()
{
    QFETCH(Maker, maker);
    const Process process = maker.make(3);
    std::vector<Nanoseconds> times;
    for (int bits = 20; bits < 60; ++bits) {
        times.push_back(Nanoseconds{1} << bits);
    }
    for (Nanoseconds cell = 1; cell < 3000; ++cell) {
        times.push_back(cell << 21U);
        times.push_back(cell * 2 * nsPerMs);
        times.push_back(cell * seconds(300.0 / 32.0));
    }
    for (const Nanoseconds time : times) {
        const double step = std::abs(process(time) - process(time - 1));
        QVERIFY2(step < 1e-4, qPrintable(QString("%1 at %2").arg(step).arg(time)));
    }
}

void TestBiasProcesses::seedsAndChannelsAreIndependent()
{
    double product = 0.0;
    double channels = 0.0;
    constexpr int count = 4000;
    for (std::uint64_t seed = 0; seed < count; ++seed) {
        const double value = RandomWalk(seed, 5).at(nsPerS);
        product += value * RandomWalk(seed + 1, 5).at(nsPerS) / count;
        channels += value * RandomWalk(seed, 6).at(nsPerS) / count;
    }
    QVERIFY2(std::abs(product) < 0.06, qPrintable(QString::number(product)));
    QVERIFY2(std::abs(channels) < 0.06, qPrintable(QString::number(channels)));
}

void TestBiasProcesses::varianceOfTheWalkGrowsByOneInASecond_data()
{
    QTest::addColumn<double>("time");
    for (const double time : {0.1, 1.0, 10.0, 100.0, 3600.0, 1e6}) {
        QTest::addRow("%g s", time) << time;
    }
}

void TestBiasProcesses::varianceOfTheWalkGrowsByOneInASecond()
{
    QFETCH(double, time);
    QCOMPARE(RandomWalk(9, 9).at(0), 0.0);
    std::vector<double> values;
    for (std::uint64_t seed = 0; seed < 5000; ++seed) {
        values.push_back(RandomWalk(seed, 1).at(seconds(time)));
    }
    // The standard error of a variance of 5000 values is 2 %.
    const double ratio = variance(values) / time;
    QVERIFY2(std::abs(ratio - 1.0) < 0.08, qPrintable(QString::number(ratio)));
}

void TestBiasProcesses::stepsOfTheWalkAreIndependent()
{
    RandomWalk walk(4, 4);
    std::vector<double> steps;
    double product = 0.0;
    double last = walk.at(0);
    constexpr int count = 20000;
    for (int i = 1; i <= count; ++i) {
        const double value = walk.at(seconds(0.05 * i));
        if (!steps.empty()) {
            product += steps.back() * (value - last) / count;
        }
        steps.push_back(value - last);
        last = value;
    }
    const double square = variance(steps);
    QVERIFY2(std::abs(square / 0.05 - 1.0) < 0.05, qPrintable(QString::number(square)));
    // The cells of 2 ms within which it runs straight lie across some ends of steps.
    QVERIFY2(std::abs(product / square) < 0.05, qPrintable(QString::number(product / square)));
}

void TestBiasProcesses::firstOrderProcessIsCorrelatedOverItsTime_data()
{
    QTest::addColumn<double>("time");
    QTest::newRow("slow") << 100.0;
    QTest::newRow("fast") << 0.1;
}

void TestBiasProcesses::firstOrderProcessIsCorrelatedOverItsTime()
{
    QFETCH(double, time);
    const double shares[] = {0.0, 0.25, 1.0, 3.0};
    double products[4] = {};
    constexpr int count = 20000;
    for (std::uint64_t seed = 0; seed < count; ++seed) {
        FirstOrderProcess process(seed, 2, time);
        const double begin = 17.3 * time; // within the first interval
        const double value = process.at(seconds(begin));
        for (std::size_t i = 0; i < 4; ++i) {
            products[i] += value * process.at(seconds(begin + shares[i] * time)) / count;
        }
    }
    for (std::size_t i = 0; i < 4; ++i) {
        QVERIFY2(std::abs(products[i] - std::exp(-shares[i])) < 0.04,
                 qPrintable(QString("%1: %2").arg(shares[i]).arg(products[i])));
    }
}

void TestBiasProcesses::flickerHasTheSameVarianceInEachOctave()
{
    // B^2 ln 2 / pi for each octave from T down to shortest.
    for (const double time : {0.1, 1.0, 100.0}) {
        std::vector<double> values;
        for (std::uint64_t seed = 0; seed < 5000; ++seed) {
            values.push_back(Flicker(seed, 0, time).at(nsPerS));
        }
        const double octaves = std::floor(std::log2(time / Flicker::shortest)) + 1.0;
        const double ratio = variance(values) / (octaves * std::log(2.0) / 3.14159265358979);
        QVERIFY2(std::abs(ratio - 1.0) < 0.08, qPrintable(QString::number(ratio)));
    }
}

QTEST_GUILESS_MAIN(TestBiasProcesses)
#include "tst_bias_processes.moc"
