#include "charts/bar_painter.h"

#include "charts/whole_number.h"

#include <QColor>
#include <QImage>
#include <QPaintEngine>
#include <QPainter>
#include <QRegion>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace {

/// The image that the painter draws into; null if its pixels cannot simply be set.
QImage* imageOf(const QPainter& painter)
{
    const QTransform& toDevice = painter.deviceTransform();
    const QPaintEngine* const engine = painter.paintEngine();
    QPaintDevice* const device = engine->paintDevice();
    if (engine->type() != QPaintEngine::Raster || device == nullptr ||
        device->devType() != QInternal::Image || painter.hasClipping() || painter.opacity() < 1.0 ||
        painter.compositionMode() != QPainter::CompositionMode_SourceOver ||
        toDevice.type() > QTransform::TxTranslate || !isWhole(toDevice.dx()) ||
        !isWhole(toDevice.dy()) || engine->systemClip().rectCount() > 1) {
        return nullptr;
    }
    auto* const image = static_cast<QImage*>(device);
    const bool isOf32Bits = image->format() == QImage::Format_RGB32 ||
                            image->format() == QImage::Format_ARGB32_Premultiplied;
    return isOf32Bits ? image : nullptr;
}

} // namespace

bool fillBars(QPainter& painter, const std::vector<QRect>& bars, const QColor& colour)
{
    QImage* const image = colour.alpha() == 255 ? imageOf(painter) : nullptr;
    if (image == nullptr) {
        painter.save();
        painter.setPen(Qt::NoPen);
        painter.setBrush(colour);
        painter.drawRects(bars.data(), static_cast<int>(bars.size()));
        painter.restore();
        return false;
    }
    const QTransform& toDevice = painter.deviceTransform();
    const QPoint offset(static_cast<int>(toDevice.dx()), static_cast<int>(toDevice.dy()));
    const QRegion region = painter.paintEngine()->systemClip(); // the part that a widget repaints
    const QRect clip = region.isEmpty() ? image->rect() : region.boundingRect() & image->rect();
    const QRgb value = colour.rgb();
    const QRgb pair[] = {value, value};
    const std::ptrdiff_t stride = image->bytesPerLine() / static_cast<int>(sizeof(QRgb));
    QRgb* const pixels = reinterpret_cast<QRgb*>(image->bits());
    for (const QRect& bar : bars) {
        const int left = std::max(bar.left() + offset.x(), clip.left());
        const int right = std::min(bar.right() + offset.x(), clip.right());
        const int top = std::max(bar.top() + offset.y(), clip.top());
        const int bottom = std::min(bar.bottom() + offset.y(), clip.bottom());
        QRgb* row = pixels + top * stride + left;
        if (right - left == 1) { // the usual pen, in one step
            for (int y = top; y <= bottom; ++y, row += stride) {
                std::memcpy(row, pair, sizeof pair);
            }
            continue;
        }
        for (int y = top; y <= bottom; ++y, row += stride) {
            for (int x = 0; x <= right - left; ++x) {
                row[x] = value;
            }
        }
    }
    return true;
}
