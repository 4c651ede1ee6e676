#include "om_tiv/benchtest.h"

#include "bench/eeprom.h"

#include <atomic>
#include <cmath>
#include <thread>

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

class TestBench : public QObject
{
    Q_OBJECT

private slots:
    void init();

    // The bench
    void theDefaultBenchHasThreeCameras();
    void serialNumbersOfTheDefaultBenchNameTheModel();
    void resetEmptiesTheBench();
    void aSerialNumberIsThereOnce();
    void operationsOnAnUnknownCameraDoNothing();
    void statusShowsTheCameras();
    void configurationIsShownAsOfNow();
    void truthFollowsThePose();
    void theFieldIsForAllCameras();
    void calibrationsOutliveTheCamera();

    // Scripted records
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

    // The log of calls
    void openIsLoggedWithItsParameters();
    void aFailedOpenIsLogged();
    void grabIsLoggedWithItsParameters();
    void retrievalsAreLogged();
    void deviceListsAreLogged();
    void sensorReadsAreLoggedOnRequest();
    void callsKnowTheirThreadAndTime();

    // Hooks
    void theOpenHookRunsWithinTheOpen();
    void theListHookRunsWithinTheList();
    void aListDuringAnOpenIsCounted_data();
    void aListDuringAnOpenIsCounted();
    void aListAfterAnOpenIsNotCounted();

private:
    void openCamera();

    Bench& m_bench = Bench::instance();
    std::unique_ptr<Camera> m_camera;
};

void TestBench::init()
{
    m_camera = std::make_unique<Camera>();
    stoppedBench();
}

void TestBench::openCamera()
{
    m_bench.addCamera(idealCamera());
    QCOMPARE(m_camera->open(parametersFor()), ERROR_CODE::SUCCESS);
}

// ---- The bench ----------------------------------------------------------------------------------

void TestBench::theDefaultBenchHasThreeCameras()
{
    m_bench.loadDefault();
    const auto list = Camera::getDeviceList();
    QCOMPARE(list.size(), std::size_t{3});
    QCOMPARE(list[0].serialNumber, 31415926U);
    QVERIFY(list[0].cameraModel == MODEL::TIV_Q);
    QCOMPARE(list[1].serialNumber, 27182818U);
    QVERIFY(list[1].cameraModel == MODEL::TIV_P);
    QCOMPARE(list[2].serialNumber, 14142135U);
    QVERIFY(list[2].cameraModel == MODEL::TIV_N);
    for (const CameraStatus& camera : m_bench.status()) {
        QVERIFY(camera.motion == MOTION::TUMBLE);
        QVERIFY(m_bench.config(camera.serialNumber).firmwareVersion >= 1142U);
    }
}

void TestBench::serialNumbersOfTheDefaultBenchNameTheModel()
{
    m_bench.loadDefault();
    for (const CameraStatus& camera : m_bench.status()) {
        QCOMPARE(camera.serialNumber / 10000000, static_cast<unsigned int>(camera.model));
    }
}

void TestBench::resetEmptiesTheBench()
{
    m_bench.addCamera(idealCamera());
    m_bench.setField({10.0, 20.0, 30.0});
    m_bench.log().setHighRate(true);
    bool hooked = false;
    m_bench.setDeviceListHook([&] { hooked = true; });
    Camera::getDeviceList();
    QVERIFY(hooked);
    hooked = false;
    m_bench.reset();
    QVERIFY(m_bench.serialNumbers().empty());
    QVERIFY(!m_bench.clock().isManual());
    QCOMPARE(m_bench.field().strength, Field().strength);
    QVERIFY(!m_bench.log().wants(CALL::GET_SENSORS_DATA));
    QVERIFY(m_bench.log().records().empty());
    QVERIFY(Camera::getDeviceList().empty());
    QVERIFY(!hooked);
}

void TestBench::aSerialNumberIsThereOnce()
{
    QVERIFY(m_bench.addCamera(idealCamera(MODEL::TIV_Q)));
    QVERIFY(!m_bench.addCamera(idealCamera(MODEL::TIV_P)));
    QCOMPARE(m_bench.serialNumbers().size(), std::size_t{1});
    QVERIFY(m_bench.config(SERIAL).model == MODEL::TIV_Q);
}

