#include "window/hint_box.h"

#include <algorithm>
#include <cmath>

namespace benchwindow {

namespace {

constexpr double margin = 24.0; // right of the text
constexpr double top = 18.0;
constexpr double widest = 300.0;
constexpr double gap = 10.0; // to the ring

} // namespace

QRectF hintBox(const QSizeF& view, const QPointF& ringCentre, double ringRadius, double height)
{
    const double right = view.width() - margin;
    double left = right - widest;
    // The ring is widest at its centre; above it, at the lowest line of the text.
    const double above = std::max(0.0, ringCentre.y() - (top + height));
    const double radius = ringRadius + gap;
    if (above < radius) {
        left = std::max(left, ringCentre.x() + std::sqrt(radius * radius - above * above));
    }
    return {left, top, right - left, height};
}

} // namespace benchwindow
