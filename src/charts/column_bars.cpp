#include "charts/column_bars.h"

#include <qwt_scale_map.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace columnbars {

namespace {

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
            const PixelMap& yPixels, const QRect& clipRect, int width)
        : x(xValues), y(yValues), last(lastSample), xMap(xPixels), yMap(yPixels), clip(clipRect),
          penWidth(width), halfPen(width / 2), leftmost(clipRect.left() - width - 2),
          rightmost(clipRect.right() + width + 2)
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
    void closeColumn(const Column& column, std::vector<QRect>& bars) const;

    const double* x;
    const double* y;
    int last;
    PixelMap xMap;
    PixelMap yMap;
    QRect clip;
    int penWidth;
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
    double low = column.low;
    double high = column.high;
    while (i <= last && x[i] >= left && x[i] < right && isFinite(y[i])) {
        low = std::min(low, y[i]);
        high = std::max(high, y[i]);
        ++i;
    }
    column.low = low;
    column.high = high;
    return i;
}

void Reducer::closeColumn(const Column& column, std::vector<QRect>& bars) const
{
    const int row1 = rowOf(column.low);
    const int row2 = rowOf(column.high);
    const int top = std::min({row1, row2, column.top}) - halfPen;
    const int bottom = std::max({row1, row2, column.bottom}) - halfPen + penWidth;
    const QRect bar = QRect(column.pixel - halfPen, top, penWidth, bottom - top) & clip;
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
        if (std::abs(next - column.pixel) > 1) {
            break;
        }
        const int row1 = rowOf(y[i - 1]);
        const int row2 = rowOf(y[i]);
        const int middle = std::min(row1, row2) + std::abs(row1 - row2) / 2;
        column.top = std::min(column.top, middle);
        column.bottom = std::max(column.bottom, middle);
        closeColumn(column, bars);
        column = Column{next, y[i], y[i], middle, middle};
        ++i;
    }
    closeColumn(column, bars);
    return i;
}

} // namespace

PixelMap::PixelMap(const QwtScaleMap& map)
    : offset(map.p1()), start(map.s1()),
      factor(map.s1() != map.s2() ? (map.p2() - map.p1()) / (map.s2() - map.s1()) : 1.0)
{}

Reduction reduce(const double* x, const double* y, Span samples, const PixelMap& xMap,
                 const PixelMap& yMap, const QRect& clip, int penWidth)
{
    const Reducer reducer(x, y, samples.last, xMap, yMap, clip, penWidth);
    Reduction result;
    result.bars.reserve(static_cast<std::size_t>(clip.width()) + 8);

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
        if (i - runFirst < shortestRun) {
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
