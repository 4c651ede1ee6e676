#include "bench/eeprom_store.h"
#include "bench/virtual_camera.h"
#include "library/the_bench.h"

#include <om_tiv/om_tiv.h>

#include <QtTest>

#include <QTemporaryDir>

#include <Eigen/Dense>

#include <chrono>
#include <cmath>
#include <cstring>
#include <vector>

using namespace std::chrono_literals;
using namespace om::bench;

namespace {

constexpr unsigned int serial = 30000001;
constexpr double degree = pi / 180.0;

struct Fit
{
    Eigen::Vector3d offset;
    Eigen::Vector3d scale;
};

/// The axis-aligned ellipsoid through the readings, by least squares: x' A x + 2 b' x = 1 with a
/// diagonal A.
Fit fitEllipsoid(const std::vector<Eigen::Vector3d>& readings)
{
    Eigen::MatrixXd design(static_cast<Eigen::Index>(readings.size()), 6);
    for (std::size_t i = 0; i < readings.size(); ++i) {
        const Eigen::Vector3d& r = readings[i];
        design.row(static_cast<Eigen::Index>(i)) << r.cwiseProduct(r).transpose(),
            2.0 * r.transpose();
    }
    const Eigen::VectorXd solution = design.colPivHouseholderQr().solve(
        Eigen::VectorXd::Ones(static_cast<Eigen::Index>(readings.size())));
    const Eigen::Vector3d a = solution.head<3>();
    const Eigen::Vector3d offset = -solution.tail<3>().cwiseQuotient(a);
    const double right = 1.0 + offset.cwiseProduct(offset).dot(a);
    return {offset, (a / right).cwiseSqrt()};
}

om::_mag_calib_data toRecord(const Fit& fit)
{
    om::_mag_calib_data record{};
    const Eigen::Vector3f scale = fit.scale.cast<float>();
    const Eigen::Vector3f offset = fit.offset.cast<float>();
    std::memcpy(record.scale, scale.data(), sizeof record.scale);
    std::memcpy(record.offset, offset.data(), sizeof record.offset);
    return record;
}

const Fit neutral{Eigen::Vector3d::Zero(), Eigen::Vector3d::Ones()};

om::Vector3<float> vectorOf(const float (&triple)[3])
{
    return {triple[0], triple[1], triple[2]};
}

} // namespace

class McuCalibrationTest : public QObject
{
    Q_OBJECT

private:
    Bench& m_bench = theBench();
    QTemporaryDir m_state;
    int m_run = 0;
    std::unique_ptr<om::TIVmcu> m_link;

