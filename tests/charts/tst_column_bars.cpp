#include "charts/column_bars.h"

#include <QtTest>

#include <qwt_scale_map.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <utility>

#include <sys/mman.h>
#include <unistd.h>

using columnbars::Pen;
using columnbars::PixelMap;
using columnbars::reduce;
using columnbars::Reduction;
using columnbars::Span;
using columnbars::Stroke;

namespace columnbars {
bool operator==(const Span& a, const Span& b)
{
    return a.first == b.first && a.last == b.last;
}
} // namespace columnbars

namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinite = std::numeric_limits<double>::infinity();

// One unit of x is a pixel, one unit of y a pixel upward from row 100.
QwtScaleMap xScale()
{
    QwtScaleMap map;
    map.setScaleInterval(0.0, 200.0);
    map.setPaintInterval(0.0, 200.0);
    return map;
}

QwtScaleMap yScale()
{
    QwtScaleMap map;
    map.setScaleInterval(0.0, 100.0);
    map.setPaintInterval(100.0, 0.0);
    return map;
}

const QRect clip(-2, -2, 204, 104);

struct Samples
{
    std::vector<double> x;
    std::vector<double> y;

    void add(double time, double value)
    {
        x.push_back(time);
        y.push_back(value);
    }
    // `count` samples on the pixel column, all of the value
    void fill(int column, int count, double value)
    {
        for (int i = 0; i < count; ++i) {
            add(column - 0.4 + 0.8 * i / count, value);
        }
    }
    Reduction reduced(const Pen& pen = {2}) const
    {
        return reduce(x.data(), y.data(), {0, static_cast<int>(x.size()) - 1}, PixelMap(xScale()),
                      PixelMap(yScale()), clip, pen);
    }
};

// Memory between two pages that can't be accessed: a read before or behind it ends the program.
class GuardedMemory
{
public:
    GuardedMemory()
    {
        void* const memory =
            ::mmap(nullptr, 3 * m_page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory != MAP_FAILED) {
            m_memory = static_cast<double*>(memory);
            m_accessible = ::mprotect(begin(), m_page, PROT_READ | PROT_WRITE) == 0;
        }
    }
    GuardedMemory(const GuardedMemory&) = delete;
    GuardedMemory& operator=(const GuardedMemory&) = delete;
    ~GuardedMemory()
    {
        if (m_memory != nullptr) {
            ::munmap(m_memory, 3 * m_page);
        }
    }

    bool isAccessible() const { return m_accessible; }
    double* begin() { return m_memory + m_page / sizeof(double); }
    double* end() { return begin() + m_page / sizeof(double); }

private:
    const std::size_t m_page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)); // bytes
    double* m_memory = nullptr;
    bool m_accessible = false;
};

} // namespace

Q_DECLARE_METATYPE(std::vector<QRect>)
Q_DECLARE_METATYPE(columnbars::Stroke)

class TestColumnBars : public QObject
{
    Q_OBJECT

private slots:
    void denseColumnBecomesOneBar();
    void barIsAsWideAsThePen();
    void barReachesFromLowestToHighestValue();
    void neighboursMeetHalfWay();
    void columnsGoingBackAreJoinedToo();
    void sparseSamplesBecomeOneLine();
    void shortRunsAreLeftToTheLine();
    void lineJoinsTwoRunsAcrossAGap();
    void sampleThatIsNoNumberLeavesAGap_data();
    void sampleThatIsNoNumberLeavesAGap();
    void samplesBesideTheCanvasLeaveNoBar();
    void lineFromFarOffTheCanvasIsKept();
    void valuesFarOffTheCanvasAreCut();
    void singleSampleLeavesNothing();
    void onlyTheGivenSpanCounts();
    void onlyTheGivenSamplesAreRead_data();
    void onlyTheGivenSamplesAreRead();
    void mirroredTimeAxisGivesTheMirroredBars();
    void axisWithoutWidthGivesOneColumn();
    void seriesInOrderHasTheBarsOfOneInDisorder_data();
    void seriesInOrderHasTheBarsOfOneInDisorder();

