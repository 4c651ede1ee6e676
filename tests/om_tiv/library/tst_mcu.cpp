#include "om_tiv/library/mcufixture.h"

#include <QtTest>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

using namespace mcutest;
using namespace om::bench;

namespace {

om::_mag_calib_data makeRecord(float s1, float s2, float s3, float o1, float o2, float o3)
{
    om::_mag_calib_data record;
    record.reserved = 0xA5;
    const float scale[3] = {s1, s2, s3};
    const float offset[3] = {o1, o2, o3};
    std::memcpy(record.scale, scale, sizeof scale);
    std::memcpy(record.offset, offset, sizeof offset);
    return record;
}

const std::vector<float> neutralRecord{1.0F, 1.0F, 1.0F, 0.0F, 0.0F, 0.0F};

} // namespace

/// The link itself: opening, the EEPROM, the log of its calls.
class McuTest : public Fixture
{
    Q_OBJECT

private slots:
    void init() { prepare(); }

    // Records.

    void recordsHaveTheirByteOffsets()
    {
        unsigned char bytes[sizeof(om::IMUReaderData)];
        std::memset(bytes, 0, sizeof bytes);
        bytes[0] = 1;
        bytes[2] = 0x39; // 1337 ticks
        bytes[3] = 0x05;
        bytes[30] = 2;
        bytes[31] = 100;
        bytes[33] = 200;
        bytes[35] = 0xD4; // -300
        bytes[36] = 0xFE;
        om::IMUReaderData data;
        std::memcpy(&data, bytes, sizeof data);
        QCOMPARE(int(data.linkValid), 1);
        QCOMPARE(quint64(data.timestamp), quint64(1337));
        QCOMPARE(int(data.magState), 2);
        QCOMPARE(int(data.mag[0]), 100);
        QCOMPARE(int(data.mag[1]), 200);
        QCOMPARE(int(data.mag[2]), -300);

        const auto offsetOf = [](const void* record, const void* field) {
            return static_cast<const char*>(field) - static_cast<const char*>(record);
        };
        const om::IMUPose pose;
        QCOMPARE(offsetOf(&pose, &pose.acceleration), 124);
        QCOMPARE(offsetOf(&pose, &pose.magUncalibrated), 236);
        QCOMPARE(offsetOf(&pose, &pose.headingState), 260);
        QCOMPARE(offsetOf(&pose, &pose.headingAccuracy), 264);
        QCOMPARE(offsetOf(&pose, &pose.heading), 268);
        const om::_mag_calib_data calib = makeRecord(1, 2, 3, 4, 5, 6);
        QCOMPARE(offsetOf(&calib, &calib.scale), 1);
        QCOMPARE(offsetOf(&calib, &calib.offset), 13);
    }

    // Opening.

    void linkOpensAndCloses()
    {
        Link link;
        QCOMPARE(link.openIt(), 0);
        QVERIFY(m_bench.status()[0].inUse);
        QVERIFY(!link.captureRunning);
        link.close();
        QVERIFY(!m_bench.status()[0].inUse);
        QCOMPARE(link.openIt(), 0);
    }

    void destructorCloses()
    {
        {
            Link link;
            QCOMPARE(link.openIt(), 0);
        }
        QVERIFY(!m_bench.status()[0].inUse);
        QCOMPARE(m_bench.log().count(CALL::MCU_CLOSE), std::uint64_t(1));
    }

    void openingAgainClosesFirst()
    {
        addCamera(otherSerial, om::MODEL::TIV_P);
        Link link;
        QCOMPARE(link.openIt(), 0);
        link.startCapture(0.0F);
        QCOMPARE(link.openIt(), 0);
        QVERIFY(!link.captureRunning);
        QCOMPARE(link.openIt(otherSerial), 0);
        QVERIFY(!m_bench.status()[0].inUse);
        QVERIFY(m_bench.status()[1].inUse);
        QCOMPARE(link.openIt(12345), toInt(om::ERROR_CODE::NOT_DETECTED));
        QVERIFY(!m_bench.status()[1].inUse);
    }

