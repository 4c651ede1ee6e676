#include "analysis/noise_model.h"

#include "analysis/noise_samples.h"
#include "support/amount.h"

#include <QtTest>

#include <cmath>

using namespace analysis;

namespace {

/// Points that lie on the model exactly, each with many degrees of freedom.
std::vector<AllanPoint> curve(double quantisation, double density, double instability, double walk)
{
    std::vector<AllanPoint> points;
    for (int i = 0; i <= 60; ++i) {
        AllanPoint point;
        point.tau = 0.0025 * std::pow(10.0, i / 10.0);
        point.averaging = static_cast<std::size_t>(std::llround(point.tau / 0.0025));
        point.samples = 1'000'000'000;
        const double t = point.tau;
        point.deviation = std::sqrt(
            3.0 * quantisation * quantisation / (t * t) + density * density / t +
            flickerLevel * flickerLevel * instability * instability + walk * walk * t / 3.0);
        setInterval(point, NOISE::WHITE);
        points.push_back(point);
    }
    return points;
}

bool near(const Coefficient& coefficient, double truth, double tolerance)
{
    return coefficient.value && std::abs(*coefficient.value / truth - 1.0) <= tolerance;
}

bool holds(const Coefficient& coefficient, double truth)
{
    return coefficient.value && coefficient.low <= truth && truth <= coefficient.high;
}

constexpr int seeds = 100 / amount::divisor;

/// Whether as many of the seeds' intervals hold the truth as a standard deviation makes them; three
/// standard deviations of the number are allowed where it is small.
bool isTwoThirds(int holding)
{
    constexpr double allowed = amount::divisor == 1 ? 0.8 : 1.4;
    return std::abs(holding - 0.68 * seeds) <= allowed * std::sqrt(seeds);
}

} // namespace

class TestNoiseModel : public QObject
{
    Q_OBJECT

private slots:
    void exactCurveIsTakenApart();
    void densityIsTheLineAtOneSecond();
    void walkIsTheLineAtThreeSeconds();
    void instabilityIsTheMinimumOverItsLevel();
    void instabilityIsWithoutTheOtherLines();
    void slopeThatIsNotThereIsNotObservable_data();
    void slopeThatIsNotThereIsNotObservable();
    void whiteNoiseShowsNothingElse();
    void coefficientsOfMadeNoise();
    void intervalsOfMadeNoiseHoldTheTruth();
    void intervalsBesideOtherNoiseHoldTheTruth_data();
    void intervalsBesideOtherNoiseHoldTheTruth();
    void noiseOfAnySizeHasItsCoefficients_data();
    void noiseOfAnySizeHasItsCoefficients();
    void noiseWithoutExactSquaresIsNotObservable();
    void errorOfARampAloneIsFinite();
    void noSamplesAreNotObservable();
};

void TestNoiseModel::exactCurveIsTakenApart()
{
    const NoiseModel model = fitNoiseModel(curve(1e-5, 2e-3, 3e-4, 1e-4));
    QVERIFY(near(model.noiseDensity, 2e-3, 1e-3));
    QVERIFY(near(model.randomWalk, 1e-4, 1e-2));
    QVERIFY(std::abs(std::sqrt(model.factors[BIAS_INSTABILITY]) / flickerLevel / 3e-4 - 1.0) <
            1e-2);
}

void TestNoiseModel::densityIsTheLineAtOneSecond()
{
    const auto points = curve(0.0, 0.02, 0.0, 0.0);
    const NoiseModel model = fitNoiseModel(points);
    QVERIFY(near(model.noiseDensity, 0.02, 1e-9));
    QVERIFY(std::abs(std::sqrt(model.variance(1.0)) - 0.02) < 1e-11);
}

void TestNoiseModel::walkIsTheLineAtThreeSeconds()
{
    const NoiseModel model = fitNoiseModel(curve(0.0, 0.0, 0.0, 0.004));
    QVERIFY(near(model.randomWalk, 0.004, 1e-9));
    QVERIFY(std::abs(std::sqrt(model.variance(3.0)) - 0.004) < 1e-12);
}

void TestNoiseModel::instabilityIsTheMinimumOverItsLevel()
{
    const auto points = curve(0.0, 1e-3, 1e-3, 1e-8);
    double least = 1.0;
    for (const AllanPoint& point : points) {
        least = std::min(least, point.deviation);
    }
    QVERIFY(near(fitNoiseModel(points).biasInstability, least / 0.66428, 1e-3));
}