    void start(const std::function<void(CameraConfig&)>& change = nullptr)
    {
        m_link.reset();
        qputenv("OM_TIV_STATE_DIR",
                m_state.path().toLocal8Bit() + "/" + QByteArray::number(m_run++));
        m_bench.reset();
        m_bench.clock().setManual(1'000 * nsPerS);
        CameraConfig config;
        config.model = om::MODEL::TIV_Q;
        config.serialNumber = serial;
        if (change) {
            change(config);
        }
        QVERIFY(m_bench.addCamera(config));
        m_link = std::make_unique<om::TIVmcu>(false, 0x7C15, om::MODEL::TIV_Q, false, "");
        QCOMPARE(m_link->open(serial, false, om::IMU_ODR_400_HZ, nullptr, nullptr, true, false), 0);
        m_link->startCapture(0.0F);
        m_bench.clock().advance(100ms);
    }

    /// Steps the clock and collects every new reading, in uT; calls atReading() after each.
    std::vector<Eigen::Vector3d> sample(std::chrono::milliseconds time,
                                        const std::function<void()>& atReading = nullptr)
    {
        std::vector<Eigen::Vector3d> readings;
        for (std::chrono::milliseconds passed(0); passed < time; passed += 10ms) {
            m_bench.clock().advance(10ms);
            const om::IMUReaderData data = m_link->getIMUReaderData();
            if (data.linkValid == 1 && data.magState == 2) {
                readings.emplace_back(data.mag[0] * 0.0625, data.mag[1] * 0.0625,
                                      data.mag[2] * 0.0625);
                if (atReading) {
                    atReading();
                }
            }
        }
        return readings;
    }

    void store(const Fit& fit)
    {
        om::_mag_calib_data record = toRecord(fit);
        QCOMPARE(m_link->writeMagCalibInEEprom(record), 0);
    }

    struct Errors
    {
        double uncalibrated = 0.0; ///< root mean square, degrees
        double calibrated = 0.0;
    };

    /// Turns the level camera once around and compares both headings with the truth.
    Errors levelTurn()
    {
        Errors sums;
        int count = 0;
        for (int heading = 0; heading < 360; heading += 5, ++count) {
            m_bench.setPose(serial, fromHeading(heading * degree), 0ns);
            m_bench.clock().advance(200ms);
            const om::IMUPose pose = m_link->getIMUPose(6);
            const double truth = m_bench.truth(serial).heading;
            const double calibrated =
                std::remainder(static_cast<double>(pose.heading) - truth, 2.0 * pi);
            const double uncalibrated =
                std::remainder(static_cast<double>(m_link->calcMagHeading(
                                   vectorOf(pose.magUncalibrated), vectorOf(pose.acceleration))) -
                                   truth,
                               2.0 * pi);
            sums.calibrated += calibrated * calibrated;
            sums.uncalibrated += uncalibrated * uncalibrated;
        }
        return {std::sqrt(sums.uncalibrated / count) / degree,
                std::sqrt(sums.calibrated / count) / degree};
    }

private slots:
    void cleanup() { m_link.reset(); }

    // The calibration that a user makes.

    void fittedCalibrationReadsGoodAndPointsNorth()
    {
        start();
        QCOMPARE(int(m_link->getIMUPose(6).headingState), 3);
        const std::vector<Eigen::Vector3d> readings = sample(60s);
        QVERIFY(readings.size() > 2900);
        const Fit fit = fitEllipsoid(readings);
        store(fit);
        const om::IMUPose pose = m_link->getIMUPose(6);
        QCOMPARE(int(pose.headingState), 0); // at once: judged by the readings of the turning
        QVERIFY(pose.headingAccuracy > 0.8F);

        const Errors errors = levelTurn();
        qInfo("level turn: calibrated %.2f, uncalibrated %.2f degrees RMS", errors.calibrated,
              errors.uncalibrated);
        QVERIFY(errors.calibrated < 2.0);
        QVERIFY(errors.uncalibrated > 10.0);
    }

    void fitFindsTheIronOfTheBodyInSensorAxes()
    {
        // Sensor axes 1, 2, 3 are body -y, -x, -z: a swapped axis or a lost sign is detected here.
        start([](CameraConfig& config) {
            config.hardIron = {10.0, 20.0, 30.0};
            config.softIron = {{{1.2, 0.0, 0.0}, {0.0, 0.8, 0.0}, {0.0, 0.0, 1.05}}};
        });
        const Fit fit = fitEllipsoid(sample(60s));
        const double strength = m_bench.field().strength;
        const Eigen::Vector3d offset(-20.0, -10.0, -30.0);
        const Eigen::Vector3d radii = strength * Eigen::Vector3d(0.8, 1.2, 1.05);
        QVERIFY((fit.offset - offset).cwiseAbs().maxCoeff() < 0.3);
        QVERIFY((fit.scale.cwiseInverse() - radii).cwiseAbs().maxCoeff() < 0.3);
    }

    void neutralStoreEndsTheCalibration()
    {
        start();
        store(fitEllipsoid(sample(60s)));
        QCOMPARE(int(m_link->getIMUPose(6).headingState), 0);
        Fit reset = neutral;
        reset.offset[1] = -0.0; // as the dialog writes it
        store(reset);
        const om::IMUPose pose = m_link->getIMUPose(6);
        QCOMPARE(int(pose.headingState), 3);
        QCOMPARE(float(pose.headingAccuracy), 0.0F);
        QCOMPARE(float(pose.heading), m_link->calcMagHeading(vectorOf(pose.magUncalibrated),
                                                             vectorOf(pose.acceleration)));
    }

    void calibrationIsGoodAtOnceAfterOpeningAgain()
    {
        start();
        store(fitEllipsoid(sample(60s)));
        m_link->close();
        m_bench.clock().advance(5s);
        QCOMPARE(m_link->open(serial, false, om::IMU_ODR_400_HZ, nullptr, nullptr, true, false), 0);
        m_link->startCapture(0.0F);
        QCOMPARE(int(m_link->getIMUPose(6).headingState), 0);
    }

    void everyMomentOfTheTumbleProvesAGoodCalibration()
    {
        start();
        store(fitEllipsoid(sample(60s)));
        int other = 0;
        for (int i = 0; i < 240; ++i) {
            sample(500ms);
            other += m_link->getIMUPose(6).headingState != 0 ? 1 : 0;
        }
        QCOMPARE(other, 0);
    }

    void provenCalibrationStaysGoodAtRest()
    {
        start();
        store(fitEllipsoid(sample(60s)));
        QCOMPARE(int(m_link->getIMUPose(6).headingState), 0);
        m_bench.setPose(serial, fromHeading(1.0, 0.3, -0.2), 1s);
        for (int i = 0; i < 60; ++i) {
            sample(1s);
            QCOMPARE(int(m_link->getIMUPose(6).headingState), 0);
        }
    }

    void wrongCalibrationDoesNotReadGood_data()
    {
        QTest::addColumn<QString>("mistake");
        for (const char* mistake :
             {"axes 1 and 2 swapped", "axes 2 and 3 swapped", "sign of axis 1 lost",
              "sign of axis 2 lost", "sign of axis 3 lost", "offset of axis 1 off by 3 uT",
              "offset of axis 2 off by 3 uT", "offset of axis 3 off by 3 uT",
              "scale of axis 1 off by 10 %", "scale of axis 2 off by 10 %",
              "scale of axis 3 off by 10 %", "no offset", "negative scale", "not a number",
              "of a camera in a stronger field"}) {
            QTest::newRow(mistake) << mistake;
        }
    }
    void wrongCalibrationDoesNotReadGood()
    {
        QFETCH(QString, mistake);
        start();
        const Fit right = fitEllipsoid(sample(60s));
        Fit wrong = right;
        const int axis = mistake.contains("axis 1") ? 0 : mistake.contains("axis 2") ? 1 : 2;
        if (mistake.contains("swapped")) {
            const int first = mistake.startsWith("axes 1") ? 0 : 1;
            std::swap(wrong.offset[first], wrong.offset[first + 1]);
            std::swap(wrong.scale[first], wrong.scale[first + 1]);
        } else if (mistake.startsWith("sign")) {
            wrong.offset[axis] *= -1.0;
        } else if (mistake.startsWith("offset")) {
            wrong.offset[axis] += 3.0;
        } else if (mistake.startsWith("scale")) {
            wrong.scale[axis] *= 1.1;
        } else if (mistake == "no offset") {
            wrong.offset.setZero();
        } else if (mistake == "negative scale") {
            wrong.scale[0] *= -1.0;
        } else if (mistake == "not a number") {
            wrong.scale[2] = std::nan("");
        } else {
            wrong.scale /= 1.3;
        }
        store(wrong);
        for (int i = 0; i < 70; ++i) {
            const int state = m_link->getIMUPose(6).headingState;
            QVERIFY2(state == 1 || state == 2, qPrintable(QString::number(state)));
            sample(1s);
        }
        store(right);
        QCOMPARE(int(m_link->getIMUPose(6).headingState), 0);
    }

    void poorCalibrationDoesNotReadGoodAtRest()
    {
        start([](CameraConfig& config) { config.motion = MOTION::AT_REST; });
        Fit wrong = neutral;
        wrong.scale *= 1.0 / 48.0;
        wrong.offset << 24.0, -18.5, 0.0;
        store(wrong);
        for (int i = 0; i < 40; ++i) {
            QVERIFY(m_link->getIMUPose(6).headingState != 0);
            sample(1s);
        }
    }

    void disturbanceDoesNotReadGood_data()
    {
        QTest::addColumn<bool>("rest");
        QTest::addColumn<double>("strength");
        for (const double strength : {10.0, 30.0, 200.0}) {
            QTest::addRow("%g uT, turning", strength) << false << strength;
            QTest::addRow("%g uT, at rest", strength) << true << strength;
        }
    }
    void disturbanceDoesNotReadGood()
    {
        QFETCH(bool, rest);
        QFETCH(double, strength);
        start();
        store(fitEllipsoid(sample(60s)));
        if (rest) {
            m_bench.setPose(serial, fromHeading(2.0), 1s);
            sample(10s);
        }
        QCOMPARE(int(m_link->getIMUPose(6).headingState), 0);
        m_bench.changeFaults(serial,
                             [strength](Faults& faults) { faults.magneticDisturbance = strength; });
        sample(10s);
        for (int i = 0; i < 30; ++i) {
            QVERIFY(m_link->getIMUPose(6).headingState != 0);
            sample(1s);
        }
    }

    void endOfADisturbanceReadsGoodAgainOnceTheCameraIsTurned()
    {
        start();
        store(fitEllipsoid(sample(60s)));
        m_bench.changeFaults(serial, [](Faults& faults) { faults.magneticDisturbance = 30.0; });
        sample(10s);
        QVERIFY(m_link->getIMUPose(6).headingState != 0);
        m_bench.setFaults(serial, {});
        sample(35s);
        QCOMPARE(int(m_link->getIMUPose(6).headingState), 0);
    }

    void saturationDoesNotReadGood()
    {
        start();
        store(fitEllipsoid(sample(60s)));
        m_bench.changeFaults(serial, [](Faults& faults) { faults.magnetometerSaturated = true; });
        sample(100ms);
        for (int i = 0; i < 40; ++i) {
            const om::IMUPose pose = m_link->getIMUPose(6);
            QCOMPARE(int(pose.headingState), 2);
            QCOMPARE(float(pose.headingAccuracy), 0.0F);
            sample(1s);
        }
    }

    void shortSaturationIsForgottenSoon()
    {
        start();
        store(fitEllipsoid(sample(60s)));
        m_bench.changeFaults(serial, [](Faults& faults) { faults.magnetometerSaturated = true; });
        sample(100ms);
        QCOMPARE(int(m_link->getIMUPose(6).headingState), 2);
        m_bench.setFaults(serial, {});
        sample(2500ms);
        QCOMPARE(int(m_link->getIMUPose(6).headingState), 0);
    }

    // Axes and signs.

    // A field of 50 uT with a dip of 60 degrees, so 25 uT to magnetic north and 43.3 uT down,
    // without errors: the reading of each axis can be computed by hand.
    void axisReadsItsPartOfTheField_data()
    {
        QTest::addColumn<double>("heading"); // degrees
        QTest::addColumn<double>("pitch");
        QTest::addColumn<double>("roll");
        QTest::addColumn<QVector<double>>("field");
        QTest::addColumn<QVector<double>>("up"); // of the force, in g
        const double h = 25.0;
        const double v = 43.301270189;
        using V = QVector<double>;
        QTest::newRow("level, looking north")
            << 0.0 << 0.0 << 0.0 << V{v, 0.0, h} << V{-1.0, 0.0, 0.0};
        QTest::newRow("level, looking east: north is on the left")
            << 90.0 << 0.0 << 0.0 << V{v, h, 0.0} << V{-1.0, 0.0, 0.0};
        QTest::newRow("level, looking south")
            << 180.0 << 0.0 << 0.0 << V{v, 0.0, -h} << V{-1.0, 0.0, 0.0};
        QTest::newRow("level, looking west")
            << 270.0 << 0.0 << 0.0 << V{v, -h, 0.0} << V{-1.0, 0.0, 0.0};
        QTest::newRow("nose up, belly to the north")
            << 0.0 << 90.0 << 0.0 << V{h, 0.0, -v} << V{0.0, 0.0, 1.0};
        QTest::newRow("nose down, back to the north")
            << 0.0 << -90.0 << 0.0 << V{-h, 0.0, v} << V{0.0, 0.0, -1.0};
        QTest::newRow("on its right side, looking north")
            << 0.0 << 0.0 << 90.0 << V{0.0, -v, h} << V{0.0, 1.0, 0.0};
        QTest::newRow("on its left side, looking north")
            << 0.0 << 0.0 << -90.0 << V{0.0, v, h} << V{0.0, -1.0, 0.0};
        QTest::newRow("upside down, looking north")
            << 0.0 << 0.0 << 180.0 << V{-v, 0.0, h} << V{1.0, 0.0, 0.0};
    }
    void axisReadsItsPartOfTheField()
    {
        QFETCH(double, heading);
        QFETCH(double, pitch);
        QFETCH(double, roll);
        QFETCH(QVector<double>, field);
        QFETCH(QVector<double>, up);
        start([](CameraConfig& config) {
            config.hardIron = {};
            config.softIron = identity3;
            config.errors = SensorErrors::none();
        });
        m_bench.setField({50.0, 60.0, 0.0});
        m_bench.setPose(serial, fromHeading(heading * degree, pitch * degree, roll * degree), 0ns);
        sample(1s);
        m_bench.clock().advance(50ms);
        const om::IMUReaderData data = m_link->getIMUReaderData();
        const om::IMUPose pose = m_link->getIMUPose(6);
        for (int axis = 0; axis < 3; ++axis) {
            QVERIFY2(std::abs(data.mag[axis] * 0.0625 - field[axis]) < 0.04,
                     qPrintable(QString("axis %1: %2").arg(axis + 1).arg(data.mag[axis] * 0.0625)));
            QVERIFY(std::abs(data.acceleration[axis] / 4096.0 - up[axis]) < 0.002);
            QVERIFY(std::abs(static_cast<double>(pose.acceleration[axis]) - 9.80665 * up[axis]) <
                    0.01);
        }
        if (pitch == 0.0) {
            const double error =
                std::remainder(static_cast<double>(m_link->calcMagHeading(
                                   vectorOf(pose.magUncalibrated), vectorOf(pose.acceleration))) -
                                   heading * degree,
                               2.0 * pi);
            QVERIFY(std::abs(error) < 0.2 * degree);
        }
    }

    void hardIronOffsetsItsOwnAxis_data()
    {
        QTest::addColumn<QVector<double>>("iron"); // body
        QTest::addColumn<int>("axis");             // sensor
        QTest::newRow("x: right") << QVector<double>{16.0, 0.0, 0.0} << 1;
        QTest::newRow("y: up") << QVector<double>{0.0, 16.0, 0.0} << 0;
        QTest::newRow("z: backward") << QVector<double>{0.0, 0.0, 16.0} << 2;
    }
    void hardIronOffsetsItsOwnAxis()
    {
        QFETCH(QVector<double>, iron);
        QFETCH(int, axis);
        start([&iron](CameraConfig& config) {
            config.hardIron = {iron[0], iron[1], iron[2]};
            config.softIron = identity3;
            config.errors = SensorErrors::none();
            config.motion = MOTION::AT_REST;
        });
        m_bench.setField({50.0, 60.0, 0.0});
        m_bench.clock().advance(100ms);
        const om::IMUReaderData data = m_link->getIMUReaderData();
        const double expected[3] = {43.301, 0.0, 25.0};
        for (int i = 0; i < 3; ++i) {
            const double offset = i == axis ? -16.0 : 0.0;
            QVERIFY(std::abs(data.mag[i] * 0.0625 - expected[i] - offset) < 0.04);
        }
    }

    // The same calibration for om::Camera.

    void storedCalibrationReachesTheCamerasField()
    {
        start();
        const Fit fit = fitEllipsoid(sample(60s));
        store(fit);
        m_link->close();
        om::Camera camera;
        om::InitParameters parameters;
        parameters.coordinateSystem = om::COORDINATE_SYSTEM::RIGHT_HANDED_Y_UP;
        parameters.input.setFromSerialNumber(serial, om::BUS_TYPE::USB);
        QCOMPARE(camera.open(parameters), om::ERROR_CODE::SUCCESS);
        double strongest = 0.0;
        double weakest = 1e9;
        for (int i = 0; i < 60; ++i) {
            m_bench.clock().advance(1s);
            om::SensorsData data;
            QCOMPARE(camera.getSensorsData(data, om::TIME_REFERENCE::CURRENT),
                     om::ERROR_CODE::SUCCESS);
            const om::Vector3<float> raw = data.magnetometer.magneticFieldUncalibrated;
            const om::Vector3<float> field = data.magnetometer.magneticFieldCalibrated;
            const double radius = 1.0 / std::cbrt(fit.scale.prod());
            const auto corrected = [&](double value, int axis) {
                return radius * fit.scale[axis] * (value - fit.offset[axis]);
            };
            // Body x, y, z are sensor axes 2, 1, 3 reversed.
            QVERIFY(std::abs(-corrected(-static_cast<double>(raw.x), 1) -
                             static_cast<double>(field.x)) < 1e-3);
            QVERIFY(std::abs(-corrected(-static_cast<double>(raw.y), 0) -
                             static_cast<double>(field.y)) < 1e-3);
            QVERIFY(std::abs(-corrected(-static_cast<double>(raw.z), 2) -
                             static_cast<double>(field.z)) < 1e-3);
            const double strength =
                length({static_cast<double>(field.x), static_cast<double>(field.y),
                        static_cast<double>(field.z)});
            strongest = std::max(strongest, strength);
            weakest = std::min(weakest, strength);
        }
        QVERIFY2(strongest / weakest < 1.06,
                 qPrintable(QString("%1 to %2 uT").arg(weakest).arg(strongest)));
    }

    void neutralCalibrationLeavesBothFieldsOfTheCameraEqual()
    {
        start();
        store(neutral);
        m_link->close();
        om::Camera camera;
        om::InitParameters parameters;
        parameters.input.setFromSerialNumber(serial, om::BUS_TYPE::USB);
        QCOMPARE(camera.open(parameters), om::ERROR_CODE::SUCCESS);
        m_bench.clock().advance(1s);
        om::SensorsData data;
        QCOMPARE(camera.getSensorsData(data, om::TIME_REFERENCE::CURRENT), om::ERROR_CODE::SUCCESS);
        const om::Vector3<float> raw = data.magnetometer.magneticFieldUncalibrated;
        const om::Vector3<float> field = data.magnetometer.magneticFieldCalibrated;
        QVERIFY(raw.x != 0.0F);
        QCOMPARE(field.x, raw.x);
        QCOMPARE(field.y, raw.y);
        QCOMPARE(field.z, raw.z);
    }
};

QTEST_GUILESS_MAIN(McuCalibrationTest)
#include "tst_mcu_calibration.moc"