    void openIsRefused_data()
    {
        QTest::addColumn<om::MODEL>("model");
        QTest::addColumn<QString>("why");
        QTest::addColumn<int>("result");
        const auto row = [](const char* name, om::MODEL model, const char* why,
                            om::ERROR_CODE code) {
            QTest::newRow(name) << model << why << toInt(code);
        };
        using E = om::ERROR_CODE;
        using M = om::MODEL;
        row("not on the bench", M::TIV_Q, "missing", E::NOT_DETECTED);
        row("unplugged", M::TIV_Q, "unplugged", E::NOT_DETECTED);
        row("another vendor's id", M::TIV_Q, "vendor", E::NOT_DETECTED);
        row("another device's path", M::TIV_Q, "path", E::NOT_DETECTED);
        row("model without sensors", M::TIV, "", E::NOT_DETECTED);
        row("model on the serial bus", M::TIV_R, "", E::NOT_DETECTED);
        row("the other model on the serial bus", M::TIV_S, "", E::NOT_DETECTED);
        row("boot loader", M::TIV_Q, "bootloader", E::INVALID_INPUT);
        row("in use by a link", M::TIV_Q, "link", E::IN_USE);
        row("in use by a camera", M::TIV_Q, "camera", E::IN_USE);
        row("refused", M::TIV_Q, "refused", E::FAILURE);
        row("silent", M::TIV_Q, "silent", E::TIMEOUT);
    }
    void openIsRefused()
    {
        QFETCH(om::MODEL, model);
        QFETCH(QString, why);
        QFETCH(int, result);
        addCamera(otherSerial, model, [](CameraConfig& config) { config.id = 7; });
        if (why == "unplugged") {
            m_bench.unplug(otherSerial);
        }
        m_bench.changeFaults(otherSerial, [&why](Faults& faults) {
            faults.mcuOpenRefused = why == "refused";
            faults.mcuSilent = why == "silent";
        });
        Link other;
        if (why == "link") {
            QCOMPARE(other.openIt(otherSerial), 0);
        }
        om::Camera camera;
        if (why == "camera") {
            om::InitParameters parameters;
            parameters.input.setFromSerialNumber(otherSerial, om::BUS_TYPE::USB);
            QCOMPARE(camera.open(parameters), om::ERROR_CODE::SUCCESS);
        }
        om::TIVmcu link(false, why == "vendor" ? 0x1234 : vendorId, model, why == "bootloader",
                        why == "path" ? "bench:1" : "");
        QCOMPARE(link.open(why == "missing" ? 99 : otherSerial, false, om::IMU_ODR_400_HZ, nullptr,
                           nullptr, true, false),
                 result);
        QVERIFY(!link.captureRunning);
        // The refused link has no claim, and nothing streams on it.
        link.startCapture(0.0F);
        QCOMPARE(int(link.getIMUReaderData().linkValid), 0);
        m_bench.setFaults(otherSerial, {});
        other.close();
        camera.close();
        const bool opens = why == "refused" || why == "silent" || why == "link" || why == "camera";
        if (opens) {
            QCOMPARE(
                link.open(otherSerial, false, om::IMU_ODR_400_HZ, nullptr, nullptr, true, false),
                0);
        }
    }

    void cameraCannotOpenWhileTheLinkIsOpen()
    {
        Link link;
        QCOMPARE(link.openIt(), 0);
        om::Camera camera;
        om::InitParameters parameters;
        parameters.input.setFromSerialNumber(cameraSerial, om::BUS_TYPE::USB);
        QCOMPARE(camera.open(parameters), om::ERROR_CODE::IN_USE);
        link.close();
        QCOMPARE(camera.open(parameters), om::ERROR_CODE::SUCCESS);
    }

    void pathFindsTheDeviceOfItsSerialNumber()
    {
        om::TIVmcu link(false, vendorId, om::MODEL::TIV_Q, false, "bench:30000001");
        QCOMPARE(link.open(cameraSerial, false, om::IMU_ODR_400_HZ, nullptr, nullptr, true, false),
                 0);
    }

