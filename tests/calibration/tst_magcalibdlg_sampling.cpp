#include "calibration/dialogfixture.h"
#include "support/sidethread.h"
#include "support/waiting.h"

#include "calibration/mag_calib.h"

#include <QtTest>

#include <atomic>
#include <cstring>
#include <thread>

using benchcamera::pose;
using benchcamera::reading;
using benchcamera::readings;
using benchcamera::record;
using om::bench::CALL;
using om::bench::CallRecord;

namespace {

using Values = std::array<double, 3>;
using Records = std::vector<om::IMUReaderData>;

Records repeated(int count, const om::IMUReaderData& one)
{
    return Records(static_cast<std::size_t>(count), one);
}

Records operator+(Records a, const Records& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

/// Samples in the dialog's axes on an ellipsoid, as in the raw vectors.
void fillRaw(MagCalibDlgProbe& probe, int count)
{
    for (const om::IMUReaderData& one : readings(count)) {
        probe.rawX.append(-one.mag[1] * 0.0625);
        probe.rawY.append(one.mag[0] * 0.0625);
        probe.rawZ.append(one.mag[2] * 0.0625);
    }
}

} // namespace

class TestSampling : public QObject
{
    Q_OBJECT

private slots:
    void membersStartAtTheirInitialValues();
    void readingBecomesASampleInTheDialogsAxes();
    void everyNewReadingIsKeptWhileCalibrating();
    void withoutCalibratingNoSampleIsKept();
    void withoutCalibratingHeadingsAndStateGoOn();
    void whileCalibratingStateAndAccuracyAreFrozen();
    void headingsComeFromThePoseRecord();
    void poseOfAnUncalibratedCameraGivesEqualHeadings();
    void repeatedTimestampIsDroppedEntirely();
    void knownReadingIsNotSampledAgain();
    void rateIsMeasuredAndBounded_data();
    void rateIsMeasuredAndBounded();
    void slowRatePausesTheThread();
    void threadToleratesAHundredFailures_data();
    void threadToleratesAHundredFailures();
    void hundredAndFirstFailureEndsTheThread_data();
    void hundredAndFirstFailureEndsTheThread();
    void knownReadingNeitherCountsNorResetsFailures();
    void repeatedTimestampNeitherCountsNorResetsFailures();
    void newReadingResetsFailures();
    void startStartsCaptureOnlyWhenItIsOff();
    void threadStartsCaptureOnlyWhereItFindsItOff_data();
    void threadStartsCaptureOnlyWhereItFindsItOff();
    void stopBeforeTheFirstReadEndsTheThread();
    void eachStartMakesANewCoverageCounter();
    void threadRunsWhenItsStartReturns();
    void secondStartWhileRunningChangesNothing();
    void stopEndsTheStreamBeforeTheThread();
    void restartGoesOnWithTheSamples();

