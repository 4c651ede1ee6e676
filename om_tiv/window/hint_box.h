/// @file
/// The place of the hint in the large view.
#pragma once

#include <QPointF>
#include <QRectF>
#include <QSizeF>

namespace benchwindow {

/// A box in the upper right corner of the view that does not touch the ring around the camera.
/// All lengths are in pixels.
/// @param height of the text; the taller the text, the narrower the box can be
QRectF hintBox(const QSizeF& view, const QPointF& ringCentre, double ringRadius, double height);

} // namespace benchwindow
