/// @file
/// A native window of its own for an OpenGL view inside another window.
#pragma once

#include <QObject>

class QOpenGLWidget;

/// Qt composes a window that contains an OpenGL view by OpenGL: each change of any widget uploads
/// and draws the whole window, with the samples of the default format. With a native window of its
/// own, the view is composed alone, and the other widgets are copied to the display without OpenGL.
///
/// On X11 only: on Wayland (Qt 5.15, weston) such a view shows arbitrary memory. Elsewhere the view
/// stays a part of its window.
///
/// On every platform the native windows have no samples. The view's picture keeps those of its
/// format: the view draws into a buffer of its own, which has them. Both windows have the same
/// format, because Qt composes them with one context.
///
/// Interface thread only.
class OwnSurface : public QObject
{
public:
    /// To be called once, when the view has its final parents and before its window is shown for
    /// the first time. The object is a child of the view.
    explicit OwnSurface(QOpenGLWidget* view);

protected:
    bool eventFilter(QObject* ancestor, QEvent* event) override;

private:
    QOpenGLWidget* m_view;
};
