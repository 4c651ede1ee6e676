#include "om_tiv/benchtest.h"

#include <cuda_runtime_api.h>

#include <cmath>

using namespace om;
using namespace om::bench;
using namespace benchtest;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;
using LOCATION = SensorsData::TemperatureData::SENSOR_LOCATION;

class TestFaults : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void openIsRefusedWithTheCode();
    void openIsRefusedSoManyTimes();
    void aSlowOpenTakesItsTime();
    void anOpenSlowerThanItsTimeoutFails();
    void grabsFailSoManyTimes();
    void aGrabThatReportsALossLosesTheCamera();
    void frozenTimestampsStandWhileValuesGoOn();
    void timestampsGoOnAfterAFreeze();
    void repeatedTimestampsComeInPairs();
    void timesNeverRunBackwardWhenTheyBeginToRepeat();
    void absentBarometer();
    void absentMagnetometer();
    void absentBoardTemperatures();
    void absentImuTemperature();
    void saturatedMagnetometerReads2048();
    void disturbanceSwingsTheField();
    void littleGpuMemoryLeavesACudaError();
    void oldFirmwareIsReported();
    void faultsAreChangedOneByOne();

private:
    SensorsData after(std::chrono::nanoseconds step);

    Bench* m_bench = nullptr;
    std::unique_ptr<Camera> m_camera;
};

void TestFaults::init()
{
    m_bench = &stoppedBench();
    CameraConfig config = idealCamera();
    config.motion = MOTION::TUMBLE;
    m_bench->addCamera(config);
    m_camera = std::make_unique<Camera>();
    QCOMPARE(m_camera->open(parametersFor()), ERROR_CODE::SUCCESS);
}

void TestFaults::cleanup()
{
    m_camera.reset();
}

SensorsData TestFaults::after(std::chrono::nanoseconds step)
{
    m_bench->clock().advance(step);
    SensorsData data;
    if (current(*m_camera, data) != ERROR_CODE::SUCCESS) {
        qFatal("no record");
    }
    return data;
}

void TestFaults::openIsRefusedWithTheCode()
{
    m_camera->close();
    m_bench->changeFaults(cameraSerial,
                          [](Faults& f) { f.openResult = static_cast<ERROR_CODE>(9); });
    for (int i = 0; i < 5; ++i) {
        QCOMPARE(static_cast<int>(m_camera->open(parametersFor())), 9);
        QVERIFY(!m_camera->isOpened());
    }
    QVERIFY(!m_bench->status()[0].inUse);
    m_bench->changeFaults(cameraSerial, [](Faults& f) { f.openResult = ERROR_CODE::SUCCESS; });
    QCOMPARE(m_camera->open(parametersFor()), ERROR_CODE::SUCCESS);
}

void TestFaults::openIsRefusedSoManyTimes()
{
    m_camera->close();
    m_bench->changeFaults(cameraSerial, [](Faults& f) {
        f.openResult = ERROR_CODE::CAMERA_GONE;
        f.openRefusals = 2;
    });
    QCOMPARE(m_camera->open(parametersFor()), ERROR_CODE::CAMERA_GONE);
    QCOMPARE(m_camera->open(parametersFor()), ERROR_CODE::CAMERA_GONE);
    QCOMPARE(m_camera->open(parametersFor()), ERROR_CODE::SUCCESS);
    QCOMPARE(m_bench->faults(cameraSerial).openRefusals, 0);
}

void TestFaults::aSlowOpenTakesItsTime()
{
    m_camera->close();
    m_bench->changeFaults(cameraSerial, [](Faults& f) { f.openDelay = milliseconds(60); });
    const auto start = std::chrono::steady_clock::now();
    QCOMPARE(m_camera->open(parametersFor()), ERROR_CODE::SUCCESS);
    QVERIFY(std::chrono::steady_clock::now() - start >= milliseconds(60));
}

void TestFaults::anOpenSlowerThanItsTimeoutFails()
{
    m_camera->close();
    m_bench->changeFaults(cameraSerial, [](Faults& f) { f.openDelay = seconds(100); });
    InitParameters parameters = parametersFor();
    parameters.openTimeout = 0.02F;
    const auto start = std::chrono::steady_clock::now();
    QCOMPARE(m_camera->open(parameters), ERROR_CODE::TIMEOUT);
    const auto took = std::chrono::steady_clock::now() - start;
    QVERIFY(took >= milliseconds(19) && took < seconds(100));
    QVERIFY(!m_camera->isOpened());
}

void TestFaults::grabsFailSoManyTimes()
{
    m_bench->changeFaults(cameraSerial, [](Faults& f) {
        f.grabFailures = 3;
        f.grabFailureResult = static_cast<ERROR_CODE>(12);
    });
    m_bench->clock().advance(seconds(1));
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(static_cast<int>(m_camera->grab(RuntimeParameters())), 12);
        QVERIFY(m_camera->isOpened());
    }
    QCOMPARE(m_camera->getTimestamp(TIME_REFERENCE::IMAGE), std::uint64_t{0});
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
}

