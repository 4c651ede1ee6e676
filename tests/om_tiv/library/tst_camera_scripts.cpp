#include "om_tiv/benchtest.h"
#include "support/sidethread.h"

#include <atomic>
#include <vector>

using namespace om;
using namespace om::bench;
using namespace benchtest;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

SensorsEntry entry(std::uint64_t timestamp, float x = 0.0F)
{
    SensorsEntry made;
    made.data.imu.timestamp = timestamp;
    made.data.imu.linearAcceleration.x = x;
    made.data.temperature.values[SensorsData::TemperatureData::SENSOR_LOCATION::IMU] = x;
    return made;
}

SensorsEntry failure(int code)
{
    SensorsEntry made;
    made.result = static_cast<ERROR_CODE>(code);
    return made;
}

} // namespace

class TestCameraScripts : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void sensorsComeAsScripted();
    void aScriptedFailureLeavesTheRecord();
    void scriptedLossOfTheCamera();
    void unplugAfterTheScript();
    void physicsAfterTheScript();
    void theLastRecordRepeatsAtAnEasyPace();
    void anAppendedRecordEndsTheWait();
    void scriptedRecordsKeepTheirTime();
    void longScriptsAreMadeAsTheyAreRead();
    void grabsComeAsScripted();
    void aScriptedGrabMakesAFrame();
    void aScriptedGrabLosesTheCamera();
    void aScriptForAWaitingGrab();
    void scriptsMayBeSetBeforeTheOpening();
    void clearedScriptsGiveWayToPhysics();

private:
    void openCamera();

    Bench& m_bench = theBench();
    std::unique_ptr<Camera> m_camera;
};

void TestCameraScripts::init()
{
    m_camera = std::make_unique<Camera>();
    stoppedBench();
}

void TestCameraScripts::openCamera()
{
    m_bench.addCamera(idealCamera());
    QCOMPARE(m_camera->open(parametersFor()), ERROR_CODE::SUCCESS);
}

void TestCameraScripts::sensorsComeAsScripted()
{
    openCamera();
    m_bench.camera(cameraSerial)
        ->sensorsScript()
        .set({entry(5000, 1.0F), entry(7000, 2.0F), entry(6000, 3.0F)});
    const std::uint64_t times[] = {5000, 7000, 6000};
    SensorsData data;
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(current(*m_camera, data), ERROR_CODE::SUCCESS);
        QCOMPARE(data.imu.timestamp, times[i]);
        QCOMPARE(data.imu.linearAcceleration.x, static_cast<float>(i + 1));
        QCOMPARE(data.temperature.values.size(), std::size_t{1});
    }
    QVERIFY(!data.magnetometer.isAvailable); // no values of the physics
    QCOMPARE(m_bench.camera(cameraSerial)->sensorsScript().status().delivered, std::uint64_t{3});
}

void TestCameraScripts::aScriptedFailureLeavesTheRecord()
{
    openCamera();
    m_bench.camera(cameraSerial)->sensorsScript().set({entry(5000), failure(11), entry(6000)});
    SensorsData data;
    current(*m_camera, data);
    QCOMPARE(static_cast<int>(current(*m_camera, data)), 11);
    QCOMPARE(data.imu.timestamp, std::uint64_t{5000});
    QVERIFY(m_camera->isOpened());
    QCOMPARE(current(*m_camera, data), ERROR_CODE::SUCCESS);
    QCOMPARE(data.imu.timestamp, std::uint64_t{6000});
}

void TestCameraScripts::scriptedLossOfTheCamera()
{
    openCamera();
    m_bench.camera(cameraSerial)->sensorsScript().set({entry(5000), failure(4)});
    SensorsData data;
    current(*m_camera, data);
    QCOMPARE(current(*m_camera, data), ERROR_CODE::CAMERA_GONE);
    QVERIFY(!m_camera->isOpened());
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::CAMERA_GONE);
    // Lost for this opening; it is still on the bus.
    QCOMPARE(Camera::getDeviceList().size(), std::size_t{1});
    QCOMPARE(Camera::getDeviceList()[0].state, 0U);
    QCOMPARE(m_camera->open(parametersFor()), ERROR_CODE::SUCCESS);
}

