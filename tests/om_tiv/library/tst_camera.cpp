#include "om_tiv/benchtest.h"
#include "support/patience.h"

using namespace om;
using namespace om::bench;
using namespace benchtest;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

InputType byId(int id, BUS_TYPE bus)
{
    InputType input;
    input.setFromCameraID(id, bus);
    return input;
}

InputType bySerial(unsigned int serial, BUS_TYPE bus)
{
    InputType input;
    input.setFromSerialNumber(serial, bus);
    return input;
}

ERROR_CODE openWith(Camera& camera, const InputType& input)
{
    InitParameters parameters;
    parameters.input = input;
    return camera.open(parameters);
}

} // namespace

Q_DECLARE_METATYPE(om::InputType)

class TestCamera : public QObject
{
    Q_OBJECT

private slots:
    void init() { stoppedBench(); }

    void deviceListFollowsTheBench();
    void aCameraInUseIsListedAsSuch();
    void anUnpluggedCameraIsNotListed();
    void idsAreThoseOfTheConfigurationOrTheSmallestFreeOnes();
    void aCameraThatReplacesAnotherHasAnIdOfItsOwn();

    void whatOpensWhat_data();
    void whatOpensWhat();
    void withoutAnInputTheFirstCameraOpens();
    void anEmptyBenchHasNothingToOpen();
    void aCameraOpensOnce();
    void anUnpluggedCameraDoesNotOpen();
    void openingAgainClosesTheFormer();
    void aFailedOpenLeavesTheCameraClosed();
    void theDestructorFreesTheCamera();
    void closingTwiceIsHarmless();

    void sizeAndRateOfAResolution_data();
    void sizeAndRateOfAResolution();
    void parametersInForce_data();
    void parametersInForce();
    void parametersAndInformationStayAfterClose();
    void informationCanBeScaled();
    void theContextIsCurrentAfterOpen();
    void aContextOfTheCallersIsUsed();
    void withoutADeviceOpenFails();

    void operationsOnAClosedCamera();
    void grabDeliversFramesAtTheRateInForce();
    void aLateGrabDeliversTheNewestFrame();
    void grabTimesOutAfterATenthOfASecond();
    void grabReturnsWhenTheFrameIsDue();
    void imageTimeIsThatOfTheLastFrame();
    void currentTimeIsTheClocks();
    void aLiveCameraHasNoLength();
};

void TestCamera::deviceListFollowsTheBench()
{
    auto& bench = theBench();
    QVERIFY(Camera::getDeviceList().empty());
    bench.addCamera(idealCamera(MODEL::TIV_S, 50000001));
    bench.addCamera(idealCamera(MODEL::TIV_P, 20000001));
    const auto list = Camera::getDeviceList();
    QCOMPARE(list.size(), std::size_t{2});
    QCOMPARE(list[0].serialNumber, 50000001U);
    QCOMPARE(static_cast<int>(list[0].cameraModel), 5);
    QVERIFY(list[0].bus == BUS_TYPE::SERIAL);
    QCOMPARE(list[1].serialNumber, 20000001U);
    QVERIFY(list[1].bus == BUS_TYPE::USB);
    QCOMPARE(list[1].path.c_str(), "bench:20000001");
}

void TestCamera::aCameraInUseIsListedAsSuch()
{
    theBench().addCamera(idealCamera());
    QCOMPARE(Camera::getDeviceList()[0].state, 0U);
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    QCOMPARE(Camera::getDeviceList()[0].state, 1U);
    camera.close();
    QCOMPARE(Camera::getDeviceList()[0].state, 0U);
}

void TestCamera::anUnpluggedCameraIsNotListed()
{
    auto& bench = theBench();
    CameraConfig config = idealCamera();
    config.plugged = false;
    bench.addCamera(config);
    QVERIFY(Camera::getDeviceList().empty());
    bench.plug(cameraSerial);
    QCOMPARE(Camera::getDeviceList().size(), std::size_t{1});
    bench.unplug(cameraSerial);
    QVERIFY(Camera::getDeviceList().empty());
}

