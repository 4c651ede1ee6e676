#include "bench/virtual_camera.h"
#include "camera/InputThreadModul.h"
#include "camera/ProgramStates.h"
#include "camerafixture.h"
#include "gate.h"
#include "support/qtcalls.h"
#include "support/sidethread.h"
#include "support/waiting.h"

#include <QSignalSpy>
#include <QtTest>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <dlfcn.h>
#include <iterator>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

using namespace camerafixture;
using namespace std::chrono_literals;
using om::bench::CALL;
using om::bench::CallRecord;

namespace {

/// An open camera whose thread stops before each grab. step() sets the result of the grab and
/// returns when the pass has ended and the thread is before the next grab.
struct SteppedInput
{
    explicit SteppedInput(bool start = true) : input(std::make_unique<InputThreadModul>())
    {
        // The thread must not look at `input` while the pointer is being reset.
        const InputThreadModul* const stepped = input.get();
        bench()
            .camera(cameraSerial)
            ->grabScript()
            .set(
                [this, stepped](std::uint64_t, om::ERROR_CODE& result) {
                    CUcontext current = nullptr;
                    cuCtxGetCurrent(&current);
                    contextCurrent = current != nullptr && current == stepped->cudaContext;
                    cuCtxSetCurrent(nullptr);
                    gate.pass();
                    result = static_cast<om::ERROR_CODE>(nextResult.load());
                    return true;
                },
                om::bench::AFTER::REPEAT_LAST);
        QObject::connect(
            input.get(), &InputThreadModul::SendImage, input.get(), [this] { ++images; },
            Qt::DirectConnection);
        // Keeps the first second from ending under a slow build.
        input->fpsCounter->interval.start += 1h;
        input->enableToStart(true);
        ready = input->live(static_cast<int>(cameraSerial)) == 0 && input->CreateMemories();
        if (start && ready) {
            input->startGrabbing();
            ready = gate.waitForArrival();
        }
    }

    ~SteppedInput()
    {
        gate.open();
        input.reset();
    }

    bool step(om::ERROR_CODE result = om::ERROR_CODE::SUCCESS)
    {
        nextResult = static_cast<int>(result);
        return gate.step();
    }

    Gate gate;
    std::atomic<int> nextResult{0};
    std::atomic<bool> contextCurrent{false};
    std::atomic<int> images{0};
    bool ready = false;
    std::unique_ptr<InputThreadModul> input;
};

/// The images and measures retrieved since the log was last cleared.
std::vector<CallRecord> retrievals()
{
    std::vector<CallRecord> found;
    for (const CallRecord& record : bench().log().records()) {
        if (record.call == CALL::RETRIEVE_IMAGE || record.call == CALL::RETRIEVE_MEASURE) {
            found.push_back(record);
        }
    }
    return found;
}

QString describe(const CallRecord& record)
{
    const QString kind = record.call == CALL::RETRIEVE_IMAGE
                             ? QString("image %1").arg(static_cast<int>(record.view))
                             : QString("measure %1").arg(static_cast<int>(record.measure));
    return QString("%1, memory %2, %3 x %4")
        .arg(kind)
        .arg(static_cast<int>(record.memory))
        .arg(record.size.width)
        .arg(record.size.height);
}

QStringList described(const std::vector<CallRecord>& records)
{
    QStringList list;
    for (const CallRecord& record : records) {
        list << describe(record);
    }
    return list;
}

bool sameContent(const om::Mat& a, const om::Mat& b)
{
    if (a.getResolution().width != b.getResolution().width ||
        a.getResolution().height != b.getResolution().height || a.getType() != b.getType()) {
        return false;
    }
    const std::size_t row = a.getResolution().width * a.getPixelBytes();
    const std::size_t rows = a.getResolution().height;
    const auto fetched = [row, rows](const om::Mat& mat) {
        std::vector<std::uint8_t> bytes(row * rows);
        cudaMemcpy2D(bytes.data(), row, mat.getPtr(om::MEM::GPU), mat.getStepBytes(om::MEM::GPU),
                     row, rows, cudaMemcpyDeviceToHost);
        return bytes;
    };
    return fetched(a) == fetched(b);
}

std::mutex sleepMutex;
const QThread* sleeper = nullptr;
std::vector<long> sleepsOfSleeper;

/// Requested sleeps of a thread, in ns, during the life of the object.
class Sleeps
{
public:
    explicit Sleeps(const QThread* thread)
    {
        const std::lock_guard<std::mutex> lock(sleepMutex);
        sleeper = thread;
        sleepsOfSleeper.clear();
    }
    ~Sleeps()
    {
        const std::lock_guard<std::mutex> lock(sleepMutex);
        sleeper = nullptr;
    }
    Sleeps(const Sleeps&) = delete;
    Sleeps& operator=(const Sleeps&) = delete;

    static std::vector<long> lengths()
    {
        const std::lock_guard<std::mutex> lock(sleepMutex);
        return sleepsOfSleeper;
    }
};

int measuredFps()
{
    return ProgramStates::getIntAttr(ProgramStates::measuredFps);
}

int cameraFps()
{
    return ProgramStates::getIntAttr(ProgramStates::cameraFps);
}

} // namespace