void TestNoiseModel::instabilityIsWithoutTheOtherLines()
{
    const auto points = curve(0.0, 1.5e-3, 3.3e-3, 1.2e-3);
    double least = 1.0;
    for (const AllanPoint& point : points) {
        least = std::min(least, point.deviation);
    }
    QVERIFY(least / 0.66428 > 1.15 * 3.3e-3);
    QVERIFY(near(fitNoiseModel(points).biasInstability, 3.3e-3, 1e-6));
}

void TestNoiseModel::slopeThatIsNotThereIsNotObservable_data()
{
    QTest::addColumn<double>("density");
    QTest::addColumn<double>("instability");
    QTest::addColumn<double>("walk");
    QTest::newRow("white noise alone") << 1.0 << 0.0 << 0.0;
    QTest::newRow("flicker alone") << 0.0 << 1.0 << 0.0;
    QTest::newRow("walk alone") << 0.0 << 0.0 << 1.0;
    QTest::newRow("white noise and a walk, no flat part") << 1e-2 << 0.0 << 1e-3;
}

void TestNoiseModel::slopeThatIsNotThereIsNotObservable()
{
    QFETCH(double, density);
    QFETCH(double, instability);
    QFETCH(double, walk);
    const NoiseModel model = fitNoiseModel(curve(0.0, density, instability, walk));
    const auto agrees = [](const Coefficient& coefficient, double truth) {
        return truth > 0.0 ? coefficient.value.has_value() && coefficient.reason.empty()
                           : !coefficient.value &&
                                 coefficient.reason.find("not observable in 2500000 seconds") == 0;
    };
    QVERIFY2(agrees(model.noiseDensity, density), model.noiseDensity.reason.c_str());
    QVERIFY2(agrees(model.biasInstability, instability), model.biasInstability.reason.c_str());
    QVERIFY2(agrees(model.randomWalk, walk), model.randomWalk.reason.c_str());
}

void TestNoiseModel::whiteNoiseShowsNothingElse()
{
    int invented = 0;
    for (std::uint64_t seed = 0; seed < seeds; ++seed) {
        const auto samples = noise_samples::whiteAndWalk(20000, 0.0025, 0.01, 0.0, seed);
        const NoiseModel model = analyseNoise({samples}, 0.0025).model;
        QVERIFY(near(model.noiseDensity, 0.01, 0.04));
        invented += model.biasInstability.value || model.randomWalk.value ? 1 : 0;
    }
    QVERIFY2(invented <= 0.03 * seeds, qPrintable(QString::number(invented)));
}

void TestNoiseModel::coefficientsOfMadeNoise()
{
    // Three hours at 400 Hz; the terms are apart, as for a sensor that is worth the time.
    constexpr std::size_t count = 3 * 3600 * 400 / amount::divisor;
    constexpr double period = 0.0025;
    const double tolerance = 0.15 * std::sqrt(amount::divisor);
    auto samples = noise_samples::whiteAndWalk(count, period, 5e-3, 1e-5, 11);
    const auto slow = noise_samples::flicker(count, period, 2e-3, 0.05, 18, 12);
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] += slow[i];
    }
    const NoiseModel model = analyseNoise({samples}, period).model;
    QVERIFY2(near(model.noiseDensity, 5e-3, 0.02),
             qPrintable(QString::number(model.noiseDensity.value.value_or(0))));
    QVERIFY2(near(model.biasInstability, 2e-3, tolerance),
             qPrintable(QString::number(model.biasInstability.value.value_or(0))));

    const auto walk = noise_samples::whiteAndWalk(count, period, 5e-3, 5e-4, 13);
    const NoiseModel walking = analyseNoise({walk}, period).model;
    QVERIFY(near(walking.noiseDensity, 5e-3, 0.02));
    QVERIFY2(near(walking.randomWalk, 5e-4, tolerance),
             qPrintable(QString::number(walking.randomWalk.value.value_or(0))));
}

void TestNoiseModel::intervalsOfMadeNoiseHoldTheTruth()
{
    int density = 0;
    int walk = 0;
    for (std::uint64_t seed = 0; seed < seeds; ++seed) {
        const auto samples = noise_samples::whiteAndWalk(40000, 0.0025, 0.01, 0.02, 1000 + seed);
        const NoiseModel model = analyseNoise({samples}, 0.0025).model;
        density += holds(model.noiseDensity, 0.01) ? 1 : 0;
        walk += holds(model.randomWalk, 0.02) ? 1 : 0;
    }
    qInfo("noise density %d, random walk %d of %d", density, walk, seeds);
    QVERIFY(isTwoThirds(density));
    QVERIFY(isTwoThirds(walk));
}

void TestNoiseModel::intervalsBesideOtherNoiseHoldTheTruth_data()
{
    QTest::addColumn<double>("walk");
    QTest::newRow("flicker") << 0.0;
    QTest::newRow("flicker beside a strong walk") << 1.2e-3;
}

