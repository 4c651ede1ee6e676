#include "gpu/own_surface.h"

#include <QEvent>
#include <QGuiApplication>
#include <QOpenGLWidget>
#include <QSurfaceFormat>
#include <QWindow>

namespace {

/// Of a widget without a native window so far.
void requestNoSamples(QWidget& widget)
{
    widget.setAttribute(Qt::WA_NativeWindow); // creates the handle, but not yet the native window
    QWindow& handle = *widget.windowHandle();
    QSurfaceFormat format = handle.requestedFormat();
    format.setSamples(0);
    handle.setFormat(format);
}

} // namespace

OwnSurface::OwnSurface(QOpenGLWidget* view) : QObject(view), m_view(view)
{
    requestNoSamples(*view->window());
    if (QGuiApplication::platformName() != QLatin1String("xcb")) {
        return;
    }
    // All widgets around the view would get native windows, too.
    view->setAttribute(Qt::WA_DontCreateNativeAncestors);
    requestNoSamples(*view);
    for (QWidget* ancestor = view->parentWidget(); ancestor != nullptr && !ancestor->isWindow();
         ancestor = ancestor->parentWidget()) {
        ancestor->installEventFilter(this);
    }
}

bool OwnSurface::eventFilter(QObject* ancestor, QEvent* event)
{
    // Qt moves the native window only when the view itself is moved or resized.
    if (event->type() == QEvent::Move) {
        m_view->windowHandle()->setPosition(m_view->mapTo(m_view->window(), QPoint()));
    }
    return QObject::eventFilter(ancestor, event);
}