/// The executable's definition has precedence over that of the C library.
extern "C" int nanosleep(const timespec* time, timespec* rest)
{
    static const auto next =
        reinterpret_cast<int (*)(const timespec*, timespec*)>(dlsym(RTLD_NEXT, "nanosleep"));
    {
        const std::lock_guard<std::mutex> lock(sleepMutex);
        if (sleeper != nullptr && QThread::currentThread() == sleeper) {
            sleepsOfSleeper.push_back(time->tv_sec * 1'000'000'000 + time->tv_nsec);
        }
    }
    return next(time, rest);
}

class TestInputThreadLoop : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void threadWaitsToBeEnabled();
    void threadInheritsThePriority();
    void startTakesTheCamerasContext();
    void stopDuringTheStartEndsTheThread_data();
    void stopDuringTheStartEndsTheThread();
    void startPublishesTheSizeOfTheSecondImage();
    void startLeavesTheSizeOfTheFirstImageAlone();
    void contextIsMadeCurrentInEveryPass();
    void grabGetsTheRuntimeParameters();
    void confidenceThresholdIsTakenInEveryPass();
    void grabMutexIsHeldAroundTheGrabOnly();

    void retrieveMutexIsHeldFromTheRetrievalToTheRates();
    void frameIsRetrievedIntoGpuMemory();
    void secondImageAndMeasureHaveTheirOwnSize();
    void viewsFollowTheAttributes();
    void depthOffRetrievesNoMeasure();
    void retrievalReusesTheBuffers();
    void requestIsServedOnceAndCleared_data();
    void requestIsServedOnceAndCleared();
    void requestMadeDuringItsRetrievalIsServedByTheNextFrame_data();
    void requestMadeDuringItsRetrievalIsServedByTheNextFrame();
    void requestsAreServedInOrderAfterTheFrame();
    void hostRequestsFillTheirOwnBuffers();
    void busyRetrieveMutexSkipsTheFrame();

    void ratesFallFromTenUntilTheFirstSecondIsOver();
    void countedFramesBecomeTheRateAfterASecond();
    void rateOfALiveCameraIsLimitedToTheOneAskedFor();
    void reportedRateIsTheMeanOfTheLastTwoFrames();
    void libraryIsAskedForTheRateOncePerRetrievedFrame();
    void imageSignalComesOncePerGoodGrab();
    void liveCameraIsNotPaced();

    void failedGrabIsTriedAgain_data();
    void failedGrabIsTriedAgain();
    void failedGrabIsFollowedByAMillisecondOfSleep();
    void onlyAFailedGrabIsFollowedByASleep();
    void otherSignalsAreNeverSent();
    void lossEndsTheLoop();
    void lossSignalReachesTheInterfaceThread();
    void lossAfterUnpluggingEndsTheLoop();

    void pausedCameraIsNotGrabbedButRetrieved();
    void pauseAfterAFailureKeepsTheFailure();
    void pauseBeforeTheFirstGrabCountsAsGood();
    void pauseIsLookedAtWithTheGrabsLock();

    void stopGrabbingEndsTheThread();
    void stopGrabbingFromAnotherThread();
    void stopGrabbingWaitsWithoutALimit();

    void destructorFreesEverything_data();
    void destructorFreesEverything();
    void destructorGoesStepByStep();
    void destructorEndsAThreadThatWasNeverEnabled();
    void destructorEndsARunningThread();
    void destructorOnAnotherThreadAfterALoss();
    void destructorMakesTheContextCurrent();
    void destructorClearsTheLastCudaError();
};

void TestInputThreadLoop::init()
{
    setUp();
    cudaGetLastError();
}

void TestInputThreadLoop::cleanup()
{
    QVERIFY(!inUse());
    QCOMPARE(gpuBlocks(), std::size_t(0));
    bench().reset();
}

void TestInputThreadLoop::threadWaitsToBeEnabled()
{
    InputThreadModul input;
    QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);
    QVERIFY(input.CreateMemories());

    std::atomic<std::uint64_t> grabs{99};
    QVector<qint64> sleeps;
    const qtcalls::Hook hook([&](const qtcalls::Call& call) {
        if (call.call != qtcalls::CALL::MSLEEP || QThread::currentThread() != &input) {
            return;
        }
        sleeps << call.limit;
        if (sleeps.size() == 10) {
            grabs = calls(CALL::GRAB);
            input.enableToStart(false);
        }
    });
    input.startGrabbing();
    QTRY_VERIFY(calls(CALL::GRAB) > 0);
    QCOMPARE(grabs.load(), std::uint64_t(0));
    QCOMPARE(sleeps, QVector<qint64>(10, 5));
    input.stopGrabbing();
}

void TestInputThreadLoop::threadInheritsThePriority()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    QCOMPARE(stepped.input->priority(), QThread::InheritPriority);
}

void TestInputThreadLoop::startTakesTheCamerasContext()
{
    SteppedInput stepped(false);
    QVERIFY(stepped.ready);
    const InputThreadModul& input = *stepped.input;
    stepped.input->cudaContext = nullptr;
    stepped.input->startGrabbing();
    QVERIFY(stepped.gate.waitForArrival());
    QVERIFY(input.running);
    QVERIFY(input.cudaContext);
    QCOMPARE(input.cudaContext, stepped.input->camera.getCUDAContext());
    QVERIFY(stepped.contextCurrent);
}

void TestInputThreadLoop::stopDuringTheStartEndsTheThread_data()
{
    QTest::addColumn<bool>("byDestructor");
    QTest::newRow("stop") << false;
    // The destructor cleared `running` just before the thread set it.
    QTest::newRow("destructor") << true;
}

void TestInputThreadLoop::stopDuringTheStartEndsTheThread()
{
    QFETCH(bool, byDestructor);
    InputThreadModul input;
    input.enableToStart(true);
    QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);
    QVERIFY(input.CreateMemories());
    ProgramStates::setIntAttr(ProgramStates::image2Width, 1);
    // The thread sets its running flag, then sets the context, and checks the flag before its first
    // pass.
    std::atomic<bool> ran{false};
    bench().log().setHighRate(true);
    const CallHook onCall([&](const CallRecord& record) {
        if (record.call == CALL::GET_CUDA_CONTEXT) {
            ran = input.running;
            (byDestructor ? input.aborted : input.running) = byDestructor;
        }
    });
    input.startGrabbing();
    QVERIFY(input.wait(waiting::patienceMs));
    QVERIFY(ran);
    QCOMPARE(calls(CALL::GRAB), std::uint64_t(0));
    QCOMPARE(ProgramStates::getIntAttr(ProgramStates::image2Width),
             static_cast<int>(input.image2Size.width));
    QVERIFY(input.opened);
}

void TestInputThreadLoop::startPublishesTheSizeOfTheSecondImage()
{
    SteppedInput stepped(false);
    QVERIFY(stepped.ready);
    ProgramStates::setIntAttr(ProgramStates::image2Width, 1);
    ProgramStates::setIntAttr(ProgramStates::image2Height, 2);
    stepped.input->image2Size = om::Resolution(320, 200);
    stepped.input->startGrabbing();
    QVERIFY(stepped.gate.waitForArrival());
    QCOMPARE(ProgramStates::getIntAttr(ProgramStates::image2Width), 320);
    QCOMPARE(ProgramStates::getIntAttr(ProgramStates::image2Height), 200);
}

