#include "bench/bench.h"
#include "bench/eeprom.h"
#include "bench/virtual_camera.h"

#include <om_tiv/om_tiv.h>

#include <QtTest>

#include <QTemporaryDir>

#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

using namespace std::chrono_literals;
using namespace om::bench;

Q_DECLARE_METATYPE(om::MODEL)

namespace {

constexpr unsigned short vendor = 0x7C15;
constexpr unsigned int serial = 30000001;
constexpr unsigned int otherSerial = 20000001;

constexpr int toInt(om::ERROR_CODE code)
{
    return static_cast<int>(code);
}

om::_mag_calib_data makeRecord(float s1, float s2, float s3, float o1, float o2, float o3)
{
    om::_mag_calib_data record;
    record.reserved = 0xA5;
    const float scale[3] = {s1, s2, s3};
    const float offset[3] = {o1, o2, o3};
    std::memcpy(record.scale, scale, sizeof scale);
    std::memcpy(record.offset, offset, sizeof offset);
    return record;
}

/// A link made and opened as the calibration dialog does it.
class Link : public om::TIVmcu
{
public:
    explicit Link(om::MODEL model = om::MODEL::TIV_Q) : TIVmcu(false, vendor, model, false, "") {}

    int openIt(unsigned int number = serial)
    {
        return open(number, false, om::IMU_ODR_400_HZ, nullptr, nullptr, true, false);
    }
    std::vector<float> stored() const { return {storedMagCalib, storedMagCalib + 6}; }
};

const std::vector<float> neutralRecord{1.0F, 1.0F, 1.0F, 0.0F, 0.0F, 0.0F};

} // namespace

class McuTest : public QObject
{
    Q_OBJECT

private:
    Bench& m_bench = Bench::instance();

