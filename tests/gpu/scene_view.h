/// @file
/// The 3D view with access to its members, and pictures of it as the display shows it.
#pragma once

#include "camera/ProgramStates.h"
#include "gpu/CameraGL.h"
#include "gpu/OGL3DWidget.h"
#include "gpu/Simple3DObject.h"

#include <QImage>
#include <QSize>

#include <vector>

/// Access to the vertices of an object.
class OpenObject : public Simple3DObject
{
public:
    static const std::vector<float>& verticesOf(const Simple3DObject& object)
    {
        return object.*(&OpenObject::vertices);
    }
    static const std::vector<float>& coloursOf(const Simple3DObject& object)
    {
        return object.*(&OpenObject::colors);
    }
    static const std::vector<unsigned int>& indicesOf(const Simple3DObject& object)
    {
        return object.*(&OpenObject::indices);
    }
    static const GLuint* buffersOf(const Simple3DObject& object)
    {
        return object.*(&OpenObject::vboID);
    }
    static const QObject& arrayOf(const Simple3DObject& object)
    {
        return object.*(&OpenObject::vao);
    }
    static GLenum drawingTypeOf(const Simple3DObject& object)
    {
        return object.*(&OpenObject::drawingType);
    }
};

class SceneView : public OGL3DWidget
{
public:
    using OGL3DWidget::OGL3DWidget;

    using OGL3DWidget::addVert;
    using OGL3DWidget::axes;
    using OGL3DWidget::camera;
    using OGL3DWidget::cameraModel;
    using OGL3DWidget::CreateTIVModel;
    using OGL3DWidget::currentMouse;
    using OGL3DWidget::dynamicAxes;
    using OGL3DWidget::floorGrid;
    using OGL3DWidget::mouseMotion;
    using OGL3DWidget::mousePressed;
    using OGL3DWidget::previousMouse;
    using OGL3DWidget::sceneReady;
    using OGL3DWidget::shaderProgram;
    using OGL3DWidget::viewHeight;
    using OGL3DWidget::viewWidth;

    /// Shows the view alone on the screen, without a frame, and waits until it can draw.
    bool showOnScreen(int width, int height);
    /// The same with the scene of a camera model.
    bool showScene(int width, int height, int model);
    /// Paints at once. repaint() may delay it until the next frame of the display.
    void paintNow();
    /// Repaints and takes the view's picture from the display.
    QImage picture();

    int paints = 0;

    /// A call of resizeGL().
    struct Resize
    {
        QSize size;
        bool withScene;
    };
    std::vector<Resize> resizes;

protected:
    void resizeGL(int w, int h) override;
    void paintGL() override;
};
