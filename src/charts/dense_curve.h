/// @file
/// The fast drawing path of the chart's curves.
#pragma once

#include "charts/DataCurve.h"

/// A DataCurve that is drawn fast where many samples are in one column of pixels.
///
/// Such samples are reduced to the first, lowest, highest and last of their column, and each column
/// is painted as one bar as wide as the pen. Otherwise a time chart would spend most of its time on
/// stroking a polyline of tens of thousands of points. No extreme is lost. Compared with the
/// stroked line, all drawn pixels but one in 4000 have their counterpart within a pixel. Fewer
/// than 16 samples in a row, and samples that are sparser than the pixels, are drawn as Qwt's own
/// line. A sample that is not a finite number interrupts the curve.
///
/// For the interface thread.
///
/// Where the device has more than one pixel per pixel of the chart, columns and bars are those of
/// the device, also between sparse samples. Qwt's own line rounds every sample to a whole pixel of
/// the chart there; the two differ by no more than that pixel.
///
/// Qwt's own line is always used for a pen that is not solid, opaque and at least one pixel wide,
/// for a filled, fitted or antialiased curve, for a scale that is not linear, on a painter that is
/// rotated, scaled by more than the device's ratio or not a raster painter, and for samples that
/// are not in two vectors.
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
