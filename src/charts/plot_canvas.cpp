#include "charts/plot_canvas.h"

#include "charts/whole_number.h"

#include <QApplication>
#include <QEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QStyleOption>

#include <qwt_plot.h>

PlotCanvas::PlotCanvas(QwtPlot* plot) : QwtPlotCanvas(plot) {}

void PlotCanvas::replot()
{
    m_isNew = true;
    QwtPlotCanvas::replot();
}

bool PlotCanvas::event(QEvent* event)
{
    if (event->type() == QEvent::StyleChange) {
        m_look.reset();
    }
    return QwtPlotCanvas::event(event);
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

// The store has the pixels of the finest screen: Qwt takes the application's ratio.
bool PlotCanvas::canPaintIntoTheWindow()
{
    const double ratio = devicePixelRatioF();
    return isWhole(ratio) && ratio == qApp->devicePixelRatio() && contentsRect() == rect() &&
           focusIndicator() == NoFocusIndicator && !hasBorder();
}

// For the border of a style sheet Qwt draws the background and looks at what was drawn, which is
// not repeated for each picture.
bool PlotCanvas::hasBorder()
{
    QStyleOption option;
    option.initFrom(this);
    const Look look{borderRadius(), option.state};
    if (!(m_look == look)) {
        m_look = look;
        m_hasBorder = !borderPath(rect()).isEmpty();
    }
    return m_hasBorder;
}
