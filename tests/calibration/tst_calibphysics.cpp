/// A calibration from the first sample to the EEPROM, with a camera whose errors are known.

#include "calibration/dialogfixture.h"
#include "support/amount.h"
#include "support/waiting.h"

#include "world/geometry.h"
#include "world/heading.h"
#include "world/sensor_source.h"

#include <QtTest>

#include <cmath>

using om::bench::Bench;
using om::bench::CALL;
using om::bench::CameraConfig;
using om::bench::Faults;
using om::bench::MOTION;
using om::bench::nsPerS;
using om::bench::STREAM;
using om::bench::theBench;
using om::bench::Vector;

Q_DECLARE_METATYPE(om::MODEL)

namespace {

/// Degrees between two headings.
double between(double a, double b)
{
    return std::remainder(a - b, 360.0);
}

} // namespace

class TestCalibPhysics : public QObject
{
    Q_OBJECT

private slots:
    void calibrationFindsTheTruthAndServesTheCompass_data();
    void calibrationFindsTheTruthAndServesTheCompass();
    void exchangedAxesOrSignsWouldShow_data();
    void exchangedAxesOrSignsWouldShow();

private:
    void setUp(const CameraConfig& config);
    void open();
    void close();
    void press(QPushButton* button, const QString& answer = QString());
    /// Advances the bench's time, with every reading handled.
    void pass(std::chrono::milliseconds time);
    void waitForStatus(const char* word);

    Bench& m_bench = theBench();
    MessageBoxes m_boxes;
    unsigned int m_serial = 0;
    std::unique_ptr<MagCalibDlg> m_dialog;
    std::unique_ptr<MagCalibDlgProbe> m_probe;
};