    // EEPROM.

    void cameraThatWasNeverCalibratedHoldsTheNeutralRecord()
    {
        Link link;
        link.openIt();
        QCOMPARE(link.stored(), neutralRecord);
        link.updateEepromMemory(true);
        QCOMPARE(link.stored(), neutralRecord);
    }

    void writtenRecordIsReadBackInRecordOrder()
    {
        Link link;
        link.openIt();
        om::_mag_calib_data record = makeRecord(0.03F, 0.02F, 0.04F, -2.5F, -1.5F, 3.5F);
        QCOMPARE(link.writeMagCalibInEEprom(record), 0);
        QCOMPARE(link.stored(), neutralRecord); // as of the last read
        link.updateEepromMemory(true);
        QCOMPARE(link.stored(), (std::vector<float>{0.03F, 0.02F, 0.04F, -2.5F, -1.5F, 3.5F}));
    }

    void writtenRecordSurvivesTheProgram()
    {
        {
            Link link;
            link.openIt();
            om::_mag_calib_data record = makeRecord(0.03F, 0.02F, 0.04F, -2.5F, -1.5F, 3.5F);
            QCOMPARE(link.writeMagCalibInEEprom(record), 0);
        }
        m_bench.reset(); // reads the images again
        addCamera(cameraSerial, om::MODEL::TIV_Q);
        Link link;
        QCOMPARE(link.openIt(), 0);
        link.updateEepromMemory(false);
        QCOMPARE(link.stored(), (std::vector<float>{0.03F, 0.02F, 0.04F, -2.5F, -1.5F, 3.5F}));
    }

    void readSeesTheWriteOfAnotherProcess()
    {
        Link link;
        link.openIt();
        link.updateEepromMemory(true);
        EepromStore().write(cameraSerial, {{0.5F, 0.25F, 0.125F}, {1.0F, 2.0F, 3.0F}});
        link.updateEepromMemory(true);
        QCOMPARE(link.stored(), (std::vector<float>{0.5F, 0.25F, 0.125F, 1.0F, 2.0F, 3.0F}));
        QCOMPARE(m_bench.calibration(cameraSerial).offset[2], 3.0F);
    }

    void openingPutsTheWriteOfAnotherProcessInForce()
    {
        QVERIFY(m_bench.calibration(cameraSerial).isNeutral());
        EepromStore().write(cameraSerial, {{0.5F, 0.25F, 0.125F}, {1.0F, 2.0F, 3.0F}});
        Link link;
        link.openIt();
        QCOMPARE(m_bench.calibration(cameraSerial).offset[2], 3.0F);
    }

    void everyBitOfTheRecordIsKept()
    {
        Link link;
        link.openIt();
        const float nan = std::numeric_limits<float>::quiet_NaN();
        om::_mag_calib_data record = makeRecord(1.0F, 1.0F, nan, 0.0F, -0.0F, 1e-42F);
        QCOMPARE(link.writeMagCalibInEEprom(record), 0);
        link.updateEepromMemory(true);
        QVERIFY(std::isnan(link.storedMagCalib[2]));
        QVERIFY(std::signbit(link.storedMagCalib[4]));
        QCOMPARE(link.storedMagCalib[5], 1e-42F);
    }

    void writeFails_data()
    {
        QTest::addColumn<QString>("why");
        QTest::addColumn<int>("result");
        QTest::newRow("not open") << "not open" << toInt(om::ERROR_CODE::FAILURE);
        QTest::newRow("refused") << "refused" << toInt(om::ERROR_CODE::FAILURE);
        QTest::newRow("silent") << "silent" << toInt(om::ERROR_CODE::TIMEOUT);
        QTest::newRow("unplugged") << "unplugged" << toInt(om::ERROR_CODE::CAMERA_GONE);
    }
    void writeFails()
    {
        QFETCH(QString, why);
        QFETCH(int, result);
        Link link;
        if (why != "not open") {
            link.openIt();
        }
        m_bench.changeFaults(cameraSerial, [&why](Faults& faults) {
            faults.eepromWriteRefused = why == "refused";
            faults.mcuSilent = why == "silent";
        });
        if (why == "unplugged") {
            m_bench.unplug(cameraSerial);
        }
        om::_mag_calib_data record = makeRecord(0.03F, 0.02F, 0.04F, -2.5F, -1.5F, 3.5F);
        QCOMPARE(link.writeMagCalibInEEprom(record), result);
        link.updateEepromMemory(true);
        QCOMPARE(link.stored(), neutralRecord);
        QVERIFY(m_bench.calibration(cameraSerial).isNeutral());
    }

