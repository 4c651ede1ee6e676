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
    /// `scale` is the number of pixels per unit of the scale map's pixels, above 0.
    explicit PixelMap(const QwtScaleMap& map, double scale = 1.0);

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

enum class Stroke {
    /// Every bar is half a pen longer at both ends. Samples that are more than a column apart are
    /// left to a line.
    Plain,
    /// All samples become bars, and a bar is less than half a pen longer where it is high, so that
    /// a slope is as thick as the pen. For the pixels of a device that are finer than the chart's.
    Fine,
};

struct Pen
{
    int width; ///< pixels, 1 or more
    Stroke stroke = Stroke::Plain;
};

/// Shorter runs of samples are drawn as lines: a separate call for them would cost more than it
/// saves.
constexpr int shortestRun = 16;

/// Reduces the given samples. A run in which each sample is in the pixel column of the previous one
/// or in an adjacent column becomes bars, one per column. A bar reaches from the column's lowest to
/// its highest value and half way to the neighbours' first and last values. It is as wide as the
/// pen and clipped to the clip rectangle. The samples between two runs, with the nearest sample of
/// both runs, become lines; with a fine stroke, a run also has bars in the columns between its
/// samples, and there are no lines. A sample that is not a finite number leaves a gap: QPainter
/// would fill the canvas with wedges around it. Samples left and right of the clip rectangle get no
/// bar.
Reduction reduce(const double* x, const double* y, Span samples, const PixelMap& xMap,
                 const PixelMap& yMap, const QRect& clip, const Pen& pen);

} // namespace columnbars
