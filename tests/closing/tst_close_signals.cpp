#include "closing/close_signals.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDialog>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QTimer>
#include <QtTest>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>

#include <sys/syscall.h>
#include <unistd.h>

namespace {

/// Records how it is closed.
class Window : public QWidget
{
public:
    explicit Window(std::function<void()> onClose = nullptr) : m_onClose(std::move(onClose))
    {
        show();
    }
    int closed = 0;

protected:
    void closeEvent(QCloseEvent* event) override
    {
        ++closed;
        if (m_onClose) {
            m_onClose();
        }
        QWidget::closeEvent(event);
    }

private:
    std::function<void()> m_onClose;
};

void raiseLater(int number)
{
    QTimer::singleShot(0, qApp, [number] { std::raise(number); });
}

/// A handler that the program has installed before.
extern "C" void former(int) {}

void (*handlerOf(int number))(int)
{
    struct sigaction action = {};
    sigaction(number, nullptr, &action);
    return action.sa_handler;
}

constexpr int survived = 3;
constexpr std::int64_t nsPerSecond = 1'000'000'000;

/// ns; what the process is shown of the steady clock while it is held, else 0.
std::atomic<std::int64_t> heldTime{0};

std::int64_t steadyTime()
{
    timespec time = {};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &time);
    return time.tv_sec * nsPerSecond + time.tv_nsec;
}

/// Holds the steady clock for the life of the object.
class HeldClock
{
public:
    HeldClock() { heldTime = steadyTime(); }
    ~HeldClock() { heldTime = 0; }
    HeldClock(const HeldClock&) = delete;
    HeldClock& operator=(const HeldClock&) = delete;

    /// Longer than the time in which signals count as one.
    static void letTimePass() { heldTime += (CloseSignals::together + 1) * nsPerSecond / 1000; }
};

/// Signals while the first one is not handled: two at once, and a later one. Returns only if that
/// doesn't end the process.
int heldUp()
{
    const HeldClock clock;
    std::raise(SIGTERM);
    std::raise(SIGHUP);
    std::puts("two are one");
    std::fflush(stdout);
    HeldClock::letTimePass();
    std::raise(SIGTERM);
    return survived;
}

/// One run of a program that doesn't reach the end of its window.
int live(const char* life)
{
    int status = 0;
    const bool closesInOrder = std::strcmp(life, "long close") == 0;
    Window window([&] {
        if (closesInOrder) {
            const HeldClock clock;
            HeldClock::letTimePass();
            std::raise(SIGTERM);
            status = survived;
        } else {
            status = heldUp();
        }
    });
    const CloseSignals closeSignals(&window);
    if (std::strcmp(life, "blocked") == 0) {
        return heldUp();
    }
    std::raise(SIGTERM);
    QApplication::exec();
    return status;
}

} // namespace

/// The executable's definition comes before that of the C library.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    const std::int64_t held = heldTime;
    if (clock != CLOCK_MONOTONIC || held == 0) {
        return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    }
    time->tv_sec = held / nsPerSecond;
    time->tv_nsec = held % nsPerSecond;
    return 0;
}

