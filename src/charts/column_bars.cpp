#include "charts/column_bars.h"

#include "charts/sample_pairs.h"

#include <qwt_scale_map.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace columnbars {

namespace {

constexpr double noValue = std::numeric_limits<double>::infinity();

// Whether all samples are finite, and no time is smaller than the one before.
bool isOrderly(const double* x, const double* y, Span samples)
{
    Pair zero = both(0.0); // until a value is not finite
    Truth ascends = {-1, -1};
    int i = samples.first;
    for (; i + 2 <= samples.last; i += 2) {
        const Pair values = pairAt(y + i);
        zero += values * 0.0;
        ascends &= pairAt(x + i) <= pairAt(x + i + 1);
    }
    for (; i <= samples.last; ++i) {
        if (!isFinite(y[i]) || (i < samples.last && !(x[i] <= x[i + 1]))) {
            return false;
        }
    }
    return zero[0] == 0.0 && zero[1] == 0.0 && ascends[0] != 0 && ascends[1] != 0 &&
           samples.first <= samples.last && isFinite(x[samples.first]) && isFinite(x[samples.last]);
}

// The whole number of samples per column of a steady series, 1 or more.
int usualCountOf(const double* x, Span samples, const PixelMap& xMap)
{
    const double columns = (x[samples.last] - x[samples.first]) * xMap.factor;
    const double count = columns > 1.0 ? (samples.last - samples.first) / columns : 1.0;
    return std::max(1, static_cast<int>(count));
}

class Reducer
{
public:
    Reducer(const double* xValues, const double* yValues, Span samples, const PixelMap& xPixels,
            const PixelMap& yPixels, const QRect& clipRect, const Pen& curvePen)
        : x(xValues), y(yValues), last(samples.last), xMap(xPixels), yMap(yPixels), clip(clipRect),
          pen(curvePen), halfPen(curvePen.width / 2), leftmost(clipRect.left() - pen.width - 2),
          rightmost(clipRect.right() + pen.width + 2)
    {
        if (pen.stroke == Stroke::Plain && xMap.factor > 0.0 && isOrderly(x, y, samples)) {
            usualCount = usualCountOf(x, samples, xMap);
        }
    }

    bool isDrawable(int i) const { return isFinite(x[i]) && isFinite(y[i]); }

    /// Appends the bars of the run that begins at this drawable sample, and returns the sample
    /// after the run.
    int collectRun(int first, std::vector<QRect>& bars) const;

private:
    // One pixel column of a run, open until a sample is in another column.
    struct Column
    {
        int pixel;
        double low; // lowest and highest value
        double high;
        int top; // rows that the neighbours' values reach into this column
        int bottom;
    };

    int columnOf(int i) const
    {
        // Everything outside the canvas counts as one column on its side: a step between such
        // columns, or from one of them to the next, draws nothing.
        return std::clamp(roundedPixel(xMap.pixel(x[i])), leftmost, rightmost);
    }
    int rowOf(double value) const { return roundedPixel(yMap.pixel(value)); }
    std::array<int, 2> rowsOf(Pair values) const
    {
        return roundedPixels(yMap.offset + (values - yMap.start) * yMap.factor);
    }

    int collectColumn(int i, Column& column) const;
    int collectOrderlyRun(int first, std::vector<QRect>& bars) const;
    Pair extremes(int begin, int end) const;
    void addBar(int pixel, int top, int bottom, std::vector<QRect>& bars) const;
    int columnEnd(int i, double right) const;
    int middleRow(int i) const;
    Column crossColumns(int i, Column column, int next, std::vector<QRect>& bars) const;
    void closeColumn(const Column& column, std::vector<QRect>& bars) const;
    int endsOf(int rows) const;