void TestFaults::aGrabThatReportsALossLosesTheCamera()
{
    m_bench->changeFaults(cameraSerial, [](Faults& f) {
        f.grabFailures = 1;
        f.grabFailureResult = ERROR_CODE::CAMERA_GONE;
    });
    m_bench->clock().advance(seconds(1));
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::CAMERA_GONE);
    QVERIFY(!m_camera->isOpened());
    SensorsData data;
    QCOMPARE(m_camera->getSensorsData(data, TIME_REFERENCE::CURRENT), ERROR_CODE::CAMERA_GONE);
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::CAMERA_GONE);
    m_camera->close();
    QCOMPARE(m_camera->open(parametersFor()), ERROR_CODE::SUCCESS);
}

void TestFaults::frozenTimestampsStandWhileValuesGoOn()
{
    const SensorsData before = after(seconds(1));
    m_bench->changeFaults(cameraSerial, [](Faults& f) { f.frozenTimestamps = true; });
    const SensorsData later = after(seconds(1));
    QCOMPARE(later.imu.timestamp, before.imu.timestamp);
    QCOMPARE(later.magnetometer.timestamp, before.magnetometer.timestamp);
    QCOMPARE(later.barometer.timestamp, before.barometer.timestamp);
    QVERIFY(later.imu.linearAcceleration.x != before.imu.linearAcceleration.x);
}

void TestFaults::timestampsGoOnAfterAFreeze()
{
    const SensorsData before = after(seconds(1));
    m_bench->changeFaults(cameraSerial, [](Faults& f) { f.frozenTimestamps = true; });
    after(seconds(1));
    m_bench->changeFaults(cameraSerial, [](Faults& f) { f.frozenTimestamps = false; });
    const SensorsData later = after(milliseconds(10));
    QVERIFY(later.imu.timestamp > before.imu.timestamp + nsPerS);
}

void TestFaults::repeatedTimestampsComeInPairs()
{
    m_bench->changeFaults(cameraSerial, [](Faults& f) { f.repeatedTimestamps = true; });
    m_bench->clock().advance(microseconds(1250)); // between two samples
    int repeats = 0;
    SensorsData last = after(microseconds(2500));
    for (int i = 0; i < 100; ++i) {
        const SensorsData data = after(microseconds(2500));
        if (data.imu.timestamp == last.imu.timestamp) {
            ++repeats;
            QVERIFY(data.imu.linearAcceleration.x != last.imu.linearAcceleration.x);
        }
        last = data;
    }
    QCOMPARE(repeats, 50);
}

void TestFaults::timesNeverRunBackwardWhenTheyBeginToRepeat()
{
    m_bench->clock().advance(microseconds(1250));
    for (int i = 0; i < 20; ++i) {
        const SensorsData before = after(microseconds(i % 2 == 0 ? 2500 : 22500));
        m_bench->changeFaults(cameraSerial, [](Faults& f) { f.repeatedTimestamps = true; });
        const SensorsData now = after(microseconds(1));
        QVERIFY(now.imu.timestamp >= before.imu.timestamp);
        QVERIFY(now.magnetometer.timestamp >= before.magnetometer.timestamp);
        QVERIFY(now.barometer.timestamp >= before.barometer.timestamp);
        m_bench->changeFaults(cameraSerial, [](Faults& f) { f.repeatedTimestamps = false; });
    }
}

void TestFaults::absentBarometer()
{
    QVERIFY(after(seconds(1)).barometer.isAvailable);
    m_bench->changeFaults(cameraSerial, [](Faults& f) { f.barometerAbsent = true; });
    const SensorsData data = after(seconds(1));
    QVERIFY(!data.barometer.isAvailable);
    QCOMPARE(data.barometer.timestamp, std::uint64_t{0});
    QVERIFY(data.magnetometer.isAvailable);
    m_bench->changeFaults(cameraSerial, [](Faults& f) { f.barometerAbsent = false; });
    QVERIFY(after(seconds(1)).barometer.pressure > 0.0F);
}

void TestFaults::absentMagnetometer()
{
    QVERIFY(after(seconds(1)).magnetometer.isAvailable);
    m_bench->changeFaults(cameraSerial, [](Faults& f) { f.magnetometerAbsent = true; });
    const SensorsData data = after(seconds(1));
    QVERIFY(!data.magnetometer.isAvailable);
    QCOMPARE(data.magnetometer.timestamp, std::uint64_t{0});
    QVERIFY(data.barometer.isAvailable);
}

void TestFaults::absentBoardTemperatures()
{
    m_bench->changeFaults(cameraSerial, [](Faults& f) { f.boardTemperaturesAbsent = true; });
    const SensorsData data = after(seconds(1));
    float value = -1.0F;
    QVERIFY(data.temperature.get(LOCATION::LEFT, value) != 0);
    QVERIFY(data.temperature.get(LOCATION::RIGHT, value) != 0);
    QCOMPARE(value, -1.0F);
    QCOMPARE(data.temperature.get(LOCATION::IMU, value), 0);
    QCOMPARE(data.temperature.get(LOCATION::BAROMETER, value), 0);
    m_bench->changeFaults(cameraSerial, [](Faults& f) { f.boardTemperaturesAbsent = false; });
    QCOMPARE(after(milliseconds(0)).temperature.get(LOCATION::LEFT, value), 0);
}