void TestCamera::idsAreThoseOfTheConfigurationOrTheSmallestFreeOnes()
{
    auto& bench = theBench();
    CameraConfig config = idealCamera(MODEL::TIV_Q, 1);
    bench.addCamera(config);
    config.serialNumber = 2;
    config.id = 7;
    bench.addCamera(config);
    config.serialNumber = 3;
    config.id = -1;
    bench.addCamera(config);
    const auto list = Camera::getDeviceList();
    QCOMPARE(list[0].id, 0);
    QCOMPARE(list[1].id, 7);
    QCOMPARE(list[2].id, 1);
}

/// Cameras of the serial bus are opened by their ids.
void TestCamera::aCameraThatReplacesAnotherHasAnIdOfItsOwn()
{
    auto& bench = theBench();
    bench.addCamera(idealCamera(MODEL::TIV_R, 1));
    bench.addCamera(idealCamera(MODEL::TIV_R, 2));
    bench.removeCamera(1);
    bench.addCamera(idealCamera(MODEL::TIV_R, 3));
    const auto list = Camera::getDeviceList();
    QCOMPARE(list.size(), std::size_t{2});
    for (const DeviceProperties& device : list) {
        Camera camera;
        QCOMPARE(openWith(camera, byId(device.id, device.bus)), ERROR_CODE::SUCCESS);
        QCOMPARE(camera.getCameraInformation().serialNumber, device.serialNumber);
    }
}

void TestCamera::whatOpensWhat_data()
{
    QTest::addColumn<int>("model");
    QTest::addColumn<InputType>("input");
    QTest::addColumn<bool>("opens");
    for (int model = 0; model <= 6; ++model) {
        const bool serialBus = model == 4 || model == 5;
        const auto row = [&](const char* how, const InputType& input, bool opens) {
            QTest::newRow(qPrintable(QString("model %1 by %2").arg(model).arg(how)))
                << model << input << opens;
        };
        row("serial number on USB", bySerial(cameraSerial, BUS_TYPE::USB), !serialBus);
        row("serial number on the serial bus", bySerial(cameraSerial, BUS_TYPE::SERIAL), serialBus);
        row("id on USB", byId(3, BUS_TYPE::USB), !serialBus);
        row("id on the serial bus", byId(3, BUS_TYPE::SERIAL), serialBus);
        row("another id", byId(4, serialBus ? BUS_TYPE::SERIAL : BUS_TYPE::USB), false);
        row("another serial number",
            bySerial(cameraSerial + 1, serialBus ? BUS_TYPE::SERIAL : BUS_TYPE::USB), false);
    }
}

void TestCamera::whatOpensWhat()
{
    QFETCH(int, model);
    QFETCH(InputType, input);
    QFETCH(bool, opens);
    CameraConfig config = idealCamera(static_cast<MODEL>(model));
    config.id = 3;
    config.firmwareVersion = 1140;
    theBench().addCamera(config);
    Camera camera;
    QCOMPARE(openWith(camera, input), opens ? ERROR_CODE::SUCCESS : ERROR_CODE::NOT_DETECTED);
    QCOMPARE(camera.isOpened(), opens);
    const CameraInformation information = camera.getCameraInformation();
    QCOMPARE(information.serialNumber, opens ? cameraSerial : 0U);
    QCOMPARE(static_cast<int>(information.cameraModel), opens ? model : 32);
    QCOMPARE(information.firmwareVersion, opens ? 1140U : 0U);
}

void TestCamera::withoutAnInputTheFirstCameraOpens()
{
    auto& bench = theBench();
    CameraConfig config = idealCamera(MODEL::TIV_S, 1);
    config.plugged = false;
    bench.addCamera(config);
    bench.addCamera(idealCamera(MODEL::TIV_R, 2));
    bench.addCamera(idealCamera(MODEL::TIV_Q, 3));
    Camera camera;
    QCOMPARE(openWith(camera, InputType()), ERROR_CODE::SUCCESS);
    QCOMPARE(camera.getCameraInformation().serialNumber, 2U);
}

void TestCamera::anEmptyBenchHasNothingToOpen()
{
    Camera camera;
    QCOMPARE(openWith(camera, InputType()), ERROR_CODE::NOT_DETECTED);
}

void TestCamera::aCameraOpensOnce()
{
    theBench().addCamera(idealCamera());
    Camera first;
    Camera second;
    QCOMPARE(first.open(parametersFor()), ERROR_CODE::SUCCESS);
    QCOMPARE(second.open(parametersFor()), ERROR_CODE::IN_USE);
    QVERIFY(first.isOpened());
    QVERIFY(!second.isOpened());
    first.close();
    QCOMPARE(second.open(parametersFor()), ERROR_CODE::SUCCESS);
    QCOMPARE(first.open(parametersFor()), ERROR_CODE::IN_USE);
}

