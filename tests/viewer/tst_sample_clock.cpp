#include "viewer/sample_clock.h"

#include <QtTest>

using sensorsample::SampleClock;
using Verdict = SampleClock::Verdict;

class TestSampleClock : public QObject
{
    Q_OBJECT

private slots:
    void timeStampsBelowOneMicrosecondAreAbsent()
    {
        SampleClock clock;
        QCOMPARE(clock.look(0), Verdict::Absent);
        QCOMPARE(clock.look(999), Verdict::Absent);
        // None of them was the first one.
        QCOMPARE(clock.look(1000), Verdict::First);
        QCOMPARE(clock.look(500), Verdict::Absent);
        QCOMPARE(clock.look(1999), Verdict::Repeat);
    }

    void theFirstTimeStampOnlySetsTheClock()
    {
        SampleClock clock;
        QCOMPARE(clock.look(5'000'000), Verdict::First);
        QCOMPARE(clock.look(7'500'000), Verdict::New);
        QCOMPARE(clock.rate(), 400.0);
    }

    void theSameMicrosecondIsARepeat()
    {
        SampleClock clock;
        clock.look(5'000'000);
        QCOMPARE(clock.look(5'000'999), Verdict::Repeat);
        QCOMPARE(clock.look(5'001'000), Verdict::New);
        QCOMPARE(clock.rate(), 1e6);
        QCOMPARE(clock.look(5'001'001), Verdict::Repeat);
        QCOMPARE(clock.rate(), 1e6);
    }

    void anEarlierTimeStampCountsAsNew()
    {
        SampleClock clock;
        clock.look(5'000'000);
        QCOMPARE(clock.look(4'000'000), Verdict::New);
    }

    void theRateIsOneOverTheTimeSinceTheLastNewSample()
    {
        SampleClock clock;
        clock.look(1'000'000'000);
        clock.look(1'000'000'000 + 20'000'000);
        QCOMPARE(clock.rate(), 50.0);
        clock.look(1'000'000'000 + 20'000'000);
        clock.look(1'000'000'000 + 60'000'000);
        QCOMPARE(clock.rate(), 25.0);
    }
};

QTEST_GUILESS_MAIN(TestSampleClock)
#include "tst_sample_clock.moc"
