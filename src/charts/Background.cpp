#include "charts/Background.h"

#include <QColor>
#include <QPainter>
#include <QString>

#include <qwt_text.h>

Background::Background() : QwtPlotItem(QwtText(QString()))
{
    setZ(0.0);
}

int Background::rtti() const
{
    return QwtPlotItem::Rtti_PlotUserItem;
}

void Background::draw(QPainter* painter, const QwtScaleMap&, const QwtScaleMap&,
                      const QRectF& canvasRect) const
{
    painter->fillRect(canvasRect, QColor(25, 25, 25));
}
