#include "analysis/magnetometer.h"

#include <QtTest>

#include <Eigen/Dense>

#include <cmath>
#include <random>

using namespace analysis;

namespace {

/// Unit vectors all over the sphere, evenly (a Fibonacci lattice).
Eigen::Matrix3Xd directions(int count)
{
    Eigen::Matrix3Xd all(3, count);
    for (int i = 0; i < count; ++i) {
        const double z = 1.0 - (2.0 * i + 1.0) / count;
        const double turn = 2.399963229728653 * i;
        const double r = std::sqrt(1.0 - z * z);
        all.col(i) << r * std::cos(turn), r * std::sin(turn), z;
    }
    return all;
}

Eigen::Matrix3d symmetric(double xx, double yy, double zz, double xy, double xz, double yz)
{
    Eigen::Matrix3d matrix;
    matrix << xx, xy, xz, xy, yy, yz, xz, yz, zz;
    return matrix;
}

Eigen::Matrix3Xd ellipsoid(const Eigen::Matrix3d& shape, const Eigen::Vector3d& offset, int count,
                           double noise = 0.0)
{
    Eigen::Matrix3Xd readings = (shape * directions(count)).colwise() + offset;
    std::mt19937_64 generator(7);
    std::normal_distribution<double> normal(0.0, noise);
    if (noise > 0.0) {
        readings = readings.unaryExpr([&](double v) { return v + normal(generator); });
    }
    return readings;
}

VectorSeries series(const Eigen::Matrix3Xd& readings)
{
    VectorSeries field;
    for (Eigen::Index i = 0; i < readings.cols(); ++i) {
        field.times.push_back(20'000'000 * (i + 1));
        for (std::size_t axis = 0; axis < 3; ++axis) {
            field.values.axes[axis].push_back(readings(static_cast<Eigen::Index>(axis), i));
        }
    }
    return field;
}

const Eigen::Vector3d hardIron(18.5, -24.0, 11.5);

} // namespace

class TestMagnetometerFit : public QObject
{
    Q_OBJECT

private slots:
    void sixParametersComeBack();
    void nineParametersComeBack();
    void crossTermsShowWhatTheyWouldSave();
    void correctedReadingsLieOnTheSphere();
    void noiseIsTheResidual();
    void readingsThatHoldNoEllipsoidAreRefused_data();
    void readingsThatHoldNoEllipsoidAreRefused();
    void capThatIsTooNarrowIsRefused();
    void evenCoverageHasNoGaps();
    void halfSphereHasHalfTheAreasAsGaps();
    void wrongOffsetWobbles();
    void varianceIsThatOfTheLengths();
    void recordingWithoutCoverageSaysSo();
    void recordingOfACameraAtRestSaysSo();
    void recordingIsJudgedWhole();
    void saturatedReadingsAreLeftOut();
};

void TestMagnetometerFit::sixParametersComeBack()
{
    const Eigen::Vector3d radii(50.88, 44.64, 48.96);
    const auto fit =
        fitEllipsoid(ellipsoid(radii.asDiagonal(), hardIron, 500), CrossTerms::OMITTED);
    QVERIFY(fit);
    QVERIFY((fit->offset - hardIron).norm() < 1e-9);
    QVERIFY((fit->radii - radii).norm() < 1e-9);
    QVERIFY(std::abs(fit->radius - std::cbrt(radii.prod())) < 1e-9);
    QVERIFY(fit->residualRms < 1e-9);
}

void TestMagnetometerFit::nineParametersComeBack()
{
    const Eigen::Matrix3d shape = symmetric(50.0, 45.0, 48.0, 2.0, -1.5, 0.7);
    const auto fit = fitEllipsoid(ellipsoid(shape, hardIron, 500), CrossTerms::FITTED);
    QVERIFY(fit);
    QVERIFY((fit->offset - hardIron).norm() < 1e-9);
    QVERIFY((fit->shape - shape).norm() < 1e-9);
    QVERIFY(fit->residualRms < 1e-9);
}

void TestMagnetometerFit::crossTermsShowWhatTheyWouldSave()
{
    std::string reason;
    const auto report = analyseMagnetometer(
        series(ellipsoid(symmetric(50.0, 45.0, 48.0, 2.0, -1.5, 0.7), hardIron, 2000, 0.2)),
        reason);
    QVERIFY(report && report->full);
    QVERIFY(report->aligned.residualRms > 1.0);
    QVERIFY(std::abs(report->full->residualRms - 0.2) < 0.02);
}

