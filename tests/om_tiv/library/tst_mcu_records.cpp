#include "om_tiv/library/mcufixture.h"

#include <QtTest>

#include <chrono>
#include <cmath>
#include <cstring>
#include <vector>

#include <sys/resource.h>

using namespace std::chrono_literals;
using namespace mcutest;
using namespace om::bench;

/// The records of the link: of the sensors, of the pose, and from scripts.
class McuRecordsTest : public Fixture
{
    Q_OBJECT

private slots:
    void init() { prepare(); }

    // Capture.

    /// The microcontroller is not involved: only the link determines whether capture runs.
    void captureRunsOnASilentMicrocontrollerToo()
    {
        Link link;
        QCOMPARE(link.openIt(), 0);
        m_bench.changeFaults(cameraSerial, [](Faults& faults) { faults.mcuSilent = true; });
        link.startCapture(0.0F);
        QVERIFY(link.captureRunning);
        QCOMPARE(int(link.getIMUReaderData().linkValid), 0);
        QCOMPARE(quint64(link.getIMUPose(6).timestamp), quint64(0));

        // Once it answers again it streams, without a second start.
        m_bench.changeFaults(cameraSerial, [](Faults& faults) { faults.mcuSilent = false; });
        m_bench.clock().advance(100ms);
        QCOMPARE(int(link.getIMUReaderData().linkValid), 1);

        m_bench.changeFaults(cameraSerial, [](Faults& faults) { faults.mcuSilent = true; });
        link.stopCapture();
        QVERIFY(!link.captureRunning);
    }