    void scaledMapHasThePixelsOfTheDevice();
    void fineStrokeIsAsHighAsThePenWhereTheCurveIsLevel();
    void fineStrokeEndsSoonerWhereTheCurveIsSteep();
    void fineStrokeCrossesTheColumnsBetweenSamples_data();
    void fineStrokeCrossesTheColumnsBetweenSamples();
    void fineStrokeBeginsAtTheBorderOfTwoColumns_data();
    void fineStrokeBeginsAtTheBorderOfTwoColumns();
    void fineStrokeComesStraightFromFarOffTheCanvas();
    void fineStrokeLeavesAGapAtASampleThatIsNoNumber();
    void fineStrokeOfOneSampleLeavesNothing();
};

void TestColumnBars::denseColumnBecomesOneBar()
{
    Samples samples;
    samples.fill(50, 40, 30.0);
    const Reduction reduction = samples.reduced();
    QCOMPARE(reduction.bars, std::vector<QRect>{QRect(49, 69, 2, 2)});
    QVERIFY(reduction.lines.empty());
}

void TestColumnBars::barIsAsWideAsThePen()
{
    Samples samples;
    samples.fill(50, 40, 30.0);
    QCOMPARE(samples.reduced({1}).bars, std::vector<QRect>{QRect(50, 70, 1, 1)});
    QCOMPARE(samples.reduced({3}).bars, std::vector<QRect>{QRect(49, 69, 3, 3)});
    QCOMPARE(samples.reduced({4}).bars, std::vector<QRect>{QRect(48, 68, 4, 4)});
}

void TestColumnBars::barReachesFromLowestToHighestValue()
{
    Samples samples;
    samples.fill(50, 40, 30.0);
    samples.y[7] = 80.0;
    samples.y[23] = 10.0;
    QCOMPARE(samples.reduced().bars, std::vector<QRect>{QRect(49, 19, 2, 72)});
}

void TestColumnBars::neighboursMeetHalfWay()
{
    Samples samples;
    samples.fill(50, 20, 30.0);
    samples.fill(51, 20, 50.0);
    samples.fill(52, 20, 40.0);
    const std::vector<QRect> expected{QRect(49, 59, 2, 12), // rows 60 to 70
                                      QRect(50, 49, 2, 12), // 50 to 60, and to 55 on the right
                                      QRect(51, 54, 2, 7)}; // 55 to 60
    QCOMPARE(samples.reduced().bars, expected);
    QVERIFY(samples.reduced().lines.empty());
}

void TestColumnBars::columnsGoingBackAreJoinedToo()
{
    Samples samples;
    samples.fill(50, 20, 30.0);
    samples.fill(49, 20, 50.0);
    const std::vector<QRect> expected{QRect(49, 59, 2, 12), QRect(48, 49, 2, 12)};
    QCOMPARE(samples.reduced().bars, expected);
}

void TestColumnBars::sparseSamplesBecomeOneLine()
{
    Samples samples;
    for (int i = 0; i < 50; ++i) {
        samples.add(4.0 * i, 50.0 + i % 7);
    }
    const Reduction reduction = samples.reduced();
    QVERIFY(reduction.bars.empty());
    QCOMPARE(reduction.lines, (std::vector<Span>{{0, 49}}));
}

void TestColumnBars::shortRunsAreLeftToTheLine()
{
    Samples samples;
    samples.fill(20, columnbars::shortestRun - 1, 30.0);
    samples.fill(40, columnbars::shortestRun - 1, 40.0);
    const Reduction reduction = samples.reduced();
    QVERIFY(reduction.bars.empty());
    QCOMPARE(reduction.lines, (std::vector<Span>{{0, 2 * columnbars::shortestRun - 3}}));
}

void TestColumnBars::lineJoinsTwoRunsAcrossAGap()
{
    Samples samples;
    samples.add(10.0, 10.0);
    samples.fill(20, 40, 30.0);
    samples.fill(60, 40, 40.0);
    samples.add(90.0, 90.0);
    const Reduction reduction = samples.reduced();
    QCOMPARE(reduction.bars, (std::vector<QRect>{QRect(19, 69, 2, 2), QRect(59, 59, 2, 2)}));
    QCOMPARE(reduction.lines, (std::vector<Span>{{0, 1}, {40, 41}, {80, 81}}));
}

