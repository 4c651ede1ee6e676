#include "charts/dense_curve.h"

#include "charts/bar_painter.h"
#include "charts/column_bars.h"

#include <QBrush>
#include <QPaintEngine>
#include <QPainter>
#include <QPen>

#include <qwt_painter.h>
#include <qwt_point_data.h>
#include <qwt_scale_map.h>

#include <algorithm>
#include <cmath>

namespace {

columnbars::Pen penOf(double width, double scale)
{
    if (scale == 1.0) {
        return {qRound(width), columnbars::Stroke::Plain};
    }
    // Half a pixel is rounded down: Qwt's own line of 2.5 pixels is drawn 2 wide more often than 3.
    const int pixels = static_cast<int>(std::ceil(width * scale - 0.5));
    return {std::max(1, pixels), columnbars::Stroke::Fine};
}

} // namespace

DenseCurve::DenseCurve(const QString& title) : DataCurve(title) {}

void DenseCurve::drawLines(QPainter* painter, const QwtScaleMap& xMap, const QwtScaleMap& yMap,
                           const QRectF& canvasRect, int from, int to) const
{
    const auto* samples = dynamic_cast<const QwtPointArrayData*>(data());
    if (samples == nullptr || xMap.transformation() != nullptr ||
        yMap.transformation() != nullptr || !canPaintBars(*painter)) {
        DataCurve::drawLines(painter, xMap, yMap, canvasRect, from, to);
        return;
    }

    // Bars are made of the device's own pixels.
    const double scale = painter->deviceTransform().m11();
    const QPen pen = painter->pen();
    const columnbars::Pen barPen = penOf(pen.widthF(), scale);
    const QRect clip = QRectF(canvasRect.topLeft() * scale, canvasRect.size() * scale)
                           .toAlignedRect()
                           .adjusted(-barPen.width, -barPen.width, barPen.width, barPen.width);
    const columnbars::Reduction reduction = columnbars::reduce(
        samples->xData().constData(), samples->yData().constData(), {from, to},
        columnbars::PixelMap(xMap, scale), columnbars::PixelMap(yMap, scale), clip, barPen);

    for (const columnbars::Span& line : reduction.lines) {
        DataCurve::drawLines(painter, xMap, yMap, canvasRect, line.first, line.last);
    }
    if (!reduction.bars.empty()) {
        painter->save();
        painter->scale(1.0 / scale, 1.0 / scale);
        fillBars(*painter, reduction.bars, pen.color());
        painter->restore();
    }
}

bool DenseCurve::canPaintBars(const QPainter& painter) const
{
    const QPen pen = painter.pen();
    const QTransform toDevice = painter.deviceTransform();
    return toDevice.m11() > 0.0 && toDevice.m11() == toDevice.m22() &&
           pen.style() == Qt::SolidLine && pen.brush().style() == Qt::SolidPattern &&
           pen.color().alpha() == 255 && pen.widthF() >= 1.0 && brush().style() == Qt::NoBrush &&
           !testCurveAttribute(QwtPlotCurve::Fitted) &&
           !painter.testRenderHint(QPainter::Antialiasing) &&
           painter.paintEngine()->type() == QPaintEngine::Raster &&
           QwtPainter::roundingAlignment(const_cast<QPainter*>(&painter));
}