void TestBench::operationsOnAnUnknownCameraDoNothing()
{
    QVERIFY(!m_bench.plug(1));
    QVERIFY(!m_bench.unplug(1));
    QVERIFY(!m_bench.removeCamera(1));
    QVERIFY(!m_bench.setMotion(1, MOTION::FALL));
    QVERIFY(!m_bench.setPose(1, Quaternion()));
    QVERIFY(!m_bench.storeCalibration(1, MagCalibration()));
    QVERIFY(!m_bench.scriptGrab(1, {ERROR_CODE::SUCCESS}));
    QVERIFY(!m_bench.scriptSensors(1, std::vector<SensorsEntry>{entry(1)}));
    QVERIFY(!m_bench.clearScripts(1));
    QVERIFY(!m_bench.camera(1));
    QCOMPARE(m_bench.imuCounters(1).produced, std::uint64_t{0});
    QCOMPARE(m_bench.config(1).serialNumber, 0U);
    QVERIFY(!m_bench.sensorsScript(1).active);
}

void TestBench::statusShowsTheCameras()
{
    openCamera();
    CameraConfig config = idealCamera(MODEL::TIV_P, 20000001);
    config.plugged = false;
    m_bench.addCamera(config);
    m_bench.setMotion(SERIAL, MOTION::HAND_HELD);
    const auto status = m_bench.status();
    QCOMPARE(status.size(), std::size_t{2});
    QCOMPARE(status[0].serialNumber, SERIAL);
    QVERIFY(status[0].plugged && status[0].inUse);
    QVERIFY(status[0].motion == MOTION::HAND_HELD);
    QVERIFY(!status[1].plugged && !status[1].inUse);
    QVERIFY(status[1].model == MODEL::TIV_P);
    QCOMPARE(status[1].id, 1);
}

void TestBench::configurationIsShownAsOfNow()
{
    m_bench.addCamera(idealCamera());
    m_bench.unplug(SERIAL);
    m_bench.setPose(SERIAL, fromHeading(1.0), std::chrono::nanoseconds(0));
    const CameraConfig config = m_bench.config(SERIAL);
    QVERIFY(!config.plugged);
    QVERIFY(config.motion == MOTION::POSED);
    QVERIFY(std::abs(config.pose.y - fromHeading(1.0).y) < 1e-12);
    QCOMPARE(config.id, 0);
}

void TestBench::truthFollowsThePose()
{
    m_bench.addCamera(idealCamera());
    Field field;
    field.declination = 10.0;
    m_bench.setField(field);
    m_bench.setPose(SERIAL, fromHeading(PI / 2), milliseconds(400));
    const Nanoseconds before = m_bench.clock().now();
    m_bench.clock().advance(seconds(1));
    const Truth truth = m_bench.truth(SERIAL);
    QVERIFY(std::abs(truth.heading - 80.0 * PI / 180.0) < 1e-9);
    QVERIFY(length(truth.angularVelocity) < 1e-9);
    QVERIFY(std::abs(truth.specificForce.y - STANDARD_GRAVITY) < 1e-9);
    QVERIFY(std::abs(length(truth.field) - 48.0) < 1e-9);
    // A moment of the past: at the beginning of the glide.
    QVERIFY(std::abs(m_bench.truthAt(SERIAL, before).heading - 350.0 * PI / 180.0) < 1e-6);
    QVERIFY(length(m_bench.truthAt(SERIAL, before + 200 * NS_PER_MS).angularVelocity) > 1.0);
}

void TestBench::theFieldIsForAllCameras()
{
    m_bench.addCamera(idealCamera(MODEL::TIV_Q, 1));
    m_bench.addCamera(idealCamera(MODEL::TIV_Q, 2));
    m_bench.setField({30.0, 0.0, 0.0});
    for (const unsigned int serial : {1U, 2U}) {
        const Truth truth = m_bench.truth(serial);
        QVERIFY(length(truth.field - Vector{0.0, 0.0, -30.0}) < 1e-9);
    }
}