void TestMagnetometerFit::correctedReadingsLieOnTheSphere()
{
    const auto readings = ellipsoid(symmetric(50.0, 45.0, 48.0, 2.0, -1.5, 0.7), hardIron, 300);
    const auto fit = fitEllipsoid(readings, CrossTerms::FITTED);
    QVERIFY(fit);
    for (Eigen::Index i = 0; i < readings.cols(); ++i) {
        QVERIFY(std::abs(fit->corrected(readings.col(i)).norm() - fit->radius) < 1e-9);
    }
}

void TestMagnetometerFit::noiseIsTheResidual()
{
    const auto fit = fitEllipsoid(
        ellipsoid(Eigen::Vector3d(48.0, 48.0, 48.0).asDiagonal(), hardIron, 20000, 0.5),
        CrossTerms::OMITTED);
    QVERIFY(fit);
    QVERIFY2(std::abs(fit->residualRms - 0.5) < 0.02,
             qPrintable(QString::number(fit->residualRms)));
    QVERIFY((fit->offset - hardIron).norm() < 0.05);
}

void TestMagnetometerFit::readingsThatHoldNoEllipsoidAreRefused_data()
{
    QTest::addColumn<int>("what");
    QTest::newRow("none") << 0;
    QTest::newRow("one point") << 1;
    QTest::newRow("a line") << 2;
    QTest::newRow("a plane") << 3;
    QTest::newRow("a hyperboloid") << 4;
    QTest::newRow("not a number") << 5;
    QTest::newRow("too few") << 6;
    QTest::newRow("a sphere of 1e-105") << 7;
    QTest::newRow("a sphere of 1e-120") << 8;
}

void TestMagnetometerFit::readingsThatHoldNoEllipsoidAreRefused()
{
    QFETCH(int, what);
    Eigen::Matrix3Xd readings = ellipsoid(Eigen::Matrix3d::Identity() * 48.0, hardIron, 200);
    switch (what) {
    case 0:
        readings.resize(3, 0);
        break;
    case 1:
        readings.colwise() = hardIron;
        break;
    case 2:
        readings.bottomRows<2>().setConstant(3.0);
        break;
    case 3:
        readings.row(2).setConstant(3.0);
        break;
    case 4:
        for (Eigen::Index i = 0; i < readings.cols(); ++i) {
            const double u = 0.05 * static_cast<double>(i % 20) - 0.5;
            const Eigen::Index ring = i / 20;
            const double v = 0.6 * static_cast<double>(ring);
            readings.col(i) << std::cosh(u) * std::cos(v), std::cosh(u) * std::sin(v), std::sinh(u);
        }
        break;
    case 5:
        readings(1, 17) = std::nan("");
        break;
    case 7:
        readings = 1e-105 * directions(200);
        break;
    case 8:
        readings = 1e-120 * directions(200);
        break;
    default:
        readings = readings.leftCols<5>().eval();
        break;
    }
    QVERIFY(!fitEllipsoid(readings, CrossTerms::OMITTED));
    QVERIFY(!fitEllipsoid(readings, CrossTerms::FITTED));
}

void TestMagnetometerFit::capThatIsTooNarrowIsRefused()
{
    // The least singular value is the 2.0e-6th part of the largest with half a degree, the 3.2e-7th
    // with a fifth.
    const auto fitOfCap = [](double degrees) {
        Eigen::Matrix3Xd readings = directions(200);
        const double height = 1.0 - std::cos(degrees / 57.295779513082323);
        for (Eigen::Index i = 0; i < readings.cols(); ++i) {
            const double z = 1.0 - 0.5 * height * (1.0 - readings(2, i));
            readings.col(i).head<2>() *= std::sqrt(1.0 - z * z) / readings.col(i).head<2>().norm();
            readings(2, i) = z;
        }
        return fitEllipsoid(48.0 * readings, CrossTerms::OMITTED);
    };
    const auto fit = fitOfCap(0.5);
    QVERIFY(fit);
    QVERIFY(std::abs(fit->radius - 48.0) < 0.1);
    QVERIFY(!fitOfCap(0.2));
}

void TestMagnetometerFit::evenCoverageHasNoGaps()
{
    const auto readings = ellipsoid(Eigen::Matrix3d::Identity() * 48.0, hardIron, 3000);
    const auto fit = fitEllipsoid(readings, CrossTerms::OMITTED);
    QVERIFY(fit);
    const SphereQuality quality = sphereQuality(readings, *fit);
    QCOMPARE(quality.gaps, 0.0);
    QVERIFY(quality.variance < 1e-9);
    QVERIFY(quality.wobble < 0.1);
    QVERIFY(quality.fitError < 1e-9);
}

void TestMagnetometerFit::halfSphereHasHalfTheAreasAsGaps()
{
    const Eigen::Matrix3Xd all = ellipsoid(Eigen::Matrix3d::Identity() * 48.0, {0, 0, 0}, 6000);
    const Eigen::Matrix3Xd half = all.leftCols<3000>(); // z above 0
    const auto fit = fitEllipsoid(all, CrossTerms::OMITTED);
    QVERIFY(fit);
    QCOMPARE(sphereQuality(half, *fit).gaps, 50.0);
}