void TestInputThreadLoop::startLeavesTheSizeOfTheFirstImageAlone()
{
    SteppedInput stepped(false);
    QVERIFY(stepped.ready);
    ProgramStates::setIntAttr(ProgramStates::imageWidth, 0);
    ProgramStates::setIntAttr(ProgramStates::imageHeight, 0);
    stepped.input->startGrabbing();
    QVERIFY(stepped.gate.waitForArrival());
    QVERIFY(stepped.step());
    QCOMPARE(ProgramStates::getIntAttr(ProgramStates::imageWidth), 0);
    QCOMPARE(ProgramStates::getIntAttr(ProgramStates::imageHeight), 0);
}

void TestInputThreadLoop::contextIsMadeCurrentInEveryPass()
{
    // The gate removes the context in each pass.
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    QVERIFY(stepped.contextCurrent);
    for (int pass = 0; pass < 3; ++pass) {
        stepped.contextCurrent = false;
        QVERIFY(stepped.step());
        QVERIFY(stepped.contextCurrent);
    }
    stepped.contextCurrent = false;
    QVERIFY(stepped.step(om::ERROR_CODE::FAILURE));
    QVERIFY(stepped.contextCurrent);
}

void TestInputThreadLoop::grabGetsTheRuntimeParameters()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    QVERIFY(stepped.step());
    const std::optional<CallRecord> grab = bench().log().last(CALL::GRAB);
    QVERIFY(grab.has_value());
    QCOMPARE(grab->runtime.enableDepth, true);
    QCOMPARE(grab->runtime.enableFill, false);
    QCOMPARE(grab->runtime.confidenceThreshold, 95);
    QCOMPARE(grab->runtime.textureThreshold, 100);
    QCOMPARE(static_cast<int>(grab->runtime.referenceFrame), 1);
    QCOMPARE(grab->runtime.removeSaturated, true);
    QVERIFY(grab->thread != std::this_thread::get_id());
}

void TestInputThreadLoop::confidenceThresholdIsTakenInEveryPass()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    // The grab in progress has its parameters already.
    ProgramStates::setIntAttr(ProgramStates::confidenceThreshold, 50);
    QVERIFY(stepped.step());
    QCOMPARE(bench().log().last(CALL::GRAB)->runtime.confidenceThreshold, 95);
    QVERIFY(stepped.step());
    QCOMPARE(bench().log().last(CALL::GRAB)->runtime.confidenceThreshold, 50);
    ProgramStates::setIntAttr(ProgramStates::confidenceThreshold, 0);
    QVERIFY(stepped.step());
    QVERIFY(stepped.step());
    QCOMPARE(bench().log().last(CALL::GRAB)->runtime.confidenceThreshold, 0);
}

void TestInputThreadLoop::grabMutexIsHeldAroundTheGrabOnly()
{
    Gate afterFrame;
    SteppedInput stepped(false);
    QVERIFY(stepped.ready);
    connect(
        stepped.input.get(), &InputThreadModul::SendImage, stepped.input.get(),
        [&afterFrame] { afterFrame.pass(); }, Qt::DirectConnection);
    stepped.input->startGrabbing();

    QVERIFY(stepped.gate.waitForArrival());
    QVERIFY(!stepped.input->grabMutex.tryLock());
    QVERIFY(stepped.input->retrieveMutex.tryLock());
    stepped.input->retrieveMutex.unlock();

    stepped.gate.open();
    QVERIFY(afterFrame.waitForArrival());
    QVERIFY(stepped.input->grabMutex.tryLock());
    stepped.input->grabMutex.unlock();
    QVERIFY(stepped.input->retrieveMutex.tryLock());
    stepped.input->retrieveMutex.unlock();
    afterFrame.open();
    stepped.input.reset();
}

void TestInputThreadLoop::retrieveMutexIsHeldFromTheRetrievalToTheRates()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    InputThreadModul& input = *stepped.input;
    const auto isHeld = [](QMutex& mutex) {
        const bool held = !mutex.tryLock();
        if (!held) {
            mutex.unlock();
        }
        return held;
    };
    QStringList seen;
    bench().log().setHighRate(true);
    const CallHook onCall([&](const CallRecord& record) {
        if (record.call != CALL::GRAB) {
            seen << QString("%1, %2, %3")
                        .arg(om::bench::toString(record.call),
                             isHeld(input.retrieveMutex) ? "held" : "free",
                             isHeld(input.grabMutex) ? "held" : "free");
        }
    });
    QVERIFY(stepped.step());
    QCOMPARE(seen,
             QStringList({"RETRIEVE_IMAGE, held, free", "RETRIEVE_IMAGE, held, free",
                          "RETRIEVE_MEASURE, held, free", "GET_INIT_PARAMETERS, held, free"}));
}

void TestInputThreadLoop::frameIsRetrievedIntoGpuMemory()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    bench().log().clear();
    QVERIFY(stepped.step());
    const om::Resolution size = stepped.input->imageSize;
    const QString tail = QString(", memory 2, %1 x %2").arg(size.width).arg(size.height);
    QCOMPARE(described(retrievals()),
             QStringList({"image 0" + tail, "image 0" + tail, "measure 4" + tail}));
}

void TestInputThreadLoop::secondImageAndMeasureHaveTheirOwnSize()
{
    SteppedInput stepped(false);
    QVERIFY(stepped.ready);
    stepped.input->image2Size = om::Resolution(320, 200);
    stepped.input->startGrabbing();
    bench().log().clear();
    QVERIFY(stepped.step());
    const om::Resolution size = stepped.input->imageSize;
    QCOMPARE(described(retrievals()),
             QStringList({QString("image 0, memory 2, %1 x %2").arg(size.width).arg(size.height),
                          "image 0, memory 2, 320 x 200", "measure 4, memory 2, 320 x 200"}));
}

