#include "replay/recorded_file.h"
#include "camera/InputThreadModul.h"
#include "camera/ProgramStates.h"
#include "camerafixture.h"
#include "gate.h"
#include "support/qtcalls.h"

#include <QSlider>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

using namespace camerafixture;
using namespace std::chrono_literals;
using om::bench::CALL;
using om::bench::CallRecord;
using om::bench::Nanoseconds;

namespace {

constexpr Nanoseconds startTime = 1'600'000'000 * om::bench::nsPerS;

/// The arguments of setQVRPosition() since the log was last cleared.
std::vector<int> seeks()
{
    std::vector<int> frames;
    for (const CallRecord& record : bench().log().records(CALL::SET_QVR_POSITION)) {
        frames.push_back(record.value);
    }
    return frames;
}

/// Plays a recorded file. The thread stops at each image signal, that is after the grab and the
/// retrieval of a pass and before it checks for the end of the file.
struct SteppedFile
{
    explicit SteppedFile(const std::vector<Nanoseconds>& frameTimes)
        : path(folder.filePath("recorded.qvr")), frames(static_cast<int>(frameTimes.size()))
    {
        om::bench::RecordedFile recording;
        recording.model = om::MODEL::TIV_P;
        recording.serialNumber = cameraSerial;
        recording.width = 64;
        recording.height = 48;
        recording.frameRate = 30.0;
        recording.frameTimes = frameTimes;
        std::string error;
        written = om::bench::writeRecordedFile(path.toStdString(), recording, error);
        slider.setRange(0, frames - 1);
        input = std::make_unique<InputThreadModul>();
        input->frameSlider = &slider;
        QObject::connect(
            input.get(), &InputThreadModul::SendImage, input.get(), [this] { gate.pass(); },
            Qt::DirectConnection);
        input->enableToStart(true);
    }

    ~SteppedFile()
    {
        gate.open();
        input.reset();
    }

    bool open() { return written && input->qvr(path) == 0 && input->CreateMemories(); }

    /// Returns in the first pass.
    bool play()
    {
        if (!open()) {
            return false;
        }
        bench().log().clear();
        input->startGrabbing();
        return gate.waitForArrival();
    }

    QTemporaryDir folder;
    QString path;
    int frames;
    bool written = false;
    Gate gate;
    QSlider slider;
    std::unique_ptr<InputThreadModul> input;
};

/// Counts the pauses by which frames are held back, while the object lives.
class Pauses
{
public:
    int count() const { return m_count; }

private:
    std::atomic<int> m_count{0};
    const qtcalls::Hook m_hook{[this](const qtcalls::Call& call) {
        m_count += call.call == qtcalls::CALL::USLEEP ? 1 : 0;
    }};
};

/// Frames without a time, which are not paced.
std::vector<Nanoseconds> untimed(std::size_t frames)
{
    return std::vector<Nanoseconds>(frames, 0);
}

} // namespace

class TestInputThreadFile : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void qvrOpensTheFileAtItsOwnRate();
    void pathGoesToTheLibraryAsUtf8();
    void pathIsStoredBeforeTheOpen();
    void failedOpenLeavesNoFile();
    void createMemoriesTakesTheFilesSize();

    void stepOfOnePlaysWithoutASeek();
    void stepOfZeroStaysOnAFrame();
    void otherStepsSeek_data();
    void otherStepsSeek();
    void seeksOfAGrabAreUnderItsLock();
    void fileStartsOverAtItsEnd();
    void stepOverTheLastFrameStartsOver();
    void lastFrameIsTheLastButOne();
    void fileLoopsForEver();
    void fileStartsOverAlsoAfterAFailedGrab();
    void pauseGrabsAtTheSlider();
    void pausedFileDoesNotStartOver();

    void rateOfAFileIsNotLimited();
    void framesFollowAtTheirRecordedPace();
    void lateFrameIsNotHeldBack();
    void frameWithoutATimeLeavesThePaceAlone();
    void firstFrameIsNotHeldBack();
    void longGapIsNotWaitedFor();
    void frameThatIsNotDelayedStartsThePaceAgain_data();
    void frameThatIsNotDelayedStartsThePaceAgain();
    void skippedFrameIsNotPaced();
    void destructorEndsAPlayingFile();
};

