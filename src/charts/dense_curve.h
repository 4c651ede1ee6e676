#pragma once

#include "charts/DataCurve.h"

/// A DataCurve that stays cheap where many samples fall on one column of pixels.
///
/// Such samples are reduced to the first, lowest, highest and last of their column, and each column
/// is painted as one bar as wide as the pen: stroking a polyline of tens of thousands of points is
/// what a time chart would otherwise spend most of its time on. No extreme is lost. Of the ink and
/// that of the stroked line, all but one pixel in 4000 have their counterpart within a pixel. Where
/// the samples are sparser than the pixels, Qwt's own line is drawn. A sample that is no finite
/// number interrupts the curve.
///
/// Qwt's line is drawn throughout for a pen that is not solid, opaque and at least one pixel wide,
/// for a filled, fitted or antialiased curve, for a scale that is not linear, on a painter that is
/// rotated, scaled or not a raster one, and for samples not held in two vectors.
class DenseCurve : public DataCurve
{
public:
    explicit DenseCurve(const QString& title);

protected:
    void drawLines(QPainter* painter, const QwtScaleMap& xMap, const QwtScaleMap& yMap,
                   const QRectF& canvasRect, int from, int to) const override;

private:
    bool canPaintBars(const QPainter& painter) const;
};