void TestMagnetometerFit::wrongOffsetWobbles()
{
    const auto readings = ellipsoid(Eigen::Matrix3d::Identity() * 50.0, hardIron, 3000);
    auto fit = fitEllipsoid(readings, CrossTerms::OMITTED);
    QVERIFY(fit);
    fit->offset.x() += 5.0; // a tenth of the radius
    const SphereQuality quality = sphereQuality(readings, *fit);
    QVERIFY2(std::abs(quality.wobble - 10.0) < 1.5, qPrintable(QString::number(quality.wobble)));
}

void TestMagnetometerFit::varianceIsThatOfTheLengths()
{
    // Half of the readings are 1 % too long, half 1 % too short.
    Eigen::Matrix3Xd readings = ellipsoid(Eigen::Matrix3d::Identity() * 50.0, {0, 0, 0}, 4000);
    EllipsoidFit fit;
    fit.offset.setZero();
    fit.shape = Eigen::Matrix3d::Identity() * 50.0;
    fit.radii.setConstant(50.0);
    fit.radius = 50.0;
    for (Eigen::Index i = 0; i < readings.cols(); ++i) {
        readings.col(i) *= i % 2 == 0 ? 1.01 : 0.99;
    }
    QVERIFY(std::abs(sphereQuality(readings, fit).variance - 1.0) < 1e-9);
}

void TestMagnetometerFit::recordingWithoutCoverageSaysSo()
{
    std::string reason;
    QVERIFY(!analyseMagnetometer({}, reason));
    QCOMPARE(reason, std::string("the recording has no magnetometer"));
    for (const double radius : {0.0, 1e-105}) {
        QVERIFY(!analyseMagnetometer(series(radius * directions(200)), reason));
        QCOMPARE(reason, std::string("the readings lie on no ellipsoid: turn the camera through "
                                     "all orientations"));
    }
    const Eigen::Matrix3Xd all = ellipsoid(Eigen::Matrix3d::Identity() * 48.0, hardIron, 6000, 0.1);
    QVERIFY(!analyseMagnetometer(series(all.leftCols<500>()), reason)); // a cap
    QVERIFY2(reason.find("turn the camera through all orientations") != std::string::npos,
             reason.c_str());
}

void TestMagnetometerFit::recordingOfACameraAtRestSaysSo()
{
    // Noise about one reading covers all directions, seen from its middle.
    std::string reason;
    for (const double noise : {0.01, 0.25, 5.0}) {
        const Eigen::Matrix3Xd readings = ellipsoid(Eigen::Matrix3d::Zero(), hardIron, 6000, noise);
        QVERIFY(!analyseMagnetometer(series(readings), reason));
        QVERIFY2(reason.find("turn the camera through all orientations") != std::string::npos,
                 reason.c_str());
    }
    // A magnetometer with the noise of a bad one still has its fit.
    QVERIFY(analyseMagnetometer(
        series(ellipsoid(Eigen::Matrix3d::Identity() * 48.0, hardIron, 6000, 5.0)), reason));
}

void TestMagnetometerFit::recordingIsJudgedWhole()
{
    std::string reason;
    const auto report = analyseMagnetometer(
        series(ellipsoid(Eigen::Matrix3d::Identity() * 48.0, hardIron, 3000, 0.3)), reason);
    QVERIFY2(report, reason.c_str());
    QVERIFY(report->lengthRmsBefore > 10.0);
    QVERIFY(report->aligned.residualRms < 0.35);
    QVERIFY(std::abs(report->quality.fitError - 100.0 * report->aligned.residualRms / 48.0) < 0.02);
}

void TestMagnetometerFit::saturatedReadingsAreLeftOut()
{
    Eigen::Matrix3Xd readings(3, 5);
    readings << 1, 2, 3, 4, 2048, //
        5, 6, 7, 8, -2048,        //
        9, 2048, 2047.9375, -2048, 10;
    const VectorSeries kept = unsaturated(series(readings));
    QCOMPARE(kept.times, (std::vector<Nanoseconds>{20'000'000, 60'000'000, 100'000'000}));
    QCOMPARE(kept.values.axes[0], (std::vector<double>{1, 3, 2048}));
    QCOMPARE(kept.values.axes[1], (std::vector<double>{5, 7, -2048}));
    QCOMPARE(kept.values.axes[2], (std::vector<double>{9, 2047.9375, 10}));
}

QTEST_APPLESS_MAIN(TestMagnetometerFit)
#include "tst_magnetometer_fit.moc"
