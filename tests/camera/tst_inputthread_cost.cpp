/// The memory that the input thread requests while it runs. The camera library's own requests do
/// not count.
#include "bench/virtual_camera.h"
#include "camera/InputThreadModul.h"
#include "camerafixture.h"
#include "replay/recorded_file.h"
#include "support/allocations.h"
#include "support/waiting.h"

#include <QSlider>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <memory>

using namespace camerafixture;

namespace {

std::atomic<allocations::Counter*> counterOfTheLoop{nullptr};
std::atomic<int> passes{0}; // with a good grab

/// Counts what the input thread requests between its calls of the library, which are not counted,
/// until so many passes have begun.
bool count(allocations::Counter& counter, int wanted)
{
    passes = 0;
    counterOfTheLoop = &counter;
    const bool reached = waiting::waitFor([wanted] { return passes > wanted; });
    counterOfTheLoop = nullptr;
    passes = 0;
    return reached && waiting::waitFor([] { return passes > 1; }); // no longer in use
}

} // namespace

// The linker redirects the loop's calls of the library here (--wrap) and defines these names.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

om::ERROR_CODE __real__ZN2om6Camera4grabENS_17RuntimeParametersE(om::Camera* camera,
                                                                 om::RuntimeParameters parameters);
om::ERROR_CODE __wrap__ZN2om6Camera4grabENS_17RuntimeParametersE(om::Camera* camera,
                                                                 om::RuntimeParameters parameters)
{
    allocations::use(nullptr);
    const om::ERROR_CODE result =
        __real__ZN2om6Camera4grabENS_17RuntimeParametersE(camera, parameters);
    if (result == om::ERROR_CODE::SUCCESS) {
        ++passes;
    }
    allocations::use(counterOfTheLoop);
    return result;
}

om::ERROR_CODE __real__ZN2om6Camera13retrieveImageERNS_3MatENS_4VIEWENS_3MEMENS_10ResolutionE(
    om::Camera* camera, om::Mat& image, om::VIEW view, om::MEM memory, om::Resolution size);
om::ERROR_CODE __wrap__ZN2om6Camera13retrieveImageERNS_3MatENS_4VIEWENS_3MEMENS_10ResolutionE(
    om::Camera* camera, om::Mat& image, om::VIEW view, om::MEM memory, om::Resolution size)
{
    const allocations::Scope notCounted(nullptr);
    return __real__ZN2om6Camera13retrieveImageERNS_3MatENS_4VIEWENS_3MEMENS_10ResolutionE(
        camera, image, view, memory, size);
}

om::ERROR_CODE __real__ZN2om6Camera15retrieveMeasureERNS_3MatENS_7MEASUREENS_3MEMENS_10ResolutionE(
    om::Camera* camera, om::Mat& measure, om::MEASURE kind, om::MEM memory, om::Resolution size);
om::ERROR_CODE __wrap__ZN2om6Camera15retrieveMeasureERNS_3MatENS_7MEASUREENS_3MEMENS_10ResolutionE(
    om::Camera* camera, om::Mat& measure, om::MEASURE kind, om::MEM memory, om::Resolution size)
{
    const allocations::Scope notCounted(nullptr);
    return __real__ZN2om6Camera15retrieveMeasureERNS_3MatENS_7MEASUREENS_3MEMENS_10ResolutionE(
        camera, measure, kind, memory, size);
}

std::uint64_t __real__ZN2om6Camera12getTimestampENS_14TIME_REFERENCEE(om::Camera* camera,
                                                                      om::TIME_REFERENCE reference);
std::uint64_t __wrap__ZN2om6Camera12getTimestampENS_14TIME_REFERENCEE(om::Camera* camera,
                                                                      om::TIME_REFERENCE reference)
{
    const allocations::Scope notCounted(nullptr);
    return __real__ZN2om6Camera12getTimestampENS_14TIME_REFERENCEE(camera, reference);
}

int __real__ZN2om6Camera14getQVRPositionEv(om::Camera* camera);
int __wrap__ZN2om6Camera14getQVRPositionEv(om::Camera* camera)
{
    const allocations::Scope notCounted(nullptr);
    return __real__ZN2om6Camera14getQVRPositionEv(camera);
}

