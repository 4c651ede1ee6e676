#include "gpu/OGL2DWidget.h"

#include "camera/ProgramStates.h"
#include "gpu/shader_program.h"
#include "gpu/viewport.h"

#include <QMatrix4x4>
#include <QMouseEvent>
#include <QVector2D>
#include <QVector3D>
#include <QVector>

#include <cuda_gl_interop.h>

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <vector>

namespace {

const char* const vertexSource = "#version 330 core\n"
                                 "attribute highp vec4 vertex;\n"
                                 "attribute mediump vec4 texCoord;\n"
                                 "varying mediump vec4 texc;\n"
                                 "uniform mediump mat4 matrix;\n"
                                 "void main(void)\n"
                                 "{\n"
                                 "    gl_Position = matrix * vertex;\n"
                                 "    texc = texCoord;\n"
                                 "}\n";

// The texture has the unchanged bytes of the image; red and blue are swapped here.
const char* const fragmentSource = "#version 330 core\n"
                                   "uniform sampler2D texture;\n"
                                   "varying mediump vec4 texc;\n"
                                   "void main(void)\n"
                                   "{\n"
                                   "    vec4 colin =texture2D(texture, texc.st);\n"
                                   "     vec4 colout =vec4(colin.b,colin.g,colin.r,colin.a);\n"
                                   "     gl_FragColor =colout;\n"
                                   "}\n";

constexpr int bytesPerPixel = 4;

} // namespace

OGL2DWidget::OGL2DWidget(QWidget* parent) : QGLWidget(parent)
{
    // The copy is not used: Qt's default format stays in effect.
    QGLFormat copy = format();
    copy.setDoubleBuffer(true);
    if (parent != nullptr) {
        widgetWidth = parent->width();
        widgetHeight = parent->height();
        imageViewport.width = parent->width();
        imageViewport.height = parent->height();
    }
}

OGL2DWidget::~OGL2DWidget()
{
    Deinit();
    clickGuard = false;
    available = false;
    spareFlag = false;
    glDeleteTextures(1, &texture);
    delete shaderProgram;
    shaderProgram = nullptr;
}

void OGL2DWidget::setAvailable(bool isAvailable)
{
    available = isAvailable;
}

void OGL2DWidget::stopDraw()
{
    gpuImage = nullptr;
    makeCurrent();
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glClearColor(0.0F, 0.0F, 0.0F, 1.0F);
}

void OGL2DWidget::Deinit()
{
    stopDraw();
    available = false;
}

void OGL2DWidget::createShader()
{
    shaderProgram = makeShaderProgram(this, vertexSource, fragmentSource);
}

void OGL2DWidget::initializeGL()
{
    makeCurrent();
    createShader();
}

void OGL2DWidget::InitGLProcess(int w, int h, int step)
{
    imageWidth = w;
    imageHeight = h;
    imageStep = step;
    makeCurrent();
    cuCtxSetCurrent(cudaContext);
    glEnable(GL_DEPTH_TEST);
    glEnable(GL_TEXTURE_2D);
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, w, h, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    {
        // Black and fully transparent until the first image. With an invalid size the registration
        // fails.
        const std::vector<unsigned char> zeros(static_cast<std::size_t>(std::max(w, 0)) *
                                               static_cast<std::size_t>(std::max(h, 0)) *
                                               bytesPerPixel);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, w, h, 0, GL_RGBA, GL_UNSIGNED_BYTE, zeros.data());
    }
    glBindTexture(GL_TEXTURE_2D, 0);
    const cudaError_t error = cudaGraphicsGLRegisterImage(&cudaResource, texture, GL_TEXTURE_2D, 0);
    if (error != cudaSuccess) {
        std::cout << cudaGetErrorName(error) << std::endl;
        return;
    }
    resizeGL(width(), height());
    available = true;
    emit init(true);
}

