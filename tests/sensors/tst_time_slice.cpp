// The time slice of a thread. Each test runs in a thread of its own, because a slice stays.

#include "sensors/time_slice.h"

#include <QTest>

#include <chrono>
#include <optional>
#include <thread>

class TestTimeslice : public QObject
{
    Q_OBJECT

private slots:
    void theAnswerSaysWhetherTheThreadHasTheShortestSlice()
    {
        std::optional<std::chrono::nanoseconds> before;
        std::optional<std::chrono::nanoseconds> after;
        bool accepted = false;
        std::thread([&] {
            before = timeslice::of(0);
            accepted = timeslice::requestShortest();
            after = timeslice::of(0);
        }).join();
        if (!before) {
            QVERIFY(!accepted);
            QSKIP(
                "this system does not report the time slice and does not let the thread choose it");
        }
        if (*before == std::chrono::nanoseconds(0)) {
            QVERIFY(after == before);
            QSKIP("this kernel is older than 6.12 and ignores a requested time slice");
        }
        QCOMPARE(accepted, after == timeslice::shortest);
    }

    void aThreadThatIsNotThereHasNone()
    {
        QVERIFY(!timeslice::of(-1));
        QVERIFY(!timeslice::of(0x7FFFFFFF));
    }
};

QTEST_GUILESS_MAIN(TestTimeslice)
#include "tst_time_slice.moc"
