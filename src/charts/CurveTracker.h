/// @file
/// The values of a plot's curves at the mouse.
#pragma once

#include <QLineF>
#include <QString>

#include <qwt_plot_picker.h>

class QwtPlotCurve;

/// Follows the mouse over a plot's canvas and shows, beside a vertical line, the value of every
/// visible curve at the cursor's time, each in the colour of its curve.
///
/// Child of the canvas. Changes no data, stores nothing between two events and ignores clicks. For
/// the interface thread.
class CurveTracker : public QwtPlotPicker
{
public:
    explicit CurveTracker(QWidget* canvas);

    /// The segment of the curve that spans x, in the units of the axes; a null line if the curve
    /// has none. The samples must be sorted by x. The time is logarithmic in their number once the
    /// curve's bounding rectangle is known.
    QLineF curveLineAt(const QwtPlotCurve* curve, double x) const;

    /// The curve's value at position.x(), interpolated along its segment, as rich text in the
    /// curve's colour. Empty if the curve has no segment.
    QString curveInfoAt(const QwtPlotCurve* curve, const QPointF& position) const;

    /// One line for each visible curve with a value at position.x(), in the order of the plot's
    /// items; empty without any.
    QwtText trackerTextF(const QPointF& position) const override;

    /// The picker's own rectangle. If the first visible curve has a value at the cursor, it is
    /// moved to end 5 pixels above the cursor. It never exceeds the top of the canvas.
    QRect trackerRect(const QFont& font) const override;
};
