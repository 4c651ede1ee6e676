#include "support/sidethread.h"

#include "base/clock.h"

#include <QtTest>

#include <atomic>
#include <thread>
#include <vector>

using om::bench::Clock;
using om::bench::Nanoseconds;
using om::bench::nsPerMs;
using om::bench::nsPerS;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

Nanoseconds wallClock()
{
    return static_cast<Nanoseconds>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                        std::chrono::system_clock::now().time_since_epoch())
                                        .count());
}

} // namespace

class TestClock : public QObject
{
    Q_OBJECT

private slots:
    void theRealClockShowsTheWallClocksTime();
    void theRealClockNeverRunsBackward();
    void aStoppedClockStands();
    void stoppingKeepsTheTime();
    void advanceMovesAStoppedClockOnly();
    void aStoppedClockIsNotMovedBack();
    void theRealClockGoesOnFromALaterStoppedTime();
    void theRealClockCatchesUpAfterAnEarlierStoppedTime();
    void resetGoesBackToTheSystemsTime();
    void waitEndsAtTheDeadlineOfTheRealClock();
    void waitEndsWhenAStepReachesTheDeadline();
    void aStepShortOfTheDeadlineDoesNotEndTheWait();
    void waitEndsAtTheLimitOfRealTime();
    void waitEndsWhenDone();
    void aReachedDeadlineDoesNotWait();
    void waitersAreCounted();
    void resetWakesThoseWhoWait();
};

void TestClock::theRealClockShowsTheWallClocksTime()
{
    const Clock clock;
    QVERIFY(!clock.isManual());
    const auto difference = static_cast<std::int64_t>(clock.now() - wallClock());
    QVERIFY(qAbs(difference) < 5 * static_cast<std::int64_t>(nsPerS));
}

