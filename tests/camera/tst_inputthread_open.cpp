#include "camera/InputThreadModul.h"
#include "camera/ProgramStates.h"
#include "camerafixture.h"

#include <QMetaMethod>
#include <QSignalSpy>
#include <QtTest>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <type_traits>

using namespace camerafixture;
using om::bench::CALL;
using om::bench::CallRecord;

namespace {

std::shared_ptr<const om::InitParameters> passedToOpen()
{
    const std::optional<CallRecord> call = bench().log().last(CALL::OPEN);
    return call ? call->init : nullptr;
}

// The types of the fields.
using I = InputThreadModul;
template <auto Field, typename Type>
constexpr bool is = std::is_same_v<decltype(Field), Type I::*>;
static_assert(is<&I::imageGpu, om::Mat>);
static_assert(is<&I::image2Gpu, om::Mat>);
static_assert(is<&I::measureGpu, om::Mat>);
static_assert(is<&I::depthHost, om::Mat>);
static_assert(is<&I::measureHost, om::Mat>);
static_assert(is<&I::imageHost, om::Mat>);
static_assert(is<&I::image3Host, om::Mat>);
static_assert(is<&I::requestView0, bool>);
static_assert(is<&I::requestView1, bool>);
static_assert(is<&I::requestView8, bool>);
static_assert(is<&I::requestDepth, bool>);
static_assert(is<&I::requestMeasure, bool>);
static_assert(is<&I::cudaContext, CUcontext>);
static_assert(is<&I::lastFrame, int>);
static_assert(is<&I::frameSlider, QAbstractSlider*>);
static_assert(is<&I::camera, om::Camera>);
static_assert(is<&I::retrieveMutex, QMutex>);
static_assert(is<&I::grabMutex, QMutex>);
static_assert(is<&I::lastImageTime, std::uint64_t>);
static_assert(is<&I::droppedFrames, unsigned int>);
static_assert(is<&I::frameRate, double>);
static_assert(is<&I::fpsCounter, FpsCounter*>);
static_assert(is<&I::cameraInfo, om::CameraInformation>);
static_assert(is<&I::enabled, bool>);
static_assert(is<&I::running, bool>);
static_assert(is<&I::opened, bool>);
static_assert(is<&I::playingFile, bool>);
static_assert(is<&I::liveCamera, bool>);
static_assert(is<&I::aborted, bool>);
static_assert(is<&I::imageSize, om::Resolution>);
static_assert(is<&I::image2Size, om::Resolution>);
static_assert(is<&I::playbackTimer, QElapsedTimer>);
static_assert(is<&I::lastPlaybackTime, std::uint64_t>);
static_assert(std::is_same_v<decltype(FpsCounter::framesPerSecond), unsigned int>);
static_assert(std::is_same_v<decltype(FpsCounter::frames), unsigned int>);
static_assert(std::is_same_v<decltype(FpsCounter::interval), Interval>);
static_assert(std::has_virtual_destructor_v<Interval> &&
              std::is_same_v<decltype(Interval::start), std::chrono::system_clock::time_point>);

/// Whether members are in this order.
bool inOrder(std::initializer_list<const void*> members)
{
    return std::adjacent_find(members.begin(), members.end(), std::greater_equal<>()) ==
           members.end();
}

} // namespace

using StepSignal = void (InputThreadModul::*)();
Q_DECLARE_METATYPE(StepSignal)