void TestColumnBars::sampleThatIsNoNumberLeavesAGap_data()
{
    QTest::addColumn<double>("time");
    QTest::addColumn<double>("value");
    QTest::newRow("value is no number") << 50.0 << notANumber;
    QTest::newRow("value is infinite") << 50.0 << infinite;
    QTest::newRow("value is negative infinite") << 50.0 << -infinite;
    QTest::newRow("time is no number") << notANumber << 30.0;
    QTest::newRow("time is infinite") << infinite << 30.0;
}

void TestColumnBars::sampleThatIsNoNumberLeavesAGap()
{
    QFETCH(double, time);
    QFETCH(double, value);

    Samples dense;
    dense.fill(50, 20, 30.0);
    dense.add(time, value);
    dense.fill(51, 20, 50.0);
    QCOMPARE(dense.reduced().bars, (std::vector<QRect>{QRect(49, 69, 2, 2), QRect(50, 49, 2, 2)}));
    QVERIFY(dense.reduced().lines.empty());

    Samples sparse;
    for (int i = 0; i < 10; ++i) {
        sparse.add(10.0 * i, 10.0 * i);
    }
    sparse.x[4] = time;
    sparse.y[4] = value;
    QVERIFY(sparse.reduced().bars.empty());
    QCOMPARE(sparse.reduced().lines, (std::vector<Span>{{0, 3}, {5, 9}}));

    Samples nothing;
    for (int i = 0; i < 50; ++i) {
        nothing.add(time, value);
    }
    QVERIFY(nothing.reduced().bars.empty());
    QVERIFY(nothing.reduced().lines.empty());
}

void TestColumnBars::samplesBesideTheCanvasLeaveNoBar()
{
    Samples samples;
    for (int i = 0; i < 4000; ++i) {
        samples.add(-1000.0 + i * 0.25, 30.0 + i % 2); // up to the left end of the canvas
    }
    const Reduction left = samples.reduced();
    QVERIFY(left.lines.empty());
    QVERIFY(!left.bars.empty());
    QVERIFY(left.bars.size() <= 4);
    QVERIFY(left.bars.front().left() >= clip.left());

    for (double& x : samples.x) {
        x = 200.0 + (x + 1000.0);
    }
    const Reduction right = samples.reduced();
    QVERIFY(right.lines.empty());
    QVERIFY(!right.bars.empty());
    QVERIFY(right.bars.size() <= 4);
    QVERIFY(right.bars.back().right() <= clip.right());
}

void TestColumnBars::lineFromFarOffTheCanvasIsKept()
{
    Samples samples;
    samples.fill(-300, 20, 90.0);
    samples.fill(100, 20, 30.0);
    samples.fill(700, 20, 90.0);
    const Reduction reduction = samples.reduced();
    QCOMPARE(reduction.bars, std::vector<QRect>{QRect(99, 69, 2, 2)});
    QCOMPARE(reduction.lines, (std::vector<Span>{{19, 20}, {39, 40}}));
}

void TestColumnBars::valuesFarOffTheCanvasAreCut()
{
    Samples samples;
    samples.fill(50, 40, 30.0);
    samples.y[5] = 1e300;
    samples.y[6] = -1e300;
    QCOMPARE(samples.reduced().bars, std::vector<QRect>{QRect(49, clip.top(), 2, clip.height())});

    Samples above;
    above.fill(50, 40, 5000.0);
    QVERIFY(above.reduced().bars.empty());
    QVERIFY(above.reduced().lines.empty());
}

void TestColumnBars::singleSampleLeavesNothing()
{
    Samples samples;
    samples.add(50.0, 30.0);
    QVERIFY(samples.reduced().bars.empty());
    QVERIFY(samples.reduced().lines.empty());
}

void TestColumnBars::onlyTheGivenSpanCounts()
{
    Samples samples;
    samples.fill(20, 40, 30.0);
    samples.fill(60, 40, 40.0);
    samples.fill(90, 40, 50.0);
    const Reduction reduction = reduce(samples.x.data(), samples.y.data(), {40, 79},
                                       PixelMap(xScale()), PixelMap(yScale()), clip, {2});
    QCOMPARE(reduction.bars, std::vector<QRect>{QRect(59, 59, 2, 2)});
    QVERIFY(reduction.lines.empty());
}

