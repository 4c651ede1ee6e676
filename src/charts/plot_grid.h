/// @file
/// The grid of the time chart.
#pragma once

#include <QPen>
#include <QPixmap>

#include <qwt_plot_grid.h>

/// The horizontal lines of a plot's grid, with the picture of one line kept.
///
/// The raster engine strokes a dotted line dot by dot, with every replot. Here this happens once:
/// all lines of a grid are the same but for their height. The picture is that of QwtPlotGrid.
///
/// Qwt draws a grid with vertical or minor lines, and every grid on a painter that is antialiased,
/// not a raster painter, or whose pixel is not a whole number of the device's pixels. For the
/// interface thread.
class PlotGrid : public QwtPlotGrid
{
public:
    void draw(QPainter* painter, const QwtScaleMap& xMap, const QwtScaleMap& yMap,
              const QRectF& canvasRect) const override;

    /// How often a line was stroked to be kept.
    int strokes() const { return m_strokes; }

private:
    bool canCopyLines(const QPainter& painter, const QRectF& canvasRect) const;
    const QPixmap& line(int width, int scale) const;

    mutable QPixmap m_line;
    mutable QPen m_linePen;
    mutable int m_strokes = 0;
};