    void fitNeedsSixSamples_data();
    void fitNeedsSixSamples();
    void fitTakesOverCentreAndScale();
    void fitCorrectsAllSamples();
    void fitMakesRoomForTheCorrectedSamplesOnce();
    void degenerateSamplesGoThrough_data();
    void degenerateSamplesGoThrough();
    void periodicFitRunsAtItsCounts();
    void withoutCalibratingTheTimerFitsNothing();
    void fitOfTheStopTakesNoLock();
};

void TestSampling::membersStartAtTheirInitialValues()
{
    DialogFixture f(false);
    f.bench.unplug(f.serial);
    f.boxes.expect("Ok");
    f.open();
    QCOMPARE(f.probe->lastFitCount, 0);
    QCOMPARE(f.probe->serialNumber, static_cast<int>(f.serial));
    QCOMPARE(f.probe->magOffset, (Values{0.0, 0.0, 0.0}));
    QCOMPARE(f.probe->magScale, (Values{1.0, 1.0, 1.0}));
    QCOMPARE(f.probe->headingUncalib, 0.0);
    QCOMPARE(f.probe->headingCalib, 0.0);
    QCOMPARE(f.probe->headingState, 4);
    QCOMPARE(f.probe->headingAccuracy, 0.0F);
    QCOMPARE(f.probe->sampleRate, 0.0);
    for (const QVector<double>* const samples : {&f.probe->rawX, &f.probe->rawY, &f.probe->rawZ,
                                                 &f.probe->calX, &f.probe->calY, &f.probe->calZ}) {
        QVERIFY(samples->isEmpty());
    }
    QVERIFY(!f.running());
    QVERIFY(!f.probe->grabStop);
    QVERIFY(!f.probe->calibrating);
    QVERIFY(!f.probe->calibrationPending);
    QVERIFY(f.probe->mcuClosed);
    QVERIFY(!f.probe->orientCount);
}

void TestSampling::readingBecomesASampleInTheDialogsAxes()
{
    DialogFixture f;
    f.probe->updateTimer.stop();
    f.setCalibrating(true);
    f.feed({reading(1000, 100, 200, 300)});
    QCOMPARE(f.probe->samples(), 1);
    QCOMPARE(f.probe->rawX, QVector<double>{-12.5});
    QCOMPARE(f.probe->rawY, QVector<double>{6.25});
    QCOMPARE(f.probe->rawZ, QVector<double>{18.75});
}

void TestSampling::everyNewReadingIsKeptWhileCalibrating()
{
    DialogFixture f;
    f.probe->updateTimer.stop();
    f.setCalibrating(true);
    const Records all = readings(300);
    f.feed(all);
    QCOMPARE(f.probe->samples(), 300);
    for (int i = 0; i < 300; ++i) {
        const om::IMUReaderData& one = all[static_cast<std::size_t>(i)];
        QCOMPARE(f.probe->rawX[i], -one.mag[1] / 16.0);
        QCOMPARE(f.probe->rawY[i], one.mag[0] / 16.0);
        QCOMPARE(f.probe->rawZ[i], one.mag[2] / 16.0);
    }
}

void TestSampling::withoutCalibratingNoSampleIsKept()
{
    DialogFixture f;
    f.feed(readings(20));
    QCOMPARE(f.probe->samples(), 0);
    QVERIFY(f.probe->sampleRate > 0.0);
}

void TestSampling::withoutCalibratingHeadingsAndStateGoOn()
{
    DialogFixture f;
    const Records all = readings(2);
    f.bench.camera(f.serial)->poseScript().set({pose(0, 0.9F, 10.0, 20.0)});
    f.feed({all[0]});
    QCOMPARE(f.probe->headingState, 0);
    QCOMPARE(f.probe->headingAccuracy, 0.9F);
    QVERIFY(std::abs(f.probe->headingUncalib - 10.0) < 0.001);
    QVERIFY(std::abs(f.probe->headingCalib - 20.0) < 0.001);
    f.bench.camera(f.serial)->poseScript().set({pose(1, 0.25F, 110.0, 120.0)});
    f.feed({all[1]});
    QCOMPARE(f.probe->headingState, 1);
    QCOMPARE(f.probe->headingAccuracy, 0.25F);
    QVERIFY(std::abs(f.probe->headingUncalib - 110.0) < 0.001);
    QVERIFY(std::abs(f.probe->headingCalib - 120.0) < 0.001);
}

void TestSampling::whileCalibratingStateAndAccuracyAreFrozen()
{
    DialogFixture f;
    const Records all = readings(2);
    f.bench.camera(f.serial)->poseScript().set({pose(1, 0.25F, 10.0, 20.0)});
    f.feed({all[0]});
    f.probe->updateTimer.stop();
    f.setCalibrating(true);
    f.bench.camera(f.serial)->poseScript().set({pose(0, 0.9F, 110.0, 120.0)});
    f.feed({all[1]});
    QCOMPARE(f.probe->headingState, 1);
    QCOMPARE(f.probe->headingAccuracy, 0.25F);
    QVERIFY(std::abs(f.probe->headingUncalib - 110.0) < 0.001);
    QVERIFY(std::abs(f.probe->headingCalib - 120.0) < 0.001);
}

void TestSampling::headingsComeFromThePoseRecord()
{
    DialogFixture f;
    om::IMUPose record = pose(0, 1.0F, 200.0, 0.0);
    record.heading = 3.25F;
    f.bench.camera(f.serial)->poseScript().set({record});
    f.bench.log().setHighRate(true);
    f.feed(readings(1));
    f.bench.log().setHighRate(false);

    const auto asked = f.bench.log().last(CALL::MCU_GET_POSE);
    QVERIFY(asked);
    QCOMPARE(asked->value, 6);
    const auto heading = f.bench.log().last(CALL::MCU_CALC_MAG_HEADING);
    QVERIFY(heading);
    const auto number = [](float value) { return static_cast<double>(value); };
    QCOMPARE(
        heading->numbers,
        (std::vector<double>{number(record.magUncalibrated[0]), number(record.magUncalibrated[1]),
                             number(record.magUncalibrated[2]), number(record.acceleration[0]),
                             number(record.acceleration[1]), number(record.acceleration[2])}));
    const float radians = f.probe->mcu->calcMagHeading(
        {record.magUncalibrated[0], record.magUncalibrated[1], record.magUncalibrated[2]},
        {record.acceleration[0], record.acceleration[1], record.acceleration[2]});
    QVERIFY(f.probe->headingUncalib == static_cast<double>(radians) * 57.295779513);
    QVERIFY(f.probe->headingCalib == static_cast<double>(3.25F) * 57.295779513);
    QCOMPARE(f.bench.log().count(CALL::MCU_GET_POSE), std::uint64_t{1});
}

void TestSampling::poseOfAnUncalibratedCameraGivesEqualHeadings()
{
    DialogFixture f;
    f.bench.camera(f.serial)->poseScript().set({pose(3, 0.0F, 45.0, 222.0)});
    f.feed(readings(1));
    QVERIFY(std::abs(f.probe->headingUncalib - 45.0) < 0.001);
    QVERIFY(f.probe->headingCalib == f.probe->headingUncalib);
}

void TestSampling::repeatedTimestampIsDroppedEntirely()
{
    DialogFixture f;
    f.probe->updateTimer.stop();
    f.setCalibrating(true);
    f.feed({reading(1000, 16, 32, 48)});
    const double heading = f.probe->headingUncalib;
    const double rate = f.probe->sampleRate;
    f.bench.camera(f.serial)->poseScript().set({pose(0, 1.0F, 300.0, 310.0)});
    f.feed({reading(1000, 160, 320, 480)});
    QCOMPARE(f.probe->samples(), 1);
    QCOMPARE(f.probe->headingUncalib, heading);
    QCOMPARE(f.probe->sampleRate, rate);
    f.feed({reading(1001, 160, 320, 480)});
    QCOMPARE(f.probe->samples(), 2);
    QVERIFY(std::abs(f.probe->headingUncalib - 300.0) < 0.001);
}

void TestSampling::knownReadingIsNotSampledAgain()
{
    DialogFixture f;
    f.probe->updateTimer.stop();
    f.setCalibrating(true);
    f.feed(
        {reading(1000, 1, 2, 3), record(1, 1, 2000), record(1, 1, 3000), reading(4000, 1, 2, 3)});
    QCOMPARE(f.probe->samples(), 2);
    QCOMPARE(f.probe->sampleRate, 1000.0 / (4000.0 * 39.0 / 1000.0 - 1000.0 * 39.0 / 1000.0));
}

void TestSampling::rateIsMeasuredAndBounded_data()
{
    QTest::addColumn<quint64>("ticks"); // after the first reading, at 1000
    QTest::addColumn<double>("rate");
    QTest::newRow("50 Hz") << quint64{513} << 1000.0 / (1513.0 * 39.0 / 1000.0 - 39.0);
    QTest::newRow("100 Hz") << quint64{256} << 60.0;
    QTest::newRow("0.5 Hz") << quint64{51282} << 1000.0 / (52282.0 * 39.0 / 1000.0 - 39.0);
}

void TestSampling::rateIsMeasuredAndBounded()
{
    QFETCH(quint64, ticks);
    QFETCH(double, rate);
    DialogFixture f;
    f.feed({reading(1000, 1, 2, 3)});
    QCOMPARE(f.probe->sampleRate, 1000.0 / 39.0); // from 0.0
    f.feed({reading(1000 + ticks, 1, 2, 3)});
    QCOMPARE(f.probe->sampleRate, rate);
}

void TestSampling::slowRatePausesTheThread()
{
    DialogFixture f;
    f.feed({reading(1000, 1, 2, 3)});
    // 1000 s later: 0.001 Hz, and a pause of 1 s.
    QElapsedTimer timer;
    timer.start();
    f.feed({reading(1000 + 25'641'026, 1, 2, 3)});
    QVERIFY2(timer.elapsed() >= 1000, qPrintable(QString::number(timer.elapsed())));
}

void TestSampling::threadToleratesAHundredFailures_data()
{
    QTest::addColumn<int>("link");
    QTest::addColumn<int>("state");
    QTest::newRow("dead link with new data") << 0 << 5;
    QTest::newRow("no data") << 1 << 0;
    QTest::newRow("nothing at all") << 0 << 0;
}

void TestSampling::threadToleratesAHundredFailures()
{
    QFETCH(int, link);
    QFETCH(int, state);
    DialogFixture f;
    f.feed(repeated(100, record(link, state)));
    QVERIFY(f.running());
    QCOMPARE(f.boxes.seen.size(), 0);
    f.feed({reading(5000, 1, 2, 3)}); // the failures are forgotten
}

void TestSampling::hundredAndFirstFailureEndsTheThread_data()
{
    threadToleratesAHundredFailures_data();
}

void TestSampling::hundredAndFirstFailureEndsTheThread()
{
    QFETCH(int, link);
    QFETCH(int, state);
    std::atomic<int> runs{-1}; // at the signal
    DialogFixture f;
    connect(
        f.dialog.get(), &MagCalibDlg::cameraError, f.dialog.get(), [&] { runs = f.running(); },
        Qt::DirectConnection);
    f.boxes.expect("Ok");
    f.bench.camera(f.serial)->readerScript().append(repeated(101, record(link, state)) +
                                                    repeated(1, record(1, 1)));
    QTRY_COMPARE(f.boxes.seen.size(), 1);
    QTRY_VERIFY(runs >= 0);
    QCOMPARE(runs.load(), 0);
    QCOMPARE(f.boxes.seen[0].text, QString("Error retrieving sensors data"));
    QVERIFY(!f.running());
    QVERIFY(f.probe->grabThread.joinable());
    // The last record was never requested.
    QCOMPARE(f.bench.camera(f.serial)->readerScript().status().delivered, std::uint64_t{102});
}

void TestSampling::knownReadingNeitherCountsNorResetsFailures()
{
    DialogFixture f;
    f.feed(repeated(60, record(0, 0)) + repeated(500, record(1, 1)) + repeated(40, record(0, 0)));
    QVERIFY(f.running());
    f.boxes.expect("Ok");
    f.bench.camera(f.serial)->readerScript().append({record(0, 0), record(1, 1)});
    QTRY_COMPARE(f.boxes.seen.size(), 1);
    QVERIFY(!f.running());
}

void TestSampling::repeatedTimestampNeitherCountsNorResetsFailures()
{
    DialogFixture f;
    const Records again = repeated(500, reading(5000, 1, 2, 3));
    f.feed(repeated(1, reading(5000, 1, 2, 3)) + repeated(60, record(0, 0)) + again +
           repeated(40, record(0, 0)));
    QVERIFY(f.running());
    f.boxes.expect("Ok");
    f.bench.camera(f.serial)->readerScript().append({record(0, 0), record(1, 1)});
    QTRY_COMPARE(f.boxes.seen.size(), 1);
    QVERIFY(!f.running());
}

void TestSampling::newReadingResetsFailures()
{
    DialogFixture f;
    f.feed(repeated(100, record(0, 0)) + repeated(1, reading(5000, 1, 2, 3)) +
           repeated(100, record(0, 0)));
    QVERIFY(f.running());
    QCOMPARE(f.boxes.seen.size(), 0);
    f.feed({reading(6000, 1, 2, 3)});
}

void TestSampling::startStartsCaptureOnlyWhenItIsOff()
{
    DialogFixture f;
    f.probe->stopAcquisition();
    f.bench.log().clear();
    f.probe->mcu->startCapture(0.0F);
    QVERIFY(f.probe->startAcquisition());
    f.waitForThread();
    QCOMPARE(f.bench.log().count(CALL::MCU_START_CAPTURE), std::uint64_t{1});
    f.probe->stopAcquisition();
    QVERIFY(f.probe->startAcquisition());
    f.waitForThread();
    QCOMPARE(f.bench.log().count(CALL::MCU_START_CAPTURE), std::uint64_t{2});
}

void TestSampling::threadStartsCaptureOnlyWhereItFindsItOff_data()
{
    QTest::addColumn<bool>("on");
    QTest::addColumn<quint64>("starts");
    QTest::newRow("off, as after a stop beside the start") << false << quint64{1};
    QTest::newRow("on") << true << quint64{0};
}

void TestSampling::threadStartsCaptureOnlyWhereItFindsItOff()
{
    QFETCH(bool, on);
    QFETCH(quint64, starts);
    DialogFixture f;
    f.probe->stopAcquisition();
    if (on) {
        f.probe->mcu->startCapture(0.0F);
    }
    QCOMPARE(f.probe->mcu->captureRunning, on);
    f.bench.log().clear();
    f.probe->startThread();
    f.waitForThread();
    f.settle();
    QCOMPARE(f.bench.log().count(CALL::MCU_START_CAPTURE), std::uint64_t{starts});
    if (starts > 0) {
        QCOMPARE(f.bench.log().last(CALL::MCU_START_CAPTURE)->numbers, (std::vector<double>{0.0}));
    }
    QVERIFY(f.probe->mcu->captureRunning);
}

void TestSampling::stopBeforeTheFirstReadEndsTheThread()
{
    DialogFixture f;
    f.probe->stopAcquisition();
    const std::shared_ptr<OrientCount> former = f.probe->orientCount;
    f.bench.log().clear();
    f.bench.log().setHighRate(true);
    f.bench.log().setHook([&f, own = std::this_thread::get_id()](const CallRecord& record) {
        if (record.call != CALL::MCU_START_CAPTURE) {
            return;
        }
        if (record.thread == own) {
            f.probe->mcu->captureRunning = false; // so that the thread starts it again
        } else {
            f.probe->grabStop = true;
        }
    });
    const bool starts = f.probe->startAcquisition();
    f.bench.log().setHook(nullptr);
    QVERIFY(starts);
    f.probe->grabThread.join();
    QVERIFY(!f.running());
    QCOMPARE(f.bench.log().count(CALL::MCU_START_CAPTURE), std::uint64_t{2});
    QCOMPARE(f.bench.log().count(CALL::MCU_GET_READER_DATA), std::uint64_t{0});
    QVERIFY(f.probe->orientCount && f.probe->orientCount != former);
}

void TestSampling::eachStartMakesANewCoverageCounter()
{
    DialogFixture f;
    f.settle();
    const std::shared_ptr<OrientCount> first = f.probe->orientCount;
    QVERIFY(first);
    first->addOrientation(1.0F, 2.0F, 3.0F);
    f.probe->stopAcquisition();
    QVERIFY(f.probe->startAcquisition());
    f.waitForThread();
    f.settle();
    QVERIFY(f.probe->orientCount);
    QVERIFY(f.probe->orientCount != first);
    QCOMPARE(f.probe->orientCount->getPercNotZero(), 0.0F);
    QCOMPARE(first.use_count(), 1L);
}

void TestSampling::threadRunsWhenItsStartReturns()
{
    DialogFixture f;
    for (int start = 0; start < 3; ++start) {
        f.settle();
        f.probe->stopAcquisition();
        QVERIFY(!f.running());
        QVERIFY(f.probe->startAcquisition());
        const bool isRunning = f.running();
        f.waitForThread(); // a thread that begins later is not stopped by the end of the dialog
        QVERIFY(isRunning);
    }
}

void TestSampling::secondStartWhileRunningChangesNothing()
{
    DialogFixture f;
    const std::thread::id thread = f.probe->grabThread.get_id();
    f.bench.log().clear();
    QVERIFY(f.probe->startAcquisition());
    QCOMPARE(f.probe->grabThread.get_id(), thread);
    QVERIFY(f.bench.log().records().empty());
}

void TestSampling::stopEndsTheStreamBeforeTheThread()
{
    DialogFixture f;
    f.bench.log().clear();
    f.probe->ui->pushButton_start->setChecked(true);
    f.probe->ui->pushButton_start->setText("x");
    f.setCalibrating(true);
    f.probe->stopAcquisition();
    QCOMPARE(f.bench.log().count(CALL::MCU_STOP_CAPTURE), std::uint64_t{1});
    QVERIFY(!f.running());
    QVERIFY(!f.probe->grabThread.joinable());
    QVERIFY(!f.probe->updateTimer.isActive());
    QVERIFY(!f.probe->ui->pushButton_start->isChecked());
    QCOMPARE(f.probe->ui->pushButton_start->text(), QString(" Continue Calibration"));
    QVERIFY(f.probe->calibrating); // of no concern to it
    f.setCalibrating(false);
}

void TestSampling::restartGoesOnWithTheSamples()
{
    DialogFixture f;
    f.probe->updateTimer.stop();
    f.setCalibrating(true);
    const Records all = readings(30);
    f.feed(Records(all.begin(), all.begin() + 10));
    f.probe->stopAcquisition();
    QCOMPARE(f.probe->samples(), 10);
    QVERIFY(f.probe->startAcquisition());
    f.waitForThread();
    f.probe->updateTimer.stop();
    f.feed(Records(all.begin() + 10, all.end()));
    QCOMPARE(f.probe->samples(), 30);
}

void TestSampling::fitNeedsSixSamples_data()
{
    QTest::addColumn<int>("count");
    QTest::newRow("none") << 0;
    QTest::newRow("five") << 5;
}

void TestSampling::fitNeedsSixSamples()
{
    QFETCH(int, count);
    DialogFixture f;
    fillRaw(*f.probe, count);
    f.probe->magOffset = {1.0, 2.0, 3.0};
    f.probe->magScale = {4.0, 5.0, 6.0};
    f.probe->calX = f.probe->calY = f.probe->calZ = {7.0};
    f.probe->calibrateData();
    QCOMPARE(f.probe->magOffset, (Values{1.0, 2.0, 3.0}));
    QCOMPARE(f.probe->magScale, (Values{4.0, 5.0, 6.0}));
    QCOMPARE(f.probe->calX, QVector<double>{7.0});
    QVERIFY(!f.probe->calibrationPending);
}

void TestSampling::fitTakesOverCentreAndScale()
{
    DialogFixture f;
    fillRaw(*f.probe, 200);
    f.probe->calibrateData();
    QVERIFY(f.probe->calibrationPending);

    MagCalib expected;
    std::vector<double> x(f.probe->rawX.cbegin(), f.probe->rawX.cend());
    std::vector<double> y(f.probe->rawY.cbegin(), f.probe->rawY.cend());
    std::vector<double> z(f.probe->rawZ.cbegin(), f.probe->rawZ.cend());
    QVERIFY(expected.ellipsoidCalibration(x, y, z, 1.0));
    for (std::size_t i = 0; i < 3; ++i) {
        QVERIFY(f.probe->magOffset[i] == expected.center[i]);
        QVERIFY(f.probe->magScale[i] == expected.scale[i]);
    }
    // The truth behind the readings, in the dialog's axes.
    const Values offset{23.0, 11.0, 37.0};
    const Values radii{53.0, 41.0, 47.0};
    for (std::size_t i = 0; i < 3; ++i) {
        QVERIFY(std::abs(f.probe->magOffset[i] - offset[i]) < 0.05);
        QVERIFY(std::abs(f.probe->magScale[i] * radii[i] - 1.0) < 0.001);
    }
}

void TestSampling::fitCorrectsAllSamples()
{
    DialogFixture f;
    fillRaw(*f.probe, 150);
    f.probe->calX = f.probe->calY = f.probe->calZ = QVector<double>(7, 99.0);
    f.probe->calibrateData();
    QCOMPARE(f.probe->calX.size(), 150);
    QCOMPARE(f.probe->calY.size(), 150);
    QCOMPARE(f.probe->calZ.size(), 150);
    const Values& offset = f.probe->magOffset;
    const Values& scale = f.probe->magScale;
    for (int i = 0; i < 150; ++i) {
        QVERIFY(f.probe->calX[i] == (f.probe->rawX[i] - offset[0]) * scale[0]);
        QVERIFY(f.probe->calY[i] == (f.probe->rawY[i] - offset[1]) * scale[1]);
        QVERIFY(f.probe->calZ[i] == (f.probe->rawZ[i] - offset[2]) * scale[2]);
    }
    QCOMPARE(static_cast<int>(f.probe->curveCalXY()->dataSize()), 150);
}

void TestSampling::fitMakesRoomForTheCorrectedSamplesOnce()
{
    DialogFixture f;
    fillRaw(*f.probe, 150);
    // The curves share the former ones, which had more room.
    f.probe->calX = f.probe->calY = f.probe->calZ = QVector<double>(1000, 99.0);
    f.probe->updatePlots();
    f.probe->calibrateData();
    for (const QVector<double>* const corrected :
         {&f.probe->calX, &f.probe->calY, &f.probe->calZ}) {
        QCOMPARE(corrected->size(), 150);
        QCOMPARE(corrected->capacity(), 150); // neither copied nor grown on the way
    }
}

void TestSampling::degenerateSamplesGoThrough_data()
{
    QTest::addColumn<bool>("flat");
    QTest::addColumn<bool>("finiteInX");
    QTest::addColumn<bool>("finiteInZ");
    QTest::newRow("in the plane Z = 0") << true << false << false;
    QTest::newRow("on a hyperboloid open along Z") << false << true << false;
}

void TestSampling::degenerateSamplesGoThrough()
{
    QFETCH(bool, flat);
    QFETCH(bool, finiteInX);
    QFETCH(bool, finiteInZ);
    DialogFixture f;
    f.probe->updateTimer.stop();
    for (int i = 0; i < 120; ++i) {
        const double z = flat ? 0.0 : 10.0 * (i % 9) - 40.0;
        const double ring = std::sqrt(1e4 + z * z);
        f.probe->rawX.append(ring * std::cos(0.7 * i));
        f.probe->rawY.append(ring * std::sin(0.7 * i));
        f.probe->rawZ.append(z);
    }
    MagCalib expected;
    std::vector<double> x(f.probe->rawX.cbegin(), f.probe->rawX.cend());
    std::vector<double> y(f.probe->rawY.cbegin(), f.probe->rawY.cend());
    std::vector<double> z(f.probe->rawZ.cbegin(), f.probe->rawZ.cend());
    QVERIFY(expected.ellipsoidCalibration(x, y, z, 1.0));
    QCOMPARE(std::isfinite(expected.scale[0]), finiteInX);
    QCOMPARE(std::isfinite(expected.scale[2]), finiteInZ);

    f.dialog->show();
    f.setCalibrating(true);
    f.probe->onUpdateTimer();
    f.setCalibrating(false);
    // Taken as it comes, on every axis.
    QCOMPARE(f.probe->lastFitCount, 120);
    QVERIFY(f.probe->calibrationPending);
    // Byte for byte, since values that are not numbers equal nothing.
    // NOLINTBEGIN(bugprone-suspicious-memory-comparison)
    QVERIFY(std::memcmp(f.probe->magOffset.data(), expected.center, sizeof expected.center) == 0);
    QVERIFY(std::memcmp(f.probe->magScale.data(), expected.scale, sizeof expected.scale) == 0);
    // NOLINTEND(bugprone-suspicious-memory-comparison)
    for (const QVector<double>* const corrected :
         {&f.probe->calX, &f.probe->calY, &f.probe->calZ}) {
        QCOMPARE(corrected->size(), 120);
    }
    for (int i = 0; i < 120; ++i) {
        QCOMPARE(std::isfinite(f.probe->calX[i]), finiteInX);
        QCOMPARE(std::isfinite(f.probe->calZ[i]), finiteInZ);
    }
    QCOMPARE(static_cast<int>(f.probe->curveCalXZ()->dataSize()), 120);

    f.probe->scalePlots();
    const QwtScaleDiv& shown = f.probe->ui->widget_plot_calibrated->axisScaleDiv(QwtPlot::xBottom);
    QCOMPARE(shown.lowerBound(), -1.5); // that of an empty plot
    QCOMPARE(shown.upperBound(), 1.5);
}

void TestSampling::periodicFitRunsAtItsCounts()
{
    DialogFixture f;
    f.probe->updateTimer.stop();
    f.setCalibrating(true);
    const auto tickWith = [&f](int count) {
        for (QVector<double>* const raw : {&f.probe->rawX, &f.probe->rawY, &f.probe->rawZ}) {
            raw->clear();
        }
        fillRaw(*f.probe, count);
        f.probe->calX.clear();
        f.probe->onUpdateTimer();
        return f.probe->calX.size(); // the fit's samples, 0 without a fit
    };
    QCOMPARE(tickWith(0), 0);
    QCOMPARE(tickWith(99), 0);
    QCOMPARE(tickWith(100), 0);
    QCOMPARE(f.probe->lastFitCount, 0);
    QCOMPARE(tickWith(101), 101);
    QCOMPARE(f.probe->lastFitCount, 101);
    QCOMPARE(tickWith(120), 0);
    f.probe->lastFitCount = 120;
    QCOMPARE(tickWith(169), 0);
    QCOMPARE(tickWith(170), 170);
    QCOMPARE(f.probe->lastFitCount, 170);
    QCOMPARE(tickWith(5000), 5000);
    f.setCalibrating(false);
}

void TestSampling::withoutCalibratingTheTimerFitsNothing()
{
    DialogFixture f;
    f.probe->updateTimer.stop();
    fillRaw(*f.probe, 200);
    f.probe->onUpdateTimer();
    QVERIFY(f.probe->calX.isEmpty());
    QCOMPARE(f.probe->lastFitCount, 0);
    QCOMPARE(static_cast<int>(f.probe->curveRawXY()->dataSize()), 0);
}

void TestSampling::fitOfTheStopTakesNoLock()
{
    DialogFixture f;
    f.probe->updateTimer.stop();
    fillRaw(*f.probe, 10);
    QSemaphore locked;
    QSemaphore ended;
    bool endedMeanwhile = false;
    SideThread holder([&] {
        const std::lock_guard<std::mutex> lock(f.probe->grabMutex);
        locked.release();
        endedMeanwhile = waiting::acquire(ended);
    });
    QVERIFY(waiting::acquire(locked));
    f.probe->calibrateData();
    f.probe->clearPlots();
    ended.release();
    holder.join();
    QVERIFY(endedMeanwhile);
}

QTEST_MAIN(TestSampling)
#include "tst_magcalibdlg_sampling.moc"