void TestInputThreadFile::init()
{
    bench().reset();
    setViewerAttributes();
    ProgramStates::setIntAttr(ProgramStates::playbackStep, 1);
}

void TestInputThreadFile::cleanup()
{
    QCOMPARE(gpuBlocks(), std::size_t(0));
}

void TestInputThreadFile::qvrOpensTheFileAtItsOwnRate()
{
    SteppedFile file(untimed(12));
    QVERIFY(file.written);
    file.input->liveCamera = true;
    QCOMPARE(file.input->qvr(file.path), 0);

    const auto passed = bench().log().last(CALL::OPEN)->init;
    QVERIFY(passed->input.kind() == om::InputType::KIND::RECORDED_FILE);
    QCOMPARE(QString::fromUtf8(passed->input.path().c_str()), file.path);
    QCOMPARE(static_cast<int>(passed->resolution), 6);
    QCOMPARE(passed->fps, 0);
    QVERIFY(passed->depthMinimum == 1.0F);
    QVERIFY(passed->depthMaximum == 25.000002F);
    QCOMPARE(static_cast<int>(passed->coordinateUnits), 2);
    QCOMPARE(static_cast<int>(passed->coordinateSystem), 2);

    QVERIFY(file.input->opened);
    QVERIFY(file.input->playingFile);
    QVERIFY(!file.input->liveCamera);
    QCOMPARE(file.input->lastFrame, 10);
    QCOMPARE(ProgramStates::qstringAttr(ProgramStates::inputFilePath), file.path);
    // Only for a live camera the camera's record is copied.
    QCOMPARE(static_cast<int>(file.input->cameraInfo.cameraModel), 32);
}

void TestInputThreadFile::pathGoesToTheLibraryAsUtf8()
{
    InputThreadModul input;
    const QString path = QString::fromUtf8("/nowhere/Grüße 星.qvr");
    QVERIFY(input.qvr(path) != 0);
    QCOMPARE(QByteArray(bench().log().last(CALL::OPEN)->init->input.path().c_str()),
             QByteArray("/nowhere/Gr\xC3\xBC\xC3\x9F"
                        "e \xE6\x98\x9F.qvr"));
}

void TestInputThreadFile::pathIsStoredBeforeTheOpen()
{
    QString stored;
    bench().setOpenHook([&stored](const om::InitParameters&) {
        stored = ProgramStates::qstringAttr(ProgramStates::inputFilePath);
    });
    InputThreadModul input;
    input.qvr("/nowhere/some.qvr");
    QCOMPARE(stored, QString("/nowhere/some.qvr"));
}

void TestInputThreadFile::failedOpenLeavesNoFile()
{
    InputThreadModul input;
    input.opened = input.playingFile = true;
    const int result = input.qvr("/nowhere/some.qvr");
    QCOMPARE(result, bench().log().last(CALL::OPEN)->result);
    QVERIFY(result != 0);
    QVERIFY(!input.opened);
    QVERIFY(!input.playingFile);
    QCOMPARE(ProgramStates::qstringAttr(ProgramStates::inputFilePath),
             QString("/nowhere/some.qvr"));
    input.startGrabbing();
    QVERIFY(!input.isRunning());
}

void TestInputThreadFile::createMemoriesTakesTheFilesSize()
{
    SteppedFile file(untimed(4));
    QVERIFY(file.open());
    QCOMPARE(file.input->imageSize.width, std::size_t(64));
    QCOMPARE(file.input->imageSize.height, std::size_t(48));
    QCOMPARE(ProgramStates::getIntAttr(ProgramStates::cameraModel), 2);
}