class TestInputThreadOpen : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void objectStartsWithNothingOpen();
    void fieldsStandInTheirOrder();
    void signalsAndSlotStandInTheirOrder();
    void enableToStartEnablesWhateverItsArgument_data();
    void enableToStartEnablesWhateverItsArgument();

    void parametersAreThoseOfTheViewer();
    void parametersFollowTheAttributes();
    void depthLimitsAreProductsInFloat_data();
    void depthLimitsAreProductsInFloat();

    void liveOpensBySerialNumberAsTheAttributesSay_data();
    void liveOpensBySerialNumberAsTheAttributesSay();
    void liveFillsCameraInformationAndFlags();
    void gmslOpensByIdAtItsOwnResolutionAndRate_data();
    void gmslOpensByIdAtItsOwnResolutionAndRate();
    void failedOpenReturnsItsCodeAndOpensNothing_data();
    void failedOpenReturnsItsCodeAndOpensNothing();
    void failedOpenAfterAGoodOneTakesTheFlagsBack();
    void startGrabbingDoesNothingWithoutAnOpenCamera();

    void createMemoriesFailsWithoutAnOpenCamera();
    void createMemoriesGoesStepByStep();
    void createMemoriesPublishesWhatTheCameraIs_data();
    void createMemoriesPublishesWhatTheCameraIs();
    void createMemoriesForgetsEarlierErrors();
    void createMemoriesFailsOnTooLittleGpuMemory();
    void createMemoriesFailsOnAnyCudaErrorOnTheWay_data();
    void createMemoriesFailsOnAnyCudaErrorOnTheWay();

    void frameDropsAreCountedAgainstTheCamerasRate();
    void frameDropsAskForTheRateFromTheSecondFrameOn();
    void frameDropsStartAgainWithCreateMemories();
};

void TestInputThreadOpen::init()
{
    setUp();
    cudaGetLastError();
}

void TestInputThreadOpen::cleanup()
{
    QCOMPARE(gpuBlocks(), std::size_t(0));
    bench().reset();
}

void TestInputThreadOpen::objectStartsWithNothingOpen()
{
    const auto before = std::chrono::system_clock::now();
    InputThreadModul input;

    for (om::Mat* mat : {&input.imageGpu, &input.image2Gpu, &input.measureGpu, &input.depthHost,
                         &input.measureHost, &input.imageHost, &input.image3Host}) {
        QVERIFY(!mat->getPtr(om::MEM::CPU));
        QVERIFY(!mat->getPtr(om::MEM::GPU));
    }
    for (bool flag : {input.requestView0, input.requestView1, input.requestView8,
                      input.requestDepth, input.requestMeasure, input.enabled, input.running,
                      input.opened, input.playingFile, input.liveCamera, input.aborted}) {
        QVERIFY(!flag);
    }
    QVERIFY(!input.cudaContext);
    QVERIFY(!input.camera.isOpened());
    QCOMPARE(input.lastImageTime, std::uint64_t(0));
    QCOMPARE(input.droppedFrames, 0U);
    QCOMPARE(input.frameRate, 0.0);
    QVERIFY(input.fpsCounter);
    QCOMPARE(input.fpsCounter->framesPerSecond, 0U);
    QCOMPARE(input.fpsCounter->frames, 0U);
    QVERIFY(input.fpsCounter->interval.start >= before);
    QCOMPARE(static_cast<int>(input.cameraInfo.cameraModel), 32);
    QCOMPARE(input.imageSize.width, std::size_t(0));
    QCOMPARE(input.imageSize.height, std::size_t(0));
    QCOMPARE(input.image2Size.width, std::size_t(0));
    QCOMPARE(input.image2Size.height, std::size_t(0));
    QVERIFY(!input.playbackTimer.isValid());
    QCOMPARE(input.lastPlaybackTime, std::uint64_t(0));
    QVERIFY(!input.isRunning());
}

void TestInputThreadOpen::fieldsStandInTheirOrder()
{
    const InputThreadModul i;
    QVERIFY(inOrder(
        {&i.imageGpu,     &i.image2Gpu,      &i.measureGpu,      &i.depthHost,     &i.measureHost,
         &i.imageHost,    &i.image3Host,     &i.requestView0,    &i.requestView1,  &i.requestView8,
         &i.requestDepth, &i.requestMeasure, &i.cudaContext,     &i.lastFrame,     &i.frameSlider,
         &i.camera,       &i.retrieveMutex,  &i.grabMutex,       &i.lastImageTime, &i.droppedFrames,
         &i.frameRate,    &i.fpsCounter,     &i.cameraInfo,      &i.enabled,       &i.running,
         &i.opened,       &i.playingFile,    &i.liveCamera,      &i.aborted,       &i.imageSize,
         &i.image2Size,   &i.playbackTimer,  &i.lastPlaybackTime}));
    const FpsCounter& counter = *i.fpsCounter;
    QVERIFY(inOrder({&counter.framesPerSecond, &counter.frames, &counter.interval}));
}

