/// A camera that is unplugged and plugged in again and again, on the stepped clock.

#include "camera/DetectionThread.h"
#include "camera/InputThreadModul.h"
#include "camerafixture.h"
#include "support/waiting.h"

#include <QDir>
#include <QtTest>

#include <atomic>
#include <memory>

#include <malloc.h>

using namespace camerafixture;

namespace {

struct Resources
{
    int threads = 0;
    int descriptors = 0;
    qint64 heapKiB = 0; ///< in use; 0 with the allocator of a sanitizer
    std::size_t gpuBlocks = 0;
};

int entries(const char* folder)
{
    return QDir(QString::fromLatin1(folder)).entryList(QDir::AllEntries | QDir::System).size();
}

Resources resources()
{
    bench().log().clear();
    const struct mallinfo2 heap = mallinfo2();
    return {entries("/proc/self/task"), entries("/proc/self/fd"),
            static_cast<qint64>(heap.uordblks + heap.hblkhd) / 1024, gpuBlocks()};
}

/// Moves the bench's clock until the condition holds.
template <typename Condition>
bool stepUntil(const Condition& condition)
{
    return waiting::waitFor([&] {
        if (condition()) {
            return true;
        }
        bench().clock().advance(std::chrono::milliseconds(5));
        return false;
    });
}

} // namespace

class TestPlugCycles : public QObject
{
    Q_OBJECT

private:
    DetectionThread m_detection;

    std::size_t listed()
    {
        m_detection.start();
        return m_detection.wait(waiting::patienceMs) ? m_detection.devices.size() : 99;
    }

    /// From the camera in the list to the empty list: it is opened, gives frames and samples, and
    /// is lost.
    void cycle()
    {
        QCOMPARE(listed(), std::size_t(1));
        InputThreadModul input;
        std::atomic<int> images{0};
        std::atomic<int> losses{0};
        connect(
            &input, &InputThreadModul::SendImage, &input, [&] { ++images; }, Qt::DirectConnection);
        connect(
            &input, &InputThreadModul::DetectTIVDisconnect, &input, [&] { ++losses; },
            Qt::DirectConnection);
        input.enableToStart(true);
        QCOMPARE(input.live(static_cast<int>(cameraSerial)), 0);
        QVERIFY(input.CreateMemories());
        input.startGrabbing();
        om::SensorsData record;
        std::uint64_t first = 0;
        QVERIFY(stepUntil([&] {
            if (input.camera.getSensorsData(record, omlib::current) != omlib::success) {
                return false;
            }
            first = first == 0 ? record.imu.timestamp : first;
            return images > 0 && record.imu.timestamp > first;
        }));

        QVERIFY(bench().unplug(cameraSerial));
        QVERIFY(stepUntil([&] { return losses == 1; }));
        QCOMPARE(input.camera.getSensorsData(record, omlib::current), omlib::cameraGone);
        QVERIFY(input.wait(waiting::patienceMs));
        QCOMPARE(listed(), std::size_t(0));
        QVERIFY(bench().plug(cameraSerial));
    }

private slots:
    void manyCyclesLeaveNothingBehind()
    {
        // With more, also a few bytes a cycle show (docs/reliability.md).
        bool isNumber = false;
        const int set = qEnvironmentVariableIntValue("GRAVIMON_PLUG_CYCLES", &isNumber);
        const int cycles = isNumber ? set : 20;
        setUp();
        bench().clock().setManual(bench().clock().now());
        for (int i = 0; i < 10 && !QTest::currentTestFailed(); ++i) {
            cycle();
        }
        const Resources before = resources();
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < cycles && !QTest::currentTestFailed(); ++i) {
            cycle();
            bench().log().clear();
        }
        // The system still lists a thread for a moment after Qt reports its end.
        Resources after;
        const bool nothingLeft = waiting::waitFor([&] {
            after = resources();
            return after.threads <= before.threads && after.descriptors <= before.descriptors &&
                   after.gpuBlocks <= before.gpuBlocks;
        });
        qInfo("%d cycles in %.1f s: threads %d -> %d, descriptors %d -> %d, heap in use %lld -> "
              "%lld KiB, blocks of GPU memory %zu -> %zu",
              cycles, static_cast<double>(timer.elapsed()) / 1000.0, before.threads, after.threads,
              before.descriptors, after.descriptors, before.heapKiB, after.heapKiB,
              before.gpuBlocks, after.gpuBlocks);
        QVERIFY(nothingLeft);
        constexpr qint64 slackKiB = 256; // 26 bytes a cycle of 10,000
        QVERIFY(after.heapKiB - before.heapKiB < slackKiB);
    }
};

QTEST_GUILESS_MAIN(TestPlugCycles)
#include "tst_plug_cycles.moc"
