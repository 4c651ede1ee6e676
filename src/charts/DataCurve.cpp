#include "charts/DataCurve.h"

DataCurve::DataCurve(const QString& title) : QwtPlotCurve(title)
{
    setPen(lineColour, lineWidth, Qt::SolidLine);
    setPaintAttribute(QwtPlotCurve::ClipPolygons, true);
    setPaintAttribute(QwtPlotCurve::FilterPoints, true);
    setRenderHint(QwtPlotItem::RenderAntialiased, false);
    setStyle(QwtPlotCurve::Lines);
}

void DataCurve::setLine(const QColor& colour, double width)
{
    lineColour = colour;
    lineWidth = width;
    setPen(lineColour, lineWidth, Qt::SolidLine);
}
