#include "calibration/mag_calib.h"

#include "calibration/clouds.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <Eigen/LU>

#include <cstring>
#include <limits>
#include <vector>

using clouds::Cloud;
using Eigen::Vector3d;

namespace {

bool fit(MagCalib& calib, Cloud cloud, double targetRadius = 1.0)
{
    return calib.ellipsoidCalibration(cloud.x, cloud.y, cloud.z, targetRadius);
}

/// The fifteen results in the order of the fields.
std::vector<double> results(const MagCalib& calib)
{
    std::vector<double> all;
    for (const auto& row : calib.softIron) {
        all.insert(all.end(), row, row + 3);
    }
    all.insert(all.end(), calib.scale, calib.scale + 3);
    all.insert(all.end(), calib.center, calib.center + 3);
    return all;
}

bool sameBits(const std::vector<double>& a, const std::vector<double>& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0;
}

std::vector<double> toStd(const Eigen::VectorXd& v)
{
    return {v.data(), v.data() + v.size()};
}

void compareWithin(double actual, double expected, double tolerance)
{
    QVERIFY2(std::abs(actual - expected) <= tolerance,
             qPrintable(QString("%1 is not within %2 of %3")
                            .arg(actual, 0, 'g', 17)
                            .arg(tolerance)
                            .arg(expected, 0, 'g', 17)));
}

} // namespace

class TestMagCalib : public QObject
{
    Q_OBJECT

private slots:
    void newObjectIsTheNeutralCorrection();
    void fieldsStandInTheirOrder();
    void samplesOnASphereGiveItsCentreAndRadius();
    void samplesOnAnEllipsoidGiveItsGains();
    void correctedSamplesLieOnTheTargetSphere();
    void noisyCloudGivesTheTruthWithinItsNoise();
    void tiltedEllipsoidStillGivesADiagonalCorrection();
    void fitWritesCentreRadiiAndIdentityAxes();
    void fitLeavesTheObjectAlone();
    void sixSamplesDetermineTheFit();
    void fiveSamplesInOneVectorAreRefused_data();
    void fiveSamplesInOneVectorAreRefused();
    void degenerateCloudReturnsTrue_data();
    void degenerateCloudReturnsTrue();
    void hyperboloidGivesNaNOnItsOpenAxis();
    void targetRadiusScalesGainsOnly();
    void overloadsAgreeBitForBit_data();
    void overloadsAgreeBitForBit();
    void samplesStayUnchanged();
    void secondCallOverwritesAllResults();
    void extraSamplesOfTheOtherAxesAreNotRead();
    void unitOfTheSamplesGoesStraightIn();
    void eachOperationIsRoundedInItsOrder_data();
    void eachOperationIsRoundedInItsOrder();
    void agreesWithTheReferenceInNumpy_data();
    void agreesWithTheReferenceInNumpy();
};

void TestMagCalib::newObjectIsTheNeutralCorrection()
{
    const MagCalib calib;
    QVERIFY(sameBits(results(calib), {1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 1, 1, 0, 0, 0}));
}

void TestMagCalib::fieldsStandInTheirOrder()
{
    const MagCalib calib;
    const auto* const object = reinterpret_cast<const char*>(&calib);
    const auto offsetOf = [object](const double* field) {
        return reinterpret_cast<const char*>(field) - object;
    };
    QCOMPARE(offsetOf(&calib.softIron[0][0]), static_cast<std::ptrdiff_t>(sizeof(void*)));
    QCOMPARE(offsetOf(calib.scale) - offsetOf(&calib.softIron[0][0]), std::ptrdiff_t{72});
    QCOMPARE(offsetOf(calib.center) - offsetOf(calib.scale), std::ptrdiff_t{24});
    QCOMPARE(sizeof(MagCalib), sizeof(void*) + 15 * sizeof(double));
}

