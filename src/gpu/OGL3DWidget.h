/// @file
/// The 3D view: a floor, reference axes, the camera's mesh and the direction of its acceleration.
#pragma once

#include "camera/camera_library.h"

#include <QGLFunctions>
#include <QGLShaderProgram>
#include <QOpenGLWidget>

#include <cuda.h>

#include <cstdint>

class CameraGL;
class DynAxis;
class Simple3DObject;

/// Left drag orbits, right drag pans, the wheel moves along the view axis, the arrow keys pan and R
/// returns to the first viewpoint. None of them repaints: the change is visible after the view's
/// owner calls update().
///
/// Threads: the interface thread, except for setCameraModelOr(), setCameraModelPos(), accStrength
/// and movingStatus, which the sensor thread writes while the view paints. No lock guards them: a
/// frame may show a torn value; the next one shows the complete value.
class OGL3DWidget : public QOpenGLWidget, protected QGLFunctions
{
    Q_OBJECT

public:
    explicit OGL3DWidget(QWidget* parent = nullptr);
    ~OGL3DWidget() override;

    /// Draws the overlay with the labels "Camera Moving" and "Camera Falling"; to be called while
    /// the view paints. For future use: nothing calls it.
    /// @param status 0 neither, 1 moving, anything else both
    void showMovingInfo(int status);

    /// A bluish colour ramp that is darkest in the middle of 0 to count. For future use: nothing
    /// calls it.
    void getColor(int count, int index, float& c1, float& c2, float& c3);

public slots:
    /// Builds the scene for the open camera. Afterwards the model setters may be called. Each call
    /// builds new objects and keeps the previous ones allocated. The view becomes one pixel wider;
    /// the layout reverts this with the next events.
    void InitProcess();
    void ResetPosition(); ///< back to the first viewpoint
    /// Draws the scene into the current OpenGL context, which must be the view's. Draws nothing
    /// before InitProcess() or after one without a context.
    void visualize();
    void setCameraMovingStatus(int status); ///< 0 static, 1 moving, 2 falling
    /// Metres; the mesh only. Not before InitProcess().
    void setCameraModelPos(const om::Translation& p);
    /// The mesh and the acceleration lines. Not before InitProcess().
    void setCameraModelOr(const om::Orientation& rot);
    /// The mesh only. Not before InitProcess().
    void setCameraModelTr(const om::Transform& rt);
    /// Sets accStrength: a unit vector along the camera's axes.
    void setAccStrenght(float strenghtX, float strenghtY, float strenghtZ);

protected:
    bool event(QEvent* event) override;
    void initializeGL() override;
    void resizeGL(int w, int h) override;
    void paintGL() override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

    void createTIVProgram();
    void CreateAxis();
    void CreateFloorGrid();
    void CreateTIVModel(); ///< the mesh for ProgramStates::cameraModel
    /// One floor mark at raster point (i, j): a cross with arms of the length, and a tick upward
    /// and downward where both i and j are the limit or its negative.
    void addVert(Simple3DObject* object, float i, float j, float height, float length, float limit,
                 const om::Vector3<float>& color);
    void measureDrawable(int w, int h); ///< of the widget's size
    void reshape();
    void rotateCamera();
    void translateCamera();
    void roundedBorder();

    struct Point
    {
        std::int16_t x = 0;
        std::int16_t y = 0;
    };
    struct Motion
    {
        float x = 0.0F;
        float y = 0.0F;
    };

    static Point positionOf(const QMouseEvent& event);
    static Motion motionFrom(const Point& from, const Point& to, float divisor);

    bool sceneReady = false;
    Motion mouseMotion;       ///< last one passed to rotateCamera() or translateCamera()
    float spareMotion = 0.0F; // reserved, like the next two
    om::Translation spareTranslation;
    bool spareFlag = false;
    bool mousePressed = false;
    Point currentMouse;
    Point previousMouse;      ///< at the press or at the last handled move
    float viewWidth = 320.0F; ///< of the drawable, device pixels
    float viewHeight = 240.0F;

public:
    om::Vector3<float> accStrength; ///< unit vector of the acceleration; may be not-a-number

protected:
    QGLShaderProgram* shaderProgram = nullptr;
    CameraGL* camera = nullptr;
    Simple3DObject* cameraModel = nullptr;
    Simple3DObject* floorGrid = nullptr;
    Simple3DObject* axes = nullptr;
    DynAxis* dynamicAxes = nullptr;

public:
    int movingStatus = 0; ///< of the newest sample: 0 static, 1 moving, 2 falling
    CUcontext cudaContext =
        nullptr; ///< the camera's; InitProcess() stores the thread's current one
};
