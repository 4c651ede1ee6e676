#include "viewer/series_growth.h"

#include <QTest>

#include <algorithm>
#include <array>

namespace {

using Series = SeriesGrowth::Series;

constexpr int reserved = 24000; // as the window reserves

/// A value of its own for each position, so that none can be lost or swapped unnoticed.
double valueAt(int i)
{
    return i * 0.5 - 7.0;
}

/// A series that grows step by step, beside a vector that grows by itself.
struct Pair
{
    Pair(std::size_t count, std::size_t which, int capacity) : growth(count), number(which)
    {
        stepped.reserve(capacity);
        plain.reserve(capacity);
    }

    void append(double value)
    {
        stepped.append(value);
        plain.append(value);
        growth.step(number, stepped);
    }

    SeriesGrowth growth;
    std::size_t number;
    Series stepped;
    Series plain;
};

/// As many series as the window has, each with the capacity that it reserves.
struct AllSeries
{
    static constexpr std::size_t count = 33;

    AllSeries()
    {
        for (Series& each : series) {
            each.reserve(reserved);
        }
    }

    SeriesGrowth growth{count};
    std::array<Series, count> series;
};

} // namespace

class TestSeriesGrowth : public QObject
{
    Q_OBJECT

private slots:
    void nextCapacityIsOneThatAVectorCanHave_data()
    {
        QTest::addColumn<int>("capacity");
        QTest::addColumn<int>("next");
        QTest::newRow("of a minute") << reserved << 32'765;
        QTest::newRow("of two days") << 67'108'861 << 134'217'725;
        QTest::newRow("of three days") << 134'217'725 << 268'435'452; // no block of 2 GiB
        QTest::newRow("the largest one") << 268'435'452 << 0;
    }

    void nextCapacityIsOneThatAVectorCanHave()
    {
        QFETCH(const int, capacity);
        QFETCH(const int, next);
        QCOMPARE(SeriesGrowth::nextCapacity(capacity), next);
        Series series;
        series.reserve(next); // address space only
        QVERIFY(series.capacity() >= next);
    }

    void everySizeHasTheContentOfPlainAppends_data()
    {
        QTest::addColumn<int>("number");
        QTest::addColumn<int>("capacity");
        for (const int capacity : {0, 1, 2, 13, 100, 1000}) {
            for (const int number : {0, 16, 32}) {
                QTest::addRow("series %d, capacity %d", number, capacity) << number << capacity;
            }
        }
    }

    void everySizeHasTheContentOfPlainAppends()
    {
        QFETCH(int, number);
        QFETCH(int, capacity);
        Pair pair(33, static_cast<std::size_t>(number), capacity);
        for (int i = 0; i < 2500; ++i) {
            pair.append(valueAt(i));
            QVERIFY(pair.stepped == pair.plain);
        }
    }

    void contentStaysThroughAllDoublingsOfAnHour()
    {
        Pair pair(1, 0, reserved);
        for (int i = 0; i < 3600 * 400; ++i) {
            pair.append(valueAt(i));
        }
        QVERIFY(pair.stepped == pair.plain);
    }

    void noAppendReallocates_data()
    {
        QTest::addColumn<int>("capacity");
        QTest::newRow("as reserved") << reserved;
        QTest::newRow("small") << 50;
    }

    void noAppendReallocates()
    {
        QFETCH(int, capacity);
        for (std::size_t number = 0; number < 33; ++number) {
            SeriesGrowth growth(33);
            Series series;
            series.reserve(capacity);
            for (int i = 0; i < 70'000; ++i) {
                const double* const place = series.constData();
                series.append(valueAt(i));
                if (series.constData() != place) {
                    QFAIL(qPrintable(QStringLiteral("series %1 at %2").arg(number).arg(i)));
                }
                growth.step(number, series);
            }
        }
    }

    void capacitiesAreThoseOfAVectorThatGrowsByItself()
    {
        Pair pair(33, 32, reserved);
        QVector<int> stepped{pair.stepped.capacity()};
        QVector<int> plain = stepped;
        const auto note = [](QVector<int>& capacities, const Series& series) {
            if (series.capacity() != capacities.last()) {
                capacities << series.capacity();
            }
        };
        for (int i = 0; i < 300'000; ++i) {
            pair.append(valueAt(i));
            note(stepped, pair.stepped);
            note(plain, pair.plain);
        }
        QCOMPARE(stepped, (QVector<int>{24000, 32765, 65533, 131069, 262141, 524285}));
        QCOMPARE(plain, stepped);
    }

    void aStepCopiesNoMoreThanTheStride()
    {
        Pair pair(1, 0, reserved);
        int before = 0;
        int most = 0;
        for (int i = 0; i < 200'000; ++i) {
            pair.append(valueAt(i));
            most = std::max(most, pair.growth.copied(0) - before);
            before = pair.growth.copied(0);
        }
        QCOMPARE(most, SeriesGrowth::stride);
    }

    void copiesHoldLessThanAQuarterAgain()
    {
        // As the window has them: series 0 to 17, 20 and 30 to 32 of IMU pace, the others slower.
        AllSeries all;
        double most = 0.0;
        for (int i = 0; i < 140'000; ++i) {
            double held = 0.0;
            double twice = 0.0;
            for (std::size_t n = 0; n < AllSeries::count; ++n) {
                const bool fast = n < 18 || n == 20 || n >= 30;
                if (fast || i % 8 == 0) {
                    all.series[n].append(valueAt(i));
                }
                all.growth.step(n, all.series[n]);
                held += all.series[n].size();
                twice += all.growth.copied(n);
            }
            for (const OldSeries& replaced : all.growth.takeReplaced()) {
                twice += replaced.elements().size();
            }
            most = std::max(most, twice / held);
        }
        QVERIFY2(most > 0.0 && most < 0.25, qPrintable(QString::number(most)));
    }

