#include "gpu/OGL3DWidget.h"

#include "camera/ProgramStates.h"
#include "gpu/CameraGL.h"
#include "gpu/Simple3DObject.h"
#include "gpu/Tiv3D.h"
#include "gpu/shader_program.h"
#include "gpu/vectors.h"
#include "gpu/viewport.h"

#include <QEvent>
#include <QFontMetrics>
#include <QMatrix4x4>
#include <QMouseEvent>
#include <QOpenGLContext>
#include <QPainter>
#include <QPainterPath>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

const char* const VERTEX_SHADER = "#version 330 core\n"
                                  "layout(location = 0) in vec3 in_Vertex;\n"
                                  "layout(location = 1) in vec3 in_Color;\n"
                                  "uniform mat4 u_mvpMatrix;\n"
                                  "out vec3 b_color;\n"
                                  "void main() {\n"
                                  "   b_color = in_Color;\n"
                                  "\tgl_Position = u_mvpMatrix * vec4(in_Vertex.xyz, 1);\n"
                                  "}";

const char* const FRAGMENT_SHADER = "#version 330 core\n"
                                    "in vec3 b_color;\n"
                                    "layout(location = 0) out vec4 out_Color;\n"
                                    "void main() {\n"
                                    "   out_Color = vec4(b_color, 0.5);\n"
                                    "}";

om::Orientation firstAttitude()
{
    return omlib::orientation(-0.23252F, 0.170843F, 0.0401341F, 0.956623F);
}

const om::Translation firstPosition(-0.0542544F, -0.109509F, -0.270714F);
const om::Translation firstDirection(0.0F, 0.0F, -1.0F);
const om::Translation firstVertical(0.0F, 1.0F, 0.0F);
const om::Translation firstOffset(0.0F, 0.0F, 1.0F);

template <std::size_t N>
void fill(Simple3DObject* object, const float* vertices, const int (&triangles)[N],
          const om::Vector3<float>& color)
{
    fillTIV(static_cast<int>(N / 3), vertices, triangles, color, object);
}

void setViewport(const QRect& r)
{
    glViewport(r.x(), r.y(), r.width(), r.height());
}

} // namespace

OGL3DWidget::OGL3DWidget(QWidget* parent) : QOpenGLWidget(parent)
{
    // The copy is not used: the view has the application's default format, with the number of
    // samples that main() requests.
    QSurfaceFormat copy = format();
    copy.setSamples(4);
    setFocusPolicy(Qt::StrongFocus);
}

OGL3DWidget::~OGL3DWidget()
{
    // The context is not made current: their objects in it are freed with the context directly
    // after this.
    delete shaderProgram;
    shaderProgram = nullptr;
    delete camera;
    camera = nullptr;
    delete cameraModel;
    cameraModel = nullptr;
    delete floorGrid;
    floorGrid = nullptr;
    delete axes;
    axes = nullptr;
    delete dynamicAxes;
    dynamicAxes = nullptr;
}

void OGL3DWidget::initializeGL()
{
    initializeGLFunctions();
}

void OGL3DWidget::InitProcess()
{
    cuCtxGetCurrent(&cudaContext);
    cuCtxSetCurrent(cudaContext);
    makeCurrent();
    createTIVProgram();
    camera = new CameraGL(om::Translation(0.0F, 0.0F, 0.0F), firstDirection, firstVertical);
    camera->setOffsetFromPosition(firstOffset);
    camera->setPosition(firstPosition);
    camera->setRotation(firstAttitude());
    CreateAxis();
    CreateFloorGrid();
    CreateTIVModel();
    camera->setProjection(90.0F, 90.0F, 0.05F, 300.0F);
    update();
    // One pixel more causes a new resizeGL().
    resize(width() + 1, height());
    sceneReady = true;
    // The layout does not detect the change by itself. After this request it reverts the pixel when
    // this call has returned.
    updateGeometry();
}

void OGL3DWidget::createTIVProgram()
{
    if (QOpenGLContext::currentContext() == nullptr) {
        return; // no window to draw in yet, or a platform without OpenGL
    }
    // These shaders have none of the names that the program is prepared with; their layout
    // qualifiers apply.
    shaderProgram = makeShaderProgram(this, VERTEX_SHADER, FRAGMENT_SHADER);
}

void OGL3DWidget::CreateAxis()
{
    axes = new Simple3DObject(om::Translation(0.0F, 0.0F, 0.0F), false);
    axes->setDrawingType(GL_LINES);
    const om::Vector3<float> origin{0.0F, 0.0F, 0.0F};
    axes->addLine(origin, {-1.0F, 0.0F, 0.0F}, colour(255, 87, 87));
    axes->addLine(origin, {0.0F, 1.0F, 0.0F}, colour(48, 214, 149));
    axes->addLine(origin, {0.0F, 0.0F, -1.0F}, colour(0, 190, 255));
    axes->pushToGPU();
    dynamicAxes = new DynAxis;
}

