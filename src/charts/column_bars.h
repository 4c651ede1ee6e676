/// @file
/// The reduction of a dense series to one bar per pixel column.
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

/// Shorter runs of samples are drawn as lines: a separate call for them would cost more than it
/// saves.
constexpr int shortestRun = 16;

/// Reduces the given samples. A run in which each sample is in the pixel column of the previous one
/// or in an adjacent column becomes bars, one per column. A bar reaches from the column's lowest to
/// its highest value and half way to the neighbours' first and last values. It is `penWidth` pixels
/// wide, half a pen longer at both ends, and clipped to the clip rectangle. The samples between two
/// runs, with the nearest sample of both runs, become lines. A sample that is not a finite number
/// leaves a gap: QPainter would fill the canvas with wedges around it. Samples left and right of
/// the clip rectangle get no bar.
Reduction reduce(const double* x, const double* y, Span samples, const PixelMap& xMap,
                 const PixelMap& yMap, const QRect& clip, int penWidth);

} // namespace columnbars