void TestMagCalib::samplesOnASphereGiveItsCentreAndRadius()
{
    MagCalib calib;
    QVERIFY(fit(calib, clouds::onEllipsoid(500, {12.0, -7.5, 30.0}, {45.0, 45.0, 45.0})));
    const double center[] = {12.0, -7.5, 30.0};
    for (int i = 0; i < 3; ++i) {
        compareWithin(calib.center[i], center[i], 1e-9);
        compareWithin(calib.scale[i], 1.0 / 45.0, 1e-12);
        for (int c = 0; c < 3; ++c) {
            compareWithin(calib.softIron[i][c], i == c ? 1.0 / 45.0 : 0.0, 1e-12);
        }
    }
}

void TestMagCalib::samplesOnAnEllipsoidGiveItsGains()
{
    MagCalib calib;
    QVERIFY(fit(calib, clouds::onEllipsoid(500, {-20.0, 5.0, 8.0}, {40.0, 50.0, 60.0})));
    compareWithin(calib.scale[0], 1.0 / 40.0, 1e-12);
    compareWithin(calib.scale[1], 1.0 / 50.0, 1e-12);
    compareWithin(calib.scale[2], 1.0 / 60.0, 1e-12);
    compareWithin(calib.center[0], -20.0, 1e-9);
    compareWithin(calib.center[1], 5.0, 1e-9);
    compareWithin(calib.center[2], 8.0, 1e-9);
}

void TestMagCalib::correctedSamplesLieOnTheTargetSphere()
{
    const Cloud cloud = clouds::onEllipsoid(200, {18.5, 24.0, -11.5}, {51.0, 44.0, 49.0});
    MagCalib calib;
    QVERIFY(fit(calib, cloud));
    const Eigen::Matrix3d correction =
        Eigen::Map<const Eigen::Matrix<double, 3, 3, Eigen::RowMajor>>(&calib.softIron[0][0]);
    const Vector3d center(calib.center);
    for (int i = 0; i < 200; ++i) {
        const Vector3d raw(cloud.x[i], cloud.y[i], cloud.z[i]);
        const Vector3d corrected = correction * (raw - center);
        compareWithin(corrected.norm(), 1.0, 1e-10);
        for (int axis = 0; axis < 3; ++axis) {
            compareWithin(corrected[axis], calib.scale[axis] * (raw[axis] - center[axis]), 1e-12);
        }
    }
}

void TestMagCalib::noisyCloudGivesTheTruthWithinItsNoise()
{
    const Vector3d center(18.5, 24.0, -11.5);
    const Vector3d radii(50.9, 44.6, 49.0);
    MagCalib calib;
    QVERIFY(fit(calib, clouds::onEllipsoid(3000, center, radii, 0.25, 7)));
    for (int i = 0; i < 3; ++i) {
        compareWithin(calib.center[i], center[i], 0.05);
        compareWithin(calib.scale[i] * radii[i], 1.0, 0.001);
    }
}

void TestMagCalib::tiltedEllipsoidStillGivesADiagonalCorrection()
{
    const Eigen::Matrix3d turn =
        (Eigen::AngleAxisd(0.6, Vector3d::UnitX()) * Eigen::AngleAxisd(0.4, Vector3d::UnitZ()))
            .toRotationMatrix();
    Cloud cloud = clouds::onEllipsoid(500, {1.0, 2.0, 3.0}, {40.0, 50.0, 60.0}, 0.0, 1, turn);
    MagCalib calib;
    QVERIFY(fit(calib, cloud));
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            QCOMPARE(calib.softIron[r][c], r == c ? calib.scale[r] : 0.0);
        }
    }

    Vector3d center;
    Eigen::VectorXd radii;
    Eigen::MatrixXd axes;
    calib.ellipsoidFit(cloud.x, cloud.y, cloud.z, &center, &radii, &axes);
    QVERIFY(axes == Eigen::MatrixXd::Identity(3, 3));
}

