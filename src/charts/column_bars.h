/// @file
/// The reduction of a dense series to one bar a pixel column.
#pragma once

#include <QRect>

#include <vector>

class QwtScaleMap;

namespace columnbars {

/// A linear map from values to pixels, as QwtScaleMap has it without a transformation.
struct PixelMap
{
    explicit PixelMap(const QwtScaleMap& map);

    double pixel(double value) const { return offset + (value - start) * factor; }
    double value(double pixel) const { return start + (pixel - offset) / factor; }

    double offset;
    double start;
    double factor; // pixels per unit
};

/// Samples first to last, both included.
struct Span
{
    int first;
    int last;
};

struct Reduction
{
    std::vector<QRect> bars;
    std::vector<Span> lines; ///< to be drawn as lines through the samples
};

/// Runs of samples shorter than this are left to lines: they are not worth a call of their own.
constexpr int shortestRun = 16;

/// Reduces the given samples. A run of them in which each falls on the pixel column of the one
/// before or on a column beside it becomes bars, one a column: from the column's lowest to its
/// highest value, joined half way to the neighbours' first and last values, `penWidth` pixels wide,
/// half a pen longer at both ends, and cut to the clip rectangle. What lies between two runs, the
/// nearest samples of both included, becomes lines. A sample that is no finite number leaves a gap:
/// QPainter would fill the canvas with wedges around it. Samples beyond the left and right ends of
/// the clip rectangle leave no bar.
Reduction reduce(const double* x, const double* y, Span samples, const PixelMap& xMap,
                 const PixelMap& yMap, const QRect& clip, int penWidth);

} // namespace columnbars
