// A whole recording from the bench: every sample once, and what ends it.

#include "log/recording_run.h"

#include "log/command_line.h"
#include "log/record.h"
#include "om_tiv/benchtest.h"
#include "support/fulldisk.h"
#include "support/waiting.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <cmath>
#include <csignal>
#include <functional>
#include <iostream>
#include <sstream>
#include <utility>
#include <vector>

#include <pthread.h>

using om::bench::theBench;
using samplelog::RecordingRun;
using samplelog::RecordOptions;
using samplelog::StreamState;

namespace {

/// Seconds of a recording that ends by the camera's time. In real time too the camera has to be
/// silent for about that long before the machine's clock ends it.
constexpr double longerThanAStandstill = 25.0;

// The samples of a script.
constexpr std::uint64_t firstSampleUs = 1'700'000'000'000'000;
constexpr std::uint64_t periodUs = 2500;

struct File
{
    QList<QByteArray> lines; ///< without the header
    bool endsWithALine = false;
};

File read(const std::string& path)
{
    QFile file(QString::fromStdString(path));
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    const QByteArray text = file.readAll();
    File result;
    result.endsWithALine = text.endsWith('\n');
    result.lines = text.split('\n');
    result.lines.removeFirst();
    result.lines.removeLast();
    return result;
}

std::uint64_t delivered()
{
    return theBench().imuCounters(benchtest::cameraSerial).delivered;
}

std::uint64_t produced()
{
    return theBench().imuCounters(benchtest::cameraSerial).produced;
}

om::bench::SensorsEntry entryAt(std::uint64_t timeUs)
{
    om::bench::SensorsEntry entry;
    entry.data.imu.timestamp = timeUs * 1000;
    entry.data.imu.effectiveRate = 400.0F;
    return entry;
}

/// Moves the bench's clock until the sensor has made so many samples; each is waited for.
bool stepTo(std::uint64_t samples)
{
    while (produced() < samples) {
        theBench().clock().advance(std::chrono::microseconds(500));
        if (!waiting::waitFor([] { return delivered() == produced(); })) {
            return false;
        }
    }
    return true;
}

/// The same, up to the end of the recording at most.
/// @param skipped number of samples that nobody got
bool stepTo(std::uint64_t samples, const RecordingRun& run, std::uint64_t skipped = 0)
{
    while (run.isRunning() && produced() < samples) {
        theBench().clock().advance(std::chrono::microseconds(500));
        if (!waiting::waitFor(
                [&] { return delivered() + skipped == produced() || !run.isRunning(); })) {
            return false;
        }
    }
    return true;
}

} // namespace