void TestBench::calibrationsOutliveTheCamera()
{
    m_bench.addCamera(idealCamera());
    QVERIFY(m_bench.calibration(SERIAL).isNeutral());
    MagCalibration calibration;
    calibration.scale = {0.5F, 0.25F, 0.125F};
    QVERIFY(m_bench.storeCalibration(SERIAL, calibration));
    const auto version = m_bench.camera(SERIAL)->calibrationVersion();
    m_bench.storeCalibration(SERIAL, calibration);
    QVERIFY(m_bench.camera(SERIAL)->calibrationVersion() != version);
    m_bench.reset(); // as a new process
    m_bench.addCamera(idealCamera());
    QVERIFY(m_bench.calibration(SERIAL).scale == calibration.scale);
}

// ---- Scripted records ---------------------------------------------------------------------------

void TestBench::sensorsComeAsScripted()
{
    openCamera();
    m_bench.scriptSensors(SERIAL, {entry(5000, 1.0F), entry(7000, 2.0F), entry(6000, 3.0F)});
    const std::uint64_t times[] = {5000, 7000, 6000};
    SensorsData data;
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(current(*m_camera, data), ERROR_CODE::SUCCESS);
        QCOMPARE(data.imu.timestamp, times[i]);
        QCOMPARE(data.imu.linearAcceleration.x, static_cast<float>(i + 1));
        QCOMPARE(data.temperature.values.size(), std::size_t{1});
    }
    QVERIFY(!data.magnetometer.isAvailable); // nothing of the physics gets in
    QCOMPARE(m_bench.sensorsScript(SERIAL).delivered, std::uint64_t{3});
}

void TestBench::aScriptedFailureLeavesTheRecord()
{
    openCamera();
    m_bench.scriptSensors(SERIAL, {entry(5000), failure(11), entry(6000)});
    SensorsData data;
    current(*m_camera, data);
    QCOMPARE(static_cast<int>(current(*m_camera, data)), 11);
    QCOMPARE(data.imu.timestamp, std::uint64_t{5000});
    QVERIFY(m_camera->isOpened());
    QCOMPARE(current(*m_camera, data), ERROR_CODE::SUCCESS);
    QCOMPARE(data.imu.timestamp, std::uint64_t{6000});
}

void TestBench::scriptedLossOfTheCamera()
{
    openCamera();
    m_bench.scriptSensors(SERIAL, {entry(5000), failure(4)});
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

void TestBench::unplugAfterTheScript()
{
    openCamera();
    m_bench.scriptSensors(SERIAL, std::vector<SensorsEntry>{entry(5000)}, AFTER::CAMERA_GONE);
    SensorsData data;
    QCOMPARE(current(*m_camera, data), ERROR_CODE::SUCCESS);
    QVERIFY(m_camera->isOpened());
    QCOMPARE(current(*m_camera, data), ERROR_CODE::CAMERA_GONE);
    QVERIFY(!m_camera->isOpened());
    QVERIFY(Camera::getDeviceList().empty());
}

void TestBench::physicsAfterTheScript()
{
    openCamera();
    m_bench.scriptSensors(SERIAL, std::vector<SensorsEntry>{entry(5000)}, AFTER::PHYSICS);
    m_bench.clock().advance(seconds(1));
    SensorsData data;
    current(*m_camera, data);
    QCOMPARE(data.imu.timestamp, std::uint64_t{5000});
    QCOMPARE(current(*m_camera, data), ERROR_CODE::SUCCESS);
    QVERIFY(data.imu.timestamp > START);
    QVERIFY(data.magnetometer.isAvailable);
}

void TestBench::theLastRecordRepeatsAtAnEasyPace()
{
    openCamera();
    m_bench.scriptSensors(SERIAL, std::vector<SensorsEntry>{entry(5000, 1.0F)});
    SensorsData data;
    current(*m_camera, data);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(current(*m_camera, data), ERROR_CODE::SUCCESS);
        QCOMPARE(data.imu.timestamp, std::uint64_t{5000});
    }
    QVERIFY(std::chrono::steady_clock::now() - start >= milliseconds(20));
    QCOMPARE(m_bench.sensorsScript(SERIAL).calls, std::uint64_t{5});
}

