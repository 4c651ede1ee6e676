#include "analysis/allan.h"
#include "analysis/chi_squared.h"

#include "analysis/noise_samples.h"

#include <QtTest>

#include <cmath>

using namespace analysis;

Q_DECLARE_METATYPE(analysis::NOISE)
Q_DECLARE_METATYPE(std::vector<double>)

namespace {

/// The 1000 numbers of NIST SP 1065, section 12.4.
std::vector<double> publishedThousand()
{
    std::vector<double> values;
    std::uint64_t number = 1234567890;
    for (int i = 0; i < 1000; ++i) {
        values.push_back(static_cast<double>(number) / 2147483647.0);
        number = 16807 * number % 2147483647;
    }
    return values;
}

/// The nine numbers of NBS Monograph 140, annex 8.E.
std::vector<double> publishedNine()
{
    return {892, 809, 823, 798, 671, 644, 883, 903, 677};
}

/// Equal to the printed digits, but for one unit of the last one: two of the tables' values are cut
/// or rounded up where exact arithmetic rounds the other way.
bool equalAsPrinted(double value, double printed, int digits)
{
    const double unit = std::pow(10.0, std::floor(std::log10(printed)) - (digits - 1));
    return std::abs(value - printed) < unit;
}

} // namespace

class TestAllan : public QObject
{
    Q_OBJECT

private slots:
    void publishedDeviations_data();
    void publishedDeviations();
    void tooFewSamplesHaveNoDeviation_data();
    void tooFewSamplesHaveNoDeviation();
    void constantOutputHasNoDeviation();
    void overlappingCurveIsTheDeviation();
    void curveSkipsStartsOnlyAboveTheLimit();
    void curveReachesAThirdOfTheSamples();
    void differencesStayWithinAStretch();
    void chiSquaredQuantiles_data();
    void chiSquaredQuantiles();
    void degreesOfFreedomOfNineSamples_data();
    void degreesOfFreedomOfNineSamples();
    void intervalsCoverTheTruth_data();
    void intervalsCoverTheTruth();
};

void TestAllan::publishedDeviations_data()
{
    QTest::addColumn<std::vector<double>>("samples");
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("averaging");
    QTest::addColumn<double>("printed");
    struct Row
    {
        const char* name;
        DEVIATION kind;
        std::vector<double> printed;
    };
    const std::vector<Row> thousand = {
        {"ADEV", DEVIATION::ALLAN, {2.922319e-1, 9.965736e-2, 3.897804e-2}},
        {"OADEV", DEVIATION::OVERLAPPING_ALLAN, {2.922319e-1, 9.159953e-2, 3.241343e-2}},
        {"MDEV", DEVIATION::MODIFIED_ALLAN, {2.922319e-1, 6.172376e-2, 2.170921e-2}},
        {"HDEV", DEVIATION::HADAMARD, {2.943883e-1, 1.052754e-1, 3.910860e-2}},
    };
    for (const Row& row : thousand) {
        for (std::size_t i = 0; i < 3; ++i) {
            const int averaging = i == 0 ? 1 : i == 1 ? 10 : 100;
            QTest::addRow("SP 1065, %s, m = %d", row.name, averaging)
                << publishedThousand() << static_cast<int>(row.kind) << averaging << row.printed[i];
        }
    }
    const std::vector<Row> nine = {
        {"ADEV", DEVIATION::ALLAN, {91.22945, 115.8082}},
        {"OADEV", DEVIATION::OVERLAPPING_ALLAN, {91.22945, 85.95287}},
        {"MDEV", DEVIATION::MODIFIED_ALLAN, {91.22945, 74.78849}},
        {"HDEV", DEVIATION::HADAMARD, {70.80608, 116.7980}},
    };
    for (const Row& row : nine) {
        for (std::size_t i = 0; i < 2; ++i) {
            const int averaging = i == 0 ? 1 : 2;
            QTest::addRow("NBS14, %s, m = %d", row.name, averaging)
                << publishedNine() << static_cast<int>(row.kind) << averaging << row.printed[i];
        }
    }
}

void TestAllan::publishedDeviations()
{
    QFETCH(std::vector<double>, samples);
    QFETCH(int, kind);
    QFETCH(int, averaging);
    QFETCH(double, printed);
    const double value =
        deviation(static_cast<DEVIATION>(kind), samples, static_cast<std::size_t>(averaging));
    QVERIFY2(equalAsPrinted(value, printed, 7),
             qPrintable(QString("%1 where %2 is printed").arg(value, 0, 'g', 10).arg(printed)));
}