void TestInputThreadOpen::signalsAndSlotStandInTheirOrder()
{
    const QMetaObject& meta = InputThreadModul::staticMetaObject;
    QCOMPARE(meta.superClass(), &QThread::staticMetaObject);

    QStringList methods;
    for (int index = meta.methodOffset(); index < meta.methodCount(); ++index) {
        const QMetaMethod method = meta.method(index);
        methods << QString(method.methodType() == QMetaMethod::Signal ? "signal " : "slot ") +
                       method.methodSignature();
    }
    QCOMPARE(methods,
             QStringList({"signal theEnd()", "signal sendInitProcess()",
                          "signal sendInit2D(int,int,int)", "signal sendInit()",
                          "signal sendNewImage()", "signal sendContext()", "signal send3D(float*)",
                          "signal SendPC()", "signal SendImage()", "signal SendDepth()",
                          "signal DetectTIVDisconnect()", "slot enableToStart(bool)"}));
}

void TestInputThreadOpen::enableToStartEnablesWhateverItsArgument_data()
{
    QTest::addColumn<bool>("argument");
    QTest::newRow("true") << true;
    QTest::newRow("false") << false;
}

void TestInputThreadOpen::enableToStartEnablesWhateverItsArgument()
{
    QFETCH(bool, argument);
    InputThreadModul input;
    input.enableToStart(argument);
    QVERIFY(input.enabled);
}

void TestInputThreadOpen::parametersAreThoseOfTheViewer()
{
    InputThreadModul input;
    const om::InitParameters parameters = input.getInitParams();

    QCOMPARE(static_cast<int>(parameters.resolution), 6);
    QCOMPARE(parameters.fps, 0);
    QCOMPARE(parameters.enableRecording, false);
    QCOMPARE(static_cast<int>(parameters.depthMode), 1);
    QCOMPARE(static_cast<int>(parameters.coordinateUnits), 2);
    QCOMPARE(static_cast<int>(parameters.coordinateSystem), 2);
    QCOMPARE(parameters.verbosity, 1);
    QCOMPARE(parameters.gpuId, -1);
    // Exact, unlike QCOMPARE with floats.
    QVERIFY(parameters.depthMinimum == 1.0F);
    QVERIFY(parameters.depthMaximum == 25.000002F);
    QCOMPARE(parameters.disableSelfCalibration, false);
    QCOMPARE(parameters.imageFlip, 0);
    QCOMPARE(parameters.rightSideMeasure, false);
    QCOMPARE(parameters.logFile.c_str(), "");
    QCOMPARE(parameters.depthStabilization, 1);
    QVERIFY(!parameters.cudaContext);
    QVERIFY(parameters.input.kind() == om::InputType::KIND::NONE);
    QCOMPARE(parameters.settingsPath.c_str(), "");
    QCOMPARE(parameters.sensorsRequired, false);
    QCOMPARE(parameters.imageEnhancement, true);
    QCOMPARE(parameters.calibrationPath.c_str(), "");
    QVERIFY(parameters.openTimeout == 5.0F);
    QCOMPARE(parameters.asyncRecovery, false);
    QVERIFY(parameters.grabRateLimit == 0.0F);
    QCOMPARE(parameters.imageValidation, false);
}

void TestInputThreadOpen::parametersFollowTheAttributes()
{
    InputThreadModul input;
    ProgramStates::setIntAttr(ProgramStates::requestedResolution, 3);
    ProgramStates::setIntAttr(ProgramStates::depthMode, 0);
    ProgramStates::setBoolAttr(ProgramStates::depthStabilization, false);
    const om::InitParameters parameters = input.getInitParams();
    QCOMPARE(static_cast<int>(parameters.resolution), 3);
    QCOMPARE(static_cast<int>(parameters.depthMode), 0);
    QCOMPARE(parameters.depthStabilization, 0);
    QCOMPARE(parameters.fps, 0);
}