void TestInputThreadFile::stepOfOnePlaysWithoutASeek()
{
    SteppedFile file(untimed(10));
    QVERIFY(file.play());
    for (int pass = 1; pass < 8; ++pass) {
        QCOMPARE(file.slider.value(), pass);
        QVERIFY(file.gate.step());
    }
    QVERIFY(seeks().empty());
    QCOMPARE(calls(CALL::GRAB), std::uint64_t(8));
}

void TestInputThreadFile::stepOfZeroStaysOnAFrame()
{
    ProgramStates::setIntAttr(ProgramStates::playbackStep, 0);
    SteppedFile file(untimed(10));
    file.slider.setValue(4);
    QVERIFY(file.play());
    QVERIFY(file.gate.step());
    QVERIFY(file.gate.step());
    QCOMPARE(file.slider.value(), 4);
    QCOMPARE(seeks(), (std::vector<int>{4, 4, 4}));
}

void TestInputThreadFile::otherStepsSeek_data()
{
    QTest::addColumn<int>("step");
    QTest::addColumn<QVector<int>>("positions");
    QTest::newRow("2") << 2 << QVector<int>{12, 14, 16};
    QTest::newRow("5") << 5 << QVector<int>{15, 20, 25};
    QTest::newRow("-1") << -1 << QVector<int>{9, 8, 7};
}

void TestInputThreadFile::otherStepsSeek()
{
    QFETCH(int, step);
    QFETCH(QVector<int>, positions);
    ProgramStates::setIntAttr(ProgramStates::playbackStep, step);
    SteppedFile file(untimed(40));
    file.slider.setValue(10);
    QVERIFY(file.play());
    QCOMPARE(file.slider.value(), positions[0]);
    QVERIFY(file.gate.step());
    QCOMPARE(file.slider.value(), positions[1]);
    QVERIFY(file.gate.step());
    QCOMPARE(file.slider.value(), positions[2]);
    QCOMPARE(seeks(), std::vector<int>(positions.begin(), positions.end()));
    // The seek comes before the grab of its pass.
    std::vector<CALL> order;
    for (const CallRecord& record : bench().log().records()) {
        if (record.call == CALL::SET_QVR_POSITION || record.call == CALL::GRAB) {
            order.push_back(record.call);
        }
    }
    QVERIFY(order.size() >= 2);
    QVERIFY(order[0] == CALL::SET_QVR_POSITION);
    QVERIFY(order[1] == CALL::GRAB);
}

void TestInputThreadFile::seeksOfAGrabAreUnderItsLock()
{
    ProgramStates::setIntAttr(ProgramStates::playbackStep, 3);
    SteppedFile file(untimed(12));
    file.slider.setValue(4);
    QVERIFY(file.open());
    QStringList seen;
    const CallHook onCall([&](const CallRecord& record) {
        if (record.call == CALL::SET_QVR_POSITION || record.call == CALL::GRAB) {
            const bool free = file.input->grabMutex.tryLock();
            if (free) {
                file.input->grabMutex.unlock();
            }
            seen << QString("%1 %2, %3, slider %4")
                        .arg(om::bench::toString(record.call))
                        .arg(record.value)
                        .arg(free ? "free" : "held")
                        .arg(file.slider.value());
        }
    });
    file.input->startGrabbing();
    QVERIFY(file.gate.waitForArrival());
    QVERIFY(file.gate.step());
    QVERIFY(file.gate.step());
    // The slider follows the seek of a grab and goes before that of the restart, which comes after
    // the frame and is not part of a grab.
    QCOMPARE(seen, QStringList({"SET_QVR_POSITION 7, held, slider 4", "GRAB 0, held, slider 7",
                                "SET_QVR_POSITION 10, held, slider 7", "GRAB 0, held, slider 10",
                                "SET_QVR_POSITION 0, free, slider 0",
                                "SET_QVR_POSITION 3, held, slider 0", "GRAB 0, held, slider 3"}));
}