void TestFaults::absentImuTemperature()
{
    m_bench->changeFaults(cameraSerial, [](Faults& f) { f.imuTemperatureAbsent = true; });
    const SensorsData data = after(seconds(1));
    float value = -1.0F;
    QVERIFY(data.temperature.get(LOCATION::IMU, value) != 0);
    QCOMPARE(data.temperature.get(LOCATION::LEFT, value), 0);
}

void TestFaults::saturatedMagnetometerReads2048()
{
    m_bench->changeFaults(cameraSerial, [](Faults& f) { f.magnetometerSaturated = true; });
    const SensorsData data = after(seconds(1));
    QCOMPARE(data.magnetometer.magneticFieldUncalibrated.z, 2048.0F);
    QVERIFY(data.magnetometer.isAvailable);
    m_bench->changeFaults(cameraSerial, [](Faults& f) { f.magnetometerSaturated = false; });
    QVERIFY(std::abs(after(seconds(1)).magnetometer.magneticFieldUncalibrated.z) < 100.0F);
}

void TestFaults::disturbanceSwingsTheField()
{
    const auto spread = [&] {
        double least = 1e9;
        double most = 0.0;
        for (int i = 0; i < 100; ++i) {
            const Vector3<float> v = after(milliseconds(20)).magnetometer.magneticFieldUncalibrated;
            const double strength = std::sqrt(
                double{v.x} * double{v.x} + double{v.y} * double{v.y} + double{v.z} * double{v.z});
            least = std::min(least, strength);
            most = std::max(most, strength);
        }
        return most - least;
    };
    after(seconds(1));
    QVERIFY(spread() < 0.3);
    m_bench->changeFaults(cameraSerial, [](Faults& f) { f.magneticDisturbance = 20.0; });
    after(milliseconds(100));
    QVERIFY(spread() > 15.0);
    const Truth truth = m_bench->truth(cameraSerial); // the true field has it too
    QVERIFY(std::abs(length(truth.field) - 48.0) > 1e-3);
    m_bench->changeFaults(cameraSerial, [](Faults& f) { f.magneticDisturbance = 0.0; });
    QVERIFY(std::abs(length(m_bench->truth(cameraSerial).field) - 48.0) < 1e-9);
}

void TestFaults::littleGpuMemoryLeavesACudaError()
{
    cudaGetLastError();
    m_bench->changeFaults(cameraSerial, [](Faults& f) { f.littleGpuMemory = true; });
    Mat mat;
    mat.alloc(Resolution(1280, 720), MAT_TYPE::U8_C4, MEM::GPU);
    QCOMPARE(cudaGetLastError(), cudaErrorMemoryAllocation);
    m_bench->clock().advance(seconds(1));
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
    QCOMPARE(m_camera->retrieveImage(mat, VIEW::LEFT, MEM::GPU, Resolution()), ERROR_CODE::FAILURE);
    QCOMPARE(m_camera->retrieveImage(mat, VIEW::LEFT, MEM::CPU, Resolution()), ERROR_CODE::SUCCESS);
    cudaGetLastError();
}

void TestFaults::oldFirmwareIsReported()
{
    CameraConfig config = idealCamera(MODEL::TIV_P, 20000001);
    config.firmwareVersion = 1141;
    m_bench->addCamera(config);
    Camera camera;
    QCOMPARE(camera.open(parametersFor(20000001)), ERROR_CODE::SUCCESS);
    QCOMPARE(camera.getCameraInformation().firmwareVersion, 1141U);
    QVERIFY(m_camera->getCameraInformation().firmwareVersion >= 1142U); // of a camera as it is
}

void TestFaults::faultsAreChangedOneByOne()
{
    m_bench->changeFaults(cameraSerial, [](Faults& f) { f.mcuSilent = true; });
    m_bench->changeFaults(cameraSerial, [](Faults& f) { f.eepromWriteRefused = true; });
    QVERIFY(m_bench->faults(cameraSerial).mcuSilent);
    QVERIFY(m_bench->faults(cameraSerial).eepromWriteRefused);
    QVERIFY(m_bench->config(cameraSerial).faults.mcuSilent);
    Faults faults;
    faults.eepromReadbackDiffers = 2;
    QVERIFY(m_bench->setFaults(cameraSerial, faults));
    QVERIFY(!m_bench->faults(cameraSerial).mcuSilent);
    const auto camera = m_bench->camera(cameraSerial);
    QVERIFY(camera->takeReadbackDifference());
    QVERIFY(camera->takeReadbackDifference());
    QVERIFY(!camera->takeReadbackDifference());
    QVERIFY(!m_bench->setFaults(cameraSerial + 1, faults));
}

QTEST_GUILESS_MAIN(TestFaults)
#include "tst_faults.moc"