void TestCamera::anUnpluggedCameraDoesNotOpen()
{
    auto& bench = theBench();
    bench.addCamera(idealCamera());
    bench.unplug(cameraSerial);
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::NOT_DETECTED);
}

void TestCamera::openingAgainClosesTheFormer()
{
    auto& bench = theBench();
    bench.addCamera(idealCamera(MODEL::TIV_Q, 1));
    bench.addCamera(idealCamera(MODEL::TIV_Q, 2));
    Camera camera;
    QCOMPARE(camera.open(parametersFor(1)), ERROR_CODE::SUCCESS);
    QCOMPARE(camera.open(parametersFor(1)), ERROR_CODE::SUCCESS); // not in its own way
    QCOMPARE(camera.open(parametersFor(2)), ERROR_CODE::SUCCESS);
    Camera other;
    QCOMPARE(other.open(parametersFor(1)), ERROR_CODE::SUCCESS);
}

void TestCamera::aFailedOpenLeavesTheCameraClosed()
{
    theBench().addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    QCOMPARE(camera.open(parametersFor(cameraSerial + 5)), ERROR_CODE::NOT_DETECTED);
    QVERIFY(!camera.isOpened());
    QVERIFY(camera.getCUDAContext() == nullptr);
}

void TestCamera::theDestructorFreesTheCamera()
{
    theBench().addCamera(idealCamera());
    {
        Camera camera;
        QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    }
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    QCOMPARE(theBench().log().count(CALL::CLOSE), std::uint64_t{1});
}

void TestCamera::closingTwiceIsHarmless()
{
    theBench().addCamera(idealCamera());
    Camera camera;
    camera.close();
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    camera.close();
    camera.close();
    QVERIFY(!camera.isOpened());
    QCOMPARE(theBench().log().count(CALL::CLOSE), std::uint64_t{1});
}

void TestCamera::sizeAndRateOfAResolution_data()
{
    QTest::addColumn<int>("model");
    QTest::addColumn<int>("resolution");
    QTest::addColumn<int>("fps");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<int>("inForce");
    QTest::newRow("6 at 100") << 3 << 6 << 100 << 1280 << 720 << 60;
    QTest::newRow("6 at 30") << 2 << 6 << 30 << 1280 << 720 << 30;
    QTest::newRow("6 at the camera's own") << 1 << 6 << 0 << 1280 << 720 << 60;
    QTest::newRow("6 too slow") << 1 << 6 << 5 << 1280 << 720 << 15;
    QTest::newRow("6 below 0") << 1 << 6 << -5 << 1280 << 720 << 60;
    QTest::newRow("3 at 30") << 4 << 3 << 30 << 1920 << 1200 << 30;
    QTest::newRow("3 at 100") << 5 << 3 << 100 << 1920 << 1200 << 30;
    QTest::newRow("3 on USB") << 3 << 3 << 60 << 1920 << 1200 << 30;
    QTest::newRow("auto on USB") << 3 << 7 << 0 << 1280 << 720 << 60;
    QTest::newRow("auto on the serial bus") << 4 << 7 << 0 << 1920 << 1200 << 30;
    QTest::newRow("an unknown one counts as auto") << 3 << 99 << 0 << 1280 << 720 << 60;
}

void TestCamera::sizeAndRateOfAResolution()
{
    QFETCH(int, model);
    QFETCH(int, resolution);
    QFETCH(int, fps);
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(int, inForce);
    theBench().addCamera(idealCamera(static_cast<MODEL>(model)));
    InitParameters parameters;
    parameters.input = byId(0, busOf(static_cast<MODEL>(model)));
    parameters.resolution = static_cast<RESOLUTION>(resolution);
    parameters.fps = fps;
    Camera camera;
    QCOMPARE(camera.open(parameters), ERROR_CODE::SUCCESS);
    const Resolution size = camera.getCameraInformation(Resolution(0, 0)).resolution;
    QCOMPARE(static_cast<int>(size.width), width);
    QCOMPARE(static_cast<int>(size.height), height);
    QCOMPARE(camera.getInitParameters().fps, inForce);
}