void TestInputThreadFile::fileStartsOverAtItsEnd()
{
    ProgramStates::setIntAttr(ProgramStates::playbackStep, 3);
    SteppedFile file(untimed(12));
    file.slider.setValue(4);
    QVERIFY(file.play());
    // Frame 7, then frame 10 of 0 to 11: the end, seen after the image signal.
    QVERIFY(file.gate.step());
    QCOMPARE(file.slider.value(), 10);
    QVERIFY(file.gate.step());
    QCOMPARE(file.slider.value(), 3);
    QCOMPARE(seeks(), (std::vector<int>{7, 10, 0, 3}));
}

void TestInputThreadFile::stepOverTheLastFrameStartsOver()
{
    ProgramStates::setIntAttr(ProgramStates::playbackStep, 3);
    SteppedFile file(untimed(12));
    file.slider.setValue(8);
    QVERIFY(file.play());
    // Frame 11, behind frame 10, with which the file ends.
    QVERIFY(file.gate.step());
    QCOMPARE(file.slider.value(), 3);
    QCOMPARE(seeks(), (std::vector<int>{11, 0, 3}));
}

void TestInputThreadFile::lastFrameIsTheLastButOne()
{
    ProgramStates::setIntAttr(ProgramStates::playbackStep, 0);
    SteppedFile file(untimed(12));
    file.slider.setValue(9);
    QVERIFY(file.play());
    QVERIFY(file.gate.step());
    QCOMPARE(file.slider.value(), 9);
    file.slider.setValue(10);
    QVERIFY(file.gate.step());
    // The pass at frame 10 finds the end of the file, and the next one begins at 0.
    QVERIFY(file.gate.step());
    QCOMPARE(file.slider.value(), 0);
    QCOMPARE(seeks(), (std::vector<int>{9, 9, 10, 0, 0}));
}

void TestInputThreadFile::fileLoopsForEver()
{
    SteppedFile file(untimed(5));
    QVERIFY(file.play());
    int starts = 0;
    int last = file.slider.value();
    for (int pass = 0; pass < 40; ++pass) {
        QVERIFY(file.gate.step());
        if (file.slider.value() < last) {
            ++starts;
        }
        last = file.slider.value();
    }
    QVERIFY(starts >= 8);
    QVERIFY(starts <= 20);
    QVERIFY(file.input->running);
    for (int frame : seeks()) {
        QCOMPARE(frame, 0);
    }
}

void TestInputThreadFile::fileStartsOverAlsoAfterAFailedGrab()
{
    SteppedFile file(untimed(40));
    QVERIFY(file.play());
    // Without its file every grab fails, and the position is 0: the end of what is left.
    file.input->camera.close();
    file.input->lastFrame = 0;
    file.slider.setValue(30);
    std::mutex mutex;
    std::vector<int> values;
    connect(
        &file.slider, &QSlider::valueChanged, &file.slider,
        [&](int value) {
            const std::lock_guard<std::mutex> lock(mutex);
            values.push_back(value);
        },
        Qt::DirectConnection);
    const auto some = [&] {
        const std::lock_guard<std::mutex> lock(mutex);
        // Not a container of Qt, whose copy shares the data that the thread then appends to.
        std::vector<int> first = values;
        first.resize(std::min<std::size_t>(first.size(), 5));
        return first;
    };
    file.gate.release();
    QTRY_COMPARE(some(), (std::vector<int>{0, 1, 0, 1, 0}));
    file.input->stopGrabbing();
    QCOMPARE(file.gate.arrivals(), 1U);
}