class TestCloseSignals : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QApplication::setQuitOnLastWindowClosed(false); }

    void eachSignalClosesTheWindow_data()
    {
        QTest::addColumn<int>("number");
        QTest::newRow("SIGINT") << SIGINT;
        QTest::newRow("SIGTERM") << SIGTERM;
        QTest::newRow("SIGHUP") << SIGHUP;
    }

    void eachSignalClosesTheWindow()
    {
        QFETCH(int, number);
        Window window;
        const CloseSignals closeSignals(&window);
        QVERIFY(std::raise(number) == 0);
        QVERIFY(window.isVisible()); // closing is the loop's task
        QTRY_VERIFY(!window.isVisible());
        QCOMPARE(window.closed, 1);
    }

    void eachSignalIsTakenOnce()
    {
        Window window;
        const CloseSignals closeSignals(&window);
        for (int closed = 1; closed <= 2; ++closed) {
            window.show();
            std::raise(SIGTERM);
            QTRY_VERIFY(!window.isVisible());
            QCOMPARE(window.closed, closed);
        }
        window.show();
        for (int pass = 0; pass < 10; ++pass) {
            QCoreApplication::processEvents();
        }
        QVERIFY(window.isVisible());
    }

    void aSignalDuringACloseThatTakesLongEndsNothing()
    {
        QProcess process;
        process.start(QCoreApplication::applicationFilePath(),
                      {QStringLiteral("--live"), QStringLiteral("long close")});
        QVERIFY(process.waitForFinished(60000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), survived);
    }

    void anIgnoredSignalStaysIgnored()
    {
        std::signal(SIGHUP, SIG_IGN);
        {
            Window window;
            const CloseSignals closeSignals(&window);
            QVERIFY(handlerOf(SIGHUP) == SIG_IGN);
            QVERIFY(std::raise(SIGHUP) == 0);
            // The loop handles them in their order.
            QVERIFY(std::raise(SIGTERM) == 0);
            QTRY_VERIFY(!window.isVisible());
            QCOMPARE(window.closed, 1);
        }
        QVERIFY(handlerOf(SIGHUP) == SIG_IGN);
        std::signal(SIGHUP, SIG_DFL);
    }

    void theFormerHandlersComeBack()
    {
        std::signal(SIGINT, former);
        const auto terminate = handlerOf(SIGTERM); // the test library has its own
        const auto hangUp = handlerOf(SIGHUP);
        {
            Window window;
            const CloseSignals closeSignals(&window);
            QVERIFY(handlerOf(SIGINT) != former);
            QVERIFY(handlerOf(SIGTERM) != terminate && handlerOf(SIGHUP) != hangUp);
        }
        QVERIFY(handlerOf(SIGINT) == former);
        QVERIFY(handlerOf(SIGTERM) == terminate);
        QVERIFY(handlerOf(SIGHUP) == hangUp);
        std::signal(SIGINT, SIG_DFL);
    }

    void aDialogIsLeftBeforeTheWindowCloses()
    {
        Window window;
        const CloseSignals closeSignals(&window);
        QDialog outer(&window);
        QDialog inner;
        QStringList order;
        connect(&outer, &QDialog::finished, this, [&](int result) {
            order << QStringLiteral("outer %1 %2").arg(result).arg(window.closed);
        });
        connect(&inner, &QDialog::finished, this, [&](int result) {
            order << QStringLiteral("inner %1 %2").arg(result).arg(window.closed);
        });
        QTimer::singleShot(0, &outer, [&] {
            raiseLater(SIGTERM);
            inner.exec();
        });
        outer.exec();
        QCOMPARE(order, QStringList({"inner 0 0", "outer 0 0"}));
        QTRY_VERIFY(!window.isVisible());
        QCOMPARE(window.closed, 1);
    }

    void aQuestionGetsNoAnswer_data()
    {
        QTest::addColumn<int>("buttons");
        QTest::newRow("one button") << 1; // which closing the box would press
        QTest::newRow("two buttons") << 2;
    }

    void aQuestionGetsNoAnswer()
    {
        QFETCH(int, buttons);
        Window window;
        const CloseSignals closeSignals(&window);
        QMessageBox box;
        for (int i = 0; i < buttons; ++i) {
            box.addButton(QString::number(i), QMessageBox::AcceptRole);
        }
        raiseLater(SIGTERM);
        box.exec();
        QVERIFY(box.clickedButton() == nullptr);
        QVERIFY(window.isVisible());
        QTRY_VERIFY(!window.isVisible());
    }

    void theWindowClosesBeforeMessagesOfItsOwn()
    {
        Window window;
        const CloseSignals closeSignals(&window);
        QMessageBox lower(&window);
        QMessageBox upper(&window);
        QStringList order;
        const auto watch = [&](QMessageBox& box, const QString& name) {
            box.addButton(QStringLiteral("Ok"), QMessageBox::AcceptRole);
            connect(&box, &QDialog::finished, this,
                    [&, name] { order << QStringLiteral("%1 %2").arg(name).arg(window.closed); });
        };
        watch(lower, QStringLiteral("lower"));
        watch(upper, QStringLiteral("upper"));
        QTimer::singleShot(0, &lower, [&] {
            raiseLater(SIGTERM);
            upper.exec();
        });
        lower.exec();
        QCOMPARE(order, QStringList({"upper 1", "lower 1"}));
        QVERIFY(upper.clickedButton() == nullptr && lower.clickedButton() == nullptr);
    }

    void aFurtherSignalEndsAProgramThatIsHeldUp_data()
    {
        QTest::addColumn<QString>("life");
        QTest::newRow("before the loop has taken the first") << "blocked";
        QTest::newRow("while the window closes") << "close event";
    }

    void aFurtherSignalEndsAProgramThatIsHeldUp()
    {
        QFETCH(QString, life);
        QProcess process;
        process.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--live"), life});
        QVERIFY(process.waitForFinished(60000));
        QCOMPARE(process.readAllStandardOutput(), QByteArray("two are one\n"));
        QCOMPARE(process.exitStatus(), QProcess::CrashExit);
        QCOMPARE(process.exitCode(), SIGTERM);
    }
};

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    if (argc == 3 && std::strcmp(argv[1], "--live") == 0) {
        return live(argv[2]);
    }
    TestCloseSignals test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_close_signals.moc"
