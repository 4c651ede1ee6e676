#include "charts/column_bars.h"

#include <qwt_scale_map.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace columnbars {

namespace {

constexpr double noValue = std::numeric_limits<double>::infinity();
constexpr double farAway = 1e6; // pixels, far outside any canvas and within the range of an int

bool isFinite(double value)
{
    return std::abs(value) <= std::numeric_limits<double>::max();
}

int roundedPixel(double pixel)
{
    const double bounded = std::min(std::max(pixel, -farAway), farAway);
    return static_cast<int>(bounded + std::copysign(0.5, bounded));
}

class Reducer
{
public:
    Reducer(const double* xValues, const double* yValues, int lastSample, const PixelMap& xPixels,
            const PixelMap& yPixels, const QRect& clipRect, const Pen& curvePen)
        : x(xValues), y(yValues), last(lastSample), xMap(xPixels), yMap(yPixels), clip(clipRect),
          pen(curvePen), halfPen(curvePen.width / 2), leftmost(clipRect.left() - pen.width - 2),
          rightmost(clipRect.right() + pen.width + 2)
    {}

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

    int collectColumn(int i, Column& column) const;
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
        const int row1 = rowOf(column.low);
        const int row2 = rowOf(column.high);
        top = std::min({row1, row2, top});
        bottom = std::max({row1, row2, bottom});
    }
    const int ends = pen.stroke == Stroke::Fine ? endsOf(bottom - top) : pen.width;
    top -= ends / 2;
    bottom += ends - ends / 2;
    const QRect bar = QRect(column.pixel - halfPen, top, pen.width, bottom - top) & clip;
    if (!bar.isEmpty()) {
        bars.push_back(bar);
    }
}

int Reducer::collectRun(int first, std::vector<QRect>& bars) const
{
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
            const int row1 = rowOf(y[i - 1]);
            const int row2 = rowOf(y[i]);
            const int middle = std::min(row1, row2) + std::abs(row1 - row2) / 2;
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
    const Reducer reducer(x, y, samples.last, xMap, yMap, clip, pen);
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