void TestInputThreadFile::pauseGrabsAtTheSlider()
{
    ProgramStates::setBoolAttr(ProgramStates::inputPaused, true);
    ProgramStates::setIntAttr(ProgramStates::playbackStep, 2);
    SteppedFile file(untimed(20));
    file.slider.setValue(6);
    QVERIFY(file.play());
    QCOMPARE(file.slider.value(), 6);
    file.slider.setValue(3);
    QVERIFY(file.gate.step());
    QCOMPARE(file.slider.value(), 3);
    QCOMPARE(seeks(), (std::vector<int>{6, 3}));
    QCOMPARE(calls(CALL::GRAB), std::uint64_t(2));
    ProgramStates::setBoolAttr(ProgramStates::inputPaused, false);
    QVERIFY(file.gate.step());
    QCOMPARE(file.slider.value(), 5);
}

void TestInputThreadFile::pausedFileDoesNotStartOver()
{
    ProgramStates::setBoolAttr(ProgramStates::inputPaused, true);
    SteppedFile file(untimed(10));
    file.slider.setValue(9);
    QVERIFY(file.play());
    QVERIFY(file.gate.step());
    QVERIFY(file.gate.step());
    QCOMPARE(file.slider.value(), 9);
    QCOMPARE(seeks(), (std::vector<int>{9, 9, 9}));
}

void TestInputThreadFile::rateOfAFileIsNotLimited()
{
    ProgramStates::setIntAttr(ProgramStates::requestedFps, 20);
    SteppedFile file(untimed(100));
    QVERIFY(file.play());
    file.input->fpsCounter->interval.start += 1h;
    file.input->fpsCounter->framesPerSecond = 500;
    QVERIFY(file.gate.step());
    QVERIFY(file.gate.step());
    QCOMPARE(ProgramStates::getIntAttr(ProgramStates::measuredFps), 500);
    QCOMPARE(ProgramStates::getIntAttr(ProgramStates::cameraFps), 30);
}

void TestInputThreadFile::framesFollowAtTheirRecordedPace()
{
    constexpr Nanoseconds frameGap = 400 * om::bench::nsPerMs; // not all are late on a busy machine
    std::vector<Nanoseconds> times;
    times.reserve(8);
    for (Nanoseconds frame = 0; frame < 8; ++frame) {
        times.push_back(startTime + frame * frameGap);
    }
    SteppedFile file(times);
    QVERIFY(file.play());
    const Nanoseconds first = file.input->lastPlaybackTime;
    QVERIFY(first >= startTime);
    QVERIFY(file.input->playbackTimer.isValid());
    QElapsedTimer real = file.input->playbackTimer;
    const Pauses pauses;
    for (Nanoseconds pass = 1; pass <= 4; ++pass) {
        QVERIFY(file.gate.step());
        QCOMPARE(file.input->lastPlaybackTime, std::uint64_t(first + pass * frameGap));
    }
    // From the first frame's timer to the last one's at least the four gaps have passed.
    QVERIFY(real.msecsTo(file.input->playbackTimer) >= 1599);
    QVERIFY(pauses.count() > 0);
}

void TestInputThreadFile::lateFrameIsNotHeldBack()
{
    constexpr Nanoseconds frameGap = 900 * om::bench::nsPerMs;
    SteppedFile file(
        {startTime, startTime + frameGap, startTime + 2 * frameGap, startTime + 3 * frameGap});
    QVERIFY(file.play());
    // The gap passes while the first frame is still in use.
    QTRY_VERIFY(file.input->playbackTimer.elapsed() >= 900);
    const Pauses pauses;
    QVERIFY(file.gate.step());
    QCOMPARE(pauses.count(), 0);
}

void TestInputThreadFile::frameWithoutATimeLeavesThePaceAlone()
{
    SteppedFile file({startTime, startTime, startTime, 0, 0, 0, 0, 0, 0, 0});
    QVERIFY(file.play());
    QCOMPARE(file.input->lastPlaybackTime, std::uint64_t(startTime));
    while (file.input->camera.getTimestamp(om::TIME_REFERENCE::IMAGE) != 0) {
        QVERIFY(file.gate.step());
    }
    const QElapsedTimer timer = file.input->playbackTimer;
    QVERIFY(timer.isValid());
    QVERIFY(file.gate.step());
    QCOMPARE(file.input->camera.getTimestamp(om::TIME_REFERENCE::IMAGE), std::uint64_t(0));
    QCOMPARE(file.input->lastPlaybackTime, std::uint64_t(startTime));
    QVERIFY(file.input->playbackTimer == timer);
}

