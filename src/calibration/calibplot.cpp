#include "calibration/calibplot.h"

#include "look/clr.h"

#include <QPainterPath>
#include <QPalette>
#include <QPen>

#include <qwt_plot_canvas.h>
#include <qwt_plot_grid.h>
#include <qwt_plot_layout.h>
#include <qwt_plot_shapeitem.h>
#include <qwt_scale_widget.h>

CalibPlot::CalibPlot(QWidget* parent) : QwtPlot(parent), canvas(std::make_shared<QwtPlotCanvas>())
{
    canvas->setFrameStyle(QFrame::NoFrame);
    canvas->setLineWidth(0);
    canvas->setPalette(QPalette(Qt::white));
    canvas->setPaintAttribute(QwtPlotCanvas::BackingStore, true);
    canvas->setPaintAttribute(QwtPlotCanvas::ImmediatePaint, true);

    for (const int axis : {QwtPlot::yLeft, QwtPlot::xBottom}) {
        enableAxis(axis);
    }
    for (const int axis : {QwtPlot::yLeft, QwtPlot::xBottom}) {
        setAxisScale(axis, -1.5, 1.5, 0.0);
    }
    for (const int axis : {QwtPlot::yLeft, QwtPlot::xBottom}) {
        setAxisAutoScale(axis);
    }

    setAutoReplot(true);
    setCanvas(canvas.get());
    plotLayout()->setAlignCanvasToScales(true);

    for (const int axis : {QwtPlot::xBottom, QwtPlot::yLeft}) {
        axisWidget(axis)->setStyleSheet(tr("color: %1").arg(clr::med_black));
    }

    grid = std::make_shared<QwtPlotGrid>();
    grid->setPen(QColor("#C0C0C0"), 1.0, Qt::DotLine);
    grid->attach(this);

    fitEllipses.resize(3);
    const char* const titles[] = {"Fit Ellipse XY", "Fit Ellipse XZ", "Fit Ellipse YZ"};
    for (std::size_t i = 0; i < fitEllipses.size(); ++i) {
        fitEllipses[i] = new QwtPlotShapeItem(QString(titles[i]));
        fitEllipses[i]->setItemAttribute(QwtPlotItem::Legend, true);
        fitEllipses[i]->setRenderHint(QwtPlotItem::RenderAntialiased, true);
        fitEllipses[i]->attach(this);
    }
}

CalibPlot::~CalibPlot()
{
    // Removing the grid would otherwise draw the plot once more.
    setAutoReplot(false);
}

void CalibPlot::setFitEllipse(CalibPlot::_plane plane, float x, float y, float width, float height)
{
    QPainterPath path;
    path.addEllipse(static_cast<double>(x), static_cast<double>(y), static_cast<double>(width),
                    static_cast<double>(height));

    const QColor colour = planeColour(plane);
    QwtPlotShapeItem* const item = fitEllipses[plane];
    item->setShape(path);
    item->setPen(colour.darker(200), 0.0, Qt::SolidLine);
    item->setBrush(QBrush(colour.lighter(150), Qt::SolidPattern));
}

QColor CalibPlot::planeColour(CalibPlot::_plane plane)
{
    switch (plane) {
    case PLANE_XY:
        return QColor(255, 53, 53, 100);
    case PLANE_XZ:
        return QColor(77, 156, 210, 100);
    case PLANE_YZ:
        break;
    }
    return QColor(105, 199, 85, 100);
}

CalibPlot::ReplotHold::~ReplotHold()
{
    for (CalibPlot* const plot : m_held) {
        plot->setAutoReplot(true);
        plot->replot();
    }
}