void TestBench::anAppendedRecordEndsTheWait()
{
    openCamera();
    m_bench.scriptSensors(SERIAL, std::vector<SensorsEntry>{entry(5000)});
    std::atomic<std::uint64_t> seen{0};
    std::atomic<bool> stop{false};
    std::thread poller([&] {
        SensorsData data;
        while (!stop) {
            current(*m_camera, data);
            seen = data.imu.timestamp;
        }
    });
    QTRY_COMPARE(seen.load(), std::uint64_t{5000});
    // One by one, each dealt with before the next, as a test of a thread steps it.
    for (std::uint64_t i = 1; i <= 20; ++i) {
        m_bench.appendSensors(SERIAL, {entry(5000 + i)});
        QTRY_COMPARE(m_bench.sensorsScript(SERIAL).delivered, i + 1);
        const std::uint64_t calls = m_bench.sensorsScript(SERIAL).calls;
        QTRY_VERIFY(m_bench.sensorsScript(SERIAL).calls > calls);
        QCOMPARE(seen.load(), 5000 + i);
    }
    stop = true;
    poller.join();
}

void TestBench::scriptedRecordsKeepTheirTime()
{
    openCamera();
    // Exactly what the script says, also where a time is missing or runs backward.
    m_bench.scriptSensors(SERIAL, {entry(0), entry(999), entry(UINT64_MAX), entry(1)});
    SensorsData data;
    for (const std::uint64_t time :
         {std::uint64_t{0}, std::uint64_t{999}, UINT64_MAX, std::uint64_t{1}}) {
        current(*m_camera, data);
        QCOMPARE(data.imu.timestamp, time);
    }
}

void TestBench::longScriptsAreMadeAsTheyAreRead()
{
    openCamera();
    m_bench.scriptSensors(
        SERIAL,
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

void TestBench::grabsComeAsScripted()
{
    openCamera();
    m_bench.scriptGrab(SERIAL, {ERROR_CODE::SUCCESS, ERROR_CODE::TIMEOUT, ERROR_CODE::FAILURE,
                                ERROR_CODE::SUCCESS});
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::SUCCESS); // the clock stands
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::TIMEOUT);
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::FAILURE);
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
    QCOMPARE(m_bench.grabScript(SERIAL).delivered, std::uint64_t{4});
    QCOMPARE(m_bench.grabScript(SERIAL).calls, std::uint64_t{5});
}

void TestBench::aScriptedGrabMakesAFrame()
{
    openCamera();
    m_bench.scriptGrab(SERIAL, {ERROR_CODE::SUCCESS});
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
    QCOMPARE(m_camera->getTimestamp(TIME_REFERENCE::IMAGE), START);
    Mat mat;
    QCOMPARE(m_camera->retrieveImage(mat, VIEW::LEFT, MEM::CPU, Resolution()), ERROR_CODE::SUCCESS);
}

void TestBench::aScriptedGrabLosesTheCamera()
{
    openCamera();
    m_bench.scriptGrab(SERIAL, {ERROR_CODE::CAMERA_GONE});
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::CAMERA_GONE);
    QVERIFY(!m_camera->isOpened());
    SensorsData data;
    QCOMPARE(current(*m_camera, data), ERROR_CODE::CAMERA_GONE);
}

void TestBench::aScriptForAWaitingGrab()
{
    openCamera();
    std::atomic<int> result{-1};
    std::thread grabbing([&] {
        ERROR_CODE code = ERROR_CODE::TIMEOUT;
        while (code == ERROR_CODE::TIMEOUT) {
            code = m_camera->grab(RuntimeParameters());
        }
        result = static_cast<int>(code);
    });
    QTRY_COMPARE(m_bench.clock().waiters(), 1);
    m_bench.scriptGrab(SERIAL, {static_cast<ERROR_CODE>(17)});
    grabbing.join();
    QCOMPARE(result.load(), 17);
}

void TestBench::scriptsMayBeSetBeforeTheOpening()
{
    m_bench.addCamera(idealCamera());
    m_bench.scriptSensors(SERIAL, std::vector<SensorsEntry>{entry(5000)});
    QCOMPARE(m_camera->open(parametersFor()), ERROR_CODE::SUCCESS);
    SensorsData data;
    current(*m_camera, data);
    QCOMPARE(data.imu.timestamp, std::uint64_t{5000});
}

