#include "calibration/dialogfixture.h"

#include <QtTest>

#include <cmath>
#include <limits>

using om::bench::CALL;
using om::bench::CameraConfig;
using om::bench::Faults;

Q_DECLARE_METATYPE(om::MODEL)

namespace {

using Values = std::array<double, 3>;

void addCamera(om::bench::Bench& bench, om::MODEL model, unsigned int serial, int productId,
               std::uint16_t release)
{
    CameraConfig config;
    config.model = model;
    config.serialNumber = serial;
    config.usbProductId = productId;
    config.usbRelease = release;
    config.motion = om::bench::MOTION::AT_REST;
    QVERIFY(bench.addCamera(config));
}

std::vector<CALL> callsOf(const om::bench::Bench& bench)
{
    std::vector<CALL> calls;
    for (const auto& record : const_cast<om::bench::Bench&>(bench).log().records()) {
        calls.push_back(record.call);
    }
    return calls;
}

} // namespace

class TestMcuLink : public QObject
{
    Q_OBJECT

private slots:
    void linkIsMadeAndOpenedWithItsArguments_data();
    void linkIsMadeAndOpenedWithItsArguments();
    void openingReadsTheEepromBeforeCaptureStarts();
    void leavingStopsCaptureAndCloses();
    void devicesThatCountAreListed_data();
    void devicesThatCountAreListed();
    void listIsMadeAgain();
    void listStaysEmptyWithoutDevices();
    void unlistedCameraIsReportedWithItsSerialNumber_data();
    void unlistedCameraIsReportedWithItsSerialNumber();
    void unlistedCameraLeavesTheLinkAsItWas();
    void refusedOpenIsReported();
    void refusedOpenCountsAsClosed();
    void linkThatCannotBeOpenedIsNotMadeAgain();
    void linkIsReleasedBeforeTheNextIsMade();
    void storedCalibrationIsLoadedIntoTheDialogsAxes();
    void loadingStopsCaptureMeanwhile();
    void loadingLeavesStoppedCaptureStopped();
    void storeWritesTheRecordInSensorAxes();
    void storeAndLoadKeepTheValuesInSinglePrecision();
    void storeStopsCaptureAndStartsItAgain();
    void storeEndsThePendingCalibration();
    void storeWithStoppedCaptureDoesNotStartIt();
    void refusedWriteFailsAtOnce();
    void failedStoreLeavesCaptureStoppedAndThePendingCalibration_data();
    void failedStoreLeavesCaptureStoppedAndThePendingCalibration();
    void readBackIsTriedTenTimes_data();
    void readBackIsTriedTenTimes();
    void calibrationWithNaNFailsTenTimes_data();
    void calibrationWithNaNFailsTenTimes();
    void neutralStoreWritesMinusZeroAndSucceeds();
    void withoutALinkLoadAndStoreLookForTheCamera();
    void withoutACameraLoadAndStoreFail();
};

void TestMcuLink::linkIsMadeAndOpenedWithItsArguments_data()
{
    QTest::addColumn<om::MODEL>("model");
    QTest::addColumn<unsigned int>("serial");
    QTest::addColumn<double>("modelValue");
    QTest::newRow("TIV_Q") << om::MODEL::TIV_Q << 30123456U << 3.0;
    QTest::newRow("TIV_P") << om::MODEL::TIV_P << 29999999U << 2.0;
}

void TestMcuLink::linkIsMadeAndOpenedWithItsArguments()
{
    QFETCH(om::MODEL, model);
    QFETCH(unsigned int, serial);
    QFETCH(double, modelValue);
    DialogFixture f(true, model, serial);

    const auto construct = f.bench.log().last(CALL::MCU_CONSTRUCT);
    QVERIFY(construct);
    QCOMPARE(construct->numbers, (std::vector<double>{0.0, 0x7C15, modelValue, 0.0}));
    QVERIFY(construct->text.empty());

    const auto open = f.bench.log().last(CALL::MCU_OPEN);
    QVERIFY(open);
    QCOMPARE(open->serialNumber, serial);
    // Not exclusive, rate 2, no biases, and the two last flags.
    QCOMPARE(open->numbers, (std::vector<double>{0.0, 2.0, 0.0, 0.0, 1.0, 0.0}));
    QCOMPARE(open->result, 0);
    QVERIFY(!f.probe->mcuClosed);
    QCOMPARE(f.boxes.seen.size(), 0);
}