void TestInputThreadOpen::depthLimitsAreProductsInFloat_data()
{
    QTest::addColumn<int>("minimumCm");
    QTest::addColumn<int>("maximumMm");
    QTest::addColumn<float>("minimum");
    QTest::addColumn<float>("maximum");

    QTest::newRow("viewer's") << 100 << 25000 << 1.0F << 25.000002F;
    QTest::newRow("none") << 0 << 0 << 0.0F << 0.0F;
    QTest::newRow("negative minimum, 40 m") << -100 << 40000 << -1.0F << 40.0F;
    QTest::newRow("30 cm, 15 m") << 30 << 15000 << 0.29999998F << 15.000001F;
}

void TestInputThreadOpen::depthLimitsAreProductsInFloat()
{
    QFETCH(int, minimumCm);
    QFETCH(int, maximumMm);
    QFETCH(float, minimum);
    QFETCH(float, maximum);
    InputThreadModul input;
    ProgramStates::setIntAttr(ProgramStates::depthMinimumCm, minimumCm);
    ProgramStates::setIntAttr(ProgramStates::depthMaximumMm, maximumMm);
    const om::InitParameters parameters = input.getInitParams();
    QVERIFY(parameters.depthMinimum == minimum);
    QVERIFY(parameters.depthMaximum == maximum);
}

void TestInputThreadOpen::liveOpensBySerialNumberAsTheAttributesSay_data()
{
    QTest::addColumn<int>("resolution");
    QTest::addColumn<int>("fps");
    QTest::newRow("viewer's") << 6 << 100;
    QTest::newRow("others") << 3 << 60;
}

void TestInputThreadOpen::liveOpensBySerialNumberAsTheAttributesSay()
{
    QFETCH(int, resolution);
    QFETCH(int, fps);
    ProgramStates::setIntAttr(ProgramStates::requestedResolution, resolution);
    ProgramStates::setIntAttr(ProgramStates::requestedFps, fps);

    InputThreadModul input;
    QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);

    QCOMPARE(calls(CALL::OPEN), std::uint64_t(1));
    const auto passed = passedToOpen();
    QVERIFY(passed);
    QVERIFY(passed->input.kind() == om::InputType::KIND::SERIAL_NUMBER);
    QCOMPARE(passed->input.serialNumber(), cameraSerial);
    QCOMPARE(static_cast<int>(passed->input.bus()), 2);
    QCOMPARE(static_cast<int>(passed->resolution), resolution);
    QCOMPARE(passed->fps, fps);
    QCOMPARE(static_cast<int>(passed->depthMode), 1);
    QCOMPARE(passed->depthStabilization, 1);
    QVERIFY(passed->depthMinimum == 1.0F);
    QVERIFY(passed->depthMaximum == 25.000002F);
    QCOMPARE(static_cast<int>(passed->coordinateUnits), 2);
    QCOMPARE(static_cast<int>(passed->coordinateSystem), 2);
    QVERIFY(!passed->cudaContext);
}

void TestInputThreadOpen::liveFillsCameraInformationAndFlags()
{
    InputThreadModul input;
    input.playingFile = true;
    QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);
    QVERIFY(input.opened);
    QVERIFY(input.liveCamera);
    QVERIFY(!input.playingFile);
    QVERIFY(!input.running);
    QVERIFY(input.camera.isOpened());

    const om::CameraInformation expected = input.camera.getCameraInformation();
    QCOMPARE(input.cameraInfo.serialNumber, cameraSerial);
    QVERIFY(input.cameraInfo.cameraModel == om::MODEL::TIV_Q);
    QCOMPARE(input.cameraInfo.firmwareVersion, expected.firmwareVersion);
    QVERIFY(expected.resolution.width > 0);
    QCOMPARE(input.cameraInfo.resolution.width, expected.resolution.width);
    QCOMPARE(input.cameraInfo.resolution.height, expected.resolution.height);
}

