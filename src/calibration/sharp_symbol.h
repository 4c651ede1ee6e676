/// @file
/// Symbols of curves on screens with a scale factor.
#pragma once

#include <QPixmap>

#include <qwt_symbol.h>

/// A symbol that is painted once, in device pixels, and copied to each sample. QwtSymbol copies a
/// picture of logical pixels, which is blurred where a logical pixel has several device pixels.
/// Its look is fixed at construction. Interface thread.
class SharpSymbol : public QwtSymbol
{
public:
    SharpSymbol(Style style, const QBrush& brush, const QPen& pen, const QSize& size);

protected:
    void renderSymbols(QPainter* painter, const QPointF* points, int count) const override;

private:
    mutable QPixmap m_picture; ///< for the scale factor of the last painting
};