class TestRecordingRun : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        auto& bench = benchtest::stoppedBench();
        QVERIFY(bench.addCamera(benchtest::idealCamera()));
        bench.clock().advance(std::chrono::seconds(1));
        m_folder = std::make_unique<QTemporaryDir>();
        m_options.path = m_folder->filePath("a.csv").toStdString();
        m_options.serial.reset();
        m_options.seconds.reset();
        m_options.patience = std::chrono::seconds(0);
        m_error.clear();
    }

    void everySampleOfTheSensorHasItsRow()
    {
        RecordingRun run(m_options);
        QVERIFY2(run.start(m_error), m_error.c_str());
        QVERIFY(stepTo(1000));
        const std::uint64_t samples = produced();
        run.requestEnd();
        QVERIFY2(run.finish(m_error), m_error.c_str());

        const File file = read(m_options.path);
        QVERIFY(file.endsWithALine);
        QCOMPARE(file.lines.size(), static_cast<int>(samples));
        QSet<QByteArray> times;
        for (int i = 0; i < file.lines.size(); ++i) {
            const QList<QByteArray> fields = file.lines[i].split(',');
            QCOMPARE(fields.size(), 24);
            QCOMPARE(fields[0].toInt(), i);
            times.insert(fields[1]);
        }
        QCOMPARE(times.size(), file.lines.size());
        const StreamState state = run.state();
        QCOMPARE(run.rows(), samples);
        QCOMPARE(state.samples, samples);
        QCOMPARE(state.missing, std::uint64_t(0));
        QVERIFY(std::abs(state.periodUs - 2500.0) < 25.0);
    }

    void samplesThatTheMachineSleptThroughAreCountedAsMissing()
    {
        RecordingRun run(m_options);
        QVERIFY(run.start(m_error));
        QVERIFY(stepTo(400));
        const std::uint64_t before = produced();
        theBench().clock().advance(std::chrono::milliseconds(100));
        QTRY_COMPARE(delivered(), before + 1);
        const std::uint64_t missing = produced() - before - 1;
        QVERIFY(missing > 30);
        theBench().clock().advance(std::chrono::milliseconds(3));
        QTRY_VERIFY(delivered() >= before + 2);
        run.requestEnd();
        QVERIFY(run.finish(m_error));
        QCOMPARE(run.state().gaps, std::uint64_t(1));
        QCOMPARE(run.state().missing, missing);
    }

    void theTimeThatIsAskedForIsThatOfTheCamera()
    {
        m_options.seconds = longerThanAStandstill;
        RecordingRun run(m_options);
        QVERIFY(run.start(m_error));
        QVERIFY(stepTo(200));
        const std::uint64_t before = produced();
        theBench().clock().advance(std::chrono::seconds(24));
        QTRY_COMPARE(delivered(), before + 1);
        QVERIFY(stepTo(10'050, run, produced() - delivered()));
        QVERIFY(!run.isRunning());
        QVERIFY2(run.finish(m_error), m_error.c_str());
        // 200, that behind the 24 s, and 200. Each sample comes a little early or late.
        QVERIFY2(run.rows() >= 399 && run.rows() <= 403, qPrintable(QString::number(run.rows())));
        QVERIFY(run.state().seconds() < longerThanAStandstill);
        QVERIFY(run.state().seconds() > longerThanAStandstill - 0.006);
    }

    void aSilenceThatReachesBeyondTheEndIsMissing()
    {
        m_options.seconds = longerThanAStandstill;
        RecordingRun run(m_options);
        QVERIFY(run.start(m_error));
        QVERIFY(stepTo(100));
        theBench().clock().advance(std::chrono::seconds(30));
        QVERIFY2(run.finish(m_error), m_error.c_str());
        QCOMPARE(run.rows(), std::uint64_t(100));
        QCOMPARE(run.state().gaps, std::uint64_t(1));
        // The 9900 of 24.75 s, by a period that is known to 1 %.
        QVERIFY2(run.state().missing > 9'800 && run.state().missing < 10'000,
                 qPrintable(QString::number(run.state().missing)));
    }

    void aCameraThatFallsSilentForGoodIsAnError()
    {
        m_options.seconds = 0.5;
        RecordingRun run(m_options);
        QVERIFY(run.start(m_error));
        QVERIFY(stepTo(100, run));
        QVERIFY(!run.finish(m_error));
        QCOMPARE(m_error, std::string("the camera sends no more samples"));
        // On a machine that stood still meanwhile the camera is silent before the 100th.
        QVERIFY(run.rows() > 0 && run.rows() <= 100);
        QCOMPARE(run.rows(), delivered());
        QCOMPARE(static_cast<std::uint64_t>(read(m_options.path).lines.size()), run.rows());
    }

    void aSilenceBeforeARequestedEndIsMissing_data()
    {
        QTest::addColumn<int>("silenceMs");
        QTest::addColumn<double>("seconds");
        QTest::addColumn<int>("missing");
        QTest::newRow("none") << 0 << 0.0 << 0;
        QTest::newRow("below a second, as before any end") << 990 << 0.0 << 0;
        QTest::newRow("half a minute") << 30'000 << 0.0 << 12'000;
        QTest::newRow("up to the end of the requested time")
            << 30'000 << longerThanAStandstill << 9'900;
    }

    void aSilenceBeforeARequestedEndIsMissing()
    {
        QFETCH(int, silenceMs);
        QFETCH(double, seconds);
        QFETCH(int, missing);
        if (seconds > 0.0) {
            m_options.seconds = seconds;
        }
        RecordingRun run(m_options);
        QVERIFY(run.start(m_error));
        QVERIFY(stepTo(100));
        // Once a row is in the file, the time of its sample is known.
        QTRY_COMPARE(run.state().samples, std::uint64_t(100));
        theBench().changeFaults(benchtest::cameraSerial,
                                [](om::bench::Faults& f) { f.frozenTimestamps = true; });
        theBench().clock().advance(std::chrono::milliseconds(silenceMs));
        run.requestEnd();
        QVERIFY2(run.finish(m_error), m_error.c_str());
        QCOMPARE(run.rows(), std::uint64_t(100));
        QCOMPARE(run.state().gaps, std::uint64_t(missing > 0 ? 1 : 0));
        // By a period that is known to 1 %.
        const double counted = static_cast<double>(run.state().missing);
        QVERIFY2(std::abs(counted - missing) <= 0.01 * missing,
                 qPrintable(QString::number(counted)));
    }

    void aSignalDuringASilenceReportsAnIncompleteRecording_data()
    {
        QTest::addColumn<int>("samples");
        QTest::addColumn<QString>("summary");
        QTest::newRow("after one sample") << 1
                                          << "1 row in 0.000 s, 1 gap, 1 sample missing; the "
                                             "longest gap is 30.0000 s long, 0.000 s after the "
                                             "start";
        QTest::newRow("after many") << 101
                                    << "101 rows in 0.250 s, 400.00 Hz, 1 gap, 11999 samples "
                                       "missing; the longest gap is 30.0000 s long, 0.250 s "
                                       "after the start";
    }

    void aSignalDuringASilenceReportsAnIncompleteRecording()
    {
        QFETCH(int, samples);
        QFETCH(QString, summary);
        std::vector<om::bench::SensorsEntry> entries;
        entries.reserve(static_cast<std::size_t>(samples));
        for (int i = 0; i < samples; ++i) {
            entries.push_back(entryAt(firstSampleUs + static_cast<std::uint64_t>(i) * periodUs));
        }
        const Outcome outcome = recordUntilTheEndOf(
            std::move(entries), [] { theBench().clock().advance(std::chrono::seconds(30)); });
        QCOMPARE(outcome.error, std::string());
        QCOMPARE(QString::fromStdString(outcome.output),
                 QString::fromStdString(m_options.path) + ": " + summary + "\n");
        QCOMPARE(outcome.status, static_cast<int>(samplelog::INCOMPLETE));
    }

    void rowsWithAnEarlierTimeAreCounted_data()
    {
        QTest::addColumn<int>("samples");
        QTest::addColumn<int>("backward");
        QTest::addColumn<QString>("summary");
        QTest::addColumn<int>("status");
        QTest::newRow("one, within the limit")
            << 2001 << 1 << "2002 rows in 5.000 s, 400.00 Hz, no gaps, 1 row with an earlier time"
            << static_cast<int>(samplelog::DONE);
        QTest::newRow("above the limit")
            << 2001 << 3 << "2004 rows in 5.000 s, 400.00 Hz, no gaps, 3 rows with an earlier time"
            << static_cast<int>(samplelog::INCOMPLETE);
        QTest::newRow("before the rate is known")
            << 1 << 2 << "3 rows in 0.000 s, 2 rows with an earlier time"
            << static_cast<int>(samplelog::INCOMPLETE);
    }

    void rowsWithAnEarlierTimeAreCounted()
    {
        QFETCH(int, samples);
        QFETCH(int, backward);
        QFETCH(QString, summary);
        QFETCH(int, status);
        std::vector<om::bench::SensorsEntry> entries;
        entries.reserve(static_cast<std::size_t>(samples) + static_cast<std::size_t>(backward));
        for (int i = 0; i < samples; ++i) {
            entries.push_back(entryAt(firstSampleUs + static_cast<std::uint64_t>(i) * periodUs));
        }
        for (int i = 1; i <= backward; ++i) {
            entries.push_back(entryAt(firstSampleUs - static_cast<std::uint64_t>(i) * 1000));
        }
        const Outcome outcome = recordUntilTheEndOf(std::move(entries));
        QCOMPARE(outcome.error, std::string());
        QCOMPARE(QString::fromStdString(outcome.output),
                 QString::fromStdString(m_options.path) + ": " + summary + "\n");
        QCOMPARE(outcome.status, status);
    }

    void aClockThatIsSetBackDoesNotExtendTheRecording()
    {
        m_options.seconds = 0.1;
        theBench()
            .camera(benchtest::cameraSerial)
            ->sensorsScript()
            .set([](std::uint64_t index, om::bench::SensorsEntry& entry) {
                constexpr std::uint64_t anHourUs = 3'600'000'000;
                entry = entryAt(firstSampleUs + index * periodUs - (index > 0 ? anHourUs : 0));
                // The stopped clock never reaches this: a pause, so that the file stays small.
                theBench().clock().waitUntil(UINT64_MAX, std::chrono::milliseconds(1));
                return index < 10'000; // of a recording that does not end
            });
        RecordingRun run(m_options);
        QVERIFY(run.start(m_error));
        QVERIFY(!run.finish(m_error));
        QCOMPARE(m_error, std::string("the camera's clock was set back"));
        QVERIFY(run.rows() > 0);
        QCOMPARE(run.state().backward, run.rows() - 1);
    }

    void withoutAFirstSampleTheRecordingIsAnError()
    {
        m_options.seconds = 0.1;
        RecordingRun run(m_options);
        QVERIFY(run.start(m_error));
        QVERIFY(!run.finish(m_error));
        QCOMPARE(m_error, std::string("the camera sends no samples"));
        QCOMPARE(run.rows(), std::uint64_t(0));
        QVERIFY(!QFile::exists(QString::fromStdString(m_options.path)));
    }

    void anEndBeforeTheFirstSampleIsAnErrorAndLeavesNoFile()
    {
        RecordingRun run(m_options);
        QVERIFY(run.start(m_error));
        run.requestEnd();
        QVERIFY(!run.finish(m_error));
        QCOMPARE(m_error, std::string("ended before the first sample"));
        QVERIFY(!QFile::exists(QString::fromStdString(m_options.path)));
    }

    void aFullDiskBeforeTheFirstRowLeavesNoFile()
    {
        RecordingRun run(m_options);
        QVERIFY(run.start(m_error));
        const FullDisk disk(QFileInfo(QString::fromStdString(m_options.path)).size() + 1);
        QVERIFY(stepTo(1));
        QTRY_VERIFY(!run.isRunning());
        QVERIFY(!run.finish(m_error));
        QCOMPARE(m_error, m_options.path + ": cannot be written: File too large");
        QVERIFY(!QFile::exists(QString::fromStdString(m_options.path)));
    }

    void aSignalBeforeTheFirstSampleIsReportedAsNoRecording()
    {
        const Outcome outcome = recordUntilTheEndOf({entryAt(0)});
        QCOMPARE(outcome.status, static_cast<int>(samplelog::NOT_DONE));
        QCOMPARE(outcome.output, std::string());
        QCOMPARE(outcome.error, std::string("gravimon-log: ended before the first sample; nothing "
                                            "was recorded\n"));
        QVERIFY(!QFile::exists(QString::fromStdString(m_options.path)));
    }

    void aFileThatExistsIsLeftAlone()
    {
        QFile file(QString::fromStdString(m_options.path));
        QVERIFY(file.open(QIODevice::WriteOnly));
        {
            RecordingRun run(m_options);
            QVERIFY(!run.start(m_error));
        }
        QVERIFY(file.exists());
    }

    void aSampleWhoseTimeIsRepeatedHasOneRow()
    {
        RecordingRun run(m_options);
        QVERIFY(run.start(m_error));
        QVERIFY(stepTo(100));
        theBench().changeFaults(benchtest::cameraSerial,
                                [](om::bench::Faults& f) { f.repeatedTimestamps = true; });
        QVERIFY(stepTo(300));
        run.requestEnd();
        QVERIFY(run.finish(m_error));
        const File file = read(m_options.path);
        QSet<QByteArray> times;
        for (const QByteArray& line : file.lines) {
            times.insert(line.split(',')[1]);
        }
        QCOMPARE(times.size(), file.lines.size());
        QVERIFY(file.lines.size() < 230);
    }

    void theLossOfTheCameraEndsTheRecordingWhole()
    {
        RecordingRun run(m_options);
        QVERIFY(run.start(m_error));
        QVERIFY(stepTo(200));
        const std::uint64_t samples = delivered();
        theBench().unplug(benchtest::cameraSerial);
        QTRY_VERIFY(!run.isRunning());
        QVERIFY(!run.finish(m_error));
        QCOMPARE(m_error, std::string("the camera was lost"));
        const File file = read(m_options.path);
        QVERIFY(file.endsWithALine);
        QCOMPARE(file.lines.size(), static_cast<int>(samples));
    }

    void aFullDiskEndsTheRecordingWithItsLastWholeLine()
    {
        RecordingRun run(m_options);
        QVERIFY(run.start(m_error));
        const FullDisk disk(20000);
        QVERIFY(stepTo(200, run));
        QTRY_VERIFY(!run.isRunning());
        QVERIFY(!run.finish(m_error));
        QCOMPARE(m_error, m_options.path + ": cannot be written: File too large");
        const File file = read(m_options.path);
        QVERIFY(file.endsWithALine);
        QCOMPARE(static_cast<std::uint64_t>(file.lines.size()), run.rows());
        for (const QByteArray& line : file.lines) {
            QCOMPARE(line.count(','), 23);
        }
    }

    void withoutACameraNoFileStaysBehind()
    {
        benchtest::stoppedBench();
        RecordingRun run(m_options);
        QVERIFY(!run.start(m_error));
        QCOMPARE(m_error, std::string("no camera with sensors is connected"));
        QVERIFY(!QFile::exists(QString::fromStdString(m_options.path)));
    }

    void aCameraWithoutSensorsIsPassedOver()
    {
        auto& bench = benchtest::stoppedBench();
        QVERIFY(bench.addCamera(benchtest::idealCamera(om::MODEL::TIV, 1)));
        QVERIFY(bench.addCamera(benchtest::idealCamera(om::MODEL::TIV_N, 14142135)));
        RecordingRun run(m_options);
        QVERIFY(run.start(m_error));
        QCOMPARE(run.camera().serialNumber, 14142135U);
    }

    void aSerialNumberThatIsNotThereIsReportedWithThoseThatAre()
    {
        m_options.serial = 5;
        RecordingRun run(m_options);
        QVERIFY(!run.start(m_error));
        QCOMPARE(m_error,
                 std::string("no camera with serial number 5; there are 30000001 (TIV_Q)"));
    }

    void aCameraThatComesLaterIsWaitedFor_data()
    {
        QTest::addColumn<bool>("others");
        QTest::addColumn<bool>("bySerial");
        QTest::newRow("no camera") << false << false;
        QTest::newRow("no camera, by its number") << false << true;
        QTest::newRow("another camera") << true << true;
    }

    void aCameraThatComesLaterIsWaitedFor()
    {
        QFETCH(bool, others);
        QFETCH(bool, bySerial);
        auto& bench = benchtest::stoppedBench();
        if (others) {
            QVERIFY(bench.addCamera(benchtest::idealCamera(om::MODEL::TIV_P, 20000001)));
        }
        int lists = 0;
        bench.setDeviceListHook([&] {
            if (++lists == 2) {
                bench.addCamera(benchtest::idealCamera());
            }
        });
        if (bySerial) {
            m_options.serial = benchtest::cameraSerial;
        }
        m_options.patience = std::chrono::minutes(1);
        RecordingRun run(m_options);
        QVERIFY2(run.start(m_error), m_error.c_str());
        QCOMPARE(run.camera().serialNumber, benchtest::cameraSerial);
        QCOMPARE(lists, 2);
    }

    void theWaitForACameraCanBeEnded()
    {
        auto& bench = benchtest::stoppedBench();
        m_options.patience = std::chrono::minutes(1);
        RecordingRun run(m_options);
        int lists = 0;
        bench.setDeviceListHook([&] {
            if (++lists == 2) {
                run.requestEnd();
            }
        });
        QVERIFY(!run.start(m_error));
        QCOMPARE(m_error, std::string("no camera with sensors is connected"));
        QCOMPARE(lists, 2);
        QVERIFY(!QFile::exists(QString::fromStdString(m_options.path)));
    }

    void withoutACameraTheWaitEndsWithTheTime()
    {
        int lists = 0;
        benchtest::stoppedBench().setDeviceListHook([&] { ++lists; });
        m_options.patience = std::chrono::milliseconds(200);
        QElapsedTimer time;
        time.start();
        RecordingRun run(m_options);
        QVERIFY(!run.start(m_error));
        QVERIFY(time.elapsed() >= 200);
        QVERIFY2(lists <= 5, qPrintable(QString::number(lists))); // 50 ms and more apart
        QVERIFY(!run.waitsForCamera());
        QCOMPARE(m_error, std::string("no camera with sensors is connected"));
    }

    void whileThereAreOtherCamerasTheWaitIsShort()
    {
        m_options.serial = 5;
        m_options.patience = std::chrono::minutes(10);
        RecordingRun run(m_options);
        QVERIFY(!run.start(m_error));
        QVERIFY(!run.waitsForCamera());
        QCOMPARE(m_error,
                 std::string("no camera with serial number 5; there are 30000001 (TIV_Q)"));
    }

    void anotherCameraThanTheRequestedOneIsRefused()
    {
        auto& bench = theBench();
        const auto add = [&bench](unsigned int serial, int id) {
            om::bench::CameraConfig config = benchtest::idealCamera(om::MODEL::TIV_R, serial);
            config.id = id;
            return bench.addCamera(config);
        };
        QVERIFY(add(40000001, 7));
        // The ids change between the list and the open.
        bool isAdded = false;
        bench.setOpenHook([&](const om::InitParameters&) {
            bench.removeCamera(40000001);
            isAdded = add(40000002, 7);
        });
        m_options.serial = 40000001;
        RecordingRun run(m_options);
        QVERIFY(!run.start(m_error));
        QVERIFY(isAdded);
        QCOMPARE(m_error, std::string("camera 40000001 (TIV_R) was requested, but camera 40000002 "
                                      "was opened: unplug that one, or try again"));
        QVERIFY(!QFile::exists(QString::fromStdString(m_options.path)));
        bench.setOpenHook(nullptr);
        om::InitParameters parameters = benchtest::parametersFor();
        parameters.input.setFromCameraID(7, om::BUS_TYPE::SERIAL);
        om::Camera other;
        QCOMPARE(other.open(parameters), om::ERROR_CODE::SUCCESS);
    }

    void camerasOfTheSerialBusAreOpenedByTheirId()
    {
        QVERIFY(theBench().addCamera(benchtest::idealCamera(om::MODEL::TIV_R, 40000001)));
        m_options.serial = 40000001;
        RecordingRun run(m_options);
        QVERIFY2(run.start(m_error), m_error.c_str());
        QCOMPARE(run.camera().serialNumber, 40000001U);
    }

    void anEndWhileTheCameraOpensLeavesNoFile()
    {
        RecordingRun run(m_options);
        run.requestEnd();
        QVERIFY(!run.start(m_error));
        QCOMPARE(m_error, std::string("ended before the camera was open"));
        QVERIFY(!QFile::exists(QString::fromStdString(m_options.path)));
    }

    void aCameraInUseIsReported()
    {
        om::Camera other;
        QCOMPARE(other.open(benchtest::parametersFor()), om::ERROR_CODE::SUCCESS);
        RecordingRun run(m_options);
        QVERIFY(!run.start(m_error));
        QCOMPARE(m_error, std::string("camera 30000001 (TIV_Q) cannot be opened (code 6): end the "
                                      "program that uses it, or plug it in again"));
        QVERIFY(!QFile::exists(QString::fromStdString(m_options.path)));
    }

private:
    struct Outcome
    {
        int status = 0;
        std::string output;
        std::string error;
    };

    /// Records what a script delivers, until SIGTERM after its last entry.
    /// @param before called before the signal
    Outcome recordUntilTheEndOf(
        std::vector<om::bench::SensorsEntry> entries, const std::function<void()>& before = [] {})
    {
        // SIGTERM for the thread of the test, which is blocked there while it records.
        const pthread_t thread = ::pthread_self();
        const std::size_t count = entries.size();
        auto& script = theBench().camera(benchtest::cameraSerial)->sensorsScript();
        script.set(std::move(entries));
        auto& log = theBench().log();
        log.setHighRate(true);
        bool isSent = false;
        log.setHook([&](const om::bench::CallRecord& call) {
            // The reader has dealt with the last entry once it asks again.
            if (call.call == om::bench::CALL::GET_SENSORS_DATA && !isSent &&
                script.status().calls > count) {
                before();
                // The thread reads the signal, which is blocked.
                // NOLINTNEXTLINE(bugprone-bad-signal-to-kill-thread)
                isSent = ::pthread_kill(thread, SIGTERM) == 0;
            }
        });
        std::ostringstream output;
        std::ostringstream error;
        std::streambuf* const outputBefore = std::cout.rdbuf(output.rdbuf());
        std::streambuf* const errorBefore = std::cerr.rdbuf(error.rdbuf());
        const int status = samplelog::record(m_options);
        std::cout.rdbuf(outputBefore);
        std::cerr.rdbuf(errorBefore);
        log.setHook(nullptr);
        log.setHighRate(false);
        return {status, output.str(), error.str()};
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    RecordOptions m_options;
    std::string m_error;
};

QTEST_GUILESS_MAIN(TestRecordingRun)
#include "tst_recording_run.moc"