void TestInputThreadOpen::gmslOpensByIdAtItsOwnResolutionAndRate_data()
{
    QTest::addColumn<int>("model");
    QTest::addColumn<int>("resolution");
    QTest::addColumn<int>("fps");
    QTest::newRow("TIV_R, viewer's attributes") << 4 << 6 << 100;
    QTest::newRow("TIV_S, viewer's attributes") << 5 << 6 << 100;
    QTest::newRow("TIV_R, other attributes") << 4 << 7 << 15;
    QTest::newRow("TIV_S, other attributes") << 5 << 7 << 60;
}

void TestInputThreadOpen::gmslOpensByIdAtItsOwnResolutionAndRate()
{
    QFETCH(int, model);
    QFETCH(int, resolution);
    QFETCH(int, fps);
    setUp(static_cast<om::MODEL>(model));
    ProgramStates::setIntAttr(ProgramStates::requestedResolution, resolution);
    ProgramStates::setIntAttr(ProgramStates::requestedFps, fps);

    InputThreadModul input;
    QCOMPARE(input.gmsl(cameraId), 0);

    const auto passed = passedToOpen();
    QVERIFY(passed);
    QVERIFY(passed->input.kind() == om::InputType::KIND::CAMERA_ID);
    QCOMPARE(passed->input.cameraId(), cameraId);
    QCOMPARE(static_cast<int>(passed->input.bus()), 1);
    QCOMPARE(static_cast<int>(passed->resolution), 3);
    QCOMPARE(passed->fps, 30);
    QVERIFY(passed->depthMinimum == 1.0F);
    QVERIFY(passed->depthMaximum == 25.000002F);
    QCOMPARE(static_cast<int>(passed->coordinateUnits), 2);
    QCOMPARE(static_cast<int>(passed->coordinateSystem), 2);

    QVERIFY(input.opened);
    QVERIFY(input.liveCamera);
    QVERIFY(!input.playingFile);
    QCOMPARE(input.cameraInfo.serialNumber, cameraSerial);
    QCOMPARE(static_cast<int>(input.cameraInfo.cameraModel), model);
}

void TestInputThreadOpen::failedOpenReturnsItsCodeAndOpensNothing_data()
{
    QTest::addColumn<int>("model");
    QTest::addColumn<int>("code");
    for (int code : {1, 4, 5, 99}) {
        QTest::addRow("by serial number, %d", code) << 3 << code;
        QTest::addRow("by camera id, %d", code) << 4 << code;
    }
}

void TestInputThreadOpen::failedOpenReturnsItsCodeAndOpensNothing()
{
    QFETCH(int, model);
    QFETCH(int, code);
    setUp(static_cast<om::MODEL>(model));
    bench().changeFaults(cameraSerial, [code](om::bench::Faults& faults) {
        faults.openResult = static_cast<om::ERROR_CODE>(code);
    });

    InputThreadModul input;
    QCOMPARE(model == 3 ? input.live(static_cast<int>(cameraSerial)) : input.gmsl(cameraId), code);
    QVERIFY(!input.opened);
    QVERIFY(!input.liveCamera);
    QVERIFY(!input.playingFile);
    QCOMPARE(static_cast<int>(input.cameraInfo.cameraModel), 32);
    QCOMPARE(input.cameraInfo.serialNumber, 0U);
}

void TestInputThreadOpen::failedOpenAfterAGoodOneTakesTheFlagsBack()
{
    InputThreadModul input;
    QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);
    input.cameraInfo.serialNumber = 42;
    input.playingFile = true;
    QVERIFY(input.live(static_cast<int>(cameraSerial) + 1) != 0);
    QVERIFY(!input.opened);
    QVERIFY(!input.liveCamera);
    QVERIFY(!input.playingFile);
    // Only a successful open replaces the record.
    QCOMPARE(input.cameraInfo.serialNumber, 42U);
}