void TestInputThreadLoop::viewsFollowTheAttributes()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    ProgramStates::setIntAttr(ProgramStates::imageView, 1);
    ProgramStates::setIntAttr(ProgramStates::image2View, 0);
    bench().log().clear();
    QVERIFY(stepped.step());
    const std::vector<CallRecord> calls = retrievals();
    QCOMPARE(calls.size(), std::size_t(3));
    QCOMPARE(static_cast<int>(calls[0].view), 1);
    QCOMPARE(static_cast<int>(calls[1].view), 0);

    // Each view is in its own buffer.
    om::Camera& camera = stepped.input->camera;
    const om::Resolution size = stepped.input->imageSize;
    cuCtxSetCurrent(stepped.input->cudaContext);
    om::Mat left;
    om::Mat right;
    camera.retrieveImage(left, om::VIEW::LEFT, om::MEM::GPU, size);
    camera.retrieveImage(right, om::VIEW::RIGHT, om::MEM::GPU, size);
    QVERIFY(!sameContent(left, right));
    QVERIFY(sameContent(stepped.input->imageGpu, right));
    QVERIFY(sameContent(stepped.input->image2Gpu, left));
}

void TestInputThreadLoop::depthOffRetrievesNoMeasure()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    ProgramStates::setIntAttr(ProgramStates::depthMode, 0);
    bench().log().clear();
    QVERIFY(stepped.step());
    QCOMPARE(retrievals().size(), std::size_t(2));
    ProgramStates::setIntAttr(ProgramStates::depthMode, 2);
    bench().log().clear();
    QVERIFY(stepped.step());
    QCOMPARE(retrievals().size(), std::size_t(3));
}

void TestInputThreadLoop::retrievalReusesTheBuffers()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    const InputThreadModul& input = *stepped.input;
    const auto buffers = [&input] {
        return std::vector<const void*>{
            input.imageGpu.getPtr(om::MEM::GPU),    input.image2Gpu.getPtr(om::MEM::GPU),
            input.measureGpu.getPtr(om::MEM::GPU),  input.depthHost.getPtr(om::MEM::CPU),
            input.measureHost.getPtr(om::MEM::CPU), input.imageHost.getPtr(om::MEM::CPU)};
    };
    const std::vector<const void*> before = buffers();
    const std::size_t blocks = gpuBlocks();
    stepped.input->requestView1 = true;
    stepped.input->requestDepth = true;
    stepped.input->requestMeasure = true;
    QVERIFY(stepped.step());
    QVERIFY(stepped.step());
    QVERIFY(buffers() == before);
    QCOMPARE(gpuBlocks(), blocks);
}

void TestInputThreadLoop::requestIsServedOnceAndCleared_data()
{
    QTest::addColumn<int>("request");
    QTest::addColumn<QString>("call");
    QTest::newRow("view 0") << 0 << "image 0, memory 1, 0 x 0";
    QTest::newRow("view 1") << 1 << "image 1, memory 1, 0 x 0";
    QTest::newRow("view 8") << 2 << "image 8, memory 1, 0 x 0";
    QTest::newRow("depth") << 3 << "measure 1, memory 1, 0 x 0";
    QTest::newRow("measure") << 4 << "measure 4, memory 1, 0 x 0";
}

void TestInputThreadLoop::requestIsServedOnceAndCleared()
{
    QFETCH(int, request);
    QFETCH(QString, call);
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    InputThreadModul& input = *stepped.input;
    bool* const flags[] = {&input.requestView0, &input.requestView1, &input.requestView8,
                           &input.requestDepth, &input.requestMeasure};

    *flags[request] = true;
    bench().log().clear();
    QVERIFY(stepped.step());
    QStringList seen = described(retrievals());
    QCOMPARE(seen.size(), 4);
    QCOMPARE(seen.last(), call);
    for (const bool* flag : flags) {
        QVERIFY(!*flag);
    }

    bench().log().clear();
    QVERIFY(stepped.step());
    QCOMPARE(retrievals().size(), std::size_t(3));
}

void TestInputThreadLoop::requestMadeDuringItsRetrievalIsServedByTheNextFrame_data()
{
    requestIsServedOnceAndCleared_data();
}

void TestInputThreadLoop::requestMadeDuringItsRetrievalIsServedByTheNextFrame()
{
    QFETCH(int, request);
    QFETCH(QString, call);
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    InputThreadModul& input = *stepped.input;
    bool* const flags[] = {&input.requestView0, &input.requestView1, &input.requestView8,
                           &input.requestDepth, &input.requestMeasure};
    bool* const flag = flags[request];
    std::atomic<bool> setDuring{true};
    {
        const CallHook onCall([&](const CallRecord& record) {
            if (record.memory == om::MEM::CPU && record.size.width == 0 &&
                (record.call == CALL::RETRIEVE_IMAGE || record.call == CALL::RETRIEVE_MEASURE)) {
                setDuring = *flag;
                *flag = true;
            }
        });
        *flag = true;
        QVERIFY(stepped.step());
    }
    QVERIFY(!setDuring);
    bench().log().clear();
    QVERIFY(stepped.step());
    QCOMPARE(described(retrievals()).mid(3), QStringList(call));
    QVERIFY(!*flag);
}

void TestInputThreadLoop::requestsAreServedInOrderAfterTheFrame()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    InputThreadModul& input = *stepped.input;
    input.requestMeasure = input.requestDepth = true;
    input.requestView8 = input.requestView1 = input.requestView0 = true;
    bench().log().clear();
    QVERIFY(stepped.step());
    const QStringList seen = described(retrievals());
    QCOMPARE(seen.size(), 8);
    QCOMPARE(seen.mid(3), QStringList({"image 0, memory 1, 0 x 0", "image 1, memory 1, 0 x 0",
                                       "image 8, memory 1, 0 x 0", "measure 1, memory 1, 0 x 0",
                                       "measure 4, memory 1, 0 x 0"}));
    QVERIFY(!input.requestView0 && !input.requestView1 && !input.requestView8);
    QVERIFY(!input.requestDepth && !input.requestMeasure);
}