void TestMagCalib::fitWritesCentreRadiiAndIdentityAxes()
{
    Cloud cloud = clouds::onEllipsoid(300, {4.0, 5.0, 6.0}, {30.0, 40.0, 50.0});
    MagCalib calib;
    Vector3d center(9.0, 9.0, 9.0);
    Eigen::VectorXd radii = Eigen::VectorXd::Zero(7);
    Eigen::MatrixXd axes = Eigen::MatrixXd::Constant(2, 5, 3.0);
    calib.ellipsoidFit(cloud.x, cloud.y, cloud.z, &center, &radii, &axes);
    QVERIFY((center - Vector3d(4.0, 5.0, 6.0)).norm() < 1e-9);
    QCOMPARE(static_cast<int>(radii.size()), 3);
    QVERIFY((radii - Vector3d(30.0, 40.0, 50.0)).norm() < 1e-9);
    QCOMPARE(static_cast<int>(axes.rows()), 3);
    QCOMPARE(static_cast<int>(axes.cols()), 3);
    QVERIFY(axes == Eigen::MatrixXd::Identity(3, 3));
}

void TestMagCalib::fitLeavesTheObjectAlone()
{
    MagCalib calib;
    QVERIFY(fit(calib, clouds::onEllipsoid(50, {1.0, 2.0, 3.0}, {40.0, 41.0, 42.0})));
    const std::vector<double> before = results(calib);
    Cloud other = clouds::onEllipsoid(50, {9.0, 8.0, 7.0}, {20.0, 21.0, 22.0});
    Vector3d center;
    Eigen::VectorXd radii;
    Eigen::MatrixXd axes;
    calib.ellipsoidFit(other.x, other.y, other.z, &center, &radii, &axes);
    QVERIFY(sameBits(results(calib), before));
}

void TestMagCalib::sixSamplesDetermineTheFit()
{
    // The six axis ends of an ellipsoid.
    Cloud cloud{Eigen::VectorXd(6), Eigen::VectorXd(6), Eigen::VectorXd(6)};
    cloud.x << 13.0, -7.0, 3.0, 3.0, 3.0, 3.0;
    cloud.y << -4.0, -4.0, 16.0, -24.0, -4.0, -4.0;
    cloud.z << 5.0, 5.0, 5.0, 5.0, 35.0, -25.0;
    MagCalib calib;
    QVERIFY(fit(calib, cloud));
    const double center[] = {3.0, -4.0, 5.0};
    const double radii[] = {10.0, 20.0, 30.0};
    for (int i = 0; i < 3; ++i) {
        compareWithin(calib.center[i], center[i], 1e-9);
        compareWithin(calib.scale[i], 1.0 / radii[i], 1e-12);
    }
}

void TestMagCalib::fiveSamplesInOneVectorAreRefused_data()
{
    QTest::addColumn<int>("short_axis");
    QTest::addColumn<int>("count");
    QTest::newRow("x") << 0 << 5;
    QTest::newRow("y") << 1 << 5;
    QTest::newRow("z") << 2 << 5;
    QTest::newRow("all") << 3 << 5;
    QTest::newRow("none") << 3 << 0;
}

void TestMagCalib::fiveSamplesInOneVectorAreRefused()
{
    QFETCH(int, short_axis);
    QFETCH(int, count);
    MagCalib calib;
    QVERIFY(fit(calib, clouds::onEllipsoid(20, {1.0, 2.0, 3.0}, {40.0, 50.0, 60.0})));
    const std::vector<double> before = results(calib);

    const Cloud full = clouds::onEllipsoid(30, {9.0, 9.0, 9.0}, {20.0, 20.0, 20.0});
    Eigen::VectorXd axes[3] = {full.x, full.y, full.z};
    for (int i = 0; i < 3; ++i) {
        if (short_axis == i || short_axis == 3) {
            axes[i].conservativeResize(count);
        }
    }
    QVERIFY(!calib.ellipsoidCalibration(axes[0], axes[1], axes[2], 1.0));
    QVERIFY(sameBits(results(calib), before));

    std::vector<double> x = toStd(axes[0]);
    std::vector<double> y = toStd(axes[1]);
    std::vector<double> z = toStd(axes[2]);
    QVERIFY(!calib.ellipsoidCalibration(x, y, z, 1.0));
    QVERIFY(sameBits(results(calib), before));
}