void TestCalibPhysics::setUp(const CameraConfig& config)
{
    m_bench.reset();
    m_bench.clock().setManual(1'000 * nsPerS);
    QVERIFY(m_bench.addCamera(config));
    m_serial = config.serialNumber;
}

void TestCalibPhysics::open()
{
    // The thread has a reading from its first read on: without one it would give up by itself.
    m_bench.log().setHook([this](const auto& record) {
        if (record.call == CALL::MCU_START_CAPTURE) {
            m_bench.clock().advance(std::chrono::milliseconds(50));
        }
    });
    m_dialog = std::make_unique<MagCalibDlg>(static_cast<int>(m_serial), nullptr);
    m_probe = std::make_unique<MagCalibDlgProbe>(MagCalibDlgProbe{*m_dialog});
    m_dialog->show();
    QTRY_VERIFY(m_probe->running());
    m_bench.log().setHook(nullptr);
}

void TestCalibPhysics::close()
{
    press(m_probe->ui->pushButton_exit);
    QVERIFY(!m_dialog->isVisible());
    m_probe.reset();
    m_dialog.reset();
}

void TestCalibPhysics::press(QPushButton* button, const QString& answer)
{
    const int seen = m_boxes.seen.size();
    if (!answer.isEmpty()) {
        m_boxes.expect(answer);
    }
    QVERIFY(button->isEnabled());
    QTest::mouseClick(button, Qt::LeftButton);
    QCOMPARE(m_boxes.seen.size(), seen + (answer.isEmpty() ? 0 : 1));
    QCOMPARE(m_boxes.unexpected, 0);
}

void TestCalibPhysics::pass(std::chrono::milliseconds time)
{
    const auto source = m_bench.camera(m_serial)->source();
    m_bench.log().setHighRate(true);
    constexpr std::chrono::milliseconds step(15); // readings arrive about every 20 ms
    for (std::chrono::milliseconds passed{0}; passed < time; passed += step) {
        const auto before = source->newest(STREAM::MAGNETOMETER, m_bench.clock().now());
        m_bench.log().clear();
        m_bench.clock().advance(step);
        if (source->newest(STREAM::MAGNETOMETER, m_bench.clock().now()) == before) {
            continue;
        }
        // One heading is computed for each new reading.
        QVERIFY(waiting::waitFor(
            [this] { return m_bench.log().count(CALL::MCU_CALC_MAG_HEADING) > 0; }));
        // The next read means that this reading has been handled.
        const std::uint64_t reads = m_bench.log().count(CALL::MCU_GET_READER_DATA);
        QVERIFY(waiting::waitFor(
            [this, reads] { return m_bench.log().count(CALL::MCU_GET_READER_DATA) > reads; }));
        QCoreApplication::processEvents();
    }
    m_bench.log().setHighRate(false);
}

void TestCalibPhysics::waitForStatus(const char* word)
{
    QTRY_COMPARE(m_probe->ui->label_mag_calib_quality->text(), QString(word));
}

void TestCalibPhysics::calibrationFindsTheTruthAndServesTheCompass_data()
{
    QTest::addColumn<om::MODEL>("model");
    QTest::addColumn<unsigned int>("serial");
    QTest::addColumn<QVector<double>>("hardIron"); // uT, body
    QTest::addColumn<QVector<double>>("softIron"); // gains, body
    QTest::newRow("TIV_Q") << om::MODEL::TIV_Q << 31415926U << QVector<double>{18.5, -24.0, 11.5}
                           << QVector<double>{1.06, 0.93, 1.02};
    QTest::newRow("TIV_P, other iron")
        << om::MODEL::TIV_P << 27182818U << QVector<double>{-31.0, 8.0, 27.0}
        << QVector<double>{0.88, 1.12, 0.97};
}

void TestCalibPhysics::calibrationFindsTheTruthAndServesTheCompass()
{
    QFETCH(om::MODEL, model);
    QFETCH(unsigned int, serial);
    QFETCH(QVector<double>, hardIron);
    QFETCH(QVector<double>, softIron);
    CameraConfig config;
    config.model = model;
    config.serialNumber = serial;
    config.motion = MOTION::TUMBLE;
    config.hardIron = {hardIron[0], hardIron[1], hardIron[2]};
    config.softIron = {{{softIron[0], 0.0, 0.0}, {0.0, softIron[1], 0.0}, {0.0, 0.0, softIron[2]}}};
    setUp(config);
    open();
    if (QTest::currentTestFailed()) {
        return; // no reading would ever come
    }
    pass(std::chrono::seconds(2));
    waitForStatus("MAG. NOT CALIBRATED");
    QCOMPARE(m_probe->headingCalib, m_probe->headingUncalib);

    // Sixty seconds of tumbling.
    press(m_probe->ui->pushButton_start, "Ok");
    pass(std::chrono::seconds(60));
    press(m_probe->ui->pushButton_start, "Ok");
    QVERIFY(m_probe->samples() > 2900);
    waitForStatus("CALIBRATION TO BE STORED");

    // The dialog's X is the body's x, its Y and Z the body's -y and -z.
    const double strength = m_bench.field().strength;
    const double offset[] = {hardIron[0], -hardIron[1], -hardIron[2]};
    for (std::size_t i = 0; i < 3; ++i) {
        const double radius = strength * softIron[static_cast<int>(i)];
        qInfo("axis %zu: offset %+.3f uT off, scale %+.3f %% off", i,
              m_probe->magOffset[i] - offset[i], 100.0 * (m_probe->magScale[i] * radius - 1.0));
        QVERIFY(std::abs(m_probe->magOffset[i] - offset[i]) < 0.5);
        QVERIFY(std::abs(m_probe->magScale[i] * radius - 1.0) < 0.01);
    }

    press(m_probe->ui->pushButton_save_calib, "Ok");
    QVERIFY(!m_probe->calibrationPending);
    close();

    // Reopened, it shows GOOD.
    open();
    if (QTest::currentTestFailed()) {
        return; // no reading would ever come
    }
    pass(std::chrono::seconds(60));
    waitForStatus("GOOD");

    // A level turn.
    double calibratedSquares = 0.0;
    double uncalibratedSquares = 0.0;
    constexpr int poses = 72;
    for (int i = 0; i < poses; ++i) {
        m_bench.setPose(serial, om::bench::fromHeading(2.0 * om::bench::pi * i / poses));
        pass(std::chrono::milliseconds(600));
        const double truth = m_bench.truth(serial).heading * 180.0 / om::bench::pi;
        calibratedSquares += std::pow(between(m_probe->headingCalib, truth), 2);
        uncalibratedSquares += std::pow(between(m_probe->headingUncalib, truth), 2);
    }
    const double calibrated = std::sqrt(calibratedSquares / poses);
    const double uncalibrated = std::sqrt(uncalibratedSquares / poses);
    qInfo("level turn: calibrated %.2f degrees off, uncalibrated %.2f", calibrated, uncalibrated);
    QVERIFY(calibrated < 2.0);
    QVERIFY(uncalibrated > 10.0);
    waitForStatus("GOOD");

    // A motor nearby.
    m_bench.changeFaults(serial, [](Faults& faults) { faults.magneticDisturbance = 30.0; });
    pass(std::chrono::seconds(5));
    const auto quality = [this] { return m_probe->ui->label_mag_calib_quality->text(); };
    QTRY_VERIFY2(quality() == "OK" || quality() == "NOT GOOD", qPrintable(quality()));
    m_bench.changeFaults(serial, [](Faults& faults) { faults.magneticDisturbance = 0.0; });

    // Back to where it began.
    press(m_probe->ui->pushButton_reset, "Yes");
    pass(std::chrono::seconds(2));
    waitForStatus("MAG. NOT CALIBRATED");
    QVERIFY(m_probe->headingCalib == m_probe->headingUncalib);
    QTRY_COMPARE(m_probe->ui->widget_calib_compass->value(), m_probe->headingUncalib);
    QCOMPARE(m_probe->ui->widget_raw_compass->value(), m_probe->ui->widget_calib_compass->value());
    QVERIFY(m_bench.calibration(serial).isNeutral());
    close();
    QCOMPARE(m_boxes.open(), 0);
}

void TestCalibPhysics::exchangedAxesOrSignsWouldShow_data()
{
    QTest::addColumn<int>("axis"); // of the body that has all the iron
    QTest::addColumn<double>("sign");
    for (int axis = 0; axis < 3; ++axis) {
        for (const double sign : {-1.0, 1.0}) {
            if (amount::divisor > 1 && sign < 0.0) {
                continue;
            }
            QTest::addRow("body %c, %+.0f", "xyz"[axis], sign) << axis << sign;
        }
    }
}

void TestCalibPhysics::exchangedAxesOrSignsWouldShow()
{
    QFETCH(int, axis);
    QFETCH(double, sign);
    double iron[3] = {};
    double gain[3] = {1.0, 1.0, 1.0};
    iron[axis] = 25.0 * sign;
    gain[axis] = 1.2;
    CameraConfig config;
    config.serialNumber = 30000000U + static_cast<unsigned int>(axis) * 2U + (sign > 0.0 ? 1U : 0U);
    config.motion = MOTION::TUMBLE;
    config.hardIron = {iron[0], iron[1], iron[2]};
    config.softIron = {{{gain[0], 0.0, 0.0}, {0.0, gain[1], 0.0}, {0.0, 0.0, gain[2]}}};
    setUp(config);
    open();
    if (QTest::currentTestFailed()) {
        return; // no reading would ever come
    }
    pass(std::chrono::seconds(1));
    press(m_probe->ui->pushButton_start, "Ok");
    pass(std::chrono::seconds(20)); // tumbling through all orientations
    press(m_probe->ui->pushButton_start, "Ok");
    press(m_probe->ui->pushButton_save_calib, "Ok");

    // The content of the EEPROM, in the axes of the sensor: 1 down, 2 left, 3 forward.
    const om::bench::MagCalibration stored = m_bench.calibration(config.serialNumber);
    const Vector offset = om::bench::toSensorAxes(config.hardIron);
    const double offsets[] = {offset.x, offset.y, offset.z};
    const double gains[] = {gain[1], gain[0], gain[2]};
    const double strength = m_bench.field().strength;
    for (std::size_t i = 0; i < 3; ++i) {
        QVERIFY(std::abs(static_cast<double>(stored.offset[i]) - offsets[i]) < 0.5);
        QVERIFY(std::abs(static_cast<double>(stored.scale[i]) * strength * gains[i] - 1.0) < 0.01);
    }
    close();
}

QTEST_MAIN(TestCalibPhysics)
#include "tst_calibphysics.moc"