void TestInputThreadLoop::hostRequestsFillTheirOwnBuffers()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    InputThreadModul& input = *stepped.input;
    const auto checksum = [](const om::Mat& mat) {
        unsigned int sum = 0;
        const std::uint8_t* bytes = mat.getPtr(om::MEM::CPU);
        const std::size_t size = mat.getStepBytes(om::MEM::CPU) * mat.getResolution().height;
        for (std::size_t i = 0; i < size; i += 97) {
            sum = sum * 31 + bytes[i];
        }
        return sum;
    };
    const auto checksums = [&] {
        return std::vector<unsigned int>{checksum(input.depthHost), checksum(input.measureHost),
                                         checksum(input.imageHost), checksum(input.image3Host)};
    };

    QVERIFY(stepped.step());
    std::vector<unsigned int> before = checksums();
    const auto changed = [&] {
        const std::vector<unsigned int> now = checksums();
        QString letters;
        for (std::size_t i = 0; i < now.size(); ++i) {
            letters += now[i] == before[i] ? '.' : 'x';
        }
        before = now;
        return letters;
    };
    QCOMPARE(changed(), QString("...."));
    input.requestDepth = true;
    QVERIFY(stepped.step());
    QCOMPARE(changed(), QString("x..."));
    input.requestMeasure = true;
    QVERIFY(stepped.step());
    QCOMPARE(changed(), QString(".x.."));
    input.requestView0 = true;
    QVERIFY(stepped.step());
    QCOMPARE(changed(), QString("..x."));
    input.requestView1 = true;
    QVERIFY(stepped.step());
    QCOMPARE(changed(), QString("..x."));
    input.requestView8 = true;
    QVERIFY(stepped.step());
    QCOMPARE(changed(), QString("...x"));
}

void TestInputThreadLoop::busyRetrieveMutexSkipsTheFrame()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    InputThreadModul& input = *stepped.input;
    input.requestDepth = true;
    ProgramStates::setIntAttr(ProgramStates::measuredFps, 0);
    ProgramStates::setIntAttr(ProgramStates::cameraFps, 0);
    const int images = stepped.images;
    bench().log().clear();
    std::atomic<int> looks{0};
    std::atomic<qint64> longestWait{-1};
    const qtcalls::Hook hook([&](const qtcalls::Call& call) {
        if (call.call == qtcalls::CALL::TRY_LOCK && call.object == &input.retrieveMutex) {
            ++looks;
            longestWait = call.limit;
        }
    });

    input.retrieveMutex.lock();
    const bool passed = stepped.step();
    input.retrieveMutex.unlock();
    QVERIFY(passed);
    QCOMPARE(looks.load(), 1);
    QCOMPARE(longestWait.load(), qint64(0));

    QVERIFY(retrievals().empty());
    QVERIFY(input.requestDepth);
    QCOMPARE(input.fpsCounter->frames, 0U);
    // The rates are still published, from unchanged readings.
    QCOMPARE(measuredFps(), 10);
    QCOMPARE(cameraFps(), 10);
    QCOMPARE(stepped.images.load(), images + 1);

    QVERIFY(stepped.step());
    QCOMPARE(retrievals().size(), std::size_t(4));
    QVERIFY(!input.requestDepth);
    QCOMPARE(input.fpsCounter->frames, 1U);
}

void TestInputThreadLoop::ratesFallFromTenUntilTheFirstSecondIsOver()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    QCOMPARE(measuredFps(), 100);
    QVERIFY(stepped.step());
    QCOMPARE(measuredFps(), 5);
    QVERIFY(stepped.step());
    QCOMPARE(measuredFps(), 0);
    QVERIFY(stepped.step());
    QCOMPARE(measuredFps(), 0);
    QCOMPARE(stepped.input->fpsCounter->framesPerSecond, 0U);
    QCOMPARE(stepped.input->fpsCounter->frames, 3U);
}

void TestInputThreadLoop::countedFramesBecomeTheRateAfterASecond()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    FpsCounter& counter = *stepped.input->fpsCounter;
    for (int frame = 0; frame < 4; ++frame) {
        QVERIFY(stepped.step());
    }
    counter.interval.start -= 2h;
    const auto before = std::chrono::system_clock::now();
    QVERIFY(stepped.step());
    QCOMPARE(counter.framesPerSecond, 5U);
    QCOMPARE(counter.frames, 0U);
    QVERIFY(counter.interval.start >= before);
    QVERIFY(counter.interval.start <= std::chrono::system_clock::now());
    // The mean of 0 and 5, cut off; then of 5 and 5.
    QCOMPARE(measuredFps(), 2);
    counter.interval.start += 1h;
    QVERIFY(stepped.step());
    QCOMPARE(measuredFps(), 5);
}

void TestInputThreadLoop::rateOfALiveCameraIsLimitedToTheOneAskedFor()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    stepped.input->fpsCounter->framesPerSecond = 500;
    QVERIFY(stepped.step());
    QCOMPARE(measuredFps(), 100);
    ProgramStates::setIntAttr(ProgramStates::requestedFps, 600);
    QVERIFY(stepped.step());
    QCOMPARE(measuredFps(), 500);
    ProgramStates::setIntAttr(ProgramStates::requestedFps, 30);
    QVERIFY(stepped.step());
    QCOMPARE(measuredFps(), 30);
}

void TestInputThreadLoop::reportedRateIsTheMeanOfTheLastTwoFrames()
{
    ProgramStates::setIntAttr(ProgramStates::requestedFps, 30);
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    const int fps = stepped.input->camera.getInitParameters().fps;
    QVERIFY(fps != 10);
    QVERIFY(stepped.step());
    QCOMPARE(cameraFps(), (10 + fps) / 2);
    QVERIFY(stepped.step());
    QCOMPARE(cameraFps(), fps);
}

void TestInputThreadLoop::libraryIsAskedForTheRateOncePerRetrievedFrame()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    bench().log().setHighRate(true);
    const auto asked = [] { return calls(CALL::GET_INIT_PARAMETERS); };
    for (std::uint64_t frame = 1; frame <= 3; ++frame) {
        QVERIFY(stepped.step());
        QCOMPARE(asked(), frame);
    }
    QVERIFY(stepped.step(om::ERROR_CODE::FAILURE));
    QCOMPARE(asked(), std::uint64_t(3));
    stepped.input->retrieveMutex.lock();
    const bool passed = stepped.step();
    stepped.input->retrieveMutex.unlock();
    QVERIFY(passed);
    QCOMPARE(asked(), std::uint64_t(3));
}