void TestMagCalib::degenerateCloudReturnsTrue_data()
{
    QTest::addColumn<int>("kind");
    QTest::newRow("twelve in the plane z = 0") << 0;
    QTest::newRow("one sample repeated") << 1;
    QTest::newRow("all zero") << 2;
    QTest::newRow("on a line") << 3;
}

void TestMagCalib::degenerateCloudReturnsTrue()
{
    QFETCH(int, kind);
    constexpr int count = 12;
    Cloud cloud{Eigen::VectorXd::Zero(count), Eigen::VectorXd::Zero(count),
                Eigen::VectorXd::Zero(count)};
    for (int i = 0; i < count; ++i) {
        if (kind == 0) {
            cloud.x[i] = 5.0 + 40.0 * std::cos(0.5 * i);
            cloud.y[i] = 40.0 * std::sin(0.5 * i);
        } else if (kind == 1) {
            cloud.x[i] = 12.5;
            cloud.y[i] = -6.25;
            cloud.z[i] = 18.75;
        } else if (kind == 3) {
            cloud.x[i] = cloud.y[i] = cloud.z[i] = i;
        }
    }
    MagCalib calib;
    const std::vector<double> neutral = results(calib);
    QVERIFY(fit(calib, cloud));
    QVERIFY(!sameBits(results(calib), neutral)); // taken as it comes
    if (kind == 0 || kind == 2) {                // nothing at all is known of z
        QVERIFY(!std::isfinite(calib.scale[2]) || !std::isfinite(calib.center[2]));
    }
}

void TestMagCalib::hyperboloidGivesNaNOnItsOpenAxis()
{
    // x^2 + y^2 - z^2 = 100^2
    Cloud cloud{Eigen::VectorXd(40), Eigen::VectorXd(40), Eigen::VectorXd(40)};
    for (int i = 0; i < 40; ++i) {
        const double z = 10.0 * (i % 9) - 40.0;
        const double ring = std::sqrt(1e4 + z * z);
        cloud.x[i] = ring * std::cos(0.7 * i);
        cloud.y[i] = ring * std::sin(0.7 * i);
        cloud.z[i] = z;
    }
    MagCalib calib;
    QVERIFY(fit(calib, cloud));
    compareWithin(calib.scale[0], 0.01, 1e-10);
    compareWithin(calib.scale[1], 0.01, 1e-10);
    QVERIFY(std::isnan(calib.scale[2]));
    QVERIFY(std::isnan(calib.softIron[2][2]));
}

void TestMagCalib::targetRadiusScalesGainsOnly()
{
    const Cloud cloud = clouds::onEllipsoid(60, {7.0, 8.0, 9.0}, {40.0, 50.0, 60.0}, 0.3, 3);
    MagCalib one;
    MagCalib two;
    QVERIFY(fit(one, cloud, 1.0));
    QVERIFY(fit(two, cloud, 2.0));
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(two.center[i], one.center[i]);
        QCOMPARE(two.scale[i], 2.0 * one.scale[i]);
        for (int c = 0; c < 3; ++c) {
            QCOMPARE(two.softIron[i][c], 2.0 * one.softIron[i][c]);
        }
    }
}

void TestMagCalib::overloadsAgreeBitForBit_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<double>("targetRadius");
    for (const int count : {6, 7, 13, 101, 1000, 4099}) {
        for (const double radius : {1.0, 48.3}) {
            QTest::addRow("%d samples, radius %g", count, radius) << count << radius;
        }
    }
}

void TestMagCalib::overloadsAgreeBitForBit()
{
    QFETCH(int, count);
    QFETCH(double, targetRadius);
    const Cloud cloud = clouds::onEllipsoid(count, {18.5, 24.0, -11.5}, {50.9, 44.6, 49.0}, 0.25,
                                            static_cast<std::uint32_t>(count));
    MagCalib dense;
    QVERIFY(fit(dense, cloud, targetRadius));
    MagCalib standard;
    std::vector<double> x = toStd(cloud.x);
    std::vector<double> y = toStd(cloud.y);
    std::vector<double> z = toStd(cloud.z);
    QVERIFY(standard.ellipsoidCalibration(x, y, z, targetRadius));
    QVERIFY(sameBits(results(standard), results(dense)));
}

