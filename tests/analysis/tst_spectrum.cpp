#include "analysis/spectrum.h"

#include "analysis/noise_samples.h"

#include <QtTest>

#include <cmath>

using namespace analysis;

namespace {

constexpr double pi = 3.14159265358979323846;

std::vector<double> sine(std::size_t count, double rate, double frequency, double amplitude,
                         double noise = 0.0)
{
    std::vector<double> samples = noise_samples::whiteAndWalk(count, 1.0, noise, 0.0, 4);
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] += amplitude * std::sin(2.0 * pi * frequency * static_cast<double>(i) / rate);
    }
    return samples;
}

} // namespace

class TestSpectrum : public QObject
{
    Q_OBJECT

private slots:
    void whiteNoiseIsFlatAtItsDensity();
    void sumIsTheVariance();
    void shortStretchHalvesTheSegment();
    void tooFewSamplesHaveNoSpectrum();
    void lineIsFoundBetweenTheFrequencies_data();
    void lineIsFoundBetweenTheFrequencies();
    void noiseHasNoLines();
    void stretchesAreNotJoined();
    void removedLineLeavesTheNoise();
    void lineIsRemovedUpToTheLastSample();
    void lineAtHalfTheRateIsRemoved();
};

void TestSpectrum::whiteNoiseIsFlatAtItsDensity()
{
    // A noise density of N is a one-sided density of 2 N^2.
    const auto samples = noise_samples::whiteAndWalk(400000, 0.0025, 0.01, 0.0, 1);
    const Spectrum spectrum = welch({samples}, 400.0, 1024);
    QCOMPARE(spectrum.density.size(), std::size_t{513});
    QCOMPARE(spectrum.resolutionHz, 400.0 / 1024.0);
    for (std::size_t i = 2; i < 512; ++i) {
        QVERIFY(std::abs(spectrum.density[i] / 2e-4 - 1.0) < 0.25);
    }
}

void TestSpectrum::sumIsTheVariance()
{
    const Spectrum spectrum = welch({sine(40000, 400.0, 50.0, 3.0)}, 400.0, 4096);
    double sum = 0.0;
    for (const double density : spectrum.density) {
        sum += density * spectrum.resolutionHz;
    }
    QVERIFY2(std::abs(sum - 4.5) < 0.01, qPrintable(QString::number(sum)));
}

void TestSpectrum::shortStretchHalvesTheSegment()
{
    const Spectrum spectrum = welch({std::vector<double>(100, 1.0)}, 400.0, 8192);
    QCOMPARE(spectrum.density.size(), std::size_t{33});
}

void TestSpectrum::tooFewSamplesHaveNoSpectrum()
{
    QVERIFY(welch({}, 400.0).density.empty());
    QVERIFY(welch({std::vector<double>(7, 1.0)}, 400.0).density.empty());
    QVERIFY(spectralLines(welch({}, 400.0)).empty());
}

void TestSpectrum::lineIsFoundBetweenTheFrequencies_data()
{
    QTest::addColumn<double>("frequency");
    for (const double frequency : {37.0, 37.01, 37.02, 62.5, 143.213, 190.7}) {
        QTest::addRow("%.3f Hz", frequency) << frequency;
    }
}

void TestSpectrum::lineIsFoundBetweenTheFrequencies()
{
    QFETCH(double, frequency);
    const auto lines = spectralLines(welch({sine(400000, 400.0, frequency, 0.2, 0.1)}, 400.0));
    QCOMPARE(lines.size(), std::size_t{1});
    QVERIFY2(lines[0].low <= frequency && frequency <= lines[0].high,
             qPrintable(QString("%1 to %2").arg(lines[0].low).arg(lines[0].high)));
    QVERIFY(lines[0].high - lines[0].low < 0.02);
    QVERIFY2(std::abs(lines[0].amplitude / 0.2 - 1.0) < 0.02,
             qPrintable(QString::number(lines[0].amplitude)));
}

void TestSpectrum::noiseHasNoLines()
{
    for (std::uint64_t seed = 0; seed < 10; ++seed) {
        const auto samples = noise_samples::whiteAndWalk(200000, 0.0025, 0.01, 0.001, seed);
        QVERIFY(spectralLines(welch({samples}, 400.0)).empty());
    }
}

void TestSpectrum::stretchesAreNotJoined()
{
    const std::vector<double> low(4096, 0.0);
    const std::vector<double> high(4096, 100.0);
    const Spectrum spectrum = welch({low, high}, 400.0, 1024);
    QCOMPARE(spectrum.density.size(), std::size_t{513});
    for (const double density : spectrum.density) {
        QVERIFY(density < 1e-20);
    }
}

void TestSpectrum::removedLineLeavesTheNoise()
{
    const auto noise = sine(400000, 400.0, 48.7, 0.0, 0.1);
    Stretches stretches{sine(400000, 400.0, 48.7, 0.5, 0.1)};
    removeLines(stretches, 400.0, spectralLines(welch(stretches, 400.0)));
    double squares = 0.0;
    for (std::size_t i = 0; i < noise.size(); ++i) {
        squares += (stretches[0][i] - noise[i]) * (stretches[0][i] - noise[i]);
    }
    const double left = std::sqrt(squares / static_cast<double>(noise.size()));
    QVERIFY2(left < 0.02, qPrintable(QString::number(left)));
    QVERIFY(spectralLines(welch(stretches, 400.0)).empty());
}

void TestSpectrum::lineIsRemovedUpToTheLastSample()
{
    // Less than four periods are left behind two blocks.
    Stretches stretches{sine(2 * 8192 + 20, 400.0, 48.7, 0.5, 0.0)};
    removeLines(stretches, 400.0, {{48.7, 0.5, 48.69, 48.71}});
    for (const double sample : stretches[0]) {
        QVERIFY2(std::abs(sample) < 1e-3, qPrintable(QString::number(sample)));
    }
}

void TestSpectrum::lineAtHalfTheRateIsRemoved()
{
    Stretches stretches(1);
    for (int i = 0; i < 8000; ++i) {
        stretches[0].push_back(i % 2 == 0 ? 0.5 : -0.5);
    }
    removeLines(stretches, 400.0, {{200.0, 0.5, 199.99, 200.01}});
    for (const double sample : stretches[0]) {
        QVERIFY2(std::abs(sample) < 1e-3, qPrintable(QString::number(sample)));
    }
}

QTEST_APPLESS_MAIN(TestSpectrum)
#include "tst_spectrum.moc"