void TestCameraScripts::unplugAfterTheScript()
{
    openCamera();
    m_bench.camera(cameraSerial)
        ->sensorsScript()
        .set(std::vector<SensorsEntry>{entry(5000)}, AFTER::CAMERA_GONE);
    SensorsData data;
    QCOMPARE(current(*m_camera, data), ERROR_CODE::SUCCESS);
    QVERIFY(m_camera->isOpened());
    QCOMPARE(current(*m_camera, data), ERROR_CODE::CAMERA_GONE);
    QVERIFY(!m_camera->isOpened());
    QVERIFY(Camera::getDeviceList().empty());
}

void TestCameraScripts::physicsAfterTheScript()
{
    openCamera();
    m_bench.camera(cameraSerial)
        ->sensorsScript()
        .set(std::vector<SensorsEntry>{entry(5000)}, AFTER::PHYSICS);
    m_bench.clock().advance(seconds(1));
    SensorsData data;
    current(*m_camera, data);
    QCOMPARE(data.imu.timestamp, std::uint64_t{5000});
    QCOMPARE(current(*m_camera, data), ERROR_CODE::SUCCESS);
    QVERIFY(data.imu.timestamp > startTime);
    QVERIFY(data.magnetometer.isAvailable);
}

void TestCameraScripts::theLastRecordRepeatsAtAnEasyPace()
{
    openCamera();
    m_bench.camera(cameraSerial)->sensorsScript().set(std::vector<SensorsEntry>{entry(5000, 1.0F)});
    SensorsData data;
    current(*m_camera, data);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(current(*m_camera, data), ERROR_CODE::SUCCESS);
        QCOMPARE(data.imu.timestamp, std::uint64_t{5000});
    }
    QVERIFY(std::chrono::steady_clock::now() - start >= milliseconds(20));
    QCOMPARE(m_bench.camera(cameraSerial)->sensorsScript().status().calls, std::uint64_t{5});
}

void TestCameraScripts::anAppendedRecordEndsTheWait()
{
    openCamera();
    m_bench.camera(cameraSerial)->sensorsScript().set(std::vector<SensorsEntry>{entry(5000)});
    std::atomic<std::uint64_t> seen{0};
    SideThread poller([&](const std::atomic<bool>& stop) {
        SensorsData data;
        while (!stop) {
            current(*m_camera, data);
            seen = data.imu.timestamp;
        }
    });
    QTRY_COMPARE(seen.load(), std::uint64_t{5000});
    // One by one, each handled before the next, as a test steps a thread.
    for (std::uint64_t i = 1; i <= 20; ++i) {
        m_bench.camera(cameraSerial)->sensorsScript().append({entry(5000 + i)});
        QTRY_COMPARE(m_bench.camera(cameraSerial)->sensorsScript().status().delivered, i + 1);
        const std::uint64_t calls = m_bench.camera(cameraSerial)->sensorsScript().status().calls;
        QTRY_VERIFY(m_bench.camera(cameraSerial)->sensorsScript().status().calls > calls);
        QCOMPARE(seen.load(), 5000 + i);
    }
    poller.join();
}

void TestCameraScripts::scriptedRecordsKeepTheirTime()
{
    openCamera();
    // Exactly the script's values, also if a time is missing or runs backward.
    m_bench.camera(cameraSerial)
        ->sensorsScript()
        .set({entry(0), entry(999), entry(UINT64_MAX), entry(1)});
    SensorsData data;
    for (const std::uint64_t time :
         {std::uint64_t{0}, std::uint64_t{999}, UINT64_MAX, std::uint64_t{1}}) {
        current(*m_camera, data);
        QCOMPARE(data.imu.timestamp, time);
    }
}

void TestCameraScripts::longScriptsAreMadeAsTheyAreRead()
{
    openCamera();
    m_bench.camera(cameraSerial)
        ->sensorsScript()
        .set(
            [](std::uint64_t index, SensorsEntry& made) {
                made.data.imu.timestamp = 1000 * (index + 1);
                return index < 50000;
            },
            AFTER::CAMERA_GONE);
    SensorsData data;
    std::uint64_t records = 0;
    while (current(*m_camera, data) == ERROR_CODE::SUCCESS) {
        ++records;
        QCOMPARE(data.imu.timestamp, 1000 * records);
    }
    QCOMPARE(records, std::uint64_t{50000});
}