    void addCamera(unsigned int number, om::MODEL model,
                   const std::function<void(CameraConfig&)>& change = nullptr)
    {
        CameraConfig config;
        config.model = model;
        config.serialNumber = number;
        if (change) {
            change(config);
        }
        QVERIFY(m_bench.addCamera(config));
    }

private slots:
    void init()
    {
        m_bench.reset();
        m_bench.clock().setManual(1'000 * NS_PER_S);
        const QByteArray folder = QTest::currentTestFunction();
        // Each test has cameras that were never calibrated.
        qputenv("OM_TIV_STATE_DIR",
                m_state.path().toLocal8Bit() + "/" + folder + QByteArray::number(m_run++));
        m_bench.reset();
        m_bench.clock().setManual(1'000 * NS_PER_S);
        addCamera(serial, om::MODEL::TIV_Q);
        m_bench.clock().advance(100ms);
    }

    // ---- Records ------------------------------------------------------------------------------

    void recordsHaveTheirByteOffsets()
    {
        unsigned char bytes[sizeof(om::IMUReaderData)];
        std::memset(bytes, 0, sizeof bytes);
        bytes[0] = 1;
        bytes[2] = 0x39; // 1337 ticks
        bytes[3] = 0x05;
        bytes[30] = 2;
        bytes[31] = 100;
        bytes[33] = 200;
        bytes[35] = 0xD4; // -300
        bytes[36] = 0xFE;
        om::IMUReaderData data;
        std::memcpy(&data, bytes, sizeof data);
        QCOMPARE(int(data.linkValid), 1);
        QCOMPARE(quint64(data.timestamp), quint64(1337));
        QCOMPARE(int(data.magState), 2);
        QCOMPARE(int(data.mag[0]), 100);
        QCOMPARE(int(data.mag[1]), 200);
        QCOMPARE(int(data.mag[2]), -300);

        const auto offsetOf = [](const void* record, const void* field) {
            return static_cast<const char*>(field) - static_cast<const char*>(record);
        };
        const om::IMUPose pose;
        QCOMPARE(offsetOf(&pose, &pose.acceleration), 124);
        QCOMPARE(offsetOf(&pose, &pose.magUncalibrated), 236);
        QCOMPARE(offsetOf(&pose, &pose.headingState), 260);
        QCOMPARE(offsetOf(&pose, &pose.headingAccuracy), 264);
        QCOMPARE(offsetOf(&pose, &pose.heading), 268);
        const om::_mag_calib_data calib = makeRecord(1, 2, 3, 4, 5, 6);
        QCOMPARE(offsetOf(&calib, &calib.scale), 1);
        QCOMPARE(offsetOf(&calib, &calib.offset), 13);
    }

    // ---- Opening ------------------------------------------------------------------------------

    void linkOpensAndCloses()
    {
        Link link;
        QCOMPARE(link.openIt(), 0);
        QVERIFY(m_bench.status()[0].inUse);
        QVERIFY(!link.captureRunning);
        link.close();
        QVERIFY(!m_bench.status()[0].inUse);
        QCOMPARE(link.openIt(), 0);
    }

    void destructorCloses()
    {
        {
            Link link;
            QCOMPARE(link.openIt(), 0);
        }
        QVERIFY(!m_bench.status()[0].inUse);
        QCOMPARE(m_bench.log().count(CALL::MCU_CLOSE), std::uint64_t(1));
    }

    void openingAgainClosesFirst()
    {
        addCamera(otherSerial, om::MODEL::TIV_P);
        Link link;
        QCOMPARE(link.openIt(), 0);
        link.startCapture(0.0F);
        QCOMPARE(link.openIt(), 0);
        QVERIFY(!link.captureRunning);
        QCOMPARE(link.openIt(otherSerial), 0);
        QVERIFY(!m_bench.status()[0].inUse);
        QVERIFY(m_bench.status()[1].inUse);
        QCOMPARE(link.openIt(12345), toInt(om::ERROR_CODE::NOT_DETECTED));
        QVERIFY(!m_bench.status()[1].inUse);
    }

    void openIsRefused_data()
    {
        QTest::addColumn<om::MODEL>("model");
        QTest::addColumn<QString>("why");
        QTest::addColumn<int>("result");
        const auto row = [](const char* name, om::MODEL model, const char* why,
                            om::ERROR_CODE code) {
            QTest::newRow(name) << model << why << toInt(code);
        };
        using E = om::ERROR_CODE;
        using M = om::MODEL;
        row("not on the bench", M::TIV_Q, "missing", E::NOT_DETECTED);
        row("unplugged", M::TIV_Q, "unplugged", E::NOT_DETECTED);
        row("another vendor's id", M::TIV_Q, "vendor", E::NOT_DETECTED);
        row("another device's path", M::TIV_Q, "path", E::NOT_DETECTED);
        row("model without sensors", M::TIV, "", E::NOT_DETECTED);
        row("model on the serial bus", M::TIV_R, "", E::NOT_DETECTED);
        row("the other model on the serial bus", M::TIV_S, "", E::NOT_DETECTED);
        row("boot loader", M::TIV_Q, "bootloader", E::INVALID_INPUT);
        row("in use by a link", M::TIV_Q, "link", E::IN_USE);
        row("in use by a camera", M::TIV_Q, "camera", E::IN_USE);
        row("refused", M::TIV_Q, "refused", E::FAILURE);
        row("silent", M::TIV_Q, "silent", E::TIMEOUT);
    }
    void openIsRefused()
    {
        QFETCH(om::MODEL, model);
        QFETCH(QString, why);
        QFETCH(int, result);
        addCamera(otherSerial, model, [](CameraConfig& config) { config.id = 7; });
        if (why == "unplugged") {
            m_bench.unplug(otherSerial);
        }
        m_bench.changeFaults(otherSerial, [&why](Faults& faults) {
            faults.mcuOpenRefused = why == "refused";
            faults.mcuSilent = why == "silent";
        });
        Link other;
        if (why == "link") {
            QCOMPARE(other.openIt(otherSerial), 0);
        }
        om::Camera camera;
        if (why == "camera") {
            om::InitParameters parameters;
            parameters.input.setFromSerialNumber(otherSerial, om::BUS_TYPE::USB);
            QCOMPARE(camera.open(parameters), om::ERROR_CODE::SUCCESS);
        }
        om::TIVmcu link(false, why == "vendor" ? 0x1234 : vendor, model, why == "bootloader",
                        why == "path" ? "bench:1" : "");
        QCOMPARE(link.open(why == "missing" ? 99 : otherSerial, false, om::IMU_ODR_400_HZ, nullptr,
                           nullptr, true, false),
                 result);
        // The refused link has taken nothing.
        link.startCapture(0.0F);
        QVERIFY(!link.captureRunning);
        QCOMPARE(int(link.getIMUReaderData().linkValid), 0);
        m_bench.setFaults(otherSerial, {});
        other.close();
        camera.close();
        const bool opens = why == "refused" || why == "silent" || why == "link" || why == "camera";
        if (opens) {
            QCOMPARE(
                link.open(otherSerial, false, om::IMU_ODR_400_HZ, nullptr, nullptr, true, false),
                0);
        }
    }

    void cameraCannotOpenWhileTheLinkIsOpen()
    {
        Link link;
        QCOMPARE(link.openIt(), 0);
        om::Camera camera;
        om::InitParameters parameters;
        parameters.input.setFromSerialNumber(serial, om::BUS_TYPE::USB);
        QCOMPARE(camera.open(parameters), om::ERROR_CODE::IN_USE);
        link.close();
        QCOMPARE(camera.open(parameters), om::ERROR_CODE::SUCCESS);
    }

    void pathFindsTheDeviceOfItsSerialNumber()
    {
        om::TIVmcu link(false, vendor, om::MODEL::TIV_Q, false, "bench:30000001");
        QCOMPARE(link.open(serial, false, om::IMU_ODR_400_HZ, nullptr, nullptr, true, false), 0);
    }

    // ---- Reader records -----------------------------------------------------------------------

    void readerRecordIsInvalidWithoutAStream_data()
    {
        QTest::addColumn<QString>("why");
        for (const char* why : {"not open", "capture not started", "closed", "silent", "unplugged",
                                "unplugged and plugged again"}) {
            QTest::newRow(why) << why;
        }
    }
    void readerRecordIsInvalidWithoutAStream()
    {
        QFETCH(QString, why);
        Link link;
        if (why != "not open") {
            QCOMPARE(link.openIt(), 0);
        }
        if (why != "not open" && why != "capture not started") {
            link.startCapture(0.0F);
            QCOMPARE(int(link.getIMUReaderData().linkValid), 1);
            QVERIFY(link.getIMUPose(6).timestamp != 0);
        }
        if (why == "closed") {
            link.close();
        } else if (why == "silent") {
            m_bench.changeFaults(serial, [](Faults& faults) { faults.mcuSilent = true; });
        } else if (why.startsWith("unplugged")) {
            m_bench.unplug(serial);
            if (why.endsWith("again")) {
                m_bench.plug(serial);
            }
        }
        m_bench.clock().advance(100ms);
        const om::IMUReaderData data = link.getIMUReaderData();
        const om::IMUReaderData none;
        QCOMPARE(std::memcmp(&data, &none, sizeof none), 0);
        const om::IMUPose pose = link.getIMUPose(6);
        QCOMPARE(int(pose.headingState), 4);
        QCOMPARE(quint64(pose.timestamp), quint64(0));
    }

    void stoppedCaptureLeavesTheLastRecordWithNothingNew()
    {
        Link link;
        QCOMPARE(link.openIt(), 0);
        link.startCapture(0.0F);
        m_bench.clock().advance(100ms);
        const om::IMUReaderData last = link.getIMUReaderData();
        QCOMPARE(int(last.magState), 2);
        link.stopCapture();
        m_bench.clock().advance(100ms);
        const om::IMUReaderData stopped = link.getIMUReaderData();
        QCOMPARE(int(stopped.linkValid), 1);
        QCOMPARE(int(stopped.magState), 1);
        QCOMPARE(quint64(stopped.timestamp), quint64(last.timestamp));
        QCOMPARE(int(stopped.mag[0]), int(last.mag[0]));
        QCOMPARE(int(link.getIMUPose(6).headingState), 4);
        link.startCapture(0.0F);
        QCOMPARE(int(link.getIMUReaderData().magState), 2);
        link.close();
        QCOMPARE(int(link.getIMUReaderData().linkValid), 0);
    }

    void silentMicrocontrollerThatAnswersAgainStreamsOn()
    {
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        m_bench.changeFaults(serial, [](Faults& faults) { faults.mcuSilent = true; });
        QCOMPARE(int(link.getIMUReaderData().linkValid), 0);
        QVERIFY(link.captureRunning);
        m_bench.setFaults(serial, {});
        QCOMPARE(int(link.getIMUReaderData().linkValid), 1);
    }

    void unpluggingFreesTheCameraForANewOpen()
    {
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        m_bench.unplug(serial);
        QVERIFY2(link.captureRunning, "only stopCapture() clears it");
        link.stopCapture();
        QVERIFY(!link.captureRunning);
        m_bench.plug(serial);
        Link second;
        QCOMPARE(second.openIt(), 0);
        link.close(); // takes nothing from the new owner
        QVERIFY(m_bench.status()[0].inUse);
    }

    void captureFlagIsTrueBetweenStartAndStop()
    {
        Link link;
        QVERIFY(!link.captureRunning);
        link.startCapture(0.0F);
        QVERIFY2(!link.captureRunning, "the link is not open");
        link.openIt();
        link.startCapture(0.0F);
        QVERIFY(link.captureRunning);
        link.startCapture(0.0F);
        QVERIFY(link.captureRunning);
        link.stopCapture();
        QVERIFY(!link.captureRunning);
        link.startCapture(0.0F);
        link.close();
        QVERIFY(!link.captureRunning);
    }

    void readingIsNewInOneRecordAndKnownInTheNext()
    {
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        om::IMUReaderData last = link.getIMUReaderData();
        QCOMPARE(int(last.magState), 2);
        QCOMPARE(int(link.getIMUReaderData().magState), 1);
        int news = 0;
        for (int ms = 0; ms < 1000; ++ms) {
            m_bench.clock().advance(1ms);
            const om::IMUReaderData data = link.getIMUReaderData();
            QCOMPARE(int(data.linkValid), 1);
            if (data.magState == 2) {
                ++news;
                QVERIFY(data.timestamp > last.timestamp);
                last = data;
            } else {
                QCOMPARE(int(data.magState), 1);
                QCOMPARE(std::memcmp(data.mag, last.mag, sizeof last.mag), 0);
            }
        }
        QVERIFY2(news >= 49 && news <= 51, qPrintable(QString::number(news)));
    }

    void thereIsNoReadingBeforeTheFirstOne()
    {
        addCamera(otherSerial, om::MODEL::TIV_P);
        Link link;
        QCOMPARE(link.openIt(otherSerial), 0);
        link.startCapture(0.0F);
        const om::IMUReaderData data = link.getIMUReaderData();
        QCOMPARE(int(data.linkValid), 1);
        QCOMPARE(int(data.magState), 0);
        QCOMPARE(int(link.getIMUPose(6).headingState), 4);
        m_bench.clock().advance(100ms);
        QCOMPARE(int(link.getIMUReaderData().magState), 2);
        QCOMPARE(int(link.getIMUPose(6).headingState), 3);
    }

    void modelWithoutAMagnetometerHasNoReading()
    {
        addCamera(10000001, om::MODEL::TIV_N);
        Link link(om::MODEL::TIV_N);
        QCOMPARE(link.openIt(10000001), 0);
        link.startCapture(0.0F);
        m_bench.clock().advance(500ms);
        const om::IMUReaderData data = link.getIMUReaderData();
        QCOMPARE(int(data.linkValid), 1);
        QCOMPARE(int(data.magState), 0);
        QCOMPARE(quint32(data.pressure), quint32(0));
        QVERIFY(data.imuTemperature > 0);
        QCOMPARE(int(link.getIMUPose(6).headingState), 4);
    }

    void magnetometerThatFailsHasNoReading()
    {
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        QCOMPARE(int(link.getIMUReaderData().magState), 2);
        m_bench.changeFaults(serial, [](Faults& faults) { faults.magnetometerAbsent = true; });
        m_bench.clock().advance(100ms);
        QCOMPARE(int(link.getIMUReaderData().magState), 0);
        QCOMPARE(int(link.getIMUPose(6).headingState), 4);
        m_bench.setFaults(serial, {});
        QCOMPARE(int(link.getIMUReaderData().magState), 2);
        QCOMPARE(int(link.getIMUPose(6).headingState), 3);
    }

    void timestampCountsTicksOf39MicrosecondsFromPluggingIn()
    {
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        const om::IMUReaderData first = link.getIMUReaderData();
        m_bench.clock().advance(39s);
        const om::IMUReaderData second = link.getIMUReaderData();
        // A reading is up to one period of 20 ms old, plus its jitter: 513 ticks a period.
        const auto since = m_bench.camera(serial)->pluggedAt();
        const double now = static_cast<double>(m_bench.clock().now() - since) / 39'000.0;
        QVERIFY(static_cast<double>(second.timestamp) <= now);
        QVERIFY(static_cast<double>(second.timestamp) > now - 600.0);
        QVERIFY(std::abs(static_cast<double>(second.timestamp - first.timestamp) - 1e6) < 600.0);
    }

    void timestampFaultReachesTheRecords()
    {
        m_bench.changeFaults(serial, [](Faults& faults) { faults.repeatedTimestamps = true; });
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        int repeats = 0;
        om::IMUReaderData last;
        for (int ms = 0; ms < 400; ++ms) {
            m_bench.clock().advance(1ms);
            const om::IMUReaderData data = link.getIMUReaderData();
            if (data.magState == 2) {
                repeats += data.timestamp == last.timestamp ? 1 : 0;
                last = data;
            }
        }
        QVERIFY2(repeats >= 9 && repeats <= 11, qPrintable(QString::number(repeats)));
    }

    void sequenceCountsRecords()
    {
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        const om::IMUReaderData first = link.getIMUReaderData();
        QCOMPARE(int(link.getIMUReaderData().sequence), int(first.sequence));
        m_bench.clock().advance(10ms); // four IMU samples later
        QCOMPARE(int(link.getIMUReaderData().sequence), int(first.sequence) + 1);
    }

    void periodIsTheLeastTimeBetweenRecords()
    {
        Link link;
        link.openIt();
        link.startCapture(100.0F);
        const om::IMUReaderData first = link.getIMUReaderData();
        m_bench.clock().advance(99ms);
        om::IMUReaderData next = link.getIMUReaderData();
        QCOMPARE(int(next.sequence), int(first.sequence));
        QCOMPARE(int(next.magState), 1);
        m_bench.clock().advance(1ms);
        next = link.getIMUReaderData();
        QCOMPARE(int(next.sequence), int(first.sequence) + 1);
        QCOMPARE(int(next.magState), 2);
    }

    void recordHoldsTheUnitsOfItsFields()
    {
        addCamera(otherSerial, om::MODEL::TIV_P, [](CameraConfig& config) {
            config.motion = MOTION::AT_REST;
            config.errors = SensorErrors::none();
        });
        Link link;
        link.openIt(otherSerial);
        link.startCapture(0.0F);
        m_bench.clock().advance(1s);
        const om::IMUReaderData data = link.getIMUReaderData();
        QCOMPARE(int(data.acceleration[0]), -4096); // level: 1 g upward, axis 1 points down
        QCOMPARE(int(data.acceleration[1]), 0);
        QCOMPARE(int(data.acceleration[2]), 0);
        QCOMPARE(int(data.angularVelocity[0]), 0);
        // 120 m above sea level: 998.9 hPa in the standard atmosphere.
        QVERIFY(std::abs(data.pressure / 100.0 - 99890.0) < 30.0);
        QVERIFY(std::abs(data.imuTemperature / 100.0 - 27.1) < 0.2);
        QVERIFY(std::abs(data.barometerTemperature / 100.0 - 26.6) < 0.2);
    }

    void rateAndForceAreThoseOfTheBodyInSensorAxes()
    {
        addCamera(otherSerial, om::MODEL::TIV_P,
                  [](CameraConfig& config) { config.errors = SensorErrors::none(); });
        Link link;
        link.openIt(otherSerial);
        link.startCapture(0.0F);
        double largest[3] = {0.0, 0.0, 0.0};
        for (int i = 0; i < 40; ++i) {
            m_bench.clock().advance(1s);
            const om::IMUPose pose = link.getIMUPose(6);
            const Truth truth = m_bench.truthAt(otherSerial, pose.timestamp);
            const double degrees = 180.0 / PI;
            const double rate[3] = {-truth.angularVelocity.y * degrees,
                                    -truth.angularVelocity.x * degrees,
                                    -truth.angularVelocity.z * degrees};
            const double force[3] = {-truth.specificForce.y, -truth.specificForce.x,
                                     -truth.specificForce.z};
            for (int axis = 0; axis < 3; ++axis) {
                const double seenRate = static_cast<double>(pose.angularVelocity[axis]);
                const double seenForce = static_cast<double>(pose.acceleration[axis]);
                QVERIFY(std::abs(seenRate - rate[axis]) < 0.5);
                QVERIFY(std::abs(seenForce - force[axis]) < 0.1);
                largest[axis] =
                    std::max(largest[axis], std::min(std::abs(seenRate), std::abs(seenForce)));
            }
        }
        for (const double value : largest) {
            QVERIFY2(value > 3.0, "the motion showed nothing on an axis");
        }
    }

    void biasesAreSubtracted()
    {
        addCamera(otherSerial, om::MODEL::TIV_P, [](CameraConfig& config) {
            config.motion = MOTION::AT_REST;
            config.errors = SensorErrors::none();
        });
        Link link;
        float acceleration[3] = {1.0F, 2.0F, 3.0F};
        float rate[3] = {10.0F, 20.0F, 30.0F};
        QCOMPARE(link.open(otherSerial, false, om::IMU_ODR_400_HZ, acceleration, rate, true, false),
                 0);
        acceleration[1] = 9.0F; // was copied
        link.startCapture(0.0F);
        m_bench.clock().advance(100ms);
        const om::IMUReaderData data = link.getIMUReaderData();
        QCOMPARE(int(data.acceleration[0]), -4096 - 418); // 1 m/s^2 is 417.7 counts
        QCOMPARE(int(data.acceleration[1]), -835);
        QCOMPARE(int(data.acceleration[2]), -1253);
        QCOMPARE(int(data.angularVelocity[0]), -328);
        QCOMPARE(int(data.angularVelocity[1]), -656);
        QCOMPARE(int(data.angularVelocity[2]), -984);
        const om::IMUPose pose = link.getIMUPose(6);
        QVERIFY(std::abs(pose.acceleration[1] + 2.0F) < 1e-5F);
        QVERIFY(std::abs(pose.angularVelocity[2] + 30.0F) < 1e-5F);
    }

    void saturatedMagnetometerReadsTheEndOfItsRange()
    {
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        m_bench.changeFaults(serial, [](Faults& faults) { faults.magnetometerSaturated = true; });
        m_bench.clock().advance(100ms);
        QCOMPARE(int(link.getIMUReaderData().mag[2]), -32768);
        QCOMPARE(float(link.getIMUPose(6).magUncalibrated[2]), -2048.0F);
    }

    // ---- Pose records -------------------------------------------------------------------------

    void poseNeedsTheFusion_data()
    {
        QTest::addColumn<bool>("fusion");
        QTest::addColumn<bool>("raw");
        QTest::addColumn<bool>("expected");
        QTest::newRow("fusion") << true << false << true;
        QTest::newRow("no fusion") << false << false << false;
        QTest::newRow("only raw records") << true << true << false;
    }
    void poseNeedsTheFusion()
    {
        QFETCH(bool, fusion);
        QFETCH(bool, raw);
        QFETCH(bool, expected);
        Link link;
        QCOMPARE(link.open(serial, false, om::IMU_ODR_400_HZ, nullptr, nullptr, fusion, raw), 0);
        link.startCapture(0.0F);
        QCOMPARE(int(link.getIMUReaderData().linkValid), 1);
        QCOMPARE(link.getIMUPose(6).timestamp != 0, expected);
    }

    void poseWithoutTheMagnetometerHasNoHeading()
    {
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        const om::IMUPose pose = link.getIMUPose(3);
        QVERIFY(pose.timestamp != 0);
        QCOMPARE(int(pose.headingState), 4);
        QCOMPARE(float(pose.heading), 0.0F);
        QCOMPARE(float(pose.magUncalibrated[0]), 0.0F);
    }

    void poseHoldsTheOrientationTwice()
    {
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        m_bench.clock().advance(7s);
        const om::IMUPose pose = link.getIMUPose(6);
        const Quaternion q{
            static_cast<double>(pose.orientation[3]), static_cast<double>(pose.orientation[0]),
            static_cast<double>(pose.orientation[1]), static_cast<double>(pose.orientation[2])};
        const Vector column = rotate(q, {0.0, 0.0, 1.0});
        QVERIFY(std::abs(static_cast<double>(pose.rotation[2]) - column.x) < 1e-5);
        QVERIFY(std::abs(static_cast<double>(pose.rotation[5]) - column.y) < 1e-5);
        QVERIFY(std::abs(static_cast<double>(pose.rotation[8]) - column.z) < 1e-5);
        // The camera's own acceleration, turned into the world, points up.
        const Vector up = rotate(q, fromSensorAxes({static_cast<double>(pose.acceleration[0]),
                                                    static_cast<double>(pose.acceleration[1]),
                                                    static_cast<double>(pose.acceleration[2])}));
        QVERIFY(std::abs(up.x) < 0.3 && std::abs(up.y - 9.8) < 0.3 && std::abs(up.z) < 0.3);
    }

    void poseHoldsTheReadingOfTheReaderRecord()
    {
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        const om::IMUReaderData data = link.getIMUReaderData();
        const om::IMUPose pose = link.getIMUPose(6);
        for (int axis = 0; axis < 3; ++axis) {
            QCOMPARE(float(pose.magUncalibrated[axis]),
                     0.0625F * static_cast<float>(data.mag[axis]));
            QCOMPARE(float(pose.magCalibrated[axis]), float(pose.magUncalibrated[axis]));
        }
    }

    void bothHeadingsAreEqualWhileTheCalibrationIsNeutral()
    {
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        for (int i = 0; i < 20; ++i) {
            m_bench.clock().advance(500ms);
            const om::IMUPose pose = link.getIMUPose(6);
            QCOMPARE(int(pose.headingState), 3);
            QCOMPARE(float(pose.headingAccuracy), 0.0F);
            const float heading = link.calcMagHeading(
                {pose.magUncalibrated[0], pose.magUncalibrated[1], pose.magUncalibrated[2]},
                {pose.acceleration[0], pose.acceleration[1], pose.acceleration[2]});
            QVERIFY(std::abs(std::remainder(heading - pose.heading, 6.2831853F)) < 1e-4F);
        }
    }

    void calcMagHeadingWorksOnItsArgumentsAlone()
    {
        Link link; // not open
        const float east = link.calcMagHeading({43.0F, 21.0F, 0.0F}, {-9.8F, 0.0F, 0.0F});
        QVERIFY(std::abs(east - 1.5707963F) < 1e-6F);
    }

    // ---- Scripts ------------------------------------------------------------------------------

    void scriptedReaderRecordsComeInOrderOnePerCall()
    {
        std::vector<om::IMUReaderData> records(3);
        for (std::size_t i = 0; i < records.size(); ++i) {
            records[i].linkValid = 1;
            records[i].magState = static_cast<std::uint8_t>(i);
            records[i].mag[0] = static_cast<std::int16_t>(100 * (i + 1));
        }
        m_bench.scriptReader(serial, records);
        Link link;
        link.openIt();
        QCOMPARE(int(link.getIMUReaderData().linkValid), 0); // nothing streams: none is used up
        link.startCapture(0.0F);
        for (const int expected : {100, 200, 300, 300}) {
            QCOMPARE(int(link.getIMUReaderData().mag[0]), expected);
        }
        QCOMPARE(m_bench.readerScript(serial).delivered, std::uint64_t(3));
        m_bench.clearScripts(serial);
        QVERIFY(link.getIMUReaderData().timestamp != 0);
    }

    void scriptMayEndInPhysicsOrInTheLossOfTheCamera()
    {
        om::IMUReaderData record;
        record.linkValid = 1;
        record.magState = 7;
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        m_bench.scriptReader(serial, {record}, AFTER::PHYSICS);
        QCOMPARE(int(link.getIMUReaderData().magState), 7);
        QCOMPARE(int(link.getIMUReaderData().magState), 2);
        m_bench.scriptReader(serial, {record}, AFTER::CAMERA_GONE);
        QCOMPARE(int(link.getIMUReaderData().magState), 7);
        QCOMPARE(int(link.getIMUReaderData().linkValid), 0);
        QVERIFY(!m_bench.status()[0].plugged);
    }

    void scriptedPosesComeInOrderOnePerCall()
    {
        std::vector<om::IMUPose> records(2);
        records[0].headingState = 0;
        records[0].headingAccuracy = 0.25F;
        records[1].headingState = 2;
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        m_bench.scriptPose(serial, records);
        const om::IMUPose first = link.getIMUPose(6);
        QCOMPARE(int(first.headingState), 0);
        QCOMPARE(float(first.headingAccuracy), 0.25F);
        QCOMPARE(int(link.getIMUPose(6).headingState), 2);
        QCOMPARE(int(link.getIMUPose(6).headingState), 2);
        m_bench.scriptPose(serial, records, AFTER::CAMERA_GONE);
        link.getIMUPose(6);
        link.getIMUPose(6);
        QCOMPARE(int(link.getIMUPose(6).headingState), 4);
        QVERIFY(!m_bench.status()[0].plugged);
    }

    // ---- EEPROM -------------------------------------------------------------------------------

    void cameraThatWasNeverCalibratedHoldsTheNeutralRecord()
    {
        Link link;
        link.openIt();
        QCOMPARE(link.stored(), neutralRecord);
        link.updateEepromMemory(true);
        QCOMPARE(link.stored(), neutralRecord);
    }

    void writtenRecordIsReadBackInRecordOrder()
    {
        Link link;
        link.openIt();
        om::_mag_calib_data record = makeRecord(0.03F, 0.02F, 0.04F, -2.5F, -1.5F, 3.5F);
        QCOMPARE(link.writeMagCalibInEEprom(record), 0);
        QCOMPARE(link.stored(), neutralRecord); // as of the last read
        link.updateEepromMemory(true);
        QCOMPARE(link.stored(), (std::vector<float>{0.03F, 0.02F, 0.04F, -2.5F, -1.5F, 3.5F}));
    }

    void writtenRecordSurvivesTheProgram()
    {
        {
            Link link;
            link.openIt();
            om::_mag_calib_data record = makeRecord(0.03F, 0.02F, 0.04F, -2.5F, -1.5F, 3.5F);
            QCOMPARE(link.writeMagCalibInEEprom(record), 0);
        }
        m_bench.reset(); // reads the images anew
        addCamera(serial, om::MODEL::TIV_Q);
        Link link;
        QCOMPARE(link.openIt(), 0);
        link.updateEepromMemory(false);
        QCOMPARE(link.stored(), (std::vector<float>{0.03F, 0.02F, 0.04F, -2.5F, -1.5F, 3.5F}));
    }

    void readSeesTheWriteOfAnotherProcess()
    {
        Link link;
        link.openIt();
        link.updateEepromMemory(true);
        EepromStore().write(serial, {{0.5F, 0.25F, 0.125F}, {1.0F, 2.0F, 3.0F}});
        link.updateEepromMemory(true);
        QCOMPARE(link.stored(), (std::vector<float>{0.5F, 0.25F, 0.125F, 1.0F, 2.0F, 3.0F}));
        QCOMPARE(m_bench.calibration(serial).offset[2], 3.0F);
    }

    void everyBitOfTheRecordIsKept()
    {
        Link link;
        link.openIt();
        const float nan = std::numeric_limits<float>::quiet_NaN();
        om::_mag_calib_data record = makeRecord(1.0F, 1.0F, nan, 0.0F, -0.0F, 1e-42F);
        QCOMPARE(link.writeMagCalibInEEprom(record), 0);
        link.updateEepromMemory(true);
        QVERIFY(std::isnan(link.storedMagCalib[2]));
        QVERIFY(std::signbit(link.storedMagCalib[4]));
        QCOMPARE(link.storedMagCalib[5], 1e-42F);
    }

    void writeFails_data()
    {
        QTest::addColumn<QString>("why");
        QTest::addColumn<int>("result");
        QTest::newRow("not open") << "not open" << toInt(om::ERROR_CODE::FAILURE);
        QTest::newRow("refused") << "refused" << toInt(om::ERROR_CODE::FAILURE);
        QTest::newRow("silent") << "silent" << toInt(om::ERROR_CODE::TIMEOUT);
        QTest::newRow("unplugged") << "unplugged" << toInt(om::ERROR_CODE::CAMERA_GONE);
    }
    void writeFails()
    {
        QFETCH(QString, why);
        QFETCH(int, result);
        Link link;
        if (why != "not open") {
            link.openIt();
        }
        m_bench.changeFaults(serial, [&why](Faults& faults) {
            faults.eepromWriteRefused = why == "refused";
            faults.mcuSilent = why == "silent";
        });
        if (why == "unplugged") {
            m_bench.unplug(serial);
        }
        om::_mag_calib_data record = makeRecord(0.03F, 0.02F, 0.04F, -2.5F, -1.5F, 3.5F);
        QCOMPARE(link.writeMagCalibInEEprom(record), result);
        link.updateEepromMemory(true);
        QCOMPARE(link.stored(), neutralRecord);
        QVERIFY(m_bench.calibration(serial).isNeutral());
    }

    void readLeavesTheStoredCalibrationWhereItCannotRead()
    {
        Link link;
        link.openIt();
        om::_mag_calib_data record = makeRecord(0.03F, 0.02F, 0.04F, -2.5F, -1.5F, 3.5F);
        link.writeMagCalibInEEprom(record);
        m_bench.changeFaults(serial, [](Faults& faults) { faults.mcuSilent = true; });
        link.updateEepromMemory(true);
        QCOMPARE(link.stored(), neutralRecord);
        m_bench.setFaults(serial, {});
        link.updateEepromMemory(true);
        QCOMPARE(link.storedMagCalib[0], 0.03F);
    }

    void readAfterAWriteDiffersAsOftenAsTheFaultSays()
    {
        m_bench.changeFaults(serial, [](Faults& faults) { faults.eepromReadbackDiffers = 7; });
        Link link;
        link.openIt();
        link.updateEepromMemory(true); // before a write nothing differs
        QCOMPARE(link.stored(), neutralRecord);
        const std::vector<float> written{0.03F, 0.02F, 0.04F, -2.5F, -1.5F, 3.5F};
        std::vector<bool> differed(6, false);
        for (int attempt = 1; attempt <= 8; ++attempt) {
            om::_mag_calib_data record = makeRecord(0.03F, 0.02F, 0.04F, -2.5F, -1.5F, 3.5F);
            QCOMPARE(link.writeMagCalibInEEprom(record), 0);
            link.updateEepromMemory(true);
            const std::vector<float> read = link.stored();
            QCOMPARE(read != written, attempt <= 7);
            for (std::size_t i = 0; i < read.size(); ++i) {
                differed[i] = differed[i] || read[i] != written[i];
            }
            link.updateEepromMemory(true); // the second read of the same write is right
            QCOMPARE(link.stored(), written);
        }
        QCOMPARE(differed, std::vector<bool>(6, true)); // none of the six can go unchecked
        QCOMPARE(m_bench.faults(serial).eepromReadbackDiffers, 0);
    }

    void writeInTheMiddleOfAStreamLeavesItRunning()
    {
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        om::_mag_calib_data record = makeRecord(0.02F, 0.02F, 0.02F, 1.0F, 2.0F, 3.0F);
        QCOMPARE(link.writeMagCalibInEEprom(record), 0);
        link.updateEepromMemory(true);
        QVERIFY(link.captureRunning);
        QCOMPARE(int(link.getIMUReaderData().linkValid), 1);
    }

    void unwritableStateFolderLeavesTheCalibrationInMemory()
    {
        qputenv("OM_TIV_STATE_DIR", "/proc/gravimon");
        m_bench.reset();
        addCamera(serial, om::MODEL::TIV_Q);
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        om::_mag_calib_data record = makeRecord(0.03F, 0.02F, 0.04F, -2.5F, -1.5F, 3.5F);
        QCOMPARE(link.writeMagCalibInEEprom(record), 0);
        link.updateEepromMemory(true);
        QCOMPARE(link.storedMagCalib[5], 3.5F);
        QTRY_COMPARE(int(link.getIMUReaderData().linkValid), 1);
        link.close();
        link.openIt();
        link.updateEepromMemory(true);
        QCOMPARE(link.storedMagCalib[5], 3.5F);
    }

    // ---- Log ----------------------------------------------------------------------------------

    void callsAreLoggedWithTheirArguments()
    {
        m_bench.log().setHighRate(true);
        {
            om::TIVmcu link(false, vendor, om::MODEL::TIV_Q, false, "bench:30000001");
            link.open(serial, false, om::IMU_ODR_400_HZ, nullptr, nullptr, true, false);
            link.startCapture(0.0F);
            link.getIMUReaderData();
            link.getIMUPose(6);
            link.calcMagHeading({1.0F, 2.0F, 3.0F}, {4.0F, 5.0F, 6.0F});
            link.stopCapture();
            om::_mag_calib_data record = makeRecord(0.5F, 0.25F, 2.0F, -2.5F, -1.5F, 3.5F);
            link.writeMagCalibInEEprom(record);
            link.updateEepromMemory(true);
            link.close();
        }
        std::vector<CALL> calls;
        for (const CallRecord& record : m_bench.log().records()) {
            calls.push_back(record.call);
        }
        QCOMPARE(calls, (std::vector<CALL>{CALL::MCU_CONSTRUCT, CALL::MCU_OPEN,
                                           CALL::MCU_START_CAPTURE, CALL::MCU_GET_READER_DATA,
                                           CALL::MCU_GET_POSE, CALL::MCU_CALC_MAG_HEADING,
                                           CALL::MCU_STOP_CAPTURE, CALL::MCU_WRITE_MAG_CALIB,
                                           CALL::MCU_UPDATE_EEPROM, CALL::MCU_CLOSE}));
        const auto numbers = [this](CALL call) { return m_bench.log().last(call)->numbers; };
        QCOMPARE(numbers(CALL::MCU_CONSTRUCT), (std::vector<double>{0, 0x7C15, 3, 0}));
        QCOMPARE(m_bench.log().last(CALL::MCU_CONSTRUCT)->text, std::string("bench:30000001"));
        QCOMPARE(numbers(CALL::MCU_OPEN), (std::vector<double>{0, 2, 0, 0, 1, 0}));
        QCOMPARE(numbers(CALL::MCU_START_CAPTURE), (std::vector<double>{0}));
        QCOMPARE(numbers(CALL::MCU_WRITE_MAG_CALIB),
                 (std::vector<double>{0.5, 0.25, 2.0, -2.5, -1.5, 3.5}));
        QCOMPARE(numbers(CALL::MCU_UPDATE_EEPROM), (std::vector<double>{1}));
        QCOMPARE(numbers(CALL::MCU_CALC_MAG_HEADING), (std::vector<double>{1, 2, 3, 4, 5, 6}));
        QCOMPARE(m_bench.log().last(CALL::MCU_GET_READER_DATA)->value, 2);
        QCOMPARE(m_bench.log().last(CALL::MCU_GET_POSE)->value, 6);
        for (const CallRecord& record : m_bench.log().records()) {
            QCOMPARE(record.serialNumber, record.call == CALL::MCU_CONSTRUCT ? 0U : serial);
        }
    }

    void refusedCallsAreLoggedWithTheirResult()
    {
        m_bench.changeFaults(serial, [](Faults& faults) { faults.eepromWriteRefused = true; });
        Link link;
        link.openIt(77);
        QCOMPARE(m_bench.log().last(CALL::MCU_OPEN)->result, toInt(om::ERROR_CODE::NOT_DETECTED));
        QCOMPARE(m_bench.log().last(CALL::MCU_OPEN)->serialNumber, 77U);
        link.openIt();
        om::_mag_calib_data record = makeRecord(1, 1, 1, 0, 0, 0);
        link.writeMagCalibInEEprom(record);
        QCOMPARE(m_bench.log().last(CALL::MCU_WRITE_MAG_CALIB)->result,
                 toInt(om::ERROR_CODE::FAILURE));
    }

private:
    QTemporaryDir m_state;
    int m_run = 0;
};

QTEST_GUILESS_MAIN(McuTest)
#include "tst_mcu.moc"