void TestAllan::tooFewSamplesHaveNoDeviation_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("least"); // samples for m = 3
    QTest::newRow("ADEV") << static_cast<int>(DEVIATION::ALLAN) << 6;
    QTest::newRow("OADEV") << static_cast<int>(DEVIATION::OVERLAPPING_ALLAN) << 6;
    QTest::newRow("MDEV") << static_cast<int>(DEVIATION::MODIFIED_ALLAN) << 8;
    QTest::newRow("HDEV") << static_cast<int>(DEVIATION::HADAMARD) << 9;
}

void TestAllan::tooFewSamplesHaveNoDeviation()
{
    QFETCH(int, kind);
    QFETCH(int, least);
    std::vector<double> samples;
    for (int i = 0; i < least; ++i) {
        QVERIFY2(std::isnan(deviation(static_cast<DEVIATION>(kind), samples, 3)),
                 qPrintable(QString::number(i)));
        samples.push_back(i * i);
    }
    QVERIFY(std::isfinite(deviation(static_cast<DEVIATION>(kind), samples, 3)));
}

void TestAllan::constantOutputHasNoDeviation()
{
    const std::vector<double> gravity(10000, 9.80665);
    const auto points = overlappingAllan({gravity}, 0.0025);
    QVERIFY(!points.empty());
    for (const AllanPoint& point : points) {
        QVERIFY2(point.deviation < 1e-12, qPrintable(QString::number(point.deviation)));
    }
}

void TestAllan::overlappingCurveIsTheDeviation()
{
    const std::vector<double> samples = publishedThousand();
    const auto points = overlappingAllan({samples}, 0.5, 10, 1000);
    QVERIFY(!points.empty());
    for (const AllanPoint& point : points) {
        QCOMPARE(point.tau, 0.5 * static_cast<double>(point.averaging));
        QCOMPARE(point.deviation,
                 deviation(DEVIATION::OVERLAPPING_ALLAN, samples, point.averaging));
        QVERIFY(point.low < point.deviation && point.deviation < point.high);
    }
}

void TestAllan::curveSkipsStartsOnlyAboveTheLimit()
{
    const std::vector<double> samples = noise_samples::whiteAndWalk(40000, 1.0, 1.0, 0.01, 5);
    bool skipped = false;
    for (const AllanPoint& point : overlappingAllan({samples}, 1.0)) {
        const double exact = deviation(DEVIATION::OVERLAPPING_ALLAN, samples, point.averaging);
        if (point.averaging < 128) {
            QCOMPARE(point.deviation, exact);
        } else {
            skipped = skipped || point.deviation != exact;
            QVERIFY2(std::abs(point.deviation / exact - 1.0) < 0.01,
                     qPrintable(QString::number(point.averaging)));
        }
    }
    QVERIFY(skipped);
}

void TestAllan::curveReachesAThirdOfTheSamples()
{
    const auto points = overlappingAllan({publishedThousand()}, 1.0);
    QCOMPARE(points.front().averaging, std::size_t{1});
    QVERIFY(points.back().averaging <= 333 && points.back().averaging > 250);
    QVERIFY(overlappingAllan({{1.0, 2.0}}, 1.0).empty());
}

void TestAllan::differencesStayWithinAStretch()
{
    // A step between two stretches is no deviation of the sensor.
    const std::vector<double> low(1000, 0.0);
    const std::vector<double> high(1000, 100.0);
    const auto points = overlappingAllan({low, high}, 1.0);
    QVERIFY(!points.empty());
    for (const AllanPoint& point : points) {
        QCOMPARE(point.deviation, 0.0);
    }
}

void TestAllan::chiSquaredQuantiles_data()
{
    // Abramowitz and Stegun, table 26.8; above 100 by an arbitrary-precision evaluation.
    QTest::addColumn<double>("probability");
    QTest::addColumn<double>("degrees");
    QTest::addColumn<double>("quantile");
    QTest::newRow("1, 5 %") << 0.05 << 1.0 << 0.00393214;
    QTest::newRow("1, 95 %") << 0.95 << 1.0 << 3.84145882;
    QTest::newRow("2, 50 %") << 0.5 << 2.0 << 1.38629436;
    QTest::newRow("10, 95 %") << 0.95 << 10.0 << 18.3070381;
    QTest::newRow("30, 5 %") << 0.05 << 30.0 << 18.4926610;
    QTest::newRow("100, 99 %") << 0.99 << 100.0 << 135.806723;
}