void TestCameraScripts::grabsComeAsScripted()
{
    openCamera();
    m_bench.camera(cameraSerial)
        ->grabScript()
        .set({ERROR_CODE::SUCCESS, ERROR_CODE::TIMEOUT, ERROR_CODE::FAILURE, ERROR_CODE::SUCCESS});
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::SUCCESS); // the clock stands
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::TIMEOUT);
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::FAILURE);
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
    QCOMPARE(m_bench.camera(cameraSerial)->grabScript().status().delivered, std::uint64_t{4});
    QCOMPARE(m_bench.camera(cameraSerial)->grabScript().status().calls, std::uint64_t{5});
}

void TestCameraScripts::aScriptedGrabMakesAFrame()
{
    openCamera();
    m_bench.camera(cameraSerial)->grabScript().set({ERROR_CODE::SUCCESS});
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
    QCOMPARE(m_camera->getTimestamp(TIME_REFERENCE::IMAGE), startTime);
    Mat mat;
    QCOMPARE(m_camera->retrieveImage(mat, VIEW::LEFT, MEM::CPU, Resolution()), ERROR_CODE::SUCCESS);
}

void TestCameraScripts::aScriptedGrabLosesTheCamera()
{
    openCamera();
    m_bench.camera(cameraSerial)->grabScript().set({ERROR_CODE::CAMERA_GONE});
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::CAMERA_GONE);
    QVERIFY(!m_camera->isOpened());
    SensorsData data;
    QCOMPARE(current(*m_camera, data), ERROR_CODE::CAMERA_GONE);
}

void TestCameraScripts::aScriptForAWaitingGrab()
{
    openCamera();
    std::atomic<int> result{-1};
    SideThread grabbing([&](const std::atomic<bool>& stop) {
        ERROR_CODE code = ERROR_CODE::TIMEOUT;
        while (code == ERROR_CODE::TIMEOUT && !stop) {
            code = m_camera->grab(RuntimeParameters());
        }
        result = static_cast<int>(code);
    });
    QTRY_COMPARE(m_bench.clock().waiters(), 1);
    m_bench.camera(cameraSerial)->grabScript().set({static_cast<ERROR_CODE>(17)});
    QTRY_COMPARE(result.load(), 17);
}

void TestCameraScripts::scriptsMayBeSetBeforeTheOpening()
{
    m_bench.addCamera(idealCamera());
    m_bench.camera(cameraSerial)->sensorsScript().set(std::vector<SensorsEntry>{entry(5000)});
    QCOMPARE(m_camera->open(parametersFor()), ERROR_CODE::SUCCESS);
    SensorsData data;
    current(*m_camera, data);
    QCOMPARE(data.imu.timestamp, std::uint64_t{5000});
}

void TestCameraScripts::clearedScriptsGiveWayToPhysics()
{
    openCamera();
    m_bench.camera(cameraSerial)->sensorsScript().set(std::vector<SensorsEntry>{entry(5000)});
    m_bench.camera(cameraSerial)->grabScript().set({ERROR_CODE::FAILURE});
    m_bench.camera(cameraSerial)->readerScript().set({IMUReaderData()});
    m_bench.camera(cameraSerial)->poseScript().set({IMUPose()});
    QVERIFY(m_bench.camera(cameraSerial)->readerScript().status().active);
    QVERIFY(m_bench.camera(cameraSerial)->poseScript().status().active);
    m_bench.camera(cameraSerial)->clearScripts();
    QVERIFY(!m_bench.camera(cameraSerial)->readerScript().status().active);
    QVERIFY(!m_bench.camera(cameraSerial)->poseScript().status().active);
    m_bench.clock().advance(seconds(1));
    SensorsData data;
    current(*m_camera, data);
    QVERIFY(data.imu.timestamp > startTime);
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
}

QTEST_GUILESS_MAIN(TestCameraScripts)
#include "tst_camera_scripts.moc"