void TestInputThreadOpen::startGrabbingDoesNothingWithoutAnOpenCamera()
{
    bench().unplug(cameraSerial);
    InputThreadModul input;
    input.enableToStart(true);
    input.startGrabbing();
    QVERIFY(!input.isRunning());

    QVERIFY(input.live(static_cast<int>(cameraSerial)) != 0);
    input.startGrabbing();
    QVERIFY(!input.isRunning());
    QVERIFY(!input.isFinished());
}

void TestInputThreadOpen::createMemoriesFailsWithoutAnOpenCamera()
{
    InputThreadModul input;
    QSignalSpy process(&input, &InputThreadModul::sendInitProcess);
    QSignalSpy context(&input, &InputThreadModul::sendContext);
    QSignalSpy ready(&input, &InputThreadModul::sendInit);
    ProgramStates::setIntAttr(ProgramStates::cameraModel, 5);
    leaveCudaError();

    QVERIFY(!input.CreateMemories());

    QCOMPARE(process.count() + context.count() + ready.count(), 0);
    QCOMPARE(ProgramStates::getIntAttr(ProgramStates::cameraModel), 5);
    QVERIFY(!input.imageGpu.getPtr(om::MEM::GPU));
    // It ended before it checked errors.
    QCOMPARE(cudaGetLastError(), cudaErrorMemoryAllocation);
}

void TestInputThreadOpen::createMemoriesGoesStepByStep()
{
    InputThreadModul input;
    QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);
    cuCtxSetCurrent(nullptr);
    input.requestView0 = input.requestView1 = input.requestView8 = true;
    input.requestDepth = input.requestMeasure = true;
    input.lastImageTime = 5;
    input.droppedFrames = 6;
    input.frameRate = 7.0;
    ProgramStates::setDoubleAttr(ProgramStates::effectiveDepthMinimum, 8.0);
    const om::Resolution size = input.cameraInfo.resolution;
    const auto width = static_cast<int>(size.width);
    const auto height = static_cast<int>(size.height);

    const auto holds = [&size](const om::Mat& mat, om::MAT_TYPE type, om::MEM memory) {
        const om::MEM other = memory == om::MEM::GPU ? om::MEM::CPU : om::MEM::GPU;
        return mat.getPtr(memory) != nullptr && mat.getPtr(other) == nullptr &&
               mat.getType() == type && mat.getResolution().width == size.width &&
               mat.getResolution().height == size.height;
    };
    const auto empty = [](const om::Mat& mat) {
        return mat.getPtr(om::MEM::CPU) == nullptr && mat.getPtr(om::MEM::GPU) == nullptr;
    };
    const auto contextIsCurrent = [&input] {
        CUcontext current = nullptr;
        cuCtxGetCurrent(&current);
        return current != nullptr && current == input.cudaContext &&
               current == input.camera.getCUDAContext();
    };
    const auto requested = [&input] {
        return input.requestView0 && input.requestView1 && input.requestView8 &&
               input.requestDepth && input.requestMeasure;
    };

    QStringList seen;
    connect(&input, &InputThreadModul::sendInitProcess, this, [&] {
        seen << "sendInitProcess";
        QVERIFY(contextIsCurrent());
        QCOMPARE(ProgramStates::getIntAttr(ProgramStates::cameraModel), 3);
        QCOMPARE(input.lastImageTime, std::uint64_t(0));
        QCOMPARE(input.droppedFrames, 0U);
        QCOMPARE(input.frameRate, 0.0);
        QCOMPARE(ProgramStates::getDoubleAttr(ProgramStates::effectiveDepthMinimum), 1.0);
        QCOMPARE(ProgramStates::getIntAttr(ProgramStates::imageWidth), width);
        QCOMPARE(ProgramStates::getIntAttr(ProgramStates::imageHeight), height);
        QCOMPARE(ProgramStates::getIntAttr(ProgramStates::image2Width), width);
        QCOMPARE(ProgramStates::getIntAttr(ProgramStates::image2Height), height);
        QCOMPARE(input.imageSize.width, size.width);
        QCOMPARE(input.imageSize.height, size.height);
        QCOMPARE(input.image2Size.width, std::size_t(0));
        QVERIFY(empty(input.imageGpu));
        QVERIFY(empty(input.image2Gpu));
    });
    connect(&input, &InputThreadModul::sendContext, this, [&] {
        seen << "sendContext";
        QCOMPARE(input.image2Size.width, size.width);
        QCOMPARE(input.image2Size.height, size.height);
        QVERIFY(holds(input.imageGpu, om::MAT_TYPE::U8_C4, om::MEM::GPU));
        QVERIFY(holds(input.image2Gpu, om::MAT_TYPE::U8_C4, om::MEM::GPU));
        QVERIFY(empty(input.measureGpu));
        QVERIFY(empty(input.depthHost));
        QVERIFY(requested());
    });
    connect(&input, &InputThreadModul::sendInit, this, [&] {
        seen << "sendInit";
        QVERIFY(holds(input.measureGpu, om::MAT_TYPE::F32_C4, om::MEM::GPU));
        QVERIFY(holds(input.depthHost, om::MAT_TYPE::F32_C1, om::MEM::CPU));
        QVERIFY(holds(input.measureHost, om::MAT_TYPE::F32_C4, om::MEM::CPU));
        QVERIFY(holds(input.imageHost, om::MAT_TYPE::U8_C4, om::MEM::CPU));
        QVERIFY(holds(input.image3Host, om::MAT_TYPE::U8_C4, om::MEM::CPU));
        QVERIFY(!input.requestView0 && !input.requestView1 && !input.requestView8);
        QVERIFY(!input.requestDepth && !input.requestMeasure);
    });

    QVERIFY(input.CreateMemories());
    QCOMPARE(seen, QStringList({"sendInitProcess", "sendContext", "sendInit"}));
    QVERIFY(contextIsCurrent());
}