void TestBench::clearedScriptsGiveWayToPhysics()
{
    openCamera();
    m_bench.scriptSensors(SERIAL, std::vector<SensorsEntry>{entry(5000)});
    m_bench.scriptGrab(SERIAL, {ERROR_CODE::FAILURE});
    m_bench.scriptReader(SERIAL, {IMUReaderData()});
    m_bench.scriptPose(SERIAL, {IMUPose()});
    QVERIFY(m_bench.readerScript(SERIAL).active);
    QVERIFY(m_bench.poseScript(SERIAL).active);
    m_bench.clearScripts(SERIAL);
    QVERIFY(!m_bench.readerScript(SERIAL).active);
    QVERIFY(!m_bench.poseScript(SERIAL).active);
    m_bench.clock().advance(seconds(1));
    SensorsData data;
    current(*m_camera, data);
    QVERIFY(data.imu.timestamp > START);
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
}

// ---- The log of calls ---------------------------------------------------------------------------

void TestBench::openIsLoggedWithItsParameters()
{
    m_bench.addCamera(idealCamera());
    InitParameters parameters = parametersFor();
    parameters.fps = 100;
    parameters.depthMaximum = 25.000002F;
    parameters.verbosity = 3;
    QCOMPARE(m_camera->open(parameters), ERROR_CODE::SUCCESS);
    const auto call = m_bench.log().last(CALL::OPEN);
    QVERIFY(call && call->init);
    QCOMPARE(call->result, 0);
    QCOMPARE(call->serialNumber, SERIAL);
    QCOMPARE(call->init->fps, 100); // as passed, not as in force
    QCOMPARE(call->init->depthMaximum, 25.000002F);
    QCOMPARE(call->init->verbosity, 3);
    QVERIFY(call->init->resolution == RESOLUTION::HD720);
    QVERIFY(call->init->input.kind() == InputType::KIND::SERIAL_NUMBER);
    QVERIFY(call->init->input.bus() == BUS_TYPE::USB);
    m_camera->close();
    QCOMPARE(m_bench.log().last(CALL::CLOSE)->serialNumber, SERIAL);
}

void TestBench::aFailedOpenIsLogged()
{
    InitParameters parameters;
    parameters.input.setFromCameraID(12, BUS_TYPE::SERIAL);
    m_camera->open(parameters);
    const auto call = m_bench.log().last(CALL::OPEN);
    QCOMPARE(call->result, static_cast<int>(ERROR_CODE::NOT_DETECTED));
    QVERIFY(call->init->input.kind() == InputType::KIND::CAMERA_ID);
    QCOMPARE(call->init->input.cameraId(), 12);
    QVERIFY(call->init->input.bus() == BUS_TYPE::SERIAL);
    m_camera->close();
    QCOMPARE(m_bench.log().count(CALL::CLOSE), std::uint64_t{0}); // nothing was open
}

void TestBench::grabIsLoggedWithItsParameters()
{
    openCamera();
    m_bench.clock().advance(seconds(1));
    RuntimeParameters runtime(true, false, 42, 77, REFERENCE_FRAME::CAMERA, false);
    m_camera->grab(runtime);
    const auto call = m_bench.log().last(CALL::GRAB);
    QCOMPARE(call->result, 0);
    QCOMPARE(call->runtime.confidenceThreshold, 42);
    QCOMPARE(call->runtime.textureThreshold, 77);
    QVERIFY(call->runtime.enableDepth && !call->runtime.removeSaturated);
}

void TestBench::retrievalsAreLogged()
{
    openCamera();
    Mat mat;
    m_camera->retrieveImage(mat, VIEW::SIDE_BY_SIDE, MEM::GPU, Resolution(64, 48));
    m_camera->retrieveMeasure(mat, MEASURE::XYZ, MEM::CPU, Resolution(32, 24));
    const auto image = m_bench.log().last(CALL::RETRIEVE_IMAGE);
    QVERIFY(image->view == VIEW::SIDE_BY_SIDE && image->memory == MEM::GPU);
    QCOMPARE(image->size.width, std::size_t{64});
    QCOMPARE(image->result, static_cast<int>(ERROR_CODE::FAILURE)); // before the first frame
    const auto measure = m_bench.log().last(CALL::RETRIEVE_MEASURE);
    QVERIFY(measure->measure == MEASURE::XYZ && measure->memory == MEM::CPU);
    QCOMPARE(measure->size.height, std::size_t{24});
}