    void readLeavesTheStoredCalibrationWhereItCannotRead()
    {
        Link link;
        link.openIt();
        om::_mag_calib_data record = makeRecord(0.03F, 0.02F, 0.04F, -2.5F, -1.5F, 3.5F);
        link.writeMagCalibInEEprom(record);
        m_bench.changeFaults(cameraSerial, [](Faults& faults) { faults.mcuSilent = true; });
        link.updateEepromMemory(true);
        QCOMPARE(link.stored(), neutralRecord);
        m_bench.setFaults(cameraSerial, {});
        link.updateEepromMemory(true);
        QCOMPARE(link.storedMagCalib[0], 0.03F);
    }

    void readAfterAWriteDiffersAsOftenAsTheFaultSays()
    {
        m_bench.changeFaults(cameraSerial,
                             [](Faults& faults) { faults.eepromReadbackDiffers = 7; });
        Link link;
        link.openIt();
        link.updateEepromMemory(true); // without a write before, nothing differs
        QCOMPARE(link.stored(), neutralRecord);
        const std::vector<float> written{0.03F, 0.02F, 0.04F, -2.5F, -1.5F, 3.5F};
        std::vector<bool> differed(6, false);
        for (int attempt = 1; attempt <= 8; ++attempt) {
            om::_mag_calib_data record = makeRecord(0.03F, 0.02F, 0.04F, -2.5F, -1.5F, 3.5F);
            QCOMPARE(link.writeMagCalibInEEprom(record), 0);
            link.updateEepromMemory(true);
            const std::vector<float> read = link.stored();
            QCOMPARE(read != written, attempt <= 7);
            for (std::size_t i = 0; i < read.size(); ++i) {
                differed[i] = differed[i] || read[i] != written[i];
            }
            link.updateEepromMemory(true); // the second read of the same write is right
            QCOMPARE(link.stored(), written);
        }
        QCOMPARE(differed, std::vector<bool>(6, true)); // all six must be checked
        QCOMPARE(m_bench.faults(cameraSerial).eepromReadbackDiffers, 0);
    }

    void writeInTheMiddleOfAStreamLeavesItRunning()
    {
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        om::_mag_calib_data record = makeRecord(0.02F, 0.02F, 0.02F, 1.0F, 2.0F, 3.0F);
        QCOMPARE(link.writeMagCalibInEEprom(record), 0);
        link.updateEepromMemory(true);
        QVERIFY(link.captureRunning);
        QCOMPARE(int(link.getIMUReaderData().linkValid), 1);
    }

    void writeThatCanNotBeKeptFailsAndLeavesTheFormerCalibration()
    {
        qputenv("OM_TIV_STATE_DIR", "/proc/gravimon");
        m_bench.reset();
        addCamera(cameraSerial, om::MODEL::TIV_Q);
        Link link;
        link.openIt();
        link.startCapture(0.0F);
        om::_mag_calib_data record = makeRecord(0.03F, 0.02F, 0.04F, -2.5F, -1.5F, 3.5F);
        QCOMPARE(link.writeMagCalibInEEprom(record), toInt(om::ERROR_CODE::FAILURE));
        link.updateEepromMemory(true);
        QCOMPARE(link.stored(), (std::vector<float>{1.0F, 1.0F, 1.0F, 0.0F, 0.0F, 0.0F}));
        QVERIFY(m_bench.calibration(cameraSerial).isNeutral());
        QCOMPARE(int(link.getIMUReaderData().linkValid), 1);
    }