void TestInputThreadLoop::imageSignalComesOncePerGoodGrab()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    QCOMPARE(stepped.images.load(), 0);
    ProgramStates::setIntAttr(ProgramStates::measuredFps, 100);
    std::atomic<int> rateAtImage{-1};
    connect(
        stepped.input.get(), &InputThreadModul::SendImage, stepped.input.get(),
        [&rateAtImage] { rateAtImage = measuredFps(); }, Qt::DirectConnection);
    QVERIFY(stepped.step());
    QCOMPARE(stepped.images.load(), 1);
    // The rates of the pass are published before its signal.
    QCOMPARE(rateAtImage.load(), 5);
    QVERIFY(stepped.step(om::ERROR_CODE::TIMEOUT));
    QCOMPARE(stepped.images.load(), 1);
    QVERIFY(stepped.step());
    QCOMPARE(stepped.images.load(), 2);
}

void TestInputThreadLoop::liveCameraIsNotPaced()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    QVERIFY(stepped.step());
    QVERIFY(stepped.input->camera.getTimestamp(om::TIME_REFERENCE::IMAGE) != 0);
    QCOMPARE(stepped.input->lastPlaybackTime, std::uint64_t(0));
    QVERIFY(!stepped.input->playbackTimer.isValid());
}

void TestInputThreadLoop::failedGrabIsTriedAgain_data()
{
    QTest::addColumn<int>("result");
    for (int result : {1, 2, 3, 5, 6, 7, 99, -1}) {
        QTest::addRow("result %d", result) << result;
    }
}

void TestInputThreadLoop::failedGrabIsTriedAgain()
{
    QFETCH(int, result);
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    QVERIFY(stepped.step());
    QSignalSpy lost(stepped.input.get(), &InputThreadModul::DetectTIVDisconnect);
    bench().log().clear();
    ProgramStates::setIntAttr(ProgramStates::measuredFps, -1);
    ProgramStates::setIntAttr(ProgramStates::cameraFps, -1);
    for (int pass = 0; pass < 3; ++pass) {
        QVERIFY(stepped.step(static_cast<om::ERROR_CODE>(result)));
    }
    QCOMPARE(calls(CALL::GRAB), std::uint64_t(3));
    QVERIFY(retrievals().empty());
    QCOMPARE(stepped.images.load(), 1);
    QCOMPARE(measuredFps(), -1);
    QCOMPARE(cameraFps(), -1);
    QVERIFY(stepped.input->running);
    QVERIFY(stepped.input->opened);
    QVERIFY(stepped.step());
    QCOMPARE(stepped.images.load(), 2);
    QCOMPARE(lost.count(), 0);
}

void TestInputThreadLoop::failedGrabIsFollowedByAMillisecondOfSleep()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    const auto start = std::chrono::steady_clock::now();
    for (int pass = 0; pass < 20; ++pass) {
        QVERIFY(stepped.step(om::ERROR_CODE::FAILURE));
    }
    QVERIFY(std::chrono::steady_clock::now() - start >= 20ms);
}

void TestInputThreadLoop::onlyAFailedGrabIsFollowedByASleep()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    const Sleeps sleeps(stepped.input.get());
    QVERIFY(stepped.step());
    QCOMPARE(sleeps.lengths(), std::vector<long>());
    QVERIFY(stepped.step(om::ERROR_CODE::FAILURE));
    QCOMPARE(sleeps.lengths(), std::vector<long>({1'000'000}));
    QVERIFY(stepped.step());
    stepped.nextResult = static_cast<int>(om::ERROR_CODE::CAMERA_GONE);
    stepped.gate.open();
    QVERIFY(stepped.input->wait(waiting::patienceMs));
    QCOMPARE(sleeps.lengths(), std::vector<long>({1'000'000}));
}

void TestInputThreadLoop::otherSignalsAreNeverSent()
{
    qRegisterMetaType<float*>("float*");
    SteppedInput stepped(false);
    InputThreadModul& input = *stepped.input;
    const QSignalSpy theEnd(&input, &InputThreadModul::theEnd);
    const QSignalSpy sendInit2D(&input, &InputThreadModul::sendInit2D);
    const QSignalSpy sendNewImage(&input, &InputThreadModul::sendNewImage);
    const QSignalSpy send3D(&input, &InputThreadModul::send3D);
    const QSignalSpy sendPC(&input, &InputThreadModul::SendPC);
    const QSignalSpy sendDepth(&input, &InputThreadModul::SendDepth);
    QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);
    QVERIFY(input.CreateMemories());
    input.requestView0 = input.requestView1 = input.requestView8 = true;
    input.requestDepth = input.requestMeasure = true;
    input.startGrabbing();
    QVERIFY(stepped.gate.waitForArrival());
    QVERIFY(stepped.step());
    QVERIFY(!input.requestMeasure);
    QVERIFY(stepped.step(om::ERROR_CODE::FAILURE));
    stepped.nextResult = static_cast<int>(om::ERROR_CODE::CAMERA_GONE);
    stepped.gate.open();
    QVERIFY(input.wait(waiting::patienceMs));
    for (const QSignalSpy* spy :
         {&theEnd, &sendInit2D, &sendNewImage, &send3D, &sendPC, &sendDepth}) {
        QVERIFY2(spy->isValid(), spy->signal());
        QVERIFY2(spy->isEmpty(), spy->signal());
    }
}

void TestInputThreadLoop::lossEndsTheLoop()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    QVERIFY(stepped.step());
    InputThreadModul& input = *stepped.input;
    std::atomic<int> lost{0};
    std::atomic<bool> flagsTaken{false};
    connect(
        &input, &InputThreadModul::DetectTIVDisconnect, &input,
        [&] {
            ++lost;
            flagsTaken = !input.running && !input.opened && !input.playingFile;
        },
        Qt::DirectConnection);
    bench().log().clear();
    // As in a recorded file that is far from its end.
    input.playingFile = true;
    input.lastFrame = std::numeric_limits<int>::max();

    stepped.nextResult = 4;
    stepped.gate.release();
    QVERIFY(input.wait(waiting::patienceMs));

    QCOMPARE(lost.load(), 1);
    QVERIFY(flagsTaken);
    QCOMPARE(calls(CALL::GRAB), std::uint64_t(1));
    QVERIFY(retrievals().empty());
    QCOMPARE(stepped.images.load(), 1);
    QVERIFY(!input.running);
    QVERIFY(!input.opened);
    QVERIFY(!input.playingFile);
    QVERIFY(input.enabled);
    QVERIFY(input.liveCamera);

    // A lost camera isn't started again.
    input.startGrabbing();
    QVERIFY(!input.isRunning());
}

