// The library late_threads.so, which ctest preloads here with the seed 1.

#include <QTest>
#include <QVector>

#include <thread>

#include <time.h>

namespace {

thread_local QVector<long> pauses; ///< ms, of the thread

} // namespace

// Stands before the C library's own: the test sees the pauses and does not wait for them.
extern "C" int clock_nanosleep(clockid_t /*clock*/, int /*flags*/, const timespec* time,
                               timespec* /*rest*/)
{
    pauses.append(static_cast<long>(time->tv_sec) * 1000 + time->tv_nsec / 1'000'000);
    return 0;
}

class TestLateThreads : public QObject
{
    Q_OBJECT

private slots:
    void threadsBeginLateAsTheSeedDetermines()
    {
        constexpr int count = 100;
        int late = 0;
        int different = 0;
        long before = 0;
        for (int i = 0; i < count; ++i) {
            QVector<long> seen;
            std::thread([&seen] { seen = pauses; }).join();
            QVERIFY(seen.size() <= 1);
            const long pause = seen.isEmpty() ? 0 : seen.first();
            QVERIFY(pause >= 0 && pause <= 600);
            late += pause > 0 ? 1 : 0;
            different += pause != before ? 1 : 0;
            before = pause;
        }
        QVERIFY2(late > 60 && late < 90, qPrintable(QString::number(late)));
        QVERIFY2(different > 60, qPrintable(QString::number(different)));
    }

    void threadsEndLateAfterTheirLastStatement()
    {
        int late = 0;
        for (int i = 0; i < 100; ++i) {
            struct AtEnd
            {
                int* late;
                ~AtEnd() { *late += pauses.isEmpty() ? 0 : 1; }
            };
            std::thread([&late] {
                // Destroyed when the thread has ended, before the pauses, which are older.
                pauses.clear();
                thread_local AtEnd end{&late};
                Q_UNUSED(end);
            }).join();
        }
        QVERIFY2(late > 10 && late < 40, qPrintable(QString::number(late)));
    }
};

QTEST_APPLESS_MAIN(TestLateThreads)
#include "tst_late_threads.moc"