void TestMagCalib::samplesStayUnchanged()
{
    const Cloud cloud = clouds::onEllipsoid(40, {1.0, 2.0, 3.0}, {40.0, 50.0, 60.0});
    Cloud used = cloud;
    MagCalib calib;
    QVERIFY(calib.ellipsoidCalibration(used.x, used.y, used.z, 1.0));
    QVERIFY(used.x == cloud.x && used.y == cloud.y && used.z == cloud.z);

    std::vector<double> x = toStd(cloud.x);
    std::vector<double> y = toStd(cloud.y);
    std::vector<double> z = toStd(cloud.z);
    QVERIFY(calib.ellipsoidCalibration(x, y, z, 1.0));
    QVERIFY(x == toStd(cloud.x) && y == toStd(cloud.y) && z == toStd(cloud.z));
}

void TestMagCalib::secondCallOverwritesAllResults()
{
    const Cloud first = clouds::onEllipsoid(80, {30.0, -30.0, 10.0}, {70.0, 60.0, 50.0}, 0.5, 5);
    const Cloud second = clouds::onEllipsoid(20, {1.0, 2.0, 3.0}, {20.0, 30.0, 40.0}, 0.1, 6);
    MagCalib reused;
    QVERIFY(fit(reused, first));
    for (auto& row : reused.softIron) {
        std::fill(row, row + 3, 99.0);
    }
    QVERIFY(fit(reused, second));
    MagCalib fresh;
    QVERIFY(fit(fresh, second));
    QVERIFY(sameBits(results(reused), results(fresh)));
}

void TestMagCalib::extraSamplesOfTheOtherAxesAreNotRead()
{
    const Cloud cloud = clouds::onEllipsoid(40, {1.0, 2.0, 3.0}, {40.0, 50.0, 60.0}, 0.2, 9);
    Cloud longer = cloud;
    longer.y.conservativeResize(45);
    longer.z.conservativeResize(50);
    longer.y.tail(5).setConstant(std::numeric_limits<double>::quiet_NaN());
    longer.z.tail(10).setConstant(std::numeric_limits<double>::quiet_NaN());
    MagCalib plain;
    MagCalib extended;
    QVERIFY(fit(plain, cloud));
    QVERIFY(fit(extended, longer));
    QVERIFY(sameBits(results(extended), results(plain)));
}

void TestMagCalib::unitOfTheSamplesGoesStraightIn()
{
    Cloud cloud = clouds::onEllipsoid(100, {10.0, 20.0, 30.0}, {40.0, 50.0, 60.0});
    cloud.x *= 16.0;
    cloud.y *= 16.0;
    cloud.z *= 16.0;
    MagCalib calib;
    QVERIFY(fit(calib, cloud));
    compareWithin(calib.center[2], 480.0, 1e-7);
    compareWithin(calib.scale[2], 1.0 / 960.0, 1e-13);
}

void TestMagCalib::eachOperationIsRoundedInItsOrder_data()
{
    QTest::addColumn<int>("count");
    for (int count = 20; count < 220; count += 5) {
        QTest::addRow("%d samples", count) << count;
    }
}