void __real__ZN2om6Camera14setQVRPositionEi(om::Camera* camera, int frame);
void __wrap__ZN2om6Camera14setQVRPositionEi(om::Camera* camera, int frame)
{
    const allocations::Scope notCounted(nullptr);
    __real__ZN2om6Camera14setQVRPositionEi(camera, frame);
}

} // extern "C"

// C has no such result: functions of C++ with these names.
om::InitParameters
realInitParameters(om::Camera* camera) asm("__real__ZN2om6Camera17getInitParametersEv");
om::InitParameters
wrappedInitParameters(om::Camera* camera) asm("__wrap__ZN2om6Camera17getInitParametersEv");
om::InitParameters wrappedInitParameters(om::Camera* camera)
{
    const allocations::Scope notCounted(nullptr);
    return realInitParameters(camera);
}
// NOLINTEND(bugprone-reserved-identifier)

class TestInputThreadCost : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void retrievedFrameRequestsNoMemory();
    void failedGrabRequestsNoMemory();
    void frameOfAFileRequestsNoMemory();

private:
    void startLive();

    std::unique_ptr<allocations::Counter> m_counter;
    std::unique_ptr<InputThreadModul> m_input;
};

void TestInputThreadCost::init()
{
    setUp();
    m_counter = std::make_unique<allocations::Counter>();
    passes = 0;
}

void TestInputThreadCost::cleanup()
{
    m_input.reset();
    bench().reset();
    ProgramStates::resetStates();
}

void TestInputThreadCost::startLive()
{
    m_input = std::make_unique<InputThreadModul>();
    m_input->enableToStart(true);
    QCOMPARE(m_input->live(static_cast<int>(cameraSerial)), 0);
    QVERIFY(m_input->CreateMemories());
    m_input->startGrabbing();
    QVERIFY(waiting::waitFor([] { return passes > 3; }));
}

void TestInputThreadCost::retrievedFrameRequestsNoMemory()
{
    startLive();
    const std::uint64_t before = calls(om::bench::CALL::RETRIEVE_MEASURE);
    QVERIFY(count(*m_counter, 50));
    QVERIFY(calls(om::bench::CALL::RETRIEVE_MEASURE) >= before + 50);
    QVERIFY2(m_counter->all() == 0, m_counter->callers().c_str());
}

void TestInputThreadCost::failedGrabRequestsNoMemory()
{
    bench().camera(cameraSerial)->grabScript().set([](std::uint64_t index, om::ERROR_CODE& result) {
        result = index % 2 == 0 ? om::ERROR_CODE::FAILURE : om::ERROR_CODE::SUCCESS;
        return true;
    });
    startLive();
    QVERIFY(count(*m_counter, 20));
    QVERIFY2(m_counter->all() == 0, m_counter->callers().c_str());
}

void TestInputThreadCost::frameOfAFileRequestsNoMemory()
{
    om::bench::RecordedFile recording;
    recording.model = om::MODEL::TIV_P;
    recording.serialNumber = cameraSerial;
    recording.width = 64;
    recording.height = 48;
    recording.frameRate = 30.0;
    for (int frame = 0; frame < 10; ++frame) {
        recording.frameTimes.push_back(1'600'000'000 * om::bench::nsPerS +
                                       static_cast<om::bench::Nanoseconds>(frame) * 2 *
                                           om::bench::nsPerMs);
    }
    const QTemporaryDir folder;
    const QString path = folder.filePath("recorded.qvr");
    std::string error;
    QVERIFY2(om::bench::writeRecordedFile(path.toStdString(), recording, error), error.c_str());
    QSlider slider;
    slider.setRange(0, 9);
    const auto end = qScopeGuard([this] { m_input.reset(); }); // before the slider
    m_input = std::make_unique<InputThreadModul>();
    m_input->frameSlider = &slider;
    m_input->enableToStart(true);
    ProgramStates::setIntAttr(ProgramStates::playbackStep, 1);
    QCOMPARE(m_input->qvr(path), 0);
    QVERIFY(m_input->CreateMemories());
    m_input->startGrabbing();
    QVERIFY(waiting::waitFor([] { return passes > 30; }));
    QVERIFY(count(*m_counter, 50)); // to the end and from the start again, several times
    QVERIFY2(m_counter->all() == 0, m_counter->callers().c_str());
}

QTEST_MAIN(TestInputThreadCost)
#include "tst_inputthread_cost.moc"