void TestAllan::chiSquaredQuantiles()
{
    QFETCH(double, probability);
    QFETCH(double, degrees);
    QFETCH(double, quantile);
    QVERIFY(std::abs(chiSquaredQuantile(probability, degrees) / quantile - 1.0) < 1e-6);
    // The approximation for many degrees of freedom goes on where the exact one ends.
    const double below = chiSquaredQuantile(probability, 1000.0);
    const double above = chiSquaredQuantile(probability, 1000.001);
    QVERIFY(above > below && above - below < 0.01);
}

void TestAllan::degreesOfFreedomOfNineSamples_data()
{
    // NIST SP 1065, table 5, worked out by hand for the ten points of the phase of nine samples.
    QTest::addColumn<NOISE>("noise");
    QTest::addColumn<int>("averaging");
    QTest::addColumn<double>("degrees");
    QTest::newRow("white phase, m = 1") << NOISE::WHITE_PHASE << 1 << 44.0 / 9.0;
    QTest::newRow("white phase, m = 2") << NOISE::WHITE_PHASE << 2 << 33.0 / 8.0;
    QTest::newRow("white phase, m = 3") << NOISE::WHITE_PHASE << 3 << 22.0 / 7.0;
    QTest::newRow("never below 1") << NOISE::WHITE_PHASE << 5 << 1.0;
    QTest::newRow("white, m = 1") << NOISE::WHITE << 1 << 238.0 / 45.0;
    QTest::newRow("white, m = 2") << NOISE::WHITE << 2 << 82.4 / 21.0;
    QTest::newRow("white, m = 3") << NOISE::WHITE << 3 << 104.4 / 41.0;
    QTest::newRow("flicker, m = 1") << NOISE::FLICKER << 1 << 1280.0 / 181.0;
    QTest::newRow("flicker, m = 2") << NOISE::FLICKER << 2 << 125.0 / 32.0;
    QTest::newRow("flicker, m = 3") << NOISE::FLICKER << 3 << 125.0 / 57.0;
    QTest::newRow("random walk, m = 1") << NOISE::RANDOM_WALK << 1 << 464.0 / 49.0;
    QTest::newRow("random walk, m = 2") << NOISE::RANDOM_WALK << 2 << 172.0 / 49.0;
    QTest::newRow("random walk, m = 3") << NOISE::RANDOM_WALK << 3 << 96.0 / 49.0;
}

void TestAllan::degreesOfFreedomOfNineSamples()
{
    QFETCH(NOISE, noise);
    QFETCH(int, averaging);
    QTEST(overlappingAllanDegreesOfFreedom(noise, 9, static_cast<std::size_t>(averaging)),
          "degrees");
}

void TestAllan::intervalsCoverTheTruth_data()
{
    QTest::addColumn<bool>("walk");
    QTest::addColumn<int>("averaging");
    for (const int averaging : {1, 10, 100, 500}) {
        QTest::addRow("white noise, m = %d", averaging) << false << averaging;
        QTest::addRow("random walk, m = %d", averaging) << true << averaging;
    }
}

void TestAllan::intervalsCoverTheTruth()
{
    QFETCH(bool, walk);
    QFETCH(int, averaging);
    const double m = averaging;
    // The Allan variance of sampled noise: 1 / m, and for a walk (2 m^2 + 1) / (6 m).
    const double truth = walk ? std::sqrt((2.0 * m * m + 1.0) / (6.0 * m)) : std::sqrt(1.0 / m);
    int covered = 0;
    constexpr int seeds = 400;
    for (int seed = 0; seed < seeds; ++seed) {
        const std::vector<double> samples = noise_samples::whiteAndWalk(
            4000, 1.0, walk ? 0.0 : 1.0, walk ? 1.0 : 0.0, static_cast<std::uint64_t>(seed));
        AllanPoint point;
        point.averaging = static_cast<std::size_t>(averaging);
        point.samples = samples.size();
        point.deviation = deviation(DEVIATION::OVERLAPPING_ALLAN, samples, point.averaging);
        setInterval(point, walk ? NOISE::RANDOM_WALK : NOISE::WHITE);
        covered += point.low <= truth && truth <= point.high ? 1 : 0;
    }
    QVERIFY2(covered >= 240 && covered <= 304, qPrintable(QString::number(covered)));
}

QTEST_APPLESS_MAIN(TestAllan)
#include "tst_allan.moc"