void TestMcuLink::openingReadsTheEepromBeforeCaptureStarts()
{
    DialogFixture f;
    QCOMPARE(callsOf(f.bench),
             (std::vector<CALL>{CALL::MCU_CONSTRUCT, CALL::MCU_OPEN, CALL::MCU_UPDATE_EEPROM,
                                CALL::MCU_START_CAPTURE}));
    QCOMPARE(f.bench.log().last(CALL::MCU_UPDATE_EEPROM)->numbers, (std::vector<double>{1.0}));
    QCOMPARE(f.bench.log().last(CALL::MCU_START_CAPTURE)->numbers, (std::vector<double>{0.0}));
}

void TestMcuLink::leavingStopsCaptureAndCloses()
{
    DialogFixture f;
    f.bench.log().clear();
    QTest::mouseClick(f.probe->ui->pushButton_exit, Qt::LeftButton);
    QCOMPARE(callsOf(f.bench), (std::vector<CALL>{CALL::MCU_STOP_CAPTURE, CALL::MCU_CLOSE}));
    QVERIFY(f.probe->mcuClosed);
    QVERIFY(!f.bench.status().front().inUse);
}

void TestMcuLink::devicesThatCountAreListed_data()
{
    QTest::addColumn<om::MODEL>("model");
    QTest::addColumn<unsigned int>("serial");
    QTest::addColumn<int>("usbProductId");
    QTest::addColumn<int>("listedAs");
    QTest::newRow("TIV_Q") << om::MODEL::TIV_Q << 31415926U << -1 << 0xA341;
    QTest::newRow("TIV_P") << om::MODEL::TIV_P << 27182818U << -1 << 0xA241;
    QTest::newRow("TIV_N has no magnetometer") << om::MODEL::TIV_N << 14142135U << -1 << 0;
    QTest::newRow("another product of the vendor") << om::MODEL::TIV_Q << 31415926U << 0xB000 << 0;
    QTest::newRow("no id, serial 3...") << om::MODEL::TIV_Q << 30123456U << 0 << 0xA341;
    QTest::newRow("no id, serial 2...") << om::MODEL::TIV_P << 20123456U << 0 << 0xA241;
    QTest::newRow("no id, serial 1...") << om::MODEL::TIV_N << 10123456U << 0 << 0;
    QTest::newRow("no id, serial 4...") << om::MODEL::TIV_Q << 40123456U << 0 << 0;
    QTest::newRow("no id, short serial") << om::MODEL::TIV_Q << 1234U << 0 << 0;
    // The quotient counts modulo 256.
    QTest::newRow("no id, serial 2593...") << om::MODEL::TIV_Q << 2590000000U << 0 << 0xA341;
    // A usable id decides, whatever the serial number is.
    QTest::newRow("TIV_Q with serial 1...") << om::MODEL::TIV_Q << 11111111U << 0xA341 << 0xA341;
}

void TestMcuLink::devicesThatCountAreListed()
{
    QFETCH(om::MODEL, model);
    QFETCH(unsigned int, serial);
    QFETCH(int, usbProductId);
    QFETCH(int, listedAs);
    DialogFixture f;
    f.probe->stopAcquisition(); // or the thread would give up in the middle of the test
    f.bench.removeCamera(f.serial);
    addCamera(f.bench, model, serial, usbProductId, 0x0103);
    f.probe->updateOmDevList();
    if (listedAs == 0) {
        QVERIFY(f.probe->devSerials.isEmpty());
        QVERIFY(f.probe->devProductIds.isEmpty());
        QVERIFY(f.probe->devFirmware.isEmpty());
    } else {
        QCOMPARE(f.probe->devSerials, QStringList{QString::number(serial)});
        QCOMPARE(f.probe->devProductIds,
                 QVector<unsigned short>{static_cast<unsigned short>(listedAs)});
        QCOMPARE(f.probe->devFirmware, QStringList{"v1.3"});
    }
}

