#include "support/viewersession.h"

#include <QDir>

#include <malloc.h>

using namespace viewersession;
using om::MODEL;
using om::bench::CALL;

namespace {

constexpr unsigned int first = 20000001;
constexpr unsigned int second = 20000002;
constexpr int rounds = 200;

struct Resources
{
    int threads = 0;
    int descriptors = 0;
    qint64 heapKiB = 0; ///< in use; 0 where a sanitizer has put its own allocator in place
};

Resources resources()
{
    Resources now;
    now.threads =
        QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
    now.descriptors = QDir(QStringLiteral("/proc/self/fd"))
                          .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
                          .size();
    const struct mallinfo2 heap = mallinfo2();
    now.heapKiB = static_cast<qint64>(heap.uordblks + heap.hblkhd) / 1024;
    return now;
}

} // namespace

/// Two hundred losses and two hundred changes of row in one process.
class TestSessionStress : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Viewer> viewer;
    QVector<std::thread*> leftBehind;

    void start()
    {
        bench().reset();
        bench().addCamera(camera(MODEL::TIV_Q, first));
        bench().addCamera(camera(MODEL::TIV_N, second));
        viewer = std::make_unique<Viewer>();
        QTRY_VERIFY(viewer->streams(first));
    }

    /// Both cameras go and come back.
    void loseAndFind()
    {
        auto& probe = viewer->probe;
        std::thread* const handle = probe.dataThread;
        bench().unplug(first);
        bench().unplug(second);
        QTRY_VERIFY(!viewer->ui->comboBox_camera_list->isEnabled());
        if (probe.dataThread == handle) {
            leftBehind << handle; // the thread saw the loss by itself, and nobody joins it
        }
        bench().plug(first);
        bench().plug(second);
        // Two ticks ahead of the poll, to save the time of waiting for them.
        probe.updateDeviceList(false);
        QVERIFY(probe.detectionThread.wait());
        QVERIFY(viewer->window->detectMultipleDevice());
        QTRY_VERIFY(viewer->streams(first));
    }

    /// What each open leaves behind by design: the 3D view builds a new scene and keeps the old
    /// one.
    qint64 sceneKiB()
    {
        constexpr int scenes = 20;
        viewer->window->reset(); // the sensor thread must not turn a scene that is being built
        const Resources before = resources();
        for (int i = 0; i < scenes; ++i) {
            viewer->ui->widget_3d_view->InitProcess();
            QCoreApplication::processEvents();
        }
        const qint64 each = qMax<qint64>(0, (resources().heapKiB - before.heapKiB) / scenes);
        viewer->window->createLiveInput();
        return each;
    }

    void compare(const Resources& before, const Resources& after, qint64 scene)
    {
        qInfo("threads %d -> %d, descriptors %d -> %d, heap in use %lld -> %lld KiB, of which %lld "
              "KiB are old scenes",
              before.threads, after.threads, before.descriptors, after.descriptors, before.heapKiB,
              after.heapKiB, scene * rounds);
        QCOMPARE(after.threads, before.threads);
        QCOMPARE(after.descriptors, before.descriptors);
        constexpr qint64 slackKiB = 10 * 1024; // samples, logs of the bench up to their bound
        QVERIFY(after.heapKiB - before.heapKiB < scene * rounds * 11 / 10 + slackKiB);
    }

    void change(int row)
    {
        viewer->ui->comboBox_camera_list->setCurrentIndex(row);
        QTRY_VERIFY(viewer->streams(row == 0 ? first : second));
    }

private slots:
    void cleanup()
    {
        viewer.reset();
        for (std::thread* thread : qAsConst(leftBehind)) {
            thread->join();
            delete thread;
        }
        leftBehind.clear();
    }

    void twoHundredLossesLeaveNothingBehind()
    {
        start();
        for (int i = 0; i < 10; ++i) {
            loseAndFind();
        }
        const qint64 scene = sceneKiB();
        QTRY_VERIFY(viewer->streams(first));
        const Resources before = resources();
        for (int i = 0; i < rounds && !QTest::currentTestFailed(); ++i) {
            loseAndFind();
        }
        compare(before, resources(), scene);
    }

    void twoHundredChangesOfRowLeaveNothingBehind()
    {
        start();
        for (int i = 0; i < 6; ++i) {
            change(i % 2 == 0 ? 1 : 0);
        }
        const qint64 scene = sceneKiB();
        QTRY_VERIFY(viewer->streams(first));
        const Resources before = resources();
        for (int i = 0; i < rounds && !QTest::currentTestFailed(); ++i) {
            change(i % 2 == 0 ? 1 : 0);
        }
        compare(before, resources(), scene);
        QCOMPARE(bench().log().count(CALL::OPEN), 1 + 6 + 1 + static_cast<quint64>(rounds));
    }
};

QTEST_MAIN(TestSessionStress)
#include "tst_sessionstress.moc"
