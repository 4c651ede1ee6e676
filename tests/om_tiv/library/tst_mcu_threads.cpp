#include "bench/virtual_camera.h"
#include "library/the_bench.h"

#include <om_tiv/om_tiv.h>

#include <QtTest>

#include <atomic>
#include <cmath>
#include <cstring>
#include <thread>

using namespace om::bench;

namespace {

constexpr unsigned int serial = 30000001;

/// Like the dialog's thread, without a pause: reads, and on a new reading gets the pose and the
/// heading.
class Reader
{
public:
    explicit Reader(om::TIVmcu& link) : m_thread([this, &link] { run(link); }) {}
    ~Reader() { stop(); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    void stop()
    {
        m_stop = true;
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }

    std::atomic<int> valid{0};
    std::atomic<int> invalid{0};
    std::atomic<int> readings{0};
    std::atomic<int> wrong{0}; ///< records that no sensor can produce

private:
    void run(om::TIVmcu& link)
    {
        while (!m_stop) {
            const om::IMUReaderData data = link.getIMUReaderData();
            if (data.linkValid != 1) {
                ++invalid;
                wrong += data.magState != 0 || data.timestamp != 0 ? 1 : 0;
                std::this_thread::yield();
                continue;
            }
            ++valid;
            if (data.magState != 2) {
                continue;
            }
            ++readings;
            const om::IMUPose pose = link.getIMUPose(6);
            const float heading = link.calcMagHeading(
                {pose.magUncalibrated[0], pose.magUncalibrated[1], pose.magUncalibrated[2]},
                {pose.acceleration[0], pose.acceleration[1], pose.acceleration[2]});
            wrong += heading >= 0.0F && heading < 6.2831853F ? 0 : 1;
            const double strength =
                std::hypot(data.mag[0] * 0.0625, data.mag[1] * 0.0625, data.mag[2] * 0.0625);
            wrong += strength > 5.0 && strength < 120.0 ? 0 : 1;
        }
    }

    std::atomic<bool> m_stop{false};
    std::thread m_thread; ///< last: it uses the others
};

int openLink(om::TIVmcu& link)
{
    return link.open(serial, false, om::IMU_ODR_400_HZ, nullptr, nullptr, true, false);
}

} // namespace

class McuThreadsTest : public QObject
{
    Q_OBJECT

private:
    Bench& m_bench = theBench();

private slots:
    void init()
    {
        m_bench.reset();
        CameraConfig config;
        config.model = om::MODEL::TIV_Q;
        config.serialNumber = serial;
        QVERIFY(m_bench.addCamera(config));
    }

    void storeBesideAReadingThread()
    {
        om::TIVmcu link(false, 0x7C15, om::MODEL::TIV_Q, false, "");
        QCOMPARE(openLink(link), 0);
        link.startCapture(0.0F);
        Reader reader(link);
        QTRY_VERIFY(reader.readings > 0);
        for (int store = 0; store < 30; ++store) {
            QVERIFY(link.captureRunning);
            link.stopCapture();
            om::_mag_calib_data record{};
            const float scale = store % 2 == 0 ? 1.0F : 0.02F;
            const float values[3] = {scale, scale, scale};
            std::memcpy(record.scale, values, sizeof values);
            QCOMPARE(link.writeMagCalibInEEprom(record), 0);
            link.updateEepromMemory(true);
            QCOMPARE(link.storedMagCalib[0], scale);
            const int before = reader.readings;
            link.startCapture(0.0F);
            QTRY_VERIFY(reader.readings > before);
        }
        reader.stop();
        QCOMPARE(reader.invalid.load(), 0); // no new reading is not a failure
        QCOMPARE(reader.wrong.load(), 0);
    }

    void writeWhileCaptureRunsBesideAReadingThread()
    {
        om::TIVmcu link(false, 0x7C15, om::MODEL::TIV_Q, false, "");
        QCOMPARE(openLink(link), 0);
        link.startCapture(0.0F);
        Reader reader(link);
        QTRY_VERIFY(reader.readings > 0);
        for (int write = 0; write < 30; ++write) {
            om::_mag_calib_data record{};
            const float values[3] = {0.02F, 0.02F, 0.02F};
            std::memcpy(record.scale, values, sizeof values);
            QCOMPARE(link.writeMagCalibInEEprom(record), 0);
            link.updateEepromMemory(true);
        }
        const int before = reader.readings;
        QTRY_VERIFY(reader.readings > before);
        reader.stop();
        QCOMPARE(reader.invalid.load(), 0);
        QCOMPARE(reader.wrong.load(), 0);
    }

    void closingAndOpeningBesideAReadingThread()
    {
        om::TIVmcu link(false, 0x7C15, om::MODEL::TIV_Q, false, "");
        Reader reader(link);
        for (int round = 0; round < 30; ++round) {
            QCOMPARE(openLink(link), 0);
            link.startCapture(0.0F);
            const int before = reader.valid;
            QTRY_VERIFY(reader.valid > before);
            link.close();
        }
        reader.stop();
        QCOMPARE(reader.wrong.load(), 0);
    }

    void unpluggingBesideAReadingThread()
    {
        om::TIVmcu link(false, 0x7C15, om::MODEL::TIV_Q, false, "");
        Reader reader(link);
        for (int round = 0; round < 30; ++round) {
            QCOMPARE(openLink(link), 0);
            link.startCapture(0.0F);
            const int before = reader.valid;
            QTRY_VERIFY(reader.valid > before);
            m_bench.unplug(serial);
            const int lost = reader.invalid;
            QTRY_VERIFY(reader.invalid > lost);
            link.stopCapture();
            m_bench.plug(serial);
        }
        reader.stop();
        QCOMPARE(reader.wrong.load(), 0);
    }

    void faultsBesideAReadingThread()
    {
        om::TIVmcu link(false, 0x7C15, om::MODEL::TIV_Q, false, "");
        QCOMPARE(openLink(link), 0);
        link.startCapture(0.0F);
        Reader reader(link);
        for (int round = 0; round < 30; ++round) {
            m_bench.changeFaults(serial, [](Faults& faults) { faults.mcuSilent = true; });
            const int silent = reader.invalid;
            QTRY_VERIFY(reader.invalid > silent);
            m_bench.setFaults(serial, {});
            const int answering = reader.valid;
            QTRY_VERIFY(reader.valid > answering);
        }
        reader.stop();
        QCOMPARE(reader.wrong.load(), 0);
    }
};

QTEST_GUILESS_MAIN(McuThreadsTest)
#include "tst_mcu_threads.moc"
