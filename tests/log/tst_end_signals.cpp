#include "log/end_signals.h"

#include <QtTest>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

using samplelog::EndSignals;

namespace {

constexpr std::chrono::nanoseconds atOnce{0};

/// The wait status of a child in which SIGTERM has come, and that then does this and ends with 0.
int statusAfterSigterm(bool (*work)(EndSignals&))
{
    const pid_t child = ::fork();
    if (child == 0) {
        std::signal(SIGTERM, SIG_DFL);
        std::signal(SIGHUP, SIG_DFL);
        bool done = false;
        {
            EndSignals end;
            std::raise(SIGTERM);
            done = end.wait(atOnce) && work(end);
        }
        ::_exit(done ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return status;
}

} // namespace

class TestEndSignals : public QObject
{
    Q_OBJECT

private slots:
    void signalsTogetherCountAsOne()
    {
        const auto begin = std::chrono::steady_clock::now();
        const int status = statusAfterSigterm([](EndSignals& end) {
            std::raise(SIGHUP);
            return end.wait(atOnce) && !end.wait(atOnce);
        });
        // On a machine that stood still in between, they may be two.
        QVERIFY(status == 0 || std::chrono::steady_clock::now() - begin > EndSignals::together);
    }

    void signalsThatWereNotReadAreDropped()
    {
        const int status = statusAfterSigterm([](EndSignals& /*end*/) {
            return std::raise(SIGTERM) == 0 && std::raise(SIGHUP) == 0;
        });
        QCOMPARE(status, 0);
    }

    void laterSignalEndsTheProgram()
    {
        const int status = statusAfterSigterm([](EndSignals& end) {
            const bool came = end.wait(EndSignals::together + std::chrono::milliseconds(1));
            std::raise(SIGHUP);
            return !came && end.wait(atOnce);
        });
        QVERIFY(WIFSIGNALED(status));
        QCOMPARE(WTERMSIG(status), SIGHUP);
    }
};

QTEST_APPLESS_MAIN(TestEndSignals)
#include "tst_end_signals.moc"