void TestMagCalib::eachOperationIsRoundedInItsOrder()
{
    QFETCH(int, count);
    // Whole numbers: the normal equations are exact, in whatever order they are summed up.
    Cloud cloud = clouds::onEllipsoid(count, {18.5, 24.0, -11.5}, {50.9, 44.6, 49.0}, 2.5,
                                      static_cast<std::uint32_t>(count));
    for (Eigen::VectorXd* const axis : {&cloud.x, &cloud.y, &cloud.z}) {
        *axis = axis->array().round().matrix();
    }

    Eigen::MatrixXd design(count, 6);
    design << cloud.x.cwiseAbs2(), cloud.y.cwiseAbs2(), cloud.z.cwiseAbs2(), cloud.x + cloud.x,
        cloud.y + cloud.y, cloud.z + cloud.z;
    const Eigen::MatrixXd normal = design.transpose() * design;
    const Eigen::VectorXd rightSide = design.transpose() * Eigen::VectorXd::Ones(count);
    const Eigen::MatrixXd inverse = normal.inverse();
    const Eigen::VectorXd v = inverse * rightSide;
    const double a = v[0];
    const double b = v[1];
    const double c = v[2];
    const double d = v[3];
    const double e = v[4];
    const double f = v[5];
    double g2 = d * d / a;
    g2 = g2 + e * e / b;
    g2 = g2 + f * f / c;
    g2 = g2 + 1.0;
    const double reciprocals[3] = {1.0 / a, 1.0 / b, 1.0 / c};
    const std::vector<double> expected = {
        -(reciprocals[0] * d),          -(reciprocals[1] * e),
        -(reciprocals[2] * f),          std::sqrt(reciprocals[0] * g2),
        std::sqrt(reciprocals[1] * g2), std::sqrt(reciprocals[2] * g2)};

    MagCalib calib;
    Vector3d center;
    Eigen::VectorXd radii;
    Eigen::MatrixXd axes;
    calib.ellipsoidFit(cloud.x, cloud.y, cloud.z, &center, &radii, &axes);
    QVERIFY(sameBits({center[0], center[1], center[2], radii[0], radii[1], radii[2]}, expected));

    // The gains are quotients; those of the reciprocal radius would be rounded twice.
    QVERIFY(fit(calib, cloud, 48.3));
    for (int i = 0; i < 3; ++i) {
        QVERIFY(calib.scale[i] == 48.3 / radii[i]);
    }
}

void TestMagCalib::agreesWithTheReferenceInNumpy_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<double>("noise");
    QTest::addColumn<double>("targetRadius");
    for (const int count : {6, 7, 8, 12, 30, 101, 1000, 10000, 100000}) {
        QTest::addRow("%d samples", count) << count << 0.25 << 1.0;
        QTest::addRow("%d samples, much noise", count) << count << (count < 30 ? 0.5 : 2.5) << 48.0;
    }
}

void TestMagCalib::agreesWithTheReferenceInNumpy()
{
    QFETCH(int, count);
    QFETCH(double, noise);
    QFETCH(double, targetRadius);
    const Cloud cloud = clouds::onEllipsoid(count, {18.5, 24.0, -11.5}, {50.9, 44.6, 49.0}, noise,
                                            static_cast<std::uint32_t>(count));

    QTemporaryDir folder;
    const QString path = folder.filePath("cloud");
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    const auto write = [&file](const double* values, Eigen::Index n) {
        file.write(reinterpret_cast<const char*>(values), n * qint64{sizeof(double)});
    };
    write(&targetRadius, 1);
    for (const Eigen::VectorXd* const axis : {&cloud.x, &cloud.y, &cloud.z}) {
        write(axis->data(), axis->size());
    }
    file.close();

    QProcess python;
    python.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    python.start(GRAVIMON_PYTHON, {GRAVIMON_FIT_REFERENCE, path});
    QVERIFY2(python.waitForFinished(60000), qPrintable(python.errorString()));
    QCOMPARE(python.exitStatus(), QProcess::NormalExit);
    QCOMPARE(python.exitCode(), 0);
    const QJsonObject expected = QJsonDocument::fromJson(python.readAllStandardOutput()).object();
    QCOMPARE(expected.size(), 3);

    MagCalib calib;
    QVERIFY(fit(calib, cloud, targetRadius));
    for (int i = 0; i < 3; ++i) {
        const double radius = expected["radii"].toArray()[i].toDouble();
        const double scale = expected["scale"].toArray()[i].toDouble();
        QVERIFY(radius > 10.0);
        compareWithin(calib.center[i], expected["center"].toArray()[i].toDouble(), 1e-9 * radius);
        compareWithin(calib.scale[i], scale, 1e-9 * scale);
    }
}

QTEST_APPLESS_MAIN(TestMagCalib)
#include "tst_magcalib.moc"