void TestColumnBars::onlyTheGivenSamplesAreRead_data()
{
    QTest::addColumn<Stroke>("stroke");
    QTest::addColumn<double>("perColumn");
    QTest::newRow("plain, sparse") << Stroke::Plain << 0.3;
    QTest::newRow("plain, one or two per column") << Stroke::Plain << 1.4;
    QTest::newRow("plain, many per column") << Stroke::Plain << 13.0;
    QTest::newRow("fine, sparse") << Stroke::Fine << 0.3;
    QTest::newRow("fine, many per column") << Stroke::Fine << 13.0;
}

void TestColumnBars::onlyTheGivenSamplesAreRead()
{
    QFETCH(const Stroke, stroke);
    QFETCH(const double, perColumn);
    GuardedMemory times;
    GuardedMemory values;
    QVERIFY(times.isAccessible() && values.isAccessible());
    for (int count = 1; count <= 60; ++count) {
        for (const bool atEnd : {false, true}) {
            double* const x = atEnd ? times.end() - count : times.begin();
            double* const y = atEnd ? values.end() - count : values.begin();
            Samples copies;
            for (int i = 0; i < count; ++i) {
                x[i] = i / perColumn;
                y[i] = 50.0 + i % 7;
                copies.add(x[i], y[i]);
            }
            const Reduction reduction = reduce(x, y, {0, count - 1}, PixelMap(xScale()),
                                               PixelMap(yScale()), clip, {2, stroke});
            QCOMPARE(reduction.bars, copies.reduced({2, stroke}).bars);
        }
    }
}

void TestColumnBars::mirroredTimeAxisGivesTheMirroredBars()
{
    QwtScaleMap mirrored;
    mirrored.setScaleInterval(0.0, 200.0);
    mirrored.setPaintInterval(200.0, 0.0);

    Samples samples;
    for (int i = 0; i < 2000; ++i) {
        samples.add(-50.0 + 0.15 * i, 50.0 + 40.0 * std::sin(i * 0.01));
    }
    const Reduction forward = samples.reduced();
    const Reduction backward = reduce(samples.x.data(), samples.y.data(), {0, 1999},
                                      PixelMap(mirrored), PixelMap(yScale()), clip, {2});
    QVERIFY(backward.lines.empty());

    const auto rows = [](const Reduction& reduction, int column) {
        for (const QRect& bar : reduction.bars) {
            if (bar.left() == column - 1 && bar.width() == 2) {
                return qMakePair(bar.top(), bar.bottom());
            }
        }
        return qMakePair(0, -1);
    };
    for (int column = 5; column < 195; ++column) {
        QVERIFY(rows(forward, column).second >= rows(forward, column).first); // there is a bar
        // A sample on the border of two columns may belong to either.
        QVERIFY(std::abs(rows(forward, column).first - rows(backward, 200 - column).first) <= 1);
        QVERIFY(std::abs(rows(forward, column).second - rows(backward, 200 - column).second) <= 1);
    }
}

void TestColumnBars::axisWithoutWidthGivesOneColumn()
{
    QwtScaleMap point;
    point.setScaleInterval(0.0, 200.0);
    point.setPaintInterval(7.0, 7.0);
    Samples samples;
    for (int i = 0; i < 100; ++i) {
        samples.add(2.0 * i, 10.0 + i % 3);
    }
    const Reduction reduction = reduce(samples.x.data(), samples.y.data(), {0, 99}, PixelMap(point),
                                       PixelMap(yScale()), clip, {2});
    QCOMPARE(reduction.bars, std::vector<QRect>{QRect(6, 87, 2, 4)});
    QVERIFY(reduction.lines.empty());
}