void TestBench::deviceListsAreLogged()
{
    Camera::getDeviceList();
    m_bench.addCamera(idealCamera());
    Camera::getDeviceList();
    const auto calls = m_bench.log().records(CALL::GET_DEVICE_LIST);
    QCOMPARE(calls.size(), std::size_t{2});
    QCOMPARE(calls[0].value, 0);
    QCOMPARE(calls[1].value, 1);
}

void TestBench::sensorReadsAreLoggedOnRequest()
{
    openCamera();
    m_bench.clock().advance(seconds(1));
    SensorsData data;
    current(*m_camera, data);
    QCOMPARE(m_bench.log().count(CALL::GET_SENSORS_DATA), std::uint64_t{0});
    m_bench.log().setHighRate(true);
    current(*m_camera, data);
    const auto call = m_bench.log().last(CALL::GET_SENSORS_DATA);
    QVERIFY(call);
    QCOMPARE(call->value, 1);
    QCOMPARE(call->serialNumber, SERIAL);
}

void TestBench::callsKnowTheirThreadAndTime()
{
    m_bench.clock().advance(seconds(7));
    std::thread other([] { Camera::getDeviceList(); });
    const auto id = other.get_id();
    other.join();
    const auto call = m_bench.log().last(CALL::GET_DEVICE_LIST);
    QVERIFY(call->thread == id);
    QCOMPARE(call->time, START + 7 * NS_PER_S);
}

// ---- Hooks --------------------------------------------------------------------------------------

void TestBench::theOpenHookRunsWithinTheOpen()
{
    m_bench.addCamera(idealCamera());
    int fps = -1;
    bool opened = true;
    m_bench.setOpenHook([&](const InitParameters& parameters) {
        fps = parameters.fps;
        opened = m_camera->isOpened();
        m_bench.unplug(SERIAL); // the bench may be changed from within
    });
    InitParameters parameters = parametersFor();
    parameters.fps = 33;
    QCOMPARE(m_camera->open(parameters), ERROR_CODE::NOT_DETECTED);
    QCOMPARE(fps, 33);
    QVERIFY(!opened);
}

void TestBench::theListHookRunsWithinTheList()
{
    m_bench.setDeviceListHook([&] { m_bench.addCamera(idealCamera()); });
    QCOMPARE(Camera::getDeviceList().size(), std::size_t{1});
}

void TestBench::aListDuringAnOpenIsCounted_data()
{
    QTest::addColumn<bool>("openFirst");
    QTest::newRow("the list begins within the open") << true;
    QTest::newRow("the open begins within the list") << false;
}

void TestBench::aListDuringAnOpenIsCounted()
{
    QFETCH(bool, openFirst);
    m_bench.addCamera(idealCamera());
    const auto other = [&] {
        std::thread thread([&] {
            if (openFirst) {
                Camera::getDeviceList();
            } else {
                Camera camera;
                camera.open(parametersFor());
            }
        });
        thread.join();
    };
    if (openFirst) {
        m_bench.setOpenHook([&](const InitParameters&) { other(); });
        m_camera->open(parametersFor());
    } else {
        m_bench.setDeviceListHook(other);
        Camera::getDeviceList();
    }
    QCOMPARE(m_bench.listsDuringOpen(), 1);
    m_bench.reset();
    QCOMPARE(m_bench.listsDuringOpen(), 0);
}

void TestBench::aListAfterAnOpenIsNotCounted()
{
    openCamera();
    Camera::getDeviceList();
    m_camera->close();
    Camera::getDeviceList();
    QCOMPARE(m_bench.listsDuringOpen(), 0);
}

QTEST_GUILESS_MAIN(TestBench)
#include "tst_bench.moc"