void OGL3DWidget::CreateFloorGrid()
{
    floorGrid = new Simple3DObject(om::Translation(0.0F, 0.0F, 0.0F), false);
    floorGrid->setDrawingType(GL_LINES);
    const om::Vector3<float> lime = colour(217, 255, 66);
    for (int i = -5; i <= 5; ++i) {
        for (int j = -5; j <= 5; ++j) {
            addVert(floorGrid, static_cast<float>(i), static_cast<float>(j), -1.0F, 1.0F / 3.0F,
                    5.0F, lime);
        }
    }
    floorGrid->pushToGPU();
}

void OGL3DWidget::addVert(Simple3DObject* object, float i, float j, float height, float length,
                          float limit, const om::Vector3<float>& color)
{
    object->addLine({i + length, height, j}, {i - length, height, j}, color);
    object->addLine({i, height, j + length}, {i, height, j - length}, color);
    if ((i == limit || i == -limit) && (j == limit || j == -limit)) {
        object->addLine({i, height + length, j}, {i, height - length, j}, color);
    }
}

void OGL3DWidget::CreateTIVModel()
{
    cameraModel = new Simple3DObject(om::Translation(0.0F, 0.0F, 0.0F), false);
    // Nothing is depth-tested: the order of the tables is the order of painting.
    switch (ProgramStates::getIntAttr(ProgramStates::cameraModel)) {
    case static_cast<int>(omlib::tiv):
        fill(cameraModel, TIV_obj::vertices, TIV_obj::alluminiumTriangles,
             TIV_obj::ALLUMINIUM_COLOR);
        fill(cameraModel, TIV_obj::vertices, TIV_obj::darkTriangles, TIV_obj::DARK_COLOR);
        break;
    case static_cast<int>(omlib::tivN):
        fill(cameraModel, TIV_N_obj::vertices, TIV_N_obj::alluminiumTriangles,
             TIV_N_obj::ALLUMINIUM_COLOR);
        fill(cameraModel, TIV_N_obj::vertices, TIV_N_obj::alluminiumTriangles2,
             TIV_N_obj::ALLUMINIUM_COLOR);
        fill(cameraModel, TIV_N_obj::vertices, TIV_N_obj::alluminiumTriangles3,
             TIV_N_obj::ALLUMINIUM_COLOR);
        fill(cameraModel, TIV_N_obj::vertices, TIV_N_obj::darkTriangles, TIV_N_obj::DARK_COLOR);
        fill(cameraModel, TIV_N_obj::vertices, TIV_N_obj::darkTriangles2, TIV_N_obj::DARK_COLOR);
        fill(cameraModel, TIV_N_obj::vertices, TIV_N_obj::greyTriangles, TIV_N_obj::LENS_COLOR);
        fill(cameraModel, TIV_N_obj::vertices, TIV_N_obj::greyTriangles2, TIV_N_obj::LENS_COLOR);
        fill(cameraModel, TIV_N_obj::vertices, TIV_N_obj::yellowTriangles, TIV_N_obj::YELLOW_COLOR);
        break;
    default: // every later model
        fill(cameraModel, TIV_P_obj::vertices, TIV_P_obj::alluminiumTriangles,
             TIV_P_obj::ALLUMINIUM_COLOR);
        fill(cameraModel, TIV_P_obj::vertices, TIV_P_obj::darkTriangles, TIV_P_obj::DARK_COLOR);
        break;
    }
    cameraModel->setDrawingType(GL_TRIANGLES);
    cameraModel->pushToGPU();
}

void OGL3DWidget::getColor(int count, int index, float& c1, float& c2, float& c3)
{
    const double ratio = (2.0 * static_cast<double>(static_cast<float>(index))) /
                         static_cast<double>(static_cast<float>(count));
    const auto r = static_cast<float>(std::abs(1.0 - ratio));
    c1 = static_cast<float>(static_cast<double>(r) * 0.1);
    c2 = static_cast<float>(static_cast<double>(r) * 0.3);
    c3 = static_cast<float>(static_cast<double>(r) * 0.8);
}

bool OGL3DWidget::event(QEvent* event)
{
    const bool handled = QOpenGLWidget::event(event);
    // On a screen with another scale factor Qt replaces the drawable without a resizeGL().
    if (event->type() == QEvent::ScreenChangeInternal && isValid()) {
        measureDrawable(width(), height());
    }
    return handled;
}

void OGL3DWidget::measureDrawable(int w, int h)
{
    const int ratio = devicePixelRatio();
    viewWidth = static_cast<float>(w * ratio);
    viewHeight = static_cast<float>(h * ratio);
}

void OGL3DWidget::resizeGL(int w, int h)
{
    measureDrawable(w, h);
    glViewport(0, 0, static_cast<int>(viewWidth), static_cast<int>(viewHeight));
}

void OGL3DWidget::reshape()
{
    // A square as large as the larger dimension keeps the scene undistorted.
    setViewport(squareViewport(viewWidth, viewHeight));
    const float h = camera->getHorizontalFOV();
    camera->setProjection(h, h, camera->getZNear(), camera->getZFar());
}

