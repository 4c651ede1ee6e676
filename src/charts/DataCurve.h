/// @file
/// The line of a sensor's values.
#pragma once

#include <QColor>
#include <QString>

#include <qwt_plot_curve.h>

/// A line through its samples, with a solid pen that is kept by colour and width. For the
/// interface thread.
class DataCurve : public QwtPlotCurve
{
public:
    /// A black line of width 1.0, not antialiased, clipped and filtered by Qwt.
    explicit DataCurve(const QString& title);

    /// Sets the pen: solid, `width` in pixels of the chart, 0 or more.
    void setLine(const QColor& colour, double width);

private:
    QColor lineColour = Qt::black;
    double lineWidth = 1.0;
};
