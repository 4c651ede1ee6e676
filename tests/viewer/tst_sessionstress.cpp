#include "support/viewersession.h"
#include "support/waiting.h"

#include <QDir>
#include <QRegularExpression>

#include <malloc.h>

using namespace viewersession;
using om::MODEL;
using om::bench::CALL;

namespace {

constexpr unsigned int first = 20000001;
constexpr unsigned int second = 20000002;
/// Fewer with a sanitizer, which makes each of them slower.
const int rounds = qEnvironmentVariableIntValue("GRAVIMON_STRESS_ROUNDS");

struct Resources
{
    int threads = 0;
    QStringList descriptors; ///< the meaning of each, sorted
    qint64 heapKiB = 0;      ///< in use; 0 with the allocator of a sanitizer
};

Resources resources()
{
    Resources now;
    bench().log().clear();
    now.threads =
        QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
    const QDir descriptors(QStringLiteral("/proc/self/fd"));
    for (const QFileInfo& entry :
         descriptors.entryInfoList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)) {
        // The numbers of sockets and pipes change when they are created again.
        now.descriptors << QString(entry.symLinkTarget()).remove(QRegularExpression("\\[.*"));
    }
    now.descriptors.sort();
    const struct mallinfo2 heap = mallinfo2();
    now.heapKiB = static_cast<qint64>(heap.uordblks + heap.hblkhd) / 1024;
    return now;
}

} // namespace

/// Hundreds of losses and of changes of row in one process.
class TestSessionStress : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Viewer> m_viewer;
    QVector<std::thread*> m_leftBehind;

    void start()
    {
        bench().reset();
        bench().addCamera(camera(MODEL::TIV_Q, first));
        bench().addCamera(camera(MODEL::TIV_N, second));
        m_viewer = std::make_unique<Viewer>();
        QTRY_VERIFY(m_viewer->streams(first));
    }

    /// Both cameras are unplugged and plugged in again.
    void loseAndFind()
    {
        auto& probe = m_viewer->probe;
        std::thread* const handle = probe.dataThread;
        bench().unplug(first);
        bench().unplug(second);
        QTRY_VERIFY(!m_viewer->ui->comboBox_camera_list->isEnabled());
        if (probe.dataThread == handle) {
            m_leftBehind << handle; // the thread saw the loss by itself, and nobody joins it
        }
        QVERIFY(probe.detectionThread.wait(waiting::patienceMs)); // for the list of no cameras
        bench().plug(first);
        bench().plug(second);
        // Calls the next two ticks of the poll, to save the time of waiting for them.
        probe.updateDeviceList(false);
        QVERIFY(probe.detectionThread.wait(waiting::patienceMs));
        QVERIFY(m_viewer->window->detectMultipleDevice());
        QTRY_VERIFY(m_viewer->streams(first));
    }

    /// Memory that each open keeps by design: the 3D view builds a new scene and keeps the old one.
    qint64 sceneKiB()
    {
        constexpr int scenes = 20;
        m_viewer->window->reset(); // the sensor thread must not turn a scene that is being built
        const Resources before = resources();
        for (int i = 0; i < scenes; ++i) {
            m_viewer->ui->widget_3d_view->InitProcess();
            QCoreApplication::processEvents();
        }
        const qint64 each = qMax<qint64>(0, (resources().heapKiB - before.heapKiB) / scenes);
        m_viewer->window->createLiveInput();
        return each;
    }

    /// All series as if each were of the IMU's pace.
    qint64 seriesKiB()
    {
        constexpr qint64 count = 37;
        const QMutexLocker lock(&m_viewer->probe.dataMutex);
        return count * m_viewer->probe.accX.capacity() * qint64{sizeof(double)} / 1024;
    }

    void compare(const Resources& before, const Resources& after, qint64 scene)
    {
        // What grows by design: old scenes, and the series of the rows without a loss in between.
        const qint64 scenes = scene * rounds;
        const qint64 series = seriesKiB();
        qInfo("threads %d -> %d, descriptors %d -> %d, heap in use %lld -> %lld KiB, of which %lld "
              "KiB are old scenes and up to %lld KiB samples",
              before.threads, after.threads, before.descriptors.size(), after.descriptors.size(),
              before.heapKiB, after.heapKiB, scenes, series);
        // Less than one in so many rounds: a thread may be ending, or have a file open, at this
        // very moment, and Qt's pool has some that come and go.
        constexpr int rare = 4;
        QVERIFY((after.threads - before.threads) * rare < rounds);
        QVERIFY2(
            (after.descriptors.size() - before.descriptors.size()) * rare < rounds,
            qPrintable(before.descriptors.join(' ') + "\nbecame\n" + after.descriptors.join(' ')));
        constexpr qint64 slackKiB = 2 * 1024; // 50 KiB a round of the release build
        QVERIFY(after.heapKiB - before.heapKiB < scenes * 11 / 10 + series + slackKiB);
    }

    void change(int row)
    {
        m_viewer->ui->comboBox_camera_list->setCurrentIndex(row);
        QTRY_VERIFY(m_viewer->streams(row == 0 ? first : second));
    }

private slots:
    void initTestCase() { QVERIFY2(rounds > 0, "GRAVIMON_STRESS_ROUNDS is not set"); }

    void cleanup()
    {
        m_viewer.reset();
        for (std::thread* thread : qAsConst(m_leftBehind)) {
            thread->join();
            delete thread;
        }
        m_leftBehind.clear();
    }

    void manyLossesLeaveNothingBehind()
    {
        start();
        for (int i = 0; i < 10; ++i) {
            loseAndFind();
        }
        const qint64 scene = sceneKiB();
        QTRY_VERIFY(m_viewer->streams(first));
        const Resources before = resources();
        for (int i = 0; i < rounds && !QTest::currentTestFailed(); ++i) {
            loseAndFind();
        }
        compare(before, resources(), scene);
    }

    void manyChangesOfRowLeaveNothingBehind()
    {
        start();
        for (int i = 0; i < 6; ++i) {
            change(i % 2 == 0 ? 1 : 0);
        }
        change(1);
        const qint64 large = sceneKiB();
        QTRY_VERIFY(m_viewer->streams(second));
        change(0);
        const qint64 scene = (large + sceneKiB()) / 2;
        QTRY_VERIFY(m_viewer->streams(first));
        const Resources before = resources();
        for (int i = 0; i < rounds && !QTest::currentTestFailed(); ++i) {
            change(i % 2 == 0 ? 1 : 0);
        }
        const auto opens = static_cast<int>(bench().log().count(CALL::OPEN));
        compare(before, resources(), scene);
        QCOMPARE(opens, rounds);
    }
};

QTEST_MAIN(TestSessionStress)
#include "tst_sessionstress.moc"
