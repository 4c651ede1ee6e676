#include "camera/short_sleep.h"
#include "support/sidethread.h"
#include "support/waiting.h"

#include <QtTest>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <pthread.h>

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

std::atomic<int> signalsSeen{0};

void countSignal(int)
{
    signalsSeen.fetch_add(1, std::memory_order_relaxed);
}

} // namespace

class TestShortSleep : public QObject
{
    Q_OBJECT

private slots:
    void sleepsForTheWholeTime();
    void signalDoesNotCutItShort();
};

void TestShortSleep::sleepsForTheWholeTime()
{
    const Clock::time_point start = Clock::now();
    sleepWhole(1ms);
    QVERIFY(Clock::now() - start >= 1ms);
}

void TestShortSleep::signalDoesNotCutItShort()
{
    // Without SA_RESTART and with a handler: a sleep in progress ends with EINTR.
    struct sigaction action = {};
    struct sigaction before = {};
    action.sa_handler = countSignal;
    QCOMPARE(sigaction(SIGUSR1, &action, &before), 0);

    std::atomic<bool> done{false};
    Clock::duration shortest = Clock::duration::max();
    SideThread sleeper([&](const std::atomic<bool>& stop) {
        // A sleep may be over before the signals on a machine that stood still.
        do {
            const Clock::time_point start = Clock::now();
            sleepWhole(300ms);
            shortest = std::min(shortest, Clock::now() - start);
        } while (signalsSeen < 2 && !stop);
        done = true;
    });
    QVERIFY(waiting::waitFor([&] {
        pthread_kill(sleeper.handle(), SIGUSR1);
        return done.load();
    }));
    sleeper.join();
    sigaction(SIGUSR1, &before, nullptr);

    QVERIFY(signalsSeen > 1);
    QVERIFY(shortest >= 300ms);
}

QTEST_APPLESS_MAIN(TestShortSleep)
#include "tst_short_sleep.moc"
