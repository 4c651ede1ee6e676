#include "charts/plot_canvas.h"

#include <QPaintEvent>
#include <QPainter>

#include <qwt_plot.h>

#include <cmath>

PlotCanvas::PlotCanvas(QwtPlot* plot) : QwtPlotCanvas(plot) {}

void PlotCanvas::replot()
{
    m_isNew = true;
    QwtPlotCanvas::replot();
}

void PlotCanvas::paintEvent(QPaintEvent* event)
{
    const bool isNew = m_isNew;
    m_isNew = false;
    if (!isNew || !canPaintIntoTheWindow()) {
        QwtPlotCanvas::paintEvent(event);
        return;
    }
    QPainter painter(this); // is clipped to the event's region
    plot()->drawCanvas(&painter);
}

bool PlotCanvas::canPaintIntoTheWindow() const
{
    const double ratio = devicePixelRatioF();
    const QRect whole = rect();
    return std::trunc(ratio) == ratio && contentsRect() == whole && borderPath(whole).isEmpty() &&
           focusIndicator() == NoFocusIndicator;
}