void TestMcuLink::listIsMadeAgain()
{
    DialogFixture f;
    addCamera(f.bench, om::MODEL::TIV_N, 10000001, -1, 0x0100);
    addCamera(f.bench, om::MODEL::TIV_P, 20000001, -1, 0x0FFF);
    addCamera(f.bench, om::MODEL::TIV_Q, 30000001, -1, 0x0200);
    for (int i = 0; i < 2; ++i) {
        f.probe->updateOmDevList();
        QCOMPARE(f.probe->devSerials, (QStringList{"30123456", "20000001", "30000001"}));
        QCOMPARE(f.probe->devProductIds, (QVector<unsigned short>{0xA341, 0xA241, 0xA341}));
        QCOMPARE(f.probe->devFirmware, (QStringList{"v1.3", "v15.255", "v2.0"}));
    }
}

void TestMcuLink::listStaysEmptyWithoutDevices()
{
    DialogFixture f;
    f.probe->stopAcquisition(); // or the thread would report the lost link
    f.bench.unplug(f.serial);
    f.probe->updateOmDevList();
    QVERIFY(f.probe->devSerials.isEmpty());
}

void TestMcuLink::unlistedCameraIsReportedWithItsSerialNumber_data()
{
    QTest::addColumn<om::MODEL>("model");
    QTest::addColumn<unsigned int>("serial");
    QTest::addColumn<bool>("plugged");
    QTest::newRow("unplugged") << om::MODEL::TIV_Q << 30123456U << false;
    QTest::newRow("without a magnetometer") << om::MODEL::TIV_N << 14142135U << true;
}

void TestMcuLink::unlistedCameraIsReportedWithItsSerialNumber()
{
    QFETCH(om::MODEL, model);
    QFETCH(unsigned int, serial);
    QFETCH(bool, plugged);
    DialogFixture f(false, model, serial);
    if (!plugged) {
        f.bench.unplug(serial);
    }
    f.boxes.expect("Ok");
    f.open();
    QCOMPARE(f.boxes.seen.size(), 1);
    QCOMPARE(f.boxes.seen[0].text,
             QString("TIV_P/TIV_Q with serial number %1 not detected. Please verify the "
                     "connections and retry")
                 .arg(serial));
    QVERIFY(!f.probe->mcu);
    QVERIFY(f.probe->mcuClosed);
    QVERIFY(!f.probe->grabThread.joinable());
    QVERIFY(!f.probe->updateTimer.isActive());
}

void TestMcuLink::unlistedCameraLeavesTheLinkAsItWas()
{
    DialogFixture f;
    f.probe->stopAcquisition();
    const auto former = f.probe->mcu;
    f.bench.unplug(f.serial);
    f.boxes.expect("Ok");
    QVERIFY(!f.probe->initTivMcu());
    QCOMPARE(f.boxes.seen.size(), 1);
    QVERIFY(former);
    QCOMPARE(f.probe->mcu, former);
    QVERIFY(!f.probe->mcuClosed);
}

void TestMcuLink::refusedOpenIsReported()
{
    DialogFixture f(false);
    f.bench.changeFaults(f.serial, [](Faults& faults) { faults.mcuOpenRefused = true; });
    f.boxes.expect("Ok");
    f.open();
    QCOMPARE(f.boxes.seen.size(), 1);
    QCOMPARE(f.boxes.seen[0].text, QString("Cannot open the TIV_P/TIV_Q camera. Please verify the "
                                           "connections and restart"));
    QVERIFY(f.probe->mcu);
    QVERIFY(f.probe->mcuClosed);
    QVERIFY(!f.probe->grabThread.joinable());
    QCOMPARE(f.bench.log().count(CALL::MCU_UPDATE_EEPROM), std::uint64_t{0});
}

void TestMcuLink::refusedOpenCountsAsClosed()
{
    DialogFixture f;
    f.probe->stopAcquisition();
    QVERIFY(!f.probe->mcuClosed);
    f.bench.changeFaults(f.serial, [](Faults& faults) { faults.mcuOpenRefused = true; });
    f.boxes.expect("Ok");
    QVERIFY(!f.probe->initTivMcu());
    QCOMPARE(f.boxes.seen.size(), 1);
    QVERIFY(f.probe->mcuClosed);
    f.bench.log().clear();
    f.close(); // with nothing to stop
    QCOMPARE(f.bench.log().count(CALL::MCU_STOP_CAPTURE), std::uint64_t{0});
}