void OGL3DWidget::paintGL()
{
    makeCurrent();
    glClearColor(25.0F / 255.0F, 25.0F / 255.0F, 25.0F / 255.0F, 1.0F);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glDisable(GL_DEPTH_TEST);
    if (sceneReady) {
        visualize();
    }
    roundedBorder();
}

void OGL3DWidget::visualize()
{
    if (!sceneReady || shaderProgram == nullptr) {
        return;
    }
    glLineWidth(1.5F);
    camera->update();
    om::Transform vp = camera->getViewProjectionMatrix();
    reshape();
    setViewport(squareViewportOfExactSide(viewWidth, viewHeight));
    const QMatrix4x4 matrix(&vp(0, 0));
    // Where the program cannot be linked, bind() tries it again, and both print why they cannot.
    if (shaderProgram->isLinked()) {
        shaderProgram->bind();
        shaderProgram->setUniformValue("u_mvpMatrix", matrix);
    }
    glLineWidth(1.5F);
    floorGrid->draw();
    glLineWidth(3.5F);
    axes->draw();
    const int location = glGetUniformLocation(shaderProgram->programId(), "u_mvpMatrix");
    // Column-major, as OpenGL takes it: the transposed product.
    om::Matrix4f m =
        om::Matrix4f::transpose(cameraModel->getModelMatrix()) * om::Matrix4f::transpose(vp);
    glUniformMatrix4fv(location, 1, GL_FALSE, &m(0, 0));
    // Uses the mesh's matrix, so that the lines turn with the camera.
    dynamicAxes->draw(accStrength.x, accStrength.y, accStrength.z);
    cameraModel->draw();
    shaderProgram->release();
}

void OGL3DWidget::roundedBorder()
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    // Drawn in the background colour along the edge, which rounds the corners.
    painter.setPen(QPen(QColor(25, 25, 25), 5));
    painter.drawRoundedRect(QRectF(-1, -1, width() + 3, height() + 2), 10, 10);
    painter.setPen(QPen(QColor(60, 60, 60), 1));
    painter.drawRoundedRect(QRectF(1, 1, width() - 1, height() - 1), 10, 10);
}

void OGL3DWidget::showMovingInfo(int status)
{
    const QString labels[] = {tr("Camera Moving"), tr("Camera Falling")};
    const QColor off(255, 255, 255, 150);
    const QColor on(255, 205, 0, 150);
    const QColor fills[] = {status == 0 ? off : on, status == 0 || status == 1 ? off : on};

    // The whole string is the family's name, so the text is measured in the default font. The
    // painter keeps its own font.
    const QFont font(QStringLiteral("font-family: Roboto; font-weight: Medium; font-size: 15pt;"));
    const QFontMetrics metrics(font);
    const QRect first = metrics.boundingRect(labels[0]);
    const QRect second = metrics.boundingRect(labels[1]);
    const double w = std::max(first.width(), second.width()) * 1.3;
    const double h = first.height() * 1.3;
    const QRectF boxes[] = {QRectF(10, 10, w, h), QRectF(10, h * 1.3 + 10, w, h)};

    QPainter painter(this);
    const auto pen = [](const QColor& colour) {
        return QPen(QBrush(colour), 1.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
    };
    painter.setPen(pen(QColor(150, 150, 150)));
    for (int i = 0; i < 2; ++i) {
        QPainterPath path;
        path.addRoundedRect(boxes[i], 5, 5);
        painter.fillPath(path, fills[i]);
        painter.drawPath(path);
    }
    painter.setPen(pen(QColor(30, 30, 30)));
    for (int i = 0; i < 2; ++i) {
        painter.drawText(boxes[i], Qt::AlignCenter, labels[i]);
    }
}

void OGL3DWidget::setCameraMovingStatus(int status)
{
    movingStatus = status;
}

void OGL3DWidget::setCameraModelPos(const om::Translation& p)
{
    cameraModel->setPosition(p);
}

void OGL3DWidget::setCameraModelOr(const om::Orientation& rot)
{
    cameraModel->setRotation(rot);
    dynamicAxes->setRotation(rot);
}

void OGL3DWidget::setCameraModelTr(const om::Transform& rt)
{
    cameraModel->setRT(rt);
}

void OGL3DWidget::setAccStrenght(float strenghtX, float strenghtY, float strenghtZ)
{
    accStrength.x = strenghtX;
    accStrength.y = strenghtY;
    accStrength.z = strenghtZ;
}

void OGL3DWidget::ResetPosition()
{
    if (camera == nullptr) {
        return; // no scene yet: nothing to reset
    }
    camera->setPosition(om::Translation(0.0F, 0.0F, 0.0F));
    camera->setDirection(firstDirection, firstVertical);
    camera->setOffsetFromPosition(firstOffset);
    camera->setPosition(firstPosition);
    camera->setRotation(firstAttitude());
}