void TestColumnBars::seriesInOrderHasTheBarsOfOneInDisorder_data()
{
    QTest::addColumn<double>("perColumn");
    QTest::addColumn<double>("jitter"); // of the times, in distances of two samples
    QTest::addColumn<int>("gap");       // samples of 100 that are missing, in one piece
    QTest::addColumn<double>("value");  // of one sample in the middle
    QTest::newRow("fewer than columns") << 0.7 << 0.1 << 0 << 50.0;
    QTest::newRow("one per column") << 1.0 << 0.0 << 0 << 50.0;
    QTest::newRow("one or two per column") << 1.4 << 0.1 << 0 << 50.0;
    QTest::newRow("two or three per column") << 2.4 << 0.1 << 0 << 50.0;
    QTest::newRow("four or five per column") << 4.7 << 0.1 << 0 << 50.0;
    QTest::newRow("many per column") << 28.3 << 0.1 << 0 << 50.0;
    QTest::newRow("times far from steady") << 4.7 << 0.9 << 0 << 50.0;
    QTest::newRow("gaps") << 4.7 << 0.1 << 30 << 50.0;
    QTest::newRow("gaps among many") << 28.3 << 0.5 << 70 << 50.0;
    QTest::newRow("gaps, one per column") << 1.0 << 0.3 << 5 << 50.0;
    QTest::newRow("a value that is no number") << 4.7 << 0.1 << 0 << notANumber;
    QTest::newRow("an infinite value") << 4.7 << 0.1 << 0 << infinite;
    QTest::newRow("an infinite negative value") << 4.7 << 0.1 << 0 << -infinite;
}

// A series with one time that steps back is reduced sample by sample.
void TestColumnBars::seriesInOrderHasTheBarsOfOneInDisorder()
{
    QFETCH(const double, perColumn);
    QFETCH(const double, jitter);
    QFETCH(const int, gap);
    QFETCH(const double, value);
    std::mt19937 random(20261122);
    const auto part = [&] { return static_cast<double>(random() % 1001) / 1000; };
    Samples ordered;
    for (int i = 0; i < 270 * perColumn; ++i) { // from -60 to 210, beyond both ends
        const double time = -60.0 + (i + jitter * part()) / perColumn;
        const double level = 50.0 + 70.0 * std::sin(i / 40.0 / perColumn) + 9.0 * part();
        if (i % 100 >= gap) {
            // Some of them twice, some between two columns.
            ordered.add(i % 37 == 0 ? std::floor(time) - 0.5 : time, level);
            ordered.add(time, level + part());
        }
    }
    std::sort(ordered.x.begin(), ordered.x.end());
    ordered.y[ordered.y.size() / 2] = value;
    Samples disordered;
    disordered.add(1000.0, notANumber); // draws nothing
    disordered.x.insert(disordered.x.end(), ordered.x.begin(), ordered.x.end());
    disordered.y.insert(disordered.y.end(), ordered.y.begin(), ordered.y.end());

    const Reduction fast = ordered.reduced();
    Reduction each = disordered.reduced();
    for (Span& line : each.lines) {
        line = {line.first - 1, line.last - 1};
    }
    QVERIFY(fast.bars.size() > 30 || perColumn < 1.0);
    QCOMPARE(fast.bars, each.bars);
    QVERIFY(fast.lines == each.lines);
}

void TestColumnBars::scaledMapHasThePixelsOfTheDevice()
{
    const PixelMap rows(yScale(), 1.5);
    QCOMPARE(rows.pixel(0.0), 150.0);
    QCOMPARE(rows.pixel(100.0), 0.0);
    QCOMPARE(rows.value(75.0), 50.0);
}

void TestColumnBars::fineStrokeIsAsHighAsThePenWhereTheCurveIsLevel()
{
    Samples samples;
    samples.fill(50, 40, 30.0);
    QCOMPARE(samples.reduced({2, Stroke::Fine}).bars, std::vector<QRect>{QRect(49, 69, 2, 2)});
    QCOMPARE(samples.reduced({3, Stroke::Fine}).bars, std::vector<QRect>{QRect(49, 69, 3, 3)});
    QCOMPARE(samples.reduced({4, Stroke::Fine}).bars, std::vector<QRect>{QRect(48, 68, 4, 4)});
}

void TestColumnBars::fineStrokeEndsSoonerWhereTheCurveIsSteep()
{
    Samples samples;
    samples.fill(50, 40, 30.0);
    samples.y[7] = 80.0; // rows 20 to 70, and one more at each end
    QCOMPARE(samples.reduced({4, Stroke::Fine}).bars, std::vector<QRect>{QRect(48, 19, 4, 52)});
    samples.y[7] = 31.0; // one row up: 1.4 pens high, of which the next bar covers one
    QCOMPARE(samples.reduced({10, Stroke::Fine}).bars, std::vector<QRect>{QRect(45, 67, 10, 6)});
}

void TestColumnBars::fineStrokeCrossesTheColumnsBetweenSamples_data()
{
    QTest::addColumn<bool>("backwards");
    QTest::newRow("to the right") << false;
    QTest::newRow("to the left") << true;
}