void TestNoiseModel::intervalsBesideOtherNoiseHoldTheTruth()
{
    QFETCH(double, walk);
    constexpr double instability = 3.3e-3;
    constexpr double period = 0.05;
    constexpr std::size_t count = 60'000;
    int ofInstability = 0;
    int ofWalk = 0;
    for (std::uint64_t seed = 0; seed < seeds; ++seed) {
        auto samples = noise_samples::whiteAndWalk(count, period, 1.5e-3, walk, 2000 + seed);
        const auto slow =
            noise_samples::flicker(count, period, instability, 0.005, 19, 3000 + seed);
        for (std::size_t i = 0; i < count; ++i) {
            samples[i] += slow[i];
        }
        const NoiseModel model = analyseNoise({samples}, period).model;
        ofInstability += holds(model.biasInstability, instability) ? 1 : 0;
        ofWalk += holds(model.randomWalk, walk) ? 1 : 0;
    }
    qInfo("bias instability %d, random walk %d of %d", ofInstability, ofWalk, seeds);
    QVERIFY(isTwoThirds(ofInstability));
    QVERIFY(walk > 0.0 ? isTwoThirds(ofWalk) : ofWalk == 0);
}

void TestNoiseModel::noiseOfAnySizeHasItsCoefficients_data()
{
    QTest::addColumn<double>("size");
    for (const double size : {1e9, 1e-70, 1e-75, 1e-76, 1e-100, 1e-145}) {
        QTest::addRow("%g", size) << size;
    }
}

void TestNoiseModel::noiseOfAnySizeHasItsCoefficients()
{
    QFETCH(double, size);
    const NoiseModel white = fitNoiseModel(curve(0.0, size, 0.0, 0.0));
    QVERIFY(near(white.noiseDensity, size, 1e-9));
    QVERIFY(!white.biasInstability.value && !white.randomWalk.value);

    auto samples = noise_samples::whiteAndWalk(3000, 0.0025, 1.0, 10.0, 5);
    const NoiseModel ordinary = analyseNoise({samples}, 0.0025).model;
    for (double& sample : samples) {
        sample *= size;
    }
    const NoiseModel model = analyseNoise({samples}, 0.0025).model;
    QVERIFY(ordinary.noiseDensity.value && ordinary.randomWalk.value);
    QVERIFY(near(model.noiseDensity, size * *ordinary.noiseDensity.value, 1e-6));
    QVERIFY(near(model.randomWalk, size * *ordinary.randomWalk.value, 1e-6));
    QVERIFY(std::abs(model.randomWalk.high / (size * ordinary.randomWalk.high) - 1.0) < 1e-6);
    QVERIFY(!model.biasInstability.value);
}

void TestNoiseModel::noiseWithoutExactSquaresIsNotObservable()
{
    for (const double size : {1e-155, 1e-161, 1e-170}) {
        auto samples = noise_samples::whiteAndWalk(3000, 0.0025, 1.0, 0.0, 5);
        for (double& sample : samples) {
            sample *= size;
        }
        const NoiseModel model = analyseNoise({samples}, 0.0025).model;
        QVERIFY(!model.noiseDensity.value && !model.biasInstability.value);
        QVERIFY(!model.randomWalk.value);
        QCOMPARE(model.variance(1.0), 0.0);
    }
}

void TestNoiseModel::errorOfARampAloneIsFinite()
{
    std::vector<AllanPoint> points = curve(0.0, 1e-3, 0.0, 0.0);
    for (AllanPoint& point : points) {
        point.deviation = 1e-3 * point.tau / std::sqrt(2.0);
        setInterval(point, NOISE::WHITE);
    }
    const NoiseModel model = fitNoiseModel(points);
    QVERIFY(model.factors[RAMP] > 0.0);
    QCOMPARE(model.factors[NOISE_DENSITY], 0.0);
    for (const double error : model.errors) {
        QVERIFY(std::isfinite(error));
    }
}

void TestNoiseModel::noSamplesAreNotObservable()
{
    const AxisNoise nothing = analyseNoise({}, 0.0025);
    QVERIFY(nothing.allan.empty());
    QVERIFY(!nothing.model.noiseDensity.value);
    QCOMPARE(nothing.model.variance(1.0), 0.0);
    const AxisNoise still = analyseNoise({std::vector<double>(1000, 1.0)}, 0.0025);
    QVERIFY(!still.model.noiseDensity.value);
}

QTEST_APPLESS_MAIN(TestNoiseModel)
#include "tst_noise_model.moc"
