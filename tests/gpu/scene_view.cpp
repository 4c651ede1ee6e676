#include "gpu/scene_view.h"

#include <QGuiApplication>
#include <QScreen>
#include <QtTest>

bool SceneView::showOnScreen(int width, int height)
{
    setWindowFlags(Qt::Window | Qt::FramelessWindowHint);
    setGeometry(0, 0, width, height);
    show();
    return QTest::qWaitForWindowExposed(this) && isValid();
}

bool SceneView::showScene(int width, int height, int model)
{
    if (!showOnScreen(width, height)) {
        return false;
    }
    ProgramStates::setIntAttr(ProgramStates::cameraModel, model);
    InitProcess();
    setGeometry(0, 0, width, height); // takes back the pixel that InitProcess() adds
    picture();
    return true;
}

QImage SceneView::picture()
{
    // The composed picture reaches the display with the update request that repaint() leaves.
    for (int i = 0; i < 2; ++i) {
        repaint();
        QCoreApplication::processEvents();
    }
    return QGuiApplication::primaryScreen()
        ->grabWindow(0, x(), y(), width(), height())
        .toImage()
        .convertToFormat(QImage::Format_RGB32);
}