void TestClock::theRealClockNeverRunsBackward()
{
    const Clock clock;
    std::atomic<int> backward{0};
    std::vector<std::thread> threads;
    threads.reserve(2);
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            Nanoseconds last = 0;
            for (int n = 0; n < 20000; ++n) {
                const Nanoseconds now = clock.now();
                backward += now < last ? 1 : 0;
                last = now;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    QCOMPARE(backward.load(), 0);
}

void TestClock::aStoppedClockStands()
{
    Clock clock;
    clock.setManual(5 * nsPerS);
    QVERIFY(clock.isManual());
    QCOMPARE(clock.now(), 5 * nsPerS);
    QCOMPARE(clock.now(), 5 * nsPerS);
}

void TestClock::stoppingKeepsTheTime()
{
    Clock clock;
    const Nanoseconds before = clock.now();
    clock.setManual();
    const Nanoseconds stopped = clock.now();
    QVERIFY(stopped >= before && stopped <= Clock().now()); // all clocks show the same time
    QCOMPARE(clock.now(), stopped);
}

void TestClock::advanceMovesAStoppedClockOnly()
{
    Clock clock;
    clock.advance(seconds(100000));
    QVERIFY(clock.now() < wallClock() + 50000 * nsPerS);
    clock.setManual(nsPerS);
    clock.advance(milliseconds(3));
    clock.advance(7);
    QCOMPARE(clock.now(), nsPerS + 3 * nsPerMs + 7);
}

void TestClock::aStoppedClockIsNotMovedBack()
{
    Clock clock;
    clock.setManual(5 * nsPerS);
    clock.setManual(3 * nsPerS);
    QCOMPARE(clock.now(), 5 * nsPerS);
    clock.setManual(6 * nsPerS);
    QCOMPARE(clock.now(), 6 * nsPerS);
}

void TestClock::theRealClockGoesOnFromALaterStoppedTime()
{
    Clock clock;
    clock.setManual();
    clock.advance(seconds(1000));
    const Nanoseconds stopped = clock.now();
    clock.setReal();
    const Nanoseconds now = clock.now();
    QVERIFY(now >= stopped);
    QVERIFY(now - stopped < 500 * nsPerS);
}

void TestClock::theRealClockCatchesUpAfterAnEarlierStoppedTime()
{
    Clock clock;
    clock.setManual(5 * nsPerS);
    clock.setReal();
    QVERIFY(clock.now() + 500 * nsPerS > wallClock());
}

void TestClock::resetGoesBackToTheSystemsTime()
{
    Clock clock;
    clock.setManual();
    clock.advance(seconds(1000));
    clock.setReal();
    clock.reset();
    QVERIFY(!clock.isManual());
    QVERIFY(clock.now() < wallClock() + 5 * nsPerS);
}

void TestClock::waitEndsAtTheDeadlineOfTheRealClock()
{
    Clock clock;
    const Nanoseconds deadline = clock.now() + 20 * nsPerMs;
    QVERIFY(clock.waitUntil(deadline, seconds(10)));
    QVERIFY(clock.now() >= deadline);
}

void TestClock::waitEndsWhenAStepReachesTheDeadline()
{
    Clock clock;
    clock.setManual(nsPerS);
    std::atomic<bool> reached{false};
    SideThread waiter([&] { reached = clock.waitUntil(2 * nsPerS, seconds(30)); });
    QTRY_COMPARE(clock.waiters(), 1);
    clock.advance(seconds(1));
    waiter.join();
    QVERIFY(reached);
}

void TestClock::aStepShortOfTheDeadlineDoesNotEndTheWait()
{
    Clock clock;
    clock.setManual(nsPerS);
    std::atomic<Nanoseconds> endedAt{0};
    std::atomic<int> looks{0};
    SideThread waiter([&] {
        clock.waitUntil(2 * nsPerS, seconds(30), [&] {
            ++looks;
            return false;
        });
        endedAt = clock.now();
    });
    QTRY_COMPARE(looks.load(), 1);
    clock.advance(milliseconds(999));
    QTRY_COMPARE(looks.load(), 2); // the step wakes it, and it continues to wait
    clock.wake();
    QTRY_COMPARE(looks.load(), 3);
    QCOMPARE(endedAt.load(), Nanoseconds{0});
    clock.advance(milliseconds(1));
    waiter.join();
    QCOMPARE(endedAt.load(), 2 * nsPerS);
}

void TestClock::waitEndsAtTheLimitOfRealTime()
{
    Clock clock;
    clock.setManual(nsPerS);
    const auto start = std::chrono::steady_clock::now();
    QVERIFY(!clock.waitUntil(2 * nsPerS, milliseconds(30)));
    QVERIFY(std::chrono::steady_clock::now() - start >= milliseconds(30));
}

void TestClock::waitEndsWhenDone()
{
    Clock clock;
    clock.setManual(nsPerS);
    std::atomic<bool> done{false};
    std::atomic<bool> reached{false};
    SideThread waiter(
        [&] { reached = clock.waitUntil(UINT64_MAX, seconds(30), [&] { return done.load(); }); });
    QTRY_COMPARE(clock.waiters(), 1);
    done = true;
    clock.wake();
    waiter.join();
    QVERIFY(reached);
}

void TestClock::aReachedDeadlineDoesNotWait()
{
    Clock clock;
    clock.setManual(nsPerS);
    QVERIFY(clock.waitUntil(nsPerS, milliseconds(0)));
    QVERIFY(!clock.waitUntil(nsPerS + 1, milliseconds(0)));
}

void TestClock::waitersAreCounted()
{
    Clock clock;
    clock.setManual(nsPerS);
    QCOMPARE(clock.waiters(), 0);
    SideThread one([&] { clock.waitUntil(2 * nsPerS, seconds(30)); });
    SideThread two([&] { clock.waitUntil(3 * nsPerS, seconds(30)); });
    QTRY_COMPARE(clock.waiters(), 2);
    clock.advance(seconds(1));
    QTRY_COMPARE(clock.waiters(), 1);
    clock.advance(seconds(1));
    one.join();
    two.join();
    QCOMPARE(clock.waiters(), 0);
}

void TestClock::resetWakesThoseWhoWait()
{
    Clock clock;
    clock.setManual(nsPerS);
    SideThread waiter([&] { clock.waitUntil(2 * nsPerS, seconds(30)); });
    QTRY_COMPARE(clock.waiters(), 1);
    clock.reset(); // to a time long past the deadline
    waiter.join();
    QCOMPARE(clock.waiters(), 0);
}

QTEST_GUILESS_MAIN(TestClock)
#include "tst_clock.moc"