void TestInputThreadLoop::lossSignalReachesTheInterfaceThread()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    QThread* receiving = nullptr;
    QObject receiver;
    connect(stepped.input.get(), &InputThreadModul::DetectTIVDisconnect, &receiver,
            [&receiving] { receiving = QThread::currentThread(); });
    stepped.nextResult = 4;
    stepped.gate.release();
    QTRY_COMPARE(receiving, QThread::currentThread());
}

void TestInputThreadLoop::lossAfterUnpluggingEndsTheLoop()
{
    InputThreadModul input;
    QSignalSpy lost(&input, &InputThreadModul::DetectTIVDisconnect);
    input.enableToStart(true);
    QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);
    QVERIFY(input.CreateMemories());
    input.startGrabbing();
    QTRY_VERIFY(calls(CALL::GRAB) > 0);
    QVERIFY(input.isRunning());

    bench().unplug(cameraSerial);
    QVERIFY(input.wait(waiting::patienceMs));
    QTRY_COMPARE(lost.count(), 1);
    QVERIFY(!input.opened);
    QVERIFY(!input.camera.isOpened());
}

void TestInputThreadLoop::pausedCameraIsNotGrabbedButRetrieved()
{
    // Stepped with the image signal, because a paused camera does not grab.
    Gate gate;
    InputThreadModul input;
    connect(
        &input, &InputThreadModul::SendImage, &input, [&gate] { gate.pass(); },
        Qt::DirectConnection);
    input.enableToStart(true);
    QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);
    QVERIFY(input.CreateMemories());
    input.startGrabbing();
    QVERIFY(gate.waitForArrival());

    ProgramStates::setBoolAttr(ProgramStates::inputPaused, true);
    bench().log().clear();
    for (int pass = 0; pass < 5; ++pass) {
        QVERIFY(gate.step());
    }
    QCOMPARE(calls(CALL::GRAB), std::uint64_t(0));
    QCOMPARE(retrievals().size(), std::size_t(15));

    ProgramStates::setBoolAttr(ProgramStates::inputPaused, false);
    QVERIFY(gate.step());
    QVERIFY(calls(CALL::GRAB) > 0);
    gate.open();
    input.stopGrabbing();
}

void TestInputThreadLoop::pauseAfterAFailureKeepsTheFailure()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    ProgramStates::setBoolAttr(ProgramStates::inputPaused, true);
    stepped.nextResult = static_cast<int>(om::ERROR_CODE::TIMEOUT);
    bench().log().clear();
    const unsigned int arrivals = stepped.gate.arrivals();
    stepped.gate.release();
    // Fifty passes without a grab and without an image, each with its pause.
    const Sleeps sleeps(stepped.input.get());
    QVERIFY(waiting::waitFor([&] { return sleeps.lengths().size() >= 50; }));
    QVERIFY(stepped.input->isRunning());
    QCOMPARE(stepped.gate.arrivals(), arrivals);
    QCOMPARE(calls(CALL::GRAB), std::uint64_t(1));
    QVERIFY(retrievals().empty());
    QCOMPARE(stepped.images.load(), 0);

    ProgramStates::setBoolAttr(ProgramStates::inputPaused, false);
    QVERIFY(stepped.gate.waitForArrival());
    QVERIFY(stepped.step());
    QCOMPARE(stepped.images.load(), 1);
}

void TestInputThreadLoop::pauseBeforeTheFirstGrabCountsAsGood()
{
    ProgramStates::setBoolAttr(ProgramStates::inputPaused, true);
    InputThreadModul input;
    std::atomic<int> images{0};
    connect(
        &input, &InputThreadModul::SendImage, &input, [&images] { ++images; },
        Qt::DirectConnection);
    input.enableToStart(true);
    QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);
    QVERIFY(input.CreateMemories());
    input.startGrabbing();
    QTRY_VERIFY(images > 2);
    QCOMPARE(calls(CALL::GRAB), std::uint64_t(0));
    input.stopGrabbing();
}

void TestInputThreadLoop::pauseIsLookedAtWithTheGrabsLock()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    // A pause that comes while the next pass waits for the lock.
    const void* const grabMutex = &stepped.input->grabMutex;
    const qtcalls::Hook hook([grabMutex](const qtcalls::Call& call) {
        if (call.call == qtcalls::CALL::LOCK && call.object == grabMutex) {
            ProgramStates::setBoolAttr(ProgramStates::inputPaused, true);
        }
    });
    stepped.gate.open();
    QTRY_VERIFY(stepped.images >= 3);
    QCOMPARE(calls(CALL::GRAB), std::uint64_t(1));
}

void TestInputThreadLoop::stopGrabbingEndsTheThread()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    QVERIFY(stepped.step());
    stepped.gate.open();
    stepped.input->stopGrabbing();
    QVERIFY(stepped.input->isFinished());
    QVERIFY(!stepped.input->running);
    // The camera stays open, and grabbing can continue.
    QVERIFY(stepped.input->opened);
    QVERIFY(stepped.input->camera.isOpened());
    const int images = stepped.images;
    stepped.input->startGrabbing();
    QTRY_VERIFY(stepped.images > images);
}

void TestInputThreadLoop::stopGrabbingFromAnotherThread()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    stepped.gate.open();
    SideThread sensorThread([&stepped] { stepped.input->stopGrabbing(); });
    sensorThread.join();
    QVERIFY(stepped.input->isFinished());
}

void TestInputThreadLoop::stopGrabbingWaitsWithoutALimit()
{
    // The thread stands in a grab until the wait has begun.
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    InputThreadModul& input = *stepped.input;
    QVector<qint64> limits;
    bool running = true;
    const qtcalls::Hook hook([&](const qtcalls::Call& call) {
        if (call.call == qtcalls::CALL::WAIT && call.object == &input) {
            limits << call.limit;
            running = input.running;
            stepped.gate.open();
        }
    });
    input.stopGrabbing();
    QCOMPARE(limits, QVector<qint64>({-1}));
    QVERIFY(!running);
    QVERIFY(input.isFinished());
}

void TestInputThreadLoop::destructorFreesEverything_data()
{
    QTest::addColumn<QString>("stage");
    for (const char* stage : {"built", "opened", "allocated", "grabbing", "stopped", "lost"}) {
        QTest::newRow(stage) << stage;
    }
}

