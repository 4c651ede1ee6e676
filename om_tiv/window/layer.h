/// @file
/// A part of a picture that seldom changes.
#pragma once

#include <QImage>
#include <QPainter>
#include <QSize>
#include <QTransform>

#include <functional>

namespace benchwindow {

/// The picture of a widget's background, in device pixels. It is painted once and then copied.
class Layer
{
public:
    /// Copies the picture to the widget of the painter, which has no transformation of its own.
    /// First paints it if it was discarded, or if the size, the scale factor or the position within
    /// a device pixel has changed; each of its pixels must be painted.
    /// @param size of the widget
    void show(QPainter& painter, const QSize& size, const std::function<void(QPainter&)>& paint);

    /// For a change of what it shows.
    void discard() { m_image = {}; }

private:
    QImage m_image;
    QTransform m_transform; ///< from the widget to the image
};

} // namespace benchwindow