    // Log.

    void callsAreLoggedWithTheirArguments()
    {
        m_bench.log().setHighRate(true);
        {
            om::TIVmcu link(false, vendorId, om::MODEL::TIV_Q, false, "bench:30000001");
            link.open(cameraSerial, false, om::IMU_ODR_400_HZ, nullptr, nullptr, true, false);
            link.startCapture(0.0F);
            link.getIMUReaderData();
            link.getIMUPose(6);
            link.calcMagHeading({1.0F, 2.0F, 3.0F}, {4.0F, 5.0F, 6.0F});
            link.stopCapture();
            om::_mag_calib_data record = makeRecord(0.5F, 0.25F, 2.0F, -2.5F, -1.5F, 3.5F);
            link.writeMagCalibInEEprom(record);
            link.updateEepromMemory(true);
            link.close();
        }
        std::vector<CALL> calls;
        for (const CallRecord& record : m_bench.log().records()) {
            calls.push_back(record.call);
        }
        QCOMPARE(calls, (std::vector<CALL>{CALL::MCU_CONSTRUCT, CALL::MCU_OPEN,
                                           CALL::MCU_START_CAPTURE, CALL::MCU_GET_READER_DATA,
                                           CALL::MCU_GET_POSE, CALL::MCU_CALC_MAG_HEADING,
                                           CALL::MCU_STOP_CAPTURE, CALL::MCU_WRITE_MAG_CALIB,
                                           CALL::MCU_UPDATE_EEPROM, CALL::MCU_CLOSE}));
        const auto numbers = [this](CALL call) { return m_bench.log().last(call)->numbers; };
        QCOMPARE(numbers(CALL::MCU_CONSTRUCT), (std::vector<double>{0, 0x7C15, 3, 0}));
        QCOMPARE(m_bench.log().last(CALL::MCU_CONSTRUCT)->text, std::string("bench:30000001"));
        QCOMPARE(numbers(CALL::MCU_OPEN), (std::vector<double>{0, 2, 0, 0, 1, 0}));
        QCOMPARE(numbers(CALL::MCU_START_CAPTURE), (std::vector<double>{0}));
        QCOMPARE(numbers(CALL::MCU_WRITE_MAG_CALIB),
                 (std::vector<double>{0.5, 0.25, 2.0, -2.5, -1.5, 3.5}));
        QCOMPARE(numbers(CALL::MCU_UPDATE_EEPROM), (std::vector<double>{1}));
        QCOMPARE(numbers(CALL::MCU_CALC_MAG_HEADING), (std::vector<double>{1, 2, 3, 4, 5, 6}));
        QCOMPARE(m_bench.log().last(CALL::MCU_GET_READER_DATA)->value, 2);
        QCOMPARE(m_bench.log().last(CALL::MCU_GET_POSE)->value, 6);
        for (const CallRecord& record : m_bench.log().records()) {
            QCOMPARE(record.serialNumber, record.call == CALL::MCU_CONSTRUCT ? 0U : cameraSerial);
        }
    }

    void refusedCallsAreLoggedWithTheirResult()
    {
        m_bench.changeFaults(cameraSerial,
                             [](Faults& faults) { faults.eepromWriteRefused = true; });
        Link link;
        link.openIt(77);
        QCOMPARE(m_bench.log().last(CALL::MCU_OPEN)->result, toInt(om::ERROR_CODE::NOT_DETECTED));
        QCOMPARE(m_bench.log().last(CALL::MCU_OPEN)->serialNumber, 77U);
        link.openIt();
        om::_mag_calib_data record = makeRecord(1, 1, 1, 0, 0, 0);
        link.writeMagCalibInEEprom(record);
        QCOMPARE(m_bench.log().last(CALL::MCU_WRITE_MAG_CALIB)->result,
                 toInt(om::ERROR_CODE::FAILURE));
    }
};

QTEST_GUILESS_MAIN(McuTest)
#include "tst_mcu.moc"