void TestMcuLink::linkThatCannotBeOpenedIsNotMadeAgain()
{
    DialogFixture f(false);
    f.bench.changeFaults(f.serial, [](Faults& faults) { faults.mcuOpenRefused = true; });
    f.boxes.expect("Ok");
    f.open();
    const auto link = f.probe->mcu;
    f.bench.changeFaults(f.serial, [](Faults& faults) { faults.mcuOpenRefused = false; });
    f.boxes.expect("Ok"); // the link that is not open gives nothing but failures
    QVERIFY(f.probe->startAcquisition());
    QCOMPARE(f.probe->mcu, link);
    QCOMPARE(f.bench.log().count(CALL::MCU_CONSTRUCT), std::uint64_t{1});
    QCOMPARE(f.bench.log().count(CALL::MCU_OPEN), std::uint64_t{1});
    QTRY_COMPARE(f.boxes.seen.size(), 2);
    QCOMPARE(f.boxes.seen[1].text, QString("Error retrieving sensors data"));
    // The start sets captureRunning on this link too: the thread does not start it once more.
    QCOMPARE(f.bench.log().count(CALL::MCU_START_CAPTURE), std::uint64_t{1});
}

void TestMcuLink::linkIsReleasedBeforeTheNextIsMade()
{
    DialogFixture f;
    f.probe->stopAcquisition();
    f.bench.log().clear();
    const std::weak_ptr<om::TIVmcu> former = f.probe->mcu;
    QVERIFY(f.probe->initTivMcu());
    QVERIFY(former.expired());
    QCOMPARE(callsOf(f.bench), (std::vector<CALL>{CALL::MCU_CLOSE, CALL::MCU_CONSTRUCT,
                                                  CALL::MCU_OPEN, CALL::MCU_UPDATE_EEPROM}));
    QVERIFY(f.probe->startAcquisition());
    f.waitForThread();
}

void TestMcuLink::storedCalibrationIsLoadedIntoTheDialogsAxes()
{
    DialogFixture f(false);
    om::bench::MagCalibration stored;
    stored.scale = {0.021F, 0.022F, 0.023F};
    stored.offset = {11.0F, -23.0F, 37.0F};
    QVERIFY(f.bench.storeCalibration(f.serial, stored));
    f.open();
    QCOMPARE(f.probe->magScale, (Values{double{0.022F}, double{0.021F}, double{0.023F}}));
    QCOMPARE(f.probe->magOffset, (Values{23.0, 11.0, 37.0}));
}

void TestMcuLink::loadingStopsCaptureMeanwhile()
{
    DialogFixture f;
    f.bench.log().clear();
    QVERIFY(f.probe->loadCalibData());
    QCOMPARE(callsOf(f.bench), (std::vector<CALL>{CALL::MCU_STOP_CAPTURE, CALL::MCU_UPDATE_EEPROM,
                                                  CALL::MCU_START_CAPTURE}));
}

void TestMcuLink::loadingLeavesStoppedCaptureStopped()
{
    DialogFixture f;
    f.probe->stopAcquisition();
    f.bench.log().clear();
    QVERIFY(f.probe->loadCalibData());
    QCOMPARE(callsOf(f.bench), (std::vector<CALL>{CALL::MCU_UPDATE_EEPROM}));
}

void TestMcuLink::storeWritesTheRecordInSensorAxes()
{
    DialogFixture f;
    f.probe->magOffset = {1.5, -2.5, 3.5};
    f.probe->magScale = {0.02, 0.03, 0.04};
    QVERIFY(f.probe->saveCalibData());
    const auto write = f.bench.log().last(CALL::MCU_WRITE_MAG_CALIB);
    QVERIFY(write);
    QCOMPARE(write->numbers,
             (std::vector<double>{double{0.03F}, double{0.02F}, double{0.04F}, -2.5, -1.5, 3.5}));
    const om::bench::MagCalibration inForce = f.bench.calibration(f.serial);
    QCOMPARE(inForce.scale, (std::array<float, 3>{0.03F, 0.02F, 0.04F}));
    QCOMPARE(inForce.offset, (std::array<float, 3>{-2.5F, -1.5F, 3.5F}));
}