    const double* x;
    const double* y;
    int last;
    PixelMap xMap;
    PixelMap yMap;
    QRect clip;
    Pen pen;
    int halfPen;
    int leftmost;
    int rightmost;
    int usualCount = 0; // plain stroke, orderly series, axis from left to right; else 0
};

// Adds the samples from i on that are in the column, and returns the first one that is not.
// Compares values, because mapping every sample to pixels would cost more than everything else.
int Reducer::collectColumn(int i, Column& column) const
{
    constexpr double unbounded = std::numeric_limits<double>::max();
    double left = column.pixel > leftmost ? xMap.value(column.pixel - 0.5) : -unbounded;
    double right = column.pixel < rightmost ? xMap.value(column.pixel + 0.5) : unbounded;
    if (xMap.factor < 0.0) {
        left = column.pixel < rightmost ? xMap.value(column.pixel + 0.5) : -unbounded;
        right = column.pixel > leftmost ? xMap.value(column.pixel - 0.5) : unbounded;
    }
    const auto isInside = [&](int at) { return x[at] >= left && x[at] < right && isFinite(y[at]); };
    // Two at a time, because each comparison waits for the one before it.
    double low = column.low;
    double high = column.high;
    double low2 = low;
    double high2 = high;
    while (i < last && isInside(i) && isInside(i + 1)) {
        low = std::min(low, y[i]);
        high = std::max(high, y[i]);
        low2 = std::min(low2, y[i + 1]);
        high2 = std::max(high2, y[i + 1]);
        i += 2;
    }
    if (i <= last && isInside(i)) {
        low = std::min(low, y[i]);
        high = std::max(high, y[i]);
        ++i;
    }
    low = std::min(low, low2);
    high = std::max(high, high2);
    column.low = low;
    column.high = high;
    return i;
}

// The lowest and the highest value, without a branch for each sample, which the processor could not
// predict.
Pair Reducer::extremes(int begin, int end) const
{
    if (end - begin < 2) {
        return both(y[begin]);
    }
    Pair low = pairAt(y + begin);
    Pair high = low;
    Pair low2 = low; // in turn, because each comparison waits for the one before it
    Pair high2 = low;
    // Usually the same number of rounds in each column. The last pairs overlap.
    const int stop = std::max(end, begin + usualCount + 1);
    for (int at = begin; at < stop; at += 4) {
        const Pair values = pairAt(y + std::min(at, end - 2));
        const Pair values2 = pairAt(y + std::min(at + 2, end - 2));
        low = lower(values, low);
        high = higher(values, high);
        low2 = lower(values2, low2);
        high2 = higher(values2, high2);
    }
    low = lower(low, low2);
    high = higher(high, high2);
    return Pair{std::min(low[0], low[1]), std::max(high[0], high[1])};
}

// The first sample from i on that is not left of `right`.
int Reducer::columnEnd(int i, double right) const
{
    const int usual = i - 1 + usualCount;
    if (usual >= last || !(x[usual - 1] < right)) {
        while (i <= last && x[i] < right) {
            ++i;
        }
        return i;
    }
    const int end = usual + static_cast<int>(x[usual] < right);
    if (x[end] >= right) {
        return end;
    }
    return static_cast<int>(std::lower_bound(x + end, x + last + 1, right) - x);
}

// Draws the segment from sample i - 1 to sample i up to the column of i, and returns that column.
Reducer::Column Reducer::crossColumns(int i, Column column, int next,
                                      std::vector<QRect>& bars) const
{
    const int row1 = rowOf(y[i - 1]);
    const int row2 = rowOf(y[i]);
    // Where the samples really are: both columns may be those beside the canvas.
    const int start = roundedPixel(xMap.pixel(x[i - 1]));
    const double distance = std::max(1, std::abs(roundedPixel(xMap.pixel(x[i])) - start));
    const int step = next > column.pixel ? 1 : -1;
    while (column.pixel != next) {
        // A sample on the border of two columns may be in the one to which it is not rounded.
        const double part = std::max(0.0, (step * (column.pixel - start) + 0.5) / distance);
        const int border = row1 + static_cast<int>(std::floor((row2 - row1) * part));
        column.top = std::min(column.top, border);
        column.bottom = std::max(column.bottom, border);
        closeColumn(column, bars);
        column = Column{column.pixel + step, noValue, -noValue, border, border};
    }
    column.low = y[i];
    column.high = y[i];
    return column;
}

// Rows that the pen adds to a bar of so many rows, at both ends together. A line that rises by
// `rows` per column is sqrt(1 + rows^2) pens high in each column, of which the neighbours' bars,
// each a pen wide, cover `rows` pens.
int Reducer::endsOf(int rows) const
{
    const double slope = rows;
    const int ends = roundedPixel(pen.width * (std::sqrt(1.0 + slope * slope) - slope));
    return std::max(ends, (pen.width + 1) / 2);
}

void Reducer::closeColumn(const Column& column, std::vector<QRect>& bars) const
{
    int top = column.top;
    int bottom = column.bottom;
    if (column.low <= column.high) {
        const auto [row1, row2] = rowsOf(Pair{column.low, column.high});
        top = std::min({row1, row2, top});
        bottom = std::max({row1, row2, bottom});
    }
    addBar(column.pixel, top, bottom, bars);
}

// A bar between the given rows, with the ends that the pen adds.
void Reducer::addBar(int pixel, int top, int bottom, std::vector<QRect>& bars) const
{
    const int ends = pen.stroke == Stroke::Fine ? endsOf(bottom - top) : pen.width;
    top -= ends / 2;
    bottom += ends - ends / 2;
    const int left = pixel - halfPen;
    // Not by QRect's operator, which is not inline.
    const QPoint topLeft(std::max(left, clip.left()), std::max(top, clip.top()));
    const QPoint bottomRight(std::min(left + pen.width - 1, clip.right()),
                             std::min(bottom - 1, clip.bottom()));
    if (topLeft.x() <= bottomRight.x() && topLeft.y() <= bottomRight.y()) {
        bars.emplace_back(topLeft, bottomRight);
    }
}

// Half way between samples i - 1 and i.
int Reducer::middleRow(int i) const
{
    const auto [row1, row2] = rowsOf(pairAt(y + i - 1));
    return std::min(row1, row2) + std::abs(row1 - row2) / 2;
}

// As collectRun(), for an orderly series and the plain stroke: a column ends where it usually does.
int Reducer::collectOrderlyRun(int first, std::vector<QRect>& bars) const
{
    int pixel = columnOf(first);
    int top = std::numeric_limits<int>::max(); // rows that the neighbours' values reach
    int bottom = std::numeric_limits<int>::min();
    int i = first;
    for (;;) {
        const int begin = i;
        i = pixel < rightmost ? columnEnd(begin + 1, xMap.value(pixel + 0.5)) : last + 1;
        int next = pixel;
        while (i <= last && (next = columnOf(i)) == pixel) {
            ++i; // on the border of two columns, where the two ways to distinguish them may differ
        }
        const bool isLast = i > last || next - pixel > 1;
        const int middle = isLast ? 0 : middleRow(i);
        if (!isLast) {
            top = std::min(top, middle);
            bottom = std::max(bottom, middle);
        }
        if (pixel > leftmost && pixel < rightmost) { // else there is no bar
            const auto [row1, row2] = rowsOf(extremes(begin, i));
            addBar(pixel, std::min(std::min(row1, row2), top),
                   std::max(std::max(row1, row2), bottom), bars);
        }
        if (isLast) {
            return i;
        }
        top = bottom = middle;
        // Incremented, so that the next column need not wait until its number is calculated.
        ++pixel;
        if (pixel != next) {
            pixel = next;
        }
    }
}

int Reducer::collectRun(int first, std::vector<QRect>& bars) const
{
    if (usualCount > 0) {
        return collectOrderlyRun(first, bars);
    }
    Column column{columnOf(first), y[first], y[first], std::numeric_limits<int>::max(),
                  std::numeric_limits<int>::min()};
    int i = first + 1;
    for (;;) {
        i = collectColumn(i, column);
        if (i > last || !isDrawable(i)) {
            break;
        }
        const int next = columnOf(i);
        if (next == column.pixel) {
            // On the border of two columns, where the two ways to distinguish them may differ.
            column.low = std::min(column.low, y[i]);
            column.high = std::max(column.high, y[i]);
            ++i;
            continue;
        }
        if (std::abs(next - column.pixel) > 1 && pen.stroke == Stroke::Plain) {
            break;
        }
        if (pen.stroke == Stroke::Plain) {
            const int middle = middleRow(i);
            column.top = std::min(column.top, middle);
            column.bottom = std::max(column.bottom, middle);
            closeColumn(column, bars);
            column = Column{next, y[i], y[i], middle, middle};
        } else {
            column = crossColumns(i, column, next, bars);
        }
        ++i;
    }
    closeColumn(column, bars);
    return i;
}

} // namespace