    void seriesOfOneLengthAreReplacedOneAfterAnother()
    {
        AllSeries all;
        std::size_t replaced = 0;
        for (int i = 0; i < reserved; ++i) {
            for (std::size_t n = 0; n < AllSeries::count; ++n) {
                all.series[n].append(valueAt(i));
                all.growth.step(n, all.series[n]);
            }
            const auto now = all.growth.takeReplaced();
            QVERIFY(now.size() <= 1);
            replaced += now.size();
        }
        QCOMPARE(replaced, AllSeries::count);
    }

    void theReplacedSeriesIsHandedOutOnceAndWhole()
    {
        Pair pair(1, 0, reserved);
        int size = 0;
        while (pair.stepped.capacity() == reserved) {
            pair.append(valueAt(size++));
        }
        const auto replaced = pair.growth.takeReplaced();
        QCOMPARE(replaced.size(), std::size_t{1});
        const Series& old = replaced.front().elements();
        QCOMPARE(old.capacity(), reserved);
        QVERIFY(old == pair.plain);
        QVERIFY2(old.isDetached() && pair.stepped.isDetached(), "nothing is shared");
        QVERIFY(pair.growth.takeReplaced().empty());
    }

    void aSeriesClearedDuringACopyLosesNothingThatFollows_data()
    {
        QTest::addColumn<int>("copied");
        for (const int copied : {1, 1000, 17'000}) {
            QTest::addRow("after %d elements", copied) << copied;
        }
    }

    void aSeriesClearedDuringACopyLosesNothingThatFollows()
    {
        QFETCH(int, copied);
        SeriesGrowth growth(1);
        Series series;
        series.reserve(reserved);
        for (int i = 0; growth.copied(0) < copied; ++i) {
            QVERIFY(i < reserved);
            series.append(-1.0);
            growth.step(0, series);
        }
        series = Series();
        series.reserve(reserved);
        growth.reset();
        QCOMPARE(growth.copied(0), 0);
        Series expected;
        for (int i = 0; i < 70'000; ++i) {
            series.append(valueAt(i));
            expected.append(valueAt(i));
            growth.step(0, series);
        }
        QVERIFY(series == expected);
    }

    void aSeriesThatOutrunsItsCopyKeepsEveryElement()
    {
        // Two appends per step at first, then so many that the vector has to grow by itself.
        Pair pair(1, 0, 1000);
        int i = 0;
        while (pair.growth.copied(0) == 0) {
            pair.append(valueAt(i++));
        }
        for (const int burst : {2, 40, 5000, 1, 1}) {
            for (int n = 1; n < burst; ++n, ++i) {
                pair.stepped.append(valueAt(i));
                pair.plain.append(valueAt(i));
            }
            pair.append(valueAt(i++));
            QVERIFY(pair.stepped == pair.plain);
        }
        while (i < 100'000) {
            pair.append(valueAt(i++));
        }
        QVERIFY(pair.stepped == pair.plain);
    }

    void anOldSeriesLeavesASharedCopyAsItWas()
    {
        Series series;
        for (int i = 0; i < 1'000'000; ++i) {
            series.append(valueAt(i));
        }
        Series expected = series;
        expected.detach();
        const Series shared = series;
        {
            const OldSeries old(std::move(series));
        }
        QVERIFY(shared == expected);
    }

    void anOldSeriesReturnsNothingBesideItsElements_data()
    {
        QTest::addColumn<int>("capacity");
        for (const int capacity : {0, 1, 510, 512, 1024, 100'000, 131'069, 131'072, 300'000}) {
            QTest::addRow("%d", capacity) << capacity;
        }
    }

    void anOldSeriesReturnsNothingBesideItsElements()
    {
        QFETCH(int, capacity);
        // On the heap one block follows the other.
        std::vector<std::vector<double>> before;
        std::vector<std::vector<double>> behind;
        std::vector<OldSeries> old;
        for (int i = 0; i < 4; ++i) {
            before.emplace_back(1000, valueAt(i));
            Series series;
            series.reserve(capacity);
            series.fill(valueAt(i), capacity);
            old.emplace_back(std::move(series));
            behind.emplace_back(1000, valueAt(i));
        }
        old.clear();
        for (std::size_t i = 0; i < 4; ++i) {
            const std::vector<double> expected(1000, valueAt(static_cast<int>(i)));
            QVERIFY(before[i] == expected);
            QVERIFY(behind[i] == expected);
        }
    }

    void aSharedSeriesLeavesItsCopiesAsTheyWere()
    {
        Pair pair(1, 0, reserved);
        int i = 0;
        while (pair.growth.copied(0) == 0) {
            pair.append(valueAt(i++));
        }
        const Series shared = pair.stepped;
        const Series expected = pair.plain;
        while (pair.growth.copied(0) != 0) {
            pair.append(valueAt(i++));
        }
        QVERIFY(shared == expected);
        QVERIFY(pair.stepped == pair.plain);
    }
};

QTEST_GUILESS_MAIN(TestSeriesGrowth)
#include "tst_series_growth.moc"
