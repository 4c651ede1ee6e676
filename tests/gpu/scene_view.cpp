#include "gpu/scene_view.h"
#include "support/patience.h"

#include <QGuiApplication>
#include <QScreen>
#include <QtTest>

bool SceneView::showOnScreen(int width, int height)
{
    setWindowFlags(Qt::Window | Qt::FramelessWindowHint);
    setGeometry(0, 0, width, height);
    show();
    return QTest::qWaitForWindowExposed(this, waiting::patienceMs) && isValid();
}

bool SceneView::showScene(int width, int height, int model)
{
    if (!showOnScreen(width, height)) {
        return false;
    }
    ProgramStates::setIntAttr(ProgramStates::cameraModel, model);
    InitProcess();
    setGeometry(0, 0, width, height); // reverts the pixel that InitProcess() adds
    picture();
    return true;
}

void SceneView::paintNow()
{
    grabFramebuffer();
}

QImage SceneView::picture()
{
    const int before = paints;
    update();
    if (!QTest::qWaitFor([&] { return paints > before; }, waiting::patienceMs)) {
        qCritical("the view was not painted");
    }
    // The composed picture was sent to the display on the same connection as the request.
    return QGuiApplication::primaryScreen()
        ->grabWindow(0, x(), y(), width(), height())
        .toImage()
        .convertToFormat(QImage::Format_RGB32);
}

void SceneView::resizeGL(int w, int h)
{
    resizes.push_back({QSize(w, h), sceneReady});
    OGL3DWidget::resizeGL(w, h);
}

void SceneView::paintGL()
{
    ++paints;
    OGL3DWidget::paintGL();
}