PixelMap::PixelMap(const QwtScaleMap& map, double scale)
    : offset(scale * map.p1()), start(map.s1()),
      factor(scale * (map.s1() != map.s2() ? (map.p2() - map.p1()) / (map.s2() - map.s1()) : 1.0))
{}

Reduction reduce(const double* x, const double* y, Span samples, const PixelMap& xMap,
                 const PixelMap& yMap, const QRect& clip, const Pen& pen)
{
    const Reducer reducer(x, y, samples, xMap, yMap, clip, pen);
    Reduction result;
    result.bars.reserve(static_cast<std::size_t>(clip.width()) + 8);

    const int shortest = pen.stroke == Stroke::Plain ? shortestRun : 2;

    // The current line begins at lineFirst.
    int lineFirst = samples.first;
    const auto endLine = [&](int lineLast) {
        if (lineFirst < lineLast) {
            result.lines.push_back({lineFirst, lineLast});
        }
    };

    int i = samples.first;
    while (i <= samples.last) {
        if (!reducer.isDrawable(i)) {
            endLine(i - 1);
            ++i;
            lineFirst = i;
            continue;
        }
        const int runFirst = i;
        const std::size_t barsBefore = result.bars.size();
        i = reducer.collectRun(i, result.bars);
        if (i - runFirst < shortest) {
            result.bars.resize(barsBefore);
            continue;
        }
        endLine(runFirst);
        lineFirst = i - 1;
    }
    endLine(samples.last);
    return result;
}

} // namespace columnbars