void TestCamera::parametersInForce_data()
{
    QTest::addColumn<int>("model");
    QTest::addColumn<int>("unit");
    QTest::addColumn<float>("minimum");
    QTest::addColumn<float>("maximum");
    QTest::addColumn<float>("minimumInForce");
    QTest::addColumn<float>("maximumInForce");
    QTest::newRow("as asked") << 3 << 2 << 1.0F << 25.000002F << 1.0F << 25.000002F;
    QTest::newRow("zero is a distance") << 3 << 2 << 0.0F << 9.0F << 0.0F << 9.0F;
    QTest::newRow("the model's own in metres") << 3 << 2 << -1.0F << -1.0F << 0.3F << 20.0F;
    QTest::newRow("the model's own in mm") << 4 << 0 << -1.0F << -1.0F << 200.0F << 20000.0F;
    QTest::newRow("the first model's own") << 0 << 2 << -1.0F << 5.0F << 0.7F << 5.0F;
}

void TestCamera::parametersInForce()
{
    QFETCH(int, model);
    QFETCH(int, unit);
    QFETCH(float, minimum);
    QFETCH(float, maximum);
    QFETCH(float, minimumInForce);
    QFETCH(float, maximumInForce);
    theBench().addCamera(idealCamera(static_cast<MODEL>(model)));
    InitParameters parameters;
    parameters.coordinateUnits = static_cast<UNIT>(unit);
    parameters.depthMinimum = minimum;
    parameters.depthMaximum = maximum;
    parameters.logFile = "kept";
    Camera camera;
    QCOMPARE(camera.open(parameters), ERROR_CODE::SUCCESS);
    const InitParameters inForce = camera.getInitParameters();
    QCOMPARE(inForce.depthMinimum, minimumInForce);
    QCOMPARE(inForce.depthMaximum, maximumInForce);
    QCOMPARE(inForce.logFile.c_str(), "kept");
    QCOMPARE(static_cast<int>(inForce.coordinateUnits), unit);
}

void TestCamera::parametersAndInformationStayAfterClose()
{
    theBench().addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    camera.close();
    QCOMPARE(camera.getCameraInformation().serialNumber, cameraSerial);
    QCOMPARE(camera.getInitParameters().fps, 60);
}

void TestCamera::informationCanBeScaled()
{
    theBench().addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    const CameraInformation information = camera.getCameraInformation(Resolution(640, 360));
    QCOMPARE(information.resolution.width, std::size_t{640});
    QCOMPARE(information.resolution.height, std::size_t{360});
    QCOMPARE(information.serialNumber, cameraSerial);
}

void TestCamera::theContextIsCurrentAfterOpen()
{
    theBench().addCamera(idealCamera());
    cuCtxSetCurrent(nullptr);
    Camera camera;
    QVERIFY(camera.getCUDAContext() == nullptr);
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    CUcontext onThread = nullptr;
    QCOMPARE(cuCtxGetCurrent(&onThread), CUDA_SUCCESS);
    QVERIFY(onThread != nullptr);
    QVERIFY(camera.getCUDAContext() == onThread);
    camera.close();
    QVERIFY(camera.getCUDAContext() == nullptr);
}

void TestCamera::aContextOfTheCallersIsUsed()
{
    theBench().addCamera(idealCamera());
    QCOMPARE(cuInit(0), CUDA_SUCCESS);
    CUcontext own = nullptr;
    QCOMPARE(cuDevicePrimaryCtxRetain(&own, 0), CUDA_SUCCESS);
    InitParameters parameters = parametersFor();
    parameters.cudaContext = own;
    Camera camera;
    QCOMPARE(camera.open(parameters), ERROR_CODE::SUCCESS);
    QVERIFY(camera.getCUDAContext() == own);
    camera.close();
    // Still the caller's to release.
    QCOMPARE(cuDevicePrimaryCtxRelease(0), CUDA_SUCCESS);
}

void TestCamera::withoutADeviceOpenFails()
{
    theBench().addCamera(idealCamera());
    InitParameters parameters = parametersFor();
    parameters.gpuId = 77;
    Camera camera;
    QCOMPARE(camera.open(parameters), ERROR_CODE::FAILURE);
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS); // the claim was released
}