void TestInputThreadOpen::createMemoriesPublishesWhatTheCameraIs_data()
{
    QTest::addColumn<int>("model");
    for (int model : {1, 2, 3, 4, 5}) {
        QTest::addRow("model %d", model) << model;
    }
}

void TestInputThreadOpen::createMemoriesPublishesWhatTheCameraIs()
{
    QFETCH(int, model);
    setUp(static_cast<om::MODEL>(model));
    // The library replaces a negative limit by its own.
    ProgramStates::setIntAttr(ProgramStates::depthMinimumCm, -100);
    InputThreadModul input;
    QCOMPARE(model < 4 ? input.live(static_cast<int>(cameraSerial)) : input.gmsl(cameraId), 0);
    QVERIFY(input.CreateMemories());

    QCOMPARE(ProgramStates::getIntAttr(ProgramStates::cameraModel), model);
    const om::Resolution size = input.camera.getCameraInformation().resolution;
    QCOMPARE(ProgramStates::getIntAttr(ProgramStates::imageWidth), static_cast<int>(size.width));
    QCOMPARE(ProgramStates::getIntAttr(ProgramStates::imageHeight), static_cast<int>(size.height));
    QCOMPARE(ProgramStates::getIntAttr(ProgramStates::image2Width), static_cast<int>(size.width));
    QCOMPARE(ProgramStates::getIntAttr(ProgramStates::image2Height), static_cast<int>(size.height));
    const double minimum = ProgramStates::getDoubleAttr(ProgramStates::effectiveDepthMinimum);
    QVERIFY(input.getInitParams().depthMinimum == -1.0F);
    QVERIFY(minimum > 0.0);
    QVERIFY(minimum == static_cast<double>(input.camera.getInitParameters().depthMinimum));
}

void TestInputThreadOpen::createMemoriesForgetsEarlierErrors()
{
    InputThreadModul input;
    QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);
    leaveCudaError();
    QVERIFY(input.CreateMemories());
}