void OGL2DWidget::resizeGL(int w, int h)
{
    if (widgetWidth < 0 || widgetHeight < 0) {
        widgetWidth = w;
        widgetHeight = h;
        return;
    }
    if (imageWidth <= 0 || imageHeight <= 0) {
        return; // no aspect ratio to keep before InitGLProcess()
    }
    const QRect r = letterbox(w, h, imageWidth, imageHeight);
    imageViewport.x = r.x();
    imageViewport.y = r.y();
    imageViewport.width = r.width();
    imageViewport.height = r.height();
    glViewport(r.x(), r.y(), r.width(), r.height());
}

void OGL2DWidget::Ingest()
{
    if (gpuImage == nullptr) {
        return;
    }
    cuCtxSetCurrent(cudaContext);
    makeCurrent();
    cudaArray_t array = nullptr;
    cudaGraphicsMapResources(1, &cudaResource, nullptr);
    cudaGraphicsSubResourceGetMappedArray(&array, cudaResource, 0, 0);
    cudaMemcpy2DToArray(array, 0, 0, gpuImage, static_cast<std::size_t>(imageStep),
                        static_cast<std::size_t>(imageWidth) * bytesPerPixel,
                        static_cast<std::size_t>(imageHeight), cudaMemcpyDeviceToDevice);
    cudaGraphicsUnmapResources(1, &cudaResource, nullptr);
    cudaGetLastError(); // so that a later check does not see the error of a failed frame
}

void OGL2DWidget::paintGL()
{
    makeCurrent();
    glClearColor(0.0F, 0.0F, 0.0F, 1.0F);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    if (!available || gpuImage == nullptr) {
        return;
    }
    cuCtxSetCurrent(cudaContext);
    const QVector<QVector3D> vertices{{1, -1, 0}, {-1, -1, 0}, {-1, 1, 0}, {1, 1, 0}};
    const QVector<QVector2D> texCoords{{1, 0}, {0, 0}, {0, 1}, {1, 1}};
    qglClearColor(background);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glViewport(imageViewport.x, imageViewport.y, imageViewport.width, imageViewport.height);
    shaderProgram->bind();
    QMatrix4x4 matrix;
    // The rectangle's top is -1, which mirrors y: texture row 0 is at the top.
    matrix.ortho(QRectF(-1, -1, 2, 2));
    shaderProgram->setUniformValue("matrix", matrix);
    shaderProgram->enableAttributeArray(0);
    shaderProgram->enableAttributeArray(1);
    shaderProgram->setAttributeArray(0, vertices.constData(), 0);
    shaderProgram->setAttributeArray(1, texCoords.constData(), 0);
    glBindTexture(GL_TEXTURE_2D, texture);
    glDrawArrays(GL_TRIANGLE_FAN, 0, 4);
    glBindTexture(GL_TEXTURE_2D, 0);
    shaderProgram->release();
}

void OGL2DWidget::mouseReleaseEvent(QMouseEvent* event)
{
    const bool guarded = clickGuard && ProgramStates::getIntAttr(ProgramStates::imageView) != 0;
    if (!guarded && event->button() == Qt::LeftButton) {
        // Of the widget, not of the picture: a click on a black bar counts too.
        const float x = static_cast<float>(event->x()) / static_cast<float>(width());
        const float y = static_cast<float>(event->y()) / static_cast<float>(height());
        if (x >= 0.0F && x <= 1.0F && y >= 0.0F && y <= 1.0F) {
            ProgramStates::setDoubleAttr(ProgramStates::selectedPointX, static_cast<double>(x));
            ProgramStates::setDoubleAttr(ProgramStates::selectedPointY, static_cast<double>(y));
        }
    }
    if (event->button() == Qt::RightButton) {
        ProgramStates::setDoubleAttr(ProgramStates::selectedPointX, -1.0);
        ProgramStates::setDoubleAttr(ProgramStates::selectedPointY, -1.0);
    }
}
