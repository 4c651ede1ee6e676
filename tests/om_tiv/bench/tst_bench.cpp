#include "om_tiv/benchtest.h"
#include "support/sidethread.h"

#include "bench/eeprom_store.h"

#include <cmath>
#include <thread>

using namespace om;
using namespace om::bench;
using namespace benchtest;
using std::chrono::milliseconds;
using std::chrono::seconds;

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

    Bench& m_bench = theBench();
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
    bool logged = false;
    m_bench.setDeviceListHook([&] { hooked = true; });
    m_bench.log().setHook([&](const CallRecord&) { logged = true; });
    Camera::getDeviceList();
    QVERIFY(hooked && logged);
    hooked = logged = false;
    m_bench.reset();
    QVERIFY(m_bench.serialNumbers().empty());
    QVERIFY(!m_bench.clock().isManual());
    QCOMPARE(m_bench.field().strength, Field().strength);
    QVERIFY(!m_bench.log().wants(CALL::GET_SENSORS_DATA));
    QVERIFY(m_bench.log().records().empty());
    QVERIFY(Camera::getDeviceList().empty());
    QVERIFY(!hooked && !logged);
}

void TestBench::aSerialNumberIsThereOnce()
{
    QVERIFY(m_bench.addCamera(idealCamera(MODEL::TIV_Q)));
    QVERIFY(!m_bench.addCamera(idealCamera(MODEL::TIV_P)));
    QCOMPARE(m_bench.serialNumbers().size(), std::size_t{1});
    QVERIFY(m_bench.config(cameraSerial).model == MODEL::TIV_Q);
}

void TestBench::operationsOnAnUnknownCameraDoNothing()
{
    QVERIFY(!m_bench.plug(1));
    QVERIFY(!m_bench.unplug(1));
    QVERIFY(!m_bench.removeCamera(1));
    QVERIFY(!m_bench.setMotion(1, MOTION::FALL));
    QVERIFY(!m_bench.setPose(1, Quaternion()));
    QVERIFY(!m_bench.storeCalibration(1, MagCalibration()));
    QVERIFY(!m_bench.camera(1));
    QCOMPARE(m_bench.imuCounters(1).produced, std::uint64_t{0});
    QCOMPARE(m_bench.config(1).serialNumber, 0U);
}

void TestBench::statusShowsTheCameras()
{
    openCamera();
    CameraConfig config = idealCamera(MODEL::TIV_P, 20000001);
    config.plugged = false;
    m_bench.addCamera(config);
    m_bench.setMotion(cameraSerial, MOTION::HAND_HELD);
    const auto status = m_bench.status();
    QCOMPARE(status.size(), std::size_t{2});
    QCOMPARE(status[0].serialNumber, cameraSerial);
    QVERIFY(status[0].plugged && status[0].inUse);
    QVERIFY(status[0].motion == MOTION::HAND_HELD);
    QVERIFY(!status[1].plugged && !status[1].inUse);
    QVERIFY(status[1].model == MODEL::TIV_P);
    QCOMPARE(status[1].id, 1);
}

void TestBench::configurationIsShownAsOfNow()
{
    m_bench.addCamera(idealCamera());
    m_bench.unplug(cameraSerial);
    m_bench.setPose(cameraSerial, fromHeading(1.0), std::chrono::nanoseconds(0));
    const CameraConfig config = m_bench.config(cameraSerial);
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
    m_bench.setPose(cameraSerial, fromHeading(pi / 2), milliseconds(400));
    const Nanoseconds before = m_bench.clock().now();
    m_bench.clock().advance(seconds(1));
    const Truth truth = m_bench.truth(cameraSerial);
    QVERIFY(std::abs(truth.heading - 80.0 * pi / 180.0) < 1e-9);
    QVERIFY(length(truth.angularVelocity) < 1e-9);
    QVERIFY(std::abs(truth.specificForce.y - standardGravity) < 1e-9);
    QVERIFY(std::abs(length(truth.field) - 48.0) < 1e-9);
    // A time in the past: the beginning of the glide.
    QVERIFY(std::abs(m_bench.truthAt(cameraSerial, before).heading - 350.0 * pi / 180.0) < 1e-6);
    QVERIFY(length(m_bench.truthAt(cameraSerial, before + 200 * nsPerMs).angularVelocity) > 1.0);
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
    QVERIFY(m_bench.calibration(cameraSerial).isNeutral());
    MagCalibration calibration;
    calibration.scale = {0.5F, 0.25F, 0.125F};
    QVERIFY(m_bench.storeCalibration(cameraSerial, calibration));
    const auto version = m_bench.camera(cameraSerial)->calibrationVersion();
    m_bench.storeCalibration(cameraSerial, calibration);
    QVERIFY(m_bench.camera(cameraSerial)->calibrationVersion() != version);
    m_bench.reset(); // as a new process
    m_bench.addCamera(idealCamera());
    QVERIFY(m_bench.calibration(cameraSerial).scale == calibration.scale);
}

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
    QCOMPARE(call->serialNumber, cameraSerial);
    QCOMPARE(call->init->fps, 100); // as passed, not the actual one
    QCOMPARE(call->init->depthMaximum, 25.000002F);
    QCOMPARE(call->init->verbosity, 3);
    QVERIFY(call->init->resolution == RESOLUTION::HD720);
    QVERIFY(call->init->input.kind() == InputType::KIND::SERIAL_NUMBER);
    QVERIFY(call->init->input.bus() == BUS_TYPE::USB);
    m_camera->close();
    QCOMPARE(m_bench.log().last(CALL::CLOSE)->serialNumber, cameraSerial);
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
    QCOMPARE(call->serialNumber, cameraSerial);
}

void TestBench::callsKnowTheirThreadAndTime()
{
    m_bench.clock().advance(seconds(7));
    SideThread other([] { Camera::getDeviceList(); });
    const auto id = other.id();
    other.join();
    const auto call = m_bench.log().last(CALL::GET_DEVICE_LIST);
    QVERIFY(call->thread == id);
    QCOMPARE(call->time, startTime + 7 * nsPerS);
}

void TestBench::theOpenHookRunsWithinTheOpen()
{
    m_bench.addCamera(idealCamera());
    int fps = -1;
    bool opened = true;
    m_bench.setOpenHook([&](const InitParameters& parameters) {
        fps = parameters.fps;
        opened = m_camera->isOpened();
        m_bench.unplug(cameraSerial); // the hook may change the bench
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
        const SideThread thread([&] {
            if (openFirst) {
                Camera::getDeviceList();
            } else {
                Camera camera;
                camera.open(parametersFor());
            }
        });
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