void TestColumnBars::fineStrokeCrossesTheColumnsBetweenSamples()
{
    QFETCH(bool, backwards);
    Samples samples;
    samples.add(50.0, 30.0);
    samples.add(53.0, 60.0); // rows 70 to 40: the borders at 65, 55 and 45
    if (backwards) {
        std::swap(samples.x[0], samples.x[1]);
        std::swap(samples.y[0], samples.y[1]);
    }
    Reduction reduction = samples.reduced({4, Stroke::Fine});
    if (backwards) {
        std::reverse(reduction.bars.begin(), reduction.bars.end());
    }
    const std::vector<QRect> expected{QRect(48, 64, 4, 7), QRect(49, 54, 4, 12),
                                      QRect(50, 44, 4, 12), QRect(51, 39, 4, 7)};
    QCOMPARE(reduction.bars, expected);
    QVERIFY(reduction.lines.empty());
}

void TestColumnBars::fineStrokeBeginsAtTheBorderOfTwoColumns_data()
{
    QTest::addColumn<double>("next");
    QTest::addColumn<std::vector<QRect>>("bars");
    QTest::newRow("to the next column") << 1.09 << std::vector<QRect>{QRect(38, 39, 4, 32)};
    QTest::newRow("to a column further on")
        << 1.175
        << std::vector<QRect>{QRect(38, 64, 4, 7), QRect(39, 54, 4, 12), QRect(40, 44, 4, 12),
                              QRect(41, 39, 4, 7)};
}

void TestColumnBars::fineStrokeBeginsAtTheBorderOfTwoColumns()
{
    QFETCH(double, next);
    QFETCH(std::vector<QRect>, bars);
    QwtScaleMap tenths;
    tenths.setScaleInterval(0.1, 10.1);
    tenths.setPaintInterval(0.0, 200.0);
    const PixelMap columns(tenths, 2.0);
    const double onTheBorder = 1.0875; // by value left of the border, by pixel not
    QVERIFY(onTheBorder < columns.value(39.5));
    QCOMPARE(columns.pixel(onTheBorder), 39.5);

    Samples samples;
    samples.add(1.08, 30.0);
    samples.add(onTheBorder, 30.0);
    samples.add(next, 60.0);
    const Reduction reduction = reduce(samples.x.data(), samples.y.data(), {0, 2}, columns,
                                       PixelMap(yScale()), clip, {4, Stroke::Fine});
    bars.insert(bars.begin(), QRect(37, 68, 4, 4));
    QCOMPARE(reduction.bars, bars);
}

void TestColumnBars::fineStrokeComesStraightFromFarOffTheCanvas()
{
    Samples samples;
    samples.add(-400.0, 0.0);  // row 100
    samples.add(600.0, 100.0); // row 0
    const std::vector<QRect> bars = samples.reduced({2, Stroke::Fine}).bars;
    QCOMPARE(static_cast<int>(bars.size()), clip.width() + 1); // a bar of two columns at each end
    for (const QRect& bar : bars) {
        const double row = 100.0 - 0.1 * (bar.right() + 400.0);
        QVERIFY(std::abs(bar.bottom() - row) <= 1.0);
    }
}

void TestColumnBars::fineStrokeLeavesAGapAtASampleThatIsNoNumber()
{
    Samples samples;
    samples.add(20.0, 30.0);
    samples.add(22.0, 30.0);
    samples.add(24.0, notANumber);
    samples.add(26.0, 30.0);
    samples.add(28.0, 30.0);
    const Reduction reduction = samples.reduced({2, Stroke::Fine});
    QVERIFY(reduction.lines.empty());
    QCOMPARE(static_cast<int>(reduction.bars.size()), 6);
    for (const QRect& bar : reduction.bars) {
        QVERIFY(!bar.contains(24, 70));
    }
}

void TestColumnBars::fineStrokeOfOneSampleLeavesNothing()
{
    Samples samples;
    samples.add(50.0, 30.0);
    QVERIFY(samples.reduced({4, Stroke::Fine}).bars.empty());
    QVERIFY(samples.reduced({4, Stroke::Fine}).lines.empty());
}

QTEST_APPLESS_MAIN(TestColumnBars)
#include "tst_column_bars.moc"
