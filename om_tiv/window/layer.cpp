#include "window/layer.h"

#include <QPointF>
#include <QRectF>

#include <cmath>

namespace benchwindow {

void Layer::show(QPainter& painter, const QSize& size, const std::function<void(QPainter&)>& paint)
{
    const QTransform device = painter.deviceTransform();
    // With a broken scale factor a widget may begin within a device pixel.
    const QPointF corner(std::floor(device.dx()), std::floor(device.dy()));
    const QTransform transform = device * QTransform::fromTranslate(-corner.x(), -corner.y());
    const QRectF pixels = transform.mapRect(QRectF(QPointF(), size));
    const QSize needed(static_cast<int>(std::ceil(pixels.right())),
                       static_cast<int>(std::ceil(pixels.bottom())));
    if (m_image.size() != needed || m_transform != transform) {
        m_image = QImage(needed, QImage::Format_RGB32);
        m_transform = transform;
        QPainter image(&m_image);
        image.setFont(painter.font());
        image.setTransform(transform);
        paint(image);
    }
    painter.save();
    painter.setTransform(QTransform::fromTranslate(corner.x(), corner.y()) * device.inverted());
    painter.drawImage(QPointF(), m_image);
    painter.restore();
}

} // namespace benchwindow