void TestInputThreadOpen::createMemoriesFailsOnTooLittleGpuMemory()
{
    bench().changeFaults(cameraSerial,
                         [](om::bench::Faults& faults) { faults.littleGpuMemory = true; });
    InputThreadModul input;
    QSignalSpy ready(&input, &InputThreadModul::sendInit);
    QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);

    QVERIFY(!input.CreateMemories());

    // The failure is detected in one check at the end, with everything else done.
    QCOMPARE(ready.count(), 1);
    QVERIFY(input.image3Host.getPtr(om::MEM::CPU));
    QVERIFY(input.opened);
    QCOMPARE(cudaGetLastError(), cudaSuccess);
}

void TestInputThreadOpen::createMemoriesFailsOnAnyCudaErrorOnTheWay_data()
{
    QTest::addColumn<StepSignal>("during");
    QTest::newRow("sendInitProcess") << &InputThreadModul::sendInitProcess;
    QTest::newRow("sendContext") << &InputThreadModul::sendContext;
    QTest::newRow("sendInit") << &InputThreadModul::sendInit;
}

void TestInputThreadOpen::createMemoriesFailsOnAnyCudaErrorOnTheWay()
{
    QFETCH(StepSignal, during);
    InputThreadModul input;
    QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);
    connect(&input, during, this, leaveCudaError);
    QVERIFY(!input.CreateMemories());
    QVERIFY(input.imageGpu.getPtr(om::MEM::GPU));
}

void TestInputThreadOpen::frameDropsAreCountedAgainstTheCamerasRate()
{
    InputThreadModul input;
    QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);
    const int fps = input.camera.getInitParameters().fps;
    QVERIFY(fps > 0);
    const auto period = static_cast<unsigned long long>(1e9 / fps);

    unsigned long long time = 1'000'000'000;
    input.CalcFrameDrop(0);
    QCOMPARE(input.lastImageTime, std::uint64_t(0));
    input.CalcFrameDrop(time);
    QCOMPARE(input.lastImageTime, std::uint64_t(time));
    QCOMPARE(input.frameRate, 0.0);

    time += period;
    input.CalcFrameDrop(time);
    QCOMPARE(input.lastImageTime, std::uint64_t(time));
    QCOMPARE(input.droppedFrames, 0U);
    QVERIFY(qAbs(input.frameRate - fps / 2.0) < 1e-3);

    time += 2 * period;
    input.CalcFrameDrop(time);
    QCOMPARE(input.droppedFrames, 1U);
    QVERIFY(qAbs(input.frameRate - fps / 2.0) < 1e-3);
    input.CalcFrameDrop(0);
    QCOMPARE(input.lastImageTime, std::uint64_t(time));
}

void TestInputThreadOpen::frameDropsAskForTheRateFromTheSecondFrameOn()
{
    InputThreadModul input;
    QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);
    bench().log().setHighRate(true);
    bench().log().clear();
    input.CalcFrameDrop(0);
    input.CalcFrameDrop(1'000'000'000);
    input.CalcFrameDrop(0);
    QCOMPARE(calls(CALL::GET_INIT_PARAMETERS), std::uint64_t(0));
    input.CalcFrameDrop(2'000'000'000);
    QCOMPARE(calls(CALL::GET_INIT_PARAMETERS), std::uint64_t(1));
}

void TestInputThreadOpen::frameDropsStartAgainWithCreateMemories()
{
    InputThreadModul input;
    QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);
    input.CalcFrameDrop(1'000'000'000);
    input.CalcFrameDrop(2'000'000'000);
    QVERIFY(input.droppedFrames > 0);
    QVERIFY(input.CreateMemories());
    QCOMPARE(input.lastImageTime, std::uint64_t(0));
    QCOMPARE(input.droppedFrames, 0U);
    QCOMPARE(input.frameRate, 0.0);
}

QTEST_GUILESS_MAIN(TestInputThreadOpen)
#include "tst_inputthread_open.moc"