void TestInputThreadLoop::destructorFreesEverything()
{
    QFETCH(QString, stage);
    const bool open = stage != "built";
    const bool allocate = open && stage != "opened";
    {
        InputThreadModul input;
        input.enableToStart(true);
        if (open) {
            QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);
            QVERIFY(inUse());
        }
        if (allocate) {
            QVERIFY(input.CreateMemories());
            QVERIFY(input.imageGpu.getPtr(om::MEM::GPU));
        }
        if (stage == "grabbing" || stage == "stopped" || stage == "lost") {
            input.startGrabbing();
            QTRY_VERIFY(calls(CALL::GRAB) > 0);
        }
        if (stage == "stopped") {
            input.stopGrabbing();
        }
        if (stage == "lost") {
            bench().unplug(cameraSerial);
            QVERIFY(input.wait(waiting::patienceMs));
        }
        cuCtxSetCurrent(nullptr);
    }
    QVERIFY(!inUse());
    QCOMPARE(gpuBlocks(), std::size_t(0));
    QCOMPARE(cudaGetLastError(), cudaSuccess);
}

void TestInputThreadLoop::destructorGoesStepByStep()
{
    SteppedInput stepped;
    QVERIFY(stepped.ready);
    InputThreadModul& input = *stepped.input;
    const CUcontext context = input.cudaContext;
    input.lastImageTime = 1;
    input.droppedFrames = 2;
    input.frameRate = 3.0;
    input.playingFile = true;
    cuCtxSetCurrent(nullptr);

    const auto stopped = [&input] {
        return input.lastImageTime == 0 && input.droppedFrames == 0 && input.frameRate == 0.0 &&
               !input.enabled && !input.running && !input.opened && !input.playingFile &&
               !input.liveCamera && input.aborted;
    };
    const auto freed = [&input] {
        const om::Mat* const mats[] = {&input.imageGpu,  &input.image2Gpu,   &input.measureGpu,
                                       &input.depthHost, &input.measureHost, &input.imageHost,
                                       &input.image3Host};
        return std::all_of(std::begin(mats), std::end(mats), [](const om::Mat* mat) {
            return mat->getPtr(om::MEM::CPU) == nullptr && mat->getPtr(om::MEM::GPU) == nullptr;
        });
    };
    const std::thread::id here = std::this_thread::get_id();
    QStringList seen;
    const qtcalls::Hook hook([&](const qtcalls::Call& call) {
        if (std::this_thread::get_id() != here) {
            return;
        }
        if (call.call == qtcalls::CALL::MSLEEP) {
            seen << QString("sleep %1, %2").arg(call.limit).arg(stopped() ? "stopped" : "not");
        } else if (call.call == qtcalls::CALL::WAIT) {
            // The thread stands in a grab until now.
            seen << QString("wait %1, %2")
                        .arg(call.limit)
                        .arg(input.isRunning() ? "running" : "not");
            stepped.gate.open();
        }
    });
    const CallHook onCall([&](const CallRecord& record) {
        if (record.call == CALL::CLOSE) {
            CUcontext current = nullptr;
            cuCtxGetCurrent(&current);
            seen << QString("close, %1, %2, %3")
                        .arg(input.isRunning() ? "running" : "ended",
                             current == context ? "context" : "no context",
                             freed() ? "freed" : "not freed");
            leaveCudaError();
        }
    });

    stepped.input.reset();
    QCOMPARE(seen, QStringList(
                       {"sleep 10, stopped", "wait -1, running", "close, ended, context, freed"}));
    QCOMPARE(cudaGetLastError(), cudaSuccess);
}

void TestInputThreadLoop::destructorEndsAThreadThatWasNeverEnabled()
{
    {
        InputThreadModul input;
        QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);
        input.startGrabbing();
        QVERIFY(input.isRunning());
    }
    QCOMPARE(calls(CALL::GRAB), std::uint64_t(0));
    QCOMPARE(calls(CALL::CLOSE), std::uint64_t(1));
}

void TestInputThreadLoop::destructorEndsARunningThread()
{
    {
        InputThreadModul input;
        input.enableToStart(true);
        QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);
        QVERIFY(input.CreateMemories());
        input.startGrabbing();
        QTRY_VERIFY(calls(CALL::GRAB) > 2);
    }
    QCOMPARE(calls(CALL::CLOSE), std::uint64_t(1));
    // The last call on the camera is the close.
    const std::vector<CallRecord> records = bench().log().records();
    QVERIFY(records.back().call == CALL::CLOSE);
}

void TestInputThreadLoop::destructorOnAnotherThreadAfterALoss()
{
    // The path of the sensor thread if it detects the loss first.
    auto* input = new InputThreadModul;
    input->enableToStart(true);
    QCOMPARE(input->live(static_cast<int>(cameraSerial)), 0);
    QVERIFY(input->CreateMemories());
    input->startGrabbing();
    QTRY_VERIFY(calls(CALL::GRAB) > 0);
    bench().unplug(cameraSerial);
    SideThread sensorThread([input] {
        input->stopGrabbing();
        delete input;
    });
    sensorThread.join();
    QVERIFY(!inUse());
    QCOMPARE(gpuBlocks(), std::size_t(0));
}

void TestInputThreadLoop::destructorMakesTheContextCurrent()
{
    CUcontext context = nullptr;
    {
        InputThreadModul input;
        QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);
        QVERIFY(input.CreateMemories());
        context = input.cudaContext;
        QVERIFY(context);
        // Freeing GPU memory would bind the device's context by itself.
        input.imageGpu.free(om::MEM::GPU);
        input.image2Gpu.free(om::MEM::GPU);
        input.measureGpu.free(om::MEM::GPU);
        cuCtxSetCurrent(nullptr);
    }
    CUcontext current = nullptr;
    cuCtxGetCurrent(&current);
    QCOMPARE(current, context);
}

void TestInputThreadLoop::destructorClearsTheLastCudaError()
{
    {
        InputThreadModul input;
        QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);
        QVERIFY(input.CreateMemories());
        leaveCudaError();
        QVERIFY(cudaPeekAtLastError() != cudaSuccess);
    }
    QCOMPARE(cudaGetLastError(), cudaSuccess);
}

QTEST_GUILESS_MAIN(TestInputThreadLoop)
#include "tst_inputthread_loop.moc"
