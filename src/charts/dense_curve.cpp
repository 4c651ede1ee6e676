#include "charts/dense_curve.h"

#include "charts/column_bars.h"

#include <QBrush>
#include <QPaintEngine>
#include <QPainter>
#include <QPen>

#include <qwt_painter.h>
#include <qwt_point_data.h>
#include <qwt_scale_map.h>

#include <cmath>

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

    const QPen pen = painter->pen();
    const int penWidth = qRound(pen.widthF());
    const QRect clip =
        canvasRect.toAlignedRect().adjusted(-penWidth, -penWidth, penWidth, penWidth);
    const columnbars::Reduction reduction =
        columnbars::reduce(samples->xData().constData(), samples->yData().constData(), {from, to},
                           columnbars::PixelMap(xMap), columnbars::PixelMap(yMap), clip, penWidth);

    for (const columnbars::Span& line : reduction.lines) {
        DataCurve::drawLines(painter, xMap, yMap, canvasRect, line.first, line.last);
    }
    if (!reduction.bars.empty()) {
        painter->save();
        painter->setPen(Qt::NoPen);
        painter->setBrush(pen.color());
        painter->drawRects(reduction.bars.data(), static_cast<int>(reduction.bars.size()));
        painter->restore();
    }
}

bool DenseCurve::canPaintBars(const QPainter& painter) const
{
    const QPen pen = painter.pen();
    return pen.style() == Qt::SolidLine && pen.brush().style() == Qt::SolidPattern &&
           pen.color().alpha() == 255 && pen.widthF() >= 1.0 && brush().style() == Qt::NoBrush &&
           !testCurveAttribute(QwtPlotCurve::Fitted) &&
           !painter.testRenderHint(QPainter::Antialiasing) &&
           painter.paintEngine()->type() == QPaintEngine::Raster &&
           QwtPainter::roundingAlignment(const_cast<QPainter*>(&painter));
}
