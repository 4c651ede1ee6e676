#include "support/viewersession.h"
#include "support/waiting.h"

#include <QProcess>
#include <QSemaphore>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

using namespace viewersession;
using om::MODEL;

namespace {

constexpr unsigned int serial = 20000001;
constexpr int terminated = 42;
constexpr int terminatedOutOfOrder = 43;

// For tests in which the process ends.
std::atomic<bool> inputDeleted{false};
std::atomic<bool> listing{false};
bool isOrderAsked = false;

bool waitFor(const std::function<bool()>& condition)
{
    return QTest::qWaitFor(condition, 30000);
}

/// One run of the program. 0 after a regular end.
int live(const QByteArray& life)
{
    std::set_terminate([] {
        const bool inOrder = !isOrderAsked || (inputDeleted && listing);
        std::_Exit(inOrder ? terminated : terminatedOutOfOrder);
    });
    bench().reset();
    bench().addCamera(camera(MODEL::TIV_Q, serial));
    auto window = std::make_unique<MainWindow>();
    MainWindowProbe probe{*window};
    window->show();
    const auto streams = [&] { return probe.dataThreadRunning && !probe.cameraLost; };
    if (!waitFor(streams)) {
        return 1;
    }
    if (life != "close") {
        bench().unplug(serial);
        // It sees the loss by itself.
        if (!waiting::waitFor([&] { return !probe.dataThreadRunning; })) {
            return 4;
        }
        if (!waitFor([&] { return !probe.ui->comboBox_camera_list->isEnabled(); })) {
            return 2;
        }
    }
    if (life == "plug again") {
        bench().plug(serial);
        if (!waitFor(streams)) {
            return 3;
        }
    }
    window->close();
    if (life == "lose during a list") {
        isOrderAsked = true;
        probe.inputThread = new InputThreadModul;
        QObject::connect(probe.inputThread.load(), &QObject::destroyed,
                         [] { inputDeleted = true; });
        QSemaphore begun;
        QSemaphore never;
        bench().setDeviceListHook([&] {
            listing = true;
            begun.release();
            (void)waiting::acquire(never);
            listing = false;
        });
        if (!probe.detectionThread.wait(waiting::patienceMs)) {
            return 5;
        }
        probe.detectionThread.start();
        if (!waiting::acquire(begun)) {
            return 6;
        }
    }
    window.reset();
    return 0;
}

} // namespace

/// How the process ends; each end in a separate process.
class TestExitAfterLoss : public QObject
{
    Q_OBJECT

private slots:
    void theEndOfTheProcess_data()
    {
        QTest::addColumn<QString>("life");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("closed while streaming") << "close" << 0;
        // The sensor thread that detected the loss is not joined.
        QTest::newRow("closed after a loss") << "lose" << terminated;
        // After the input thread, and before a device list under way is waited for.
        QTest::newRow("closed after a loss, during a list") << "lose during a list" << terminated;
        // The next camera's thread has replaced that of the lost one.
        QTest::newRow("closed after the camera came back") << "plug again" << 0;
    }

    void theEndOfTheProcess()
    {
        QFETCH(QString, life);
        QFETCH(int, exitCode);
        QProcess process;
        process.setProcessChannelMode(QProcess::ForwardedChannels);
        process.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--live"), life});
        QVERIFY(process.waitForFinished(90000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), exitCode);
    }
};

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    if (argc == 3 && std::strcmp(argv[1], "--live") == 0) {
        return live(argv[2]);
    }
    TestExitAfterLoss test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_exitafterloss.moc"
