#include "calibration/sharp_symbol.h"

#include <QPainter>
#include <QPointF>
#include <QSizeF>

SharpSymbol::SharpSymbol(Style style, const QBrush& brush, const QPen& pen, const QSize& size)
    : QwtSymbol(style, brush, pen, size)
{
    setCachePolicy(NoCache); // renderSymbols() has its own picture
}

void SharpSymbol::renderSymbols(QPainter* painter, const QPointF* points, int count) const
{
    const qreal ratio = painter->device()->devicePixelRatioF();
    const QRect around = boundingRect();
    if (m_picture.isNull() || m_picture.devicePixelRatioF() != ratio) {
        m_picture = QPixmap((QSizeF(around.size()) * ratio).toSize());
        m_picture.setDevicePixelRatio(ratio);
        m_picture.fill(Qt::transparent);
        QPainter symbolPainter(&m_picture);
        symbolPainter.setRenderHints(painter->renderHints());
        symbolPainter.translate(-around.topLeft());
        const QPointF middle;
        QwtSymbol::renderSymbols(&symbolPainter, &middle, 1);
    }
    for (int i = 0; i < count; ++i) {
        // At a whole device pixel the picture is copied and not resampled.
        const QPointF middle(qRound(points[i].x() * ratio) / ratio,
                             qRound(points[i].y() * ratio) / ratio);
        painter->drawPixmap(middle + around.topLeft(), m_picture);
    }
}