void TestMcuLink::storeAndLoadKeepTheValuesInSinglePrecision()
{
    DialogFixture f;
    f.probe->magOffset = {1.5, -2.5, 3.5};
    f.probe->magScale = {0.02, 0.03, 0.04};
    QVERIFY(f.probe->saveCalibData());
    f.probe->magOffset = {9.0, 9.0, 9.0};
    f.probe->magScale = {9.0, 9.0, 9.0};
    QVERIFY(f.probe->loadCalibData());
    QCOMPARE(f.probe->magOffset, (Values{1.5, -2.5, 3.5}));
    QCOMPARE(f.probe->magScale, (Values{double{0.02F}, double{0.03F}, double{0.04F}}));
}

void TestMcuLink::storeStopsCaptureAndStartsItAgain()
{
    DialogFixture f;
    f.bench.log().clear();
    QVERIFY(f.probe->saveCalibData());
    QCOMPARE(callsOf(f.bench),
             (std::vector<CALL>{CALL::MCU_STOP_CAPTURE, CALL::MCU_WRITE_MAG_CALIB,
                                CALL::MCU_UPDATE_EEPROM, CALL::MCU_START_CAPTURE}));
    QCOMPARE(f.bench.log().last(CALL::MCU_START_CAPTURE)->numbers, (std::vector<double>{0.0}));
    QVERIFY(f.probe->mcu->captureRunning);
    f.settle(); // the thread is still in its loop
    QVERIFY(f.running());
}

void TestMcuLink::storeEndsThePendingCalibration()
{
    DialogFixture f;
    f.probe->calibrationPending = true;
    QVERIFY(f.probe->saveCalibData());
    QVERIFY(!f.probe->calibrationPending);
}

void TestMcuLink::storeWithStoppedCaptureDoesNotStartIt()
{
    DialogFixture f;
    f.probe->stopAcquisition();
    f.bench.log().clear();
    QVERIFY(f.probe->saveCalibData());
    QCOMPARE(callsOf(f.bench),
             (std::vector<CALL>{CALL::MCU_WRITE_MAG_CALIB, CALL::MCU_UPDATE_EEPROM}));
    QVERIFY(!f.probe->mcu->captureRunning);
}

void TestMcuLink::refusedWriteFailsAtOnce()
{
    DialogFixture f;
    f.bench.changeFaults(f.serial, [](Faults& faults) { faults.eepromWriteRefused = true; });
    f.bench.log().clear();
    QVERIFY(!f.probe->saveCalibData());
    QCOMPARE(callsOf(f.bench),
             (std::vector<CALL>{CALL::MCU_STOP_CAPTURE, CALL::MCU_WRITE_MAG_CALIB}));
}

void TestMcuLink::failedStoreLeavesCaptureStoppedAndThePendingCalibration_data()
{
    QTest::addColumn<bool>("pending");
    QTest::newRow("pending") << true;
    QTest::newRow("not pending") << false;
}

void TestMcuLink::failedStoreLeavesCaptureStoppedAndThePendingCalibration()
{
    QFETCH(bool, pending);
    DialogFixture f;
    f.probe->calibrationPending = pending;
    f.bench.changeFaults(f.serial, [](Faults& faults) { faults.eepromReadbackDiffers = 99; });
    QVERIFY(!f.probe->saveCalibData());
    QCOMPARE(f.probe->calibrationPending, pending);
    QVERIFY(!f.probe->mcu->captureRunning);
    // The thread gets nothing new until the user answers, and continues.
    f.readOn();
    QVERIFY(f.running());
    QCOMPARE(f.boxes.seen.size(), 0);
    // The next store works and does not change the capture state.
    f.bench.changeFaults(f.serial, [](Faults& faults) { faults.eepromReadbackDiffers = 0; });
    QVERIFY(f.probe->saveCalibData());
    QVERIFY(!f.probe->mcu->captureRunning);
}

