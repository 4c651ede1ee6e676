#include "charts/plot_grid.h"

#include "charts/whole_number.h"

#include <QPaintEngine>
#include <QPainter>

#include <qwt_painter.h>
#include <qwt_scale_div.h>
#include <qwt_scale_map.h>

namespace {

constexpr int space = 1; // pixels above and below a line

} // namespace

void PlotGrid::draw(QPainter* painter, const QwtScaleMap& xMap, const QwtScaleMap& yMap,
                    const QRectF& canvasRect) const
{
    if (!canCopyLines(*painter, canvasRect)) {
        QwtPlotGrid::draw(painter, xMap, yMap, canvasRect);
        return;
    }
    const QRect canvas = canvasRect.toRect();
    const QPixmap& picture = line(canvas.width(), qRound(painter->deviceTransform().m11()));
    const QList<double> ticks = yScaleDiv().ticks(QwtScaleDiv::MajorTick);
    for (const double tick : ticks) {
        const int y = qRound(yMap.transform(tick));
        if (y >= canvas.top() && y <= canvas.bottom()) {
            painter->drawPixmap(canvas.left(), y - space, picture);
        }
    }
}

bool PlotGrid::canCopyLines(const QPainter& painter, const QRectF& canvasRect) const
{
    const QTransform& toDevice = painter.deviceTransform();
    return yEnabled() && !xEnabled() && !yMinEnabled() && canvasRect == canvasRect.toRect() &&
           canvasRect.width() > 1.0 && majorPen().widthF() <= 1.0 && isWhole(toDevice.m11()) &&
           isWhole(toDevice.dx()) && isWhole(toDevice.dy()) &&
           !painter.testRenderHint(QPainter::Antialiasing) &&
           painter.paintEngine()->type() == QPaintEngine::Raster &&
           // Neither scaled nor rotated, but for the device's ratio.
           QwtPainter::roundingAlignment(const_cast<QPainter*>(&painter));
}

// The line from x = 0 to x = width - 1, with space above and below.
const QPixmap& PlotGrid::line(int width, int scale) const
{
    const QSize size = QSize(width, 1 + 2 * space) * scale;
    if (m_line.size() != size || m_linePen != majorPen()) {
        m_linePen = majorPen();
        m_line = QPixmap(size);
        m_line.setDevicePixelRatio(scale);
        m_line.fill(Qt::transparent);
        QPen pen = m_linePen;
        pen.setCapStyle(Qt::FlatCap); // as QwtPlotGrid does
        QPainter painter(&m_line);
        painter.setPen(pen);
        painter.drawLine(0, space, width - 1, space);
        ++m_strokes;
    }
    return m_line;
}