void TestInputThreadFile::firstFrameIsNotHeldBack()
{
    // Half a second after time 0, as after a previous frame.
    SteppedFile file({500 * om::bench::nsPerMs, 500 * om::bench::nsPerMs, 500 * om::bench::nsPerMs,
                      500 * om::bench::nsPerMs});
    QVERIFY(file.open());
    const Pauses pauses;
    file.input->startGrabbing();
    QVERIFY(file.gate.waitForArrival());
    QCOMPARE(pauses.count(), 0);
    QCOMPARE(file.input->lastPlaybackTime, std::uint64_t(500 * om::bench::nsPerMs));
}

void TestInputThreadFile::longGapIsNotWaitedFor()
{
    std::vector<Nanoseconds> times;
    times.reserve(8);
    for (Nanoseconds frame = 0; frame < 8; ++frame) {
        times.push_back(startTime + frame * 20 * om::bench::nsPerS);
    }
    SteppedFile file(times);
    QVERIFY(file.play());
    const Pauses pauses;
    QVERIFY(file.gate.step());
    QVERIFY(file.gate.step());
    QCOMPARE(pauses.count(), 0);
    QVERIFY(file.input->lastPlaybackTime >= startTime + 40 * om::bench::nsPerS);
}

void TestInputThreadFile::frameThatIsNotDelayedStartsThePaceAgain_data()
{
    QTest::addColumn<qint64>("gapMs");
    QTest::newRow("no gap") << qint64(0);
    QTest::newRow("a rest above a second") << qint64(9000);
    QTest::newRow("a gap above ten seconds") << qint64(20000);
}

void TestInputThreadFile::frameThatIsNotDelayedStartsThePaceAgain()
{
    QFETCH(qint64, gapMs);
    const Nanoseconds gap = static_cast<Nanoseconds>(gapMs) * om::bench::nsPerMs;
    SteppedFile file({startTime, startTime + gap, startTime + 2 * gap, startTime + 3 * gap});
    QVERIFY(file.play());
    for (int pass = 0; pass < 2; ++pass) {
        const QElapsedTimer timer = file.input->playbackTimer;
        const std::uint64_t last = file.input->lastPlaybackTime;
        QVERIFY(timer.isValid());
        QVERIFY(file.gate.step());
        QCOMPARE(file.input->lastPlaybackTime, last + gap);
        QVERIFY(file.input->playbackTimer != timer);
    }
}

void TestInputThreadFile::skippedFrameIsNotPaced()
{
    SteppedFile file({startTime, startTime + 1'000'000, startTime + 2'000'000,
                      startTime + 3'000'000, startTime + 4'000'000, startTime + 5'000'000,
                      startTime + 6'000'000, startTime + 7'000'000});
    QVERIFY(file.play());
    const std::uint64_t last = file.input->lastPlaybackTime;
    file.input->retrieveMutex.lock();
    QVERIFY(file.gate.step());
    QCOMPARE(file.input->lastPlaybackTime, last);
    file.input->retrieveMutex.unlock();
    QVERIFY(file.gate.step());
    QVERIFY(file.input->lastPlaybackTime > last);
}

void TestInputThreadFile::destructorEndsAPlayingFile()
{
    SteppedFile file(untimed(10));
    QVERIFY(file.play());
    file.gate.open();
    file.input.reset();
    QCOMPARE(calls(CALL::CLOSE), std::uint64_t(1));
}

QTEST_MAIN(TestInputThreadFile)
#include "tst_inputthread_file.moc"