void TestMcuLink::readBackIsTriedTenTimes_data()
{
    QTest::addColumn<int>("differences");
    QTest::addColumn<bool>("stored");
    QTest::addColumn<int>("writes");
    QTest::newRow("none") << 0 << true << 1;
    QTest::newRow("once") << 1 << true << 2;
    QTest::newRow("nine times") << 9 << true << 10;
    QTest::newRow("ten times") << 10 << false << 10;
    QTest::newRow("for ever") << 1000 << false << 10;
}

void TestMcuLink::readBackIsTriedTenTimes()
{
    QFETCH(int, differences);
    QFETCH(bool, stored);
    QFETCH(int, writes);
    DialogFixture f;
    f.probe->magOffset = {1.5, -2.5, 3.5};
    f.probe->magScale = {0.02, 0.03, 0.04};
    f.probe->calibrationPending = true;
    f.bench.changeFaults(
        f.serial, [differences](Faults& faults) { faults.eepromReadbackDiffers = differences; });
    f.bench.log().clear();
    QCOMPARE(f.probe->saveCalibData(), stored);
    QCOMPARE(f.bench.log().count(CALL::MCU_WRITE_MAG_CALIB), static_cast<std::uint64_t>(writes));
    QCOMPARE(f.bench.log().count(CALL::MCU_UPDATE_EEPROM), static_cast<std::uint64_t>(writes));
    QCOMPARE(f.probe->calibrationPending, !stored);
    QCOMPARE(f.probe->mcu->captureRunning, stored);
}

void TestMcuLink::calibrationWithNaNFailsTenTimes_data()
{
    QTest::addColumn<int>("value");
    for (int i = 0; i < 6; ++i) {
        QTest::addRow("value %d", i) << i;
    }
}

void TestMcuLink::calibrationWithNaNFailsTenTimes()
{
    QFETCH(int, value);
    DialogFixture f;
    Values& values = value < 3 ? f.probe->magOffset : f.probe->magScale;
    values[static_cast<std::size_t>(value % 3)] = std::numeric_limits<double>::quiet_NaN();
    QVERIFY(!f.probe->saveCalibData());
    QCOMPARE(f.bench.log().count(CALL::MCU_WRITE_MAG_CALIB), std::uint64_t{10});
}

void TestMcuLink::neutralStoreWritesMinusZeroAndSucceeds()
{
    DialogFixture f;
    f.probe->magOffset = {0.0, 0.0, 0.0};
    f.probe->magScale = {1.0, 1.0, 1.0};
    QVERIFY(f.probe->saveCalibData());
    const auto write = f.bench.log().last(CALL::MCU_WRITE_MAG_CALIB);
    QCOMPARE(write->numbers, (std::vector<double>{1.0, 1.0, 1.0, 0.0, 0.0, 0.0}));
    QVERIFY(!std::signbit(write->numbers[3]));
    QVERIFY(std::signbit(write->numbers[4]));
    QVERIFY(!std::signbit(write->numbers[5]));
    QVERIFY(f.bench.calibration(f.serial).isNeutral());
}

void TestMcuLink::withoutALinkLoadAndStoreLookForTheCamera()
{
    DialogFixture f(false);
    f.bench.unplug(f.serial);
    f.boxes.expect("Ok");
    f.open();
    QVERIFY(!f.probe->mcu);
    f.bench.plug(f.serial);
    QVERIFY(f.probe->saveCalibData());
    QVERIFY(f.probe->mcu);
    QCOMPARE(f.bench.log().count(CALL::MCU_WRITE_MAG_CALIB), std::uint64_t{1});
    f.probe->mcu.reset();
    QVERIFY(f.probe->loadCalibData());
    QVERIFY(f.probe->mcu);
    QCOMPARE(f.boxes.seen.size(), 1);
}

void TestMcuLink::withoutACameraLoadAndStoreFail()
{
    DialogFixture f(false);
    f.bench.unplug(f.serial);
    f.boxes.expect("Ok");
    f.open();
    f.boxes.expect("Ok");
    f.boxes.expect("Ok");
    QVERIFY(!f.probe->saveCalibData());
    QVERIFY(!f.probe->loadCalibData());
    QCOMPARE(f.boxes.seen.size(), 3);
    QCOMPARE(f.boxes.unexpected, 0);
}

QTEST_MAIN(TestMcuLink)
#include "tst_magcalibdlg_mculink.moc"