    // Reader records.

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
            m_bench.changeFaults(cameraSerial, [](Faults& faults) { faults.mcuSilent = true; });
        } else if (why.startsWith("unplugged")) {
            m_bench.unplug(cameraSerial);
            if (why.endsWith("again")) {
                m_bench.plug(cameraSerial);
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
        const om::IMUPose lastPose = link.getIMUPose(6);
        QCOMPARE(int(lastPose.headingState), 3);
        link.stopCapture();
        m_bench.clock().advance(100ms);
        const om::IMUReaderData stopped = link.getIMUReaderData();
        QCOMPARE(int(stopped.linkValid), 1);
        QCOMPARE(int(stopped.magState), 1);
        QCOMPARE(quint64(stopped.timestamp), quint64(last.timestamp));
        QCOMPARE(int(stopped.mag[0]), int(last.mag[0]));
        const om::IMUPose stoppedPose = link.getIMUPose(6);
        // The record is packed.
        // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison)
        QCOMPARE(std::memcmp(&stoppedPose, &lastPose, sizeof lastPose), 0);
        link.startCapture(0.0F);
        QCOMPARE(int(link.getIMUReaderData().magState), 2);
        QVERIFY(link.getIMUPose(6).timestamp > lastPose.timestamp);
        link.close();
        QCOMPARE(int(link.getIMUReaderData().linkValid), 0);
        QCOMPARE(int(link.getIMUPose(6).headingState), 4);
        link.openIt();
        QCOMPARE(int(link.getIMUPose(6).headingState), 4);
    }

    void recordTakesATransferOverTheBus()
    {
        m_bench.clock().setReal();
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        // How often the thread gave its core away, to wait.
        const auto waits = [] {
            rusage used = {};
            getrusage(RUSAGE_THREAD, &used);
            return used.ru_nvcsw;
        };
        for (const bool streaming : {true, false}) {
            if (!streaming) {
                link.stopCapture();
            }
            const auto start = std::chrono::steady_clock::now();
            const long waitsAtStart = waits();
            for (int i = 0; i < 50; ++i) {
                QCOMPARE(int(link.getIMUReaderData().linkValid), 1);
            }
            QVERIFY(std::chrono::steady_clock::now() - start >= 50ms);
            QVERIFY2(waits() - waitsAtStart > 25, "who polls without pause takes a core");
        }
    }

    void silentMicrocontrollerThatAnswersAgainStreamsOn()
    {
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        m_bench.changeFaults(cameraSerial, [](Faults& faults) { faults.mcuSilent = true; });
        QCOMPARE(int(link.getIMUReaderData().linkValid), 0);
        QVERIFY(link.captureRunning);
        m_bench.setFaults(cameraSerial, {});
        QCOMPARE(int(link.getIMUReaderData().linkValid), 1);
    }

    void unpluggingFreesTheCameraForANewOpen()
    {
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        m_bench.unplug(cameraSerial);
        QVERIFY2(link.captureRunning, "only stopCapture() clears it");
        link.stopCapture();
        QVERIFY(!link.captureRunning);
        m_bench.plug(cameraSerial);
        Link second;
        QCOMPARE(second.openIt(), 0);
        link.close(); // does not affect the new owner
        QVERIFY(m_bench.status()[0].inUse);
    }

    void captureFlagIsTrueBetweenStartAndStop()
    {
        Link link;
        QVERIFY(!link.captureRunning);
        link.startCapture(0.0F);
        QVERIFY2(link.captureRunning, "on any link");
        link.openIt();
        QVERIFY(!link.captureRunning);
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
        QCOMPARE(int(data.imuTemperature), 0);
        QCOMPARE(int(link.getIMUPose(6).headingState), 4);
    }

    void magnetometerThatFailsHasNoReading()
    {
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        QCOMPARE(int(link.getIMUReaderData().magState), 2);
        m_bench.changeFaults(cameraSerial,
                             [](Faults& faults) { faults.magnetometerAbsent = true; });
        m_bench.clock().advance(100ms);
        QCOMPARE(int(link.getIMUReaderData().magState), 0);
        QCOMPARE(int(link.getIMUPose(6).headingState), 4);
        m_bench.setFaults(cameraSerial, {});
        QCOMPARE(int(link.getIMUReaderData().magState), 2);
        QCOMPARE(int(link.getIMUPose(6).headingState), 3);
    }

    void timestampCountsTicksOf39MicrosecondsFromTheOpening()
    {
        m_bench.clock().advance(24h); // plugged in for a day
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        QCOMPARE(quint64(link.getIMUReaderData().timestamp), quint64(0)); // read before that
        m_bench.clock().advance(39s);
        const auto ticks = static_cast<double>(link.getIMUReaderData().timestamp);
        // A reading is up to one period of 20 ms old, plus its jitter: 513 ticks per period.
        QVERIFY2(ticks <= 1e6 && ticks > 1e6 - 600.0, qPrintable(QString::number(ticks)));
    }

    void timestampFaultReachesTheRecords()
    {
        m_bench.changeFaults(cameraSerial,
                             [](Faults& faults) { faults.repeatedTimestamps = true; });
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
            const double degrees = 180.0 / pi;
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
        m_bench.changeFaults(cameraSerial,
                             [](Faults& faults) { faults.magnetometerSaturated = true; });
        m_bench.clock().advance(100ms);
        QCOMPARE(int(link.getIMUReaderData().mag[2]), -32768);
        QCOMPARE(float(link.getIMUPose(6).magUncalibrated[2]), -2048.0F);
    }

    // Pose records.

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
        QCOMPARE(link.open(cameraSerial, false, om::IMU_ODR_400_HZ, nullptr, nullptr, fusion, raw),
                 0);
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
        // The camera's acceleration, rotated into the world frame, points up.
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

    // Scripts.

    void scriptedReaderRecordsComeInOrderOnePerCall()
    {
        std::vector<om::IMUReaderData> records(3);
        for (std::size_t i = 0; i < records.size(); ++i) {
            records[i].linkValid = 1;
            records[i].magState = static_cast<std::uint8_t>(i);
            records[i].mag[0] = static_cast<std::int16_t>(100 * (i + 1));
        }
        m_bench.camera(cameraSerial)->readerScript().set(records);
        Link link;
        link.openIt();
        QCOMPARE(int(link.getIMUReaderData().linkValid), 0); // nothing streams: no entry is used
        link.startCapture(0.0F);
        for (const int expected : {100, 200, 300, 300}) {
            QCOMPARE(int(link.getIMUReaderData().mag[0]), expected);
        }
        QCOMPARE(m_bench.camera(cameraSerial)->readerScript().status().delivered, std::uint64_t(3));
        m_bench.camera(cameraSerial)->clearScripts();
        m_bench.clock().advance(100ms);
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
        m_bench.camera(cameraSerial)->readerScript().set({record}, AFTER::PHYSICS);
        QCOMPARE(int(link.getIMUReaderData().magState), 7);
        QCOMPARE(int(link.getIMUReaderData().magState), 2);
        m_bench.camera(cameraSerial)->readerScript().set({record}, AFTER::CAMERA_GONE);
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
        m_bench.camera(cameraSerial)->poseScript().set(records);
        const om::IMUPose first = link.getIMUPose(6);
        QCOMPARE(int(first.headingState), 0);
        QCOMPARE(float(first.headingAccuracy), 0.25F);
        QCOMPARE(int(link.getIMUPose(6).headingState), 2);
        QCOMPARE(int(link.getIMUPose(6).headingState), 2);
        m_bench.camera(cameraSerial)->poseScript().set(records, AFTER::CAMERA_GONE);
        link.getIMUPose(6);
        link.getIMUPose(6);
        QCOMPARE(int(link.getIMUPose(6).headingState), 4);
        QVERIFY(!m_bench.status()[0].plugged);
    }
};

QTEST_GUILESS_MAIN(McuRecordsTest)
#include "tst_mcu_records.moc"
