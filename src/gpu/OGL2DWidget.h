/// @file
/// The image view: one camera image that stays in GPU memory.
#pragma once

#include <QColor>
#include <QGLShaderProgram>
#include <QGLWidget>

#include <cuda.h>
#include <cuda_runtime_api.h>

/// Shows an image from CUDA device memory as one textured quad, letterboxed in black. The pixels
/// never pass through host memory.
///
/// Its owner writes cudaContext and gpuImage, calls InitGLProcess() and waits for init(true); then
/// for each new frame it calls Ingest() and update(). To stop it calls stopDraw() or Deinit(), and
/// only after that it may free the image. For future use: no window of the program contains it.
///
/// Threads: the interface thread only.
class OGL2DWidget : public QGLWidget
{
    Q_OBJECT

public:
    explicit OGL2DWidget(QWidget* parent);
    ~OGL2DWidget() override;

    CUcontext cudaContext = nullptr; ///< the camera's
    /// First byte of the image: rows of pixels with blue, green, red and alpha in one byte each.
    /// Null means no image. Not owned.
    unsigned char* gpuImage = nullptr;

    /// Sets whether the texture counts as ready; otherwise the view is black.
    void setAvailable(bool isAvailable);
    /// Forgets the image and clears the frame buffer.
    void stopDraw();
    void Deinit(); ///< stopDraw(), and the texture counts as not ready

public slots:
    /// Prepares texture and CUDA registration. Each call creates new ones and keeps the previous
    /// ones allocated. On failure the error's name is printed to standard output and init() is not
    /// emitted.
    /// @param w,h  pixels of the image
    /// @param step bytes from one row to the next in device memory, at least 4 * w
    void InitGLProcess(int w, int h, int step);
    /// Copies the image into the texture. Does not repaint. After a failure the last good picture
    /// stays.
    void Ingest();

signals:
    void init(bool ready); ///< after each successful InitGLProcess(), with true

protected:
    void initializeGL() override;
    void resizeGL(int w, int h) override;
    void paintGL() override;
    /// The left button stores the position as fractions of the widget in
    /// ProgramStates::selectedPointX and selectedPointY, the right button stores -1.0 in both.
    void mouseReleaseEvent(QMouseEvent* event) override;

    void createShader();

    /// While it is set, left clicks count only on image view 0. For future use: nothing sets it.
    bool clickGuard = false;
    bool available = false;
    bool spareFlag = false; // reserved
    int widgetWidth = -1;   ///< negative: no size known yet
    int widgetHeight = -1;
    int imageWidth = 0;
    int imageHeight = 0;
    int imageStep = 0;
    struct
    {
        int x = 0;
        int y = 0;
        int width = 960;
        int height = 540;
    } imageViewport; ///< the letterboxed rectangle, widget pixels
    QGLShaderProgram* shaderProgram = nullptr;
    GLuint texture = 0;
    cudaGraphicsResource_t cudaResource = nullptr;
    QColor background{0, 0, 0};
};