void TestCamera::operationsOnAClosedCamera()
{
    Camera camera;
    SensorsData data;
    Mat mat;
    QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::FAILURE);
    QCOMPARE(current(camera, data), ERROR_CODE::FAILURE);
    QCOMPARE(camera.retrieveImage(mat, VIEW::LEFT, MEM::CPU, Resolution()), ERROR_CODE::FAILURE);
    QCOMPARE(camera.retrieveMeasure(mat, MEASURE::XYZ, MEM::CPU, Resolution()),
             ERROR_CODE::FAILURE);
    QCOMPARE(camera.getTimestamp(TIME_REFERENCE::IMAGE), std::uint64_t{0});
    QCOMPARE(camera.getQVRPosition(), 0);
    QCOMPARE(camera.getQVRNumberOfFrames(), -1);
    camera.setQVRPosition(5);
    QVERIFY(camera.getCUDAContext() == nullptr);
}

void TestCamera::grabDeliversFramesAtTheRateInForce()
{
    auto& bench = theBench();
    bench.addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    std::uint64_t last = 0;
    for (int frame = 1; frame <= 120; ++frame) {
        // Slightly after the frame's nominal time, because of the jitter.
        const Nanoseconds due = startTime + static_cast<Nanoseconds>(frame) * nsPerS / 60;
        bench.clock().setManual(due + nsPerMs);
        QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
        const std::uint64_t time = camera.getTimestamp(TIME_REFERENCE::IMAGE);
        QVERIFY(time > last);
        QVERIFY(qAbs(static_cast<std::int64_t>(time - due)) < 200000);
        last = time;
    }
}

void TestCamera::aLateGrabDeliversTheNewestFrame()
{
    auto& bench = theBench();
    bench.addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    bench.clock().advance(seconds(10));
    QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
    QVERIFY(bench.clock().now() - camera.getTimestamp(TIME_REFERENCE::IMAGE) < 17 * nsPerMs);
    bench.clock().advance(milliseconds(18));
    QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
}

void TestCamera::grabTimesOutAfterATenthOfASecond()
{
    theBench().addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    const auto start = std::chrono::steady_clock::now();
    QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::TIMEOUT); // the clock is stopped
    const auto took = std::chrono::steady_clock::now() - start;
    QVERIFY(took >= milliseconds(100) && took < waiting::patience);
    QVERIFY(camera.isOpened());
    QCOMPARE(camera.getTimestamp(TIME_REFERENCE::IMAGE), std::uint64_t{0});
}

void TestCamera::grabReturnsWhenTheFrameIsDue()
{
    auto& bench = runningBench();
    bench.addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    std::uint64_t last = 0;
    for (int i = 0; i < 12; ++i) {
        QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
        const std::uint64_t time = camera.getTimestamp(TIME_REFERENCE::IMAGE);
        QVERIFY(time <= bench.clock().now());
        QVERIFY(time > last + 16 * nsPerMs); // 60 a second
        last = time;
    }
}

void TestCamera::imageTimeIsThatOfTheLastFrame()
{
    auto& bench = theBench();
    bench.addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    QCOMPARE(camera.getTimestamp(TIME_REFERENCE::IMAGE), std::uint64_t{0});
    bench.clock().advance(milliseconds(20));
    QCOMPARE(camera.grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
    const std::uint64_t time = camera.getTimestamp(TIME_REFERENCE::IMAGE);
    QVERIFY(time > startTime);
    bench.clock().advance(seconds(1));
    QCOMPARE(camera.getTimestamp(TIME_REFERENCE::IMAGE), time);
}

void TestCamera::currentTimeIsTheClocks()
{
    Camera camera;
    QCOMPARE(camera.getTimestamp(TIME_REFERENCE::CURRENT), startTime);
    theBench().clock().advance(seconds(1));
    QCOMPARE(camera.getTimestamp(TIME_REFERENCE::CURRENT), startTime + nsPerS);
}

void TestCamera::aLiveCameraHasNoLength()
{
    theBench().addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    QCOMPARE(camera.getQVRNumberOfFrames(), -1);
    camera.setQVRPosition(5);
    QCOMPARE(camera.getQVRPosition(), 0);
}

QTEST_GUILESS_MAIN(TestCamera)
#include "tst_camera.moc"
