#include "gpu/scene_view.h"
#include "gpu/viewer_numbers.h"

#include "charts/DataPlot.h"
#include "look/Style.h"
#include "look/clr.h"

#include <QApplication>
#include <QFrame>
#include <QMouseEvent>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QSignalSpy>
#include <QSurfaceFormat>
#include <QVBoxLayout>
#include <QWheelEvent>
#include <QtTest>

#include <qwt_plot_curve.h>

#include <cuda_runtime_api.h>

#include <cmath>
#include <limits>
#include <memory>

namespace {

void sendMouse(QWidget& widget, QEvent::Type type, QPointF at, Qt::MouseButton button,
               Qt::MouseButtons held)
{
    QMouseEvent event(type, at, button, held, Qt::NoModifier);
    QApplication::sendEvent(&widget, &event);
}

/// Presses, moves and releases, one move.
void drag(QWidget& widget, Qt::MouseButton button, QPointF from, QPointF by)
{
    sendMouse(widget, QEvent::MouseButtonPress, from, button, button);
    sendMouse(widget, QEvent::MouseMove, from + by, Qt::NoButton, button);
    sendMouse(widget, QEvent::MouseButtonRelease, from + by, button, Qt::NoButton);
}

void wheel(QWidget& widget, QPoint delta)
{
    QWheelEvent event(QPointF(50, 50), widget.mapToGlobal(QPoint(50, 50)), QPoint(), delta,
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(&widget, &event);
}

void apply(SceneView& view, const Input& input)
{
    switch (input.kind) {
    case Input::Orbit:
        drag(view, Qt::LeftButton, {200, 150}, {double(input.a), double(input.b)});
        break;
    case Input::Pan:
        drag(view, Qt::RightButton, {200, 150}, {double(input.a), double(input.b)});
        break;
    case Input::Wheel:
        wheel(view, {0, input.a});
        break;
    case Input::Key:
        QTest::keyClick(&view, static_cast<Qt::Key>(input.a));
        break;
    case Input::Paint:
        view.paintNow();
        break;
    }
}

std::array<float, 16> viewProjectionOf(SceneView& view)
{
    view.paintNow();
    std::array<float, 16> values{};
    for (int i = 0; i < 16; ++i) {
        values[std::size_t(i)] = view.camera->getViewProjectionMatrix()(i / 4, i % 4);
    }
    return values;
}

std::array<float, 3> valuesOf(const om::Translation& t)
{
    return {t.x, t.y, t.z};
}
std::array<float, 4> valuesOf(const om::Orientation& o)
{
    return {o.ox, o.oy, o.oz, o.ow};
}

std::array<GLint, 4> viewport()
{
    std::array<GLint, 4> values{};
    glGetIntegerv(GL_VIEWPORT, values.data());
    return values;
}

class KeyCounter : public QWidget
{
public:
    int keys = 0;

protected:
    void keyPressEvent(QKeyEvent*) override { ++keys; }
};

bool isColour(QRgb pixel, int r, int g, int b, int tolerance = 2)
{
    return std::abs(qRed(pixel) - r) <= tolerance && std::abs(qGreen(pixel) - g) <= tolerance &&
           std::abs(qBlue(pixel) - b) <= tolerance;
}

const char* const vertexSource =
    "#version 330 core\nlayout(location = 0) in vec3 in_Vertex;\nlayout(location = 1) in vec3 "
    "in_Color;\nuniform mat4 u_mvpMatrix;\nout vec3 b_color;\nvoid main() {\n   b_color = "
    "in_Color;\n\tgl_Position = u_mvpMatrix * vec4(in_Vertex.xyz, 1);\n}";
const char* const fragmentSource = "#version 330 core\nin vec3 b_color;\nlayout(location = 0) out "
                                   "vec4 out_Color;\nvoid main() {\n "
                                   "  out_Color = vec4(b_color, 0.5);\n}";

} // namespace

class TestOgl3dWidget : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void cleanupTestCase();

    void startsWithoutAScene();
    void takesTheApplicationsFormat();
    void takesKeysAfterAClick();
    void slotsComeInTheirOrderAndThereAreNoSignals();

    void paintWithoutASceneShowsBackgroundAndBorder();
    void visualizeWithoutASceneChangesNothing();
    void inputWithoutASceneIsHarmless();
    void sceneOfAHiddenViewIsHarmless();

    void initProcessBuildsTheScene();
    void initProcessWidensTheViewByOnePixel();
    void layoutTakesTheAddedPixelBack();
    void initProcessRepaintsAlsoAViewThatCannotGrow();
    void sceneIsReadyAtTheVeryEnd();
    void initProcessTakesTheThreadsCudaContext();
    void shadersAreTheirSources();
    void axesPointAsTheDisplaySeesThem();
    void axesHaveTheColoursOfFieldsAndCurves_data();
    void axesHaveTheColoursOfFieldsAndCurves();
    void floorIsARasterOfCrossesWithTicksAtItsCorners();
    void floorMarkHasItsLinesInOrder_data();
    void floorMarkHasItsLinesInOrder();
    void meshFollowsTheCameraModel_data();
    void meshFollowsTheCameraModel();
    void laterModelsShareTheMeshOfTheSecond();
    void paintingOrderOfTheSmallModel();
    void meshIsMadeAfreshEachTime();
    void secondInitProcessLeavesTheFormerScene();
    void reconnectingAHundredTimesRaisesNoError();
    void destructorDeletesInOrderAndMakesNoContextCurrent();

    void viewerFollowsTheInput_data();
    void viewerFollowsTheInput();
    void rKeyRestoresExactlyTheFirstViewpoint();
    void resetRestoresAFlippedVertical();
    void bothButtonsOrbitAndPanByZero();
    void moveWithoutPressDoesNothing();
    void middleButtonDoesNotPress();
    void anyReleaseEndsTheDrag();
    void positionsAreRoundedAndNarrowed();
    void otherKeysStayInTheView();
    void inputDoesNotRepaint();

    void verticalFieldOfViewFollowsTheHorizontalOne();
    void settersReachTheirObjects();
    void lineWidthOfTheAccelerationStays();
    void depthTestIsOff();
    void paintClearsTheDepth();
    void accelerationThatIsNotANumberIsHarmless();

    void rampIsDarkestInTheMiddle_data();
    void rampIsDarkestInTheMiddle();

private:
    /// A window of 320 x 240 with a new scene. The window is shown only once, because that is slow.
    SceneView& freshScene(int model);

    std::unique_ptr<SceneView> m_shownView;
};

void TestOgl3dWidget::cleanup()
{
    ProgramStates::resetStates();
}

void TestOgl3dWidget::cleanupTestCase()
{
    m_shownView.reset();
}

SceneView& TestOgl3dWidget::freshScene(int model)
{
    if (m_shownView == nullptr) {
        m_shownView = std::make_unique<SceneView>();
        if (!m_shownView->showScene(320, 240, model)) {
            qFatal("no window with OpenGL");
        }
        return *m_shownView;
    }
    ProgramStates::setIntAttr(ProgramStates::cameraModel, model);
    m_shownView->InitProcess();
    m_shownView->setGeometry(0, 0, 320, 240);
    m_shownView->setAccStrenght(0, 0, 0);
    m_shownView->mousePressed = false;
    m_shownView->raise();
    m_shownView->picture();
    return *m_shownView;
}

void TestOgl3dWidget::startsWithoutAScene()
{
    const SceneView view;
    QVERIFY(!view.sceneReady);
    QVERIFY(!view.mousePressed);
    QCOMPARE(view.viewWidth, 320.0F);
    QCOMPARE(view.viewHeight, 240.0F);
    QCOMPARE(view.mouseMotion.x, 0.0F);
    QCOMPARE(view.mouseMotion.y, 0.0F);
    QCOMPARE(view.movingStatus, 0);
    QVERIFY(view.shaderProgram == nullptr && view.camera == nullptr);
    QVERIFY(view.cameraModel == nullptr && view.floorGrid == nullptr);
    QVERIFY(view.axes == nullptr && view.dynamicAxes == nullptr);
}

void TestOgl3dWidget::takesTheApplicationsFormat()
{
    QCOMPARE(QSurfaceFormat::defaultFormat().samples(), 16);
    QCOMPARE(SceneView().format().samples(), 16);
}

void TestOgl3dWidget::takesKeysAfterAClick()
{
    QCOMPARE(SceneView().focusPolicy(), Qt::StrongFocus);
}

void TestOgl3dWidget::slotsComeInTheirOrderAndThereAreNoSignals()
{
    const QMetaObject& meta = OGL3DWidget::staticMetaObject;
    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        QCOMPARE(meta.method(i).methodType(), QMetaMethod::Slot);
        methods += meta.method(i).methodSignature();
    }
    QCOMPARE(methods,
             (QStringList{"InitProcess()", "ResetPosition()", "visualize()",
                          "setCameraMovingStatus(int)", "setCameraModelPos(om::Translation)",
                          "setCameraModelOr(om::Orientation)", "setCameraModelTr(om::Transform)",
                          "setAccStrenght(float,float,float)"}));
}

void TestOgl3dWidget::paintWithoutASceneShowsBackgroundAndBorder()
{
    SceneView view;
    QVERIFY(view.showOnScreen(320, 220));
    const QImage picture = view.picture();
    for (int y = 4; y < 216; ++y) {
        for (int x = 4; x < 316; ++x) {
            const bool corner = (x < 12 || x > 307) && (y < 12 || y > 207);
            if (!corner && !isColour(picture.pixel(x, y), 25, 25, 25, 0)) {
                QFAIL(qPrintable(
                    QStringLiteral("%1 %2: %3").arg(x).arg(y).arg(picture.pixel(x, y), 0, 16)));
            }
        }
    }
    // The grey line runs at 1 from the left and the upper edge and vanishes in the corners.
    int grey = 0;
    for (int y = 20; y < 200; ++y) {
        const int left = std::max(qRed(picture.pixel(0, y)), qRed(picture.pixel(1, y)));
        grey += left > 35 && left <= 60 ? 1 : 0;
    }
    QCOMPARE(grey, 180);
    QVERIFY(isColour(picture.pixel(0, 0), 25, 25, 25));
    QVERIFY(isColour(picture.pixel(1, 1), 25, 25, 25));
}

void TestOgl3dWidget::visualizeWithoutASceneChangesNothing()
{
    SceneView view;
    QVERIFY(view.showOnScreen(320, 220));
    view.makeCurrent();
    glLineWidth(7.0F);
    glViewport(1, 2, 3, 4);
    view.visualize();
    GLfloat width = 0;
    glGetFloatv(GL_LINE_WIDTH, &width);
    QCOMPARE(width, 7.0F);
    QCOMPARE(viewport(), (std::array<GLint, 4>{1, 2, 3, 4}));
}

void TestOgl3dWidget::inputWithoutASceneIsHarmless()
{
    SceneView view;
    QVERIFY(view.showOnScreen(320, 220));
    for (const Input& input :
         {Input{Input::Orbit, 10, 10}, Input{Input::Pan, 10, 10}, Input{Input::Wheel, 120, 0},
          Input{Input::Key, Qt::Key_Left, 0}, Input{Input::Key, Qt::Key_R, 0}}) {
        apply(view, input);
    }
    view.setCameraMovingStatus(2);
    view.setAccStrenght(1, 0, 0);
    QVERIFY(view.camera == nullptr);
}

void TestOgl3dWidget::sceneOfAHiddenViewIsHarmless()
{
    SceneView view;
    view.InitProcess(); // no window yet, and so no OpenGL context
    QVERIFY(view.sceneReady);
    view.setCameraModelOr(om::Orientation());
    view.setCameraModelPos(om::Translation(0, 0, 0));
    QVERIFY(view.showOnScreen(320, 220));
    QVERIFY(isColour(view.picture().pixel(160, 100), 25, 25, 25, 0));
    view.InitProcess();
    QVERIFY(view.shaderProgram != nullptr);
}

void TestOgl3dWidget::initProcessBuildsTheScene()
{
    SceneView& view = freshScene(2);
    QVERIFY(view.sceneReady);
    QCOMPARE(valuesOf(view.camera->getPosition()),
             (std::array<float, 3>{-0.0542544F, -0.109509F, -0.270714F}));
    QCOMPARE(valuesOf(view.camera->getOffsetFromPosition()), (std::array<float, 3>{0, 0, 1}));
    QCOMPARE(valuesOf(view.camera->getOrientation()),
             (std::array<float, 4>{-0.23252F, 0.170843F, 0.0401341F, 0.956623F}));
    QCOMPARE(valuesOf(view.camera->getVertical()), (std::array<float, 3>{0, 1, 0}));
    QCOMPARE(view.camera->getHorizontalFOV(), 90.0F);
    QCOMPARE(view.camera->getVerticalFOV(), 90.0F);
    QCOMPARE(view.camera->getZNear(), 0.05F);
    QCOMPARE(view.camera->getZFar(), 300.0F);
    QVERIFY(OpenObject::verticesOf(*view.dynamicAxes).empty()); // until the first draw
    for (const Simple3DObject* object : {view.axes, view.floorGrid, view.cameraModel}) {
        QCOMPARE(valuesOf(object->getPosition()), (std::array<float, 3>{0, 0, 0}));
    }
}

void TestOgl3dWidget::initProcessWidensTheViewByOnePixel()
{
    SceneView view;
    QVERIFY(view.showOnScreen(320, 220));
    view.resizes.clear();
    view.InitProcess();
    QCOMPARE(view.size(), QSize(321, 220));
    QCOMPARE(view.resizes.size(), std::size_t{1});
    QCOMPARE(view.resizes[0].size, QSize(321, 220));
}

void TestOgl3dWidget::layoutTakesTheAddedPixelBack()
{
    QWidget window;
    auto* const frame = new QFrame(&window); // as in the main window
    auto* const outer = new QVBoxLayout(&window);
    outer->addWidget(frame);
    auto* const view = new SceneView(frame);
    auto* const inner = new QVBoxLayout(frame);
    inner->setContentsMargins(0, 0, 0, 0);
    inner->addWidget(view);
    window.resize(300, 200);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window, waiting::patienceMs));
    const QSize size = view->size();
    for (int opening = 0; opening < 3; ++opening) {
        view->InitProcess();
        QCOMPARE(view->size(), size + QSize(1, 0)); // for the fresh resizeGL()
        QCoreApplication::processEvents();
        QCOMPARE(view->size(), size);
        QCOMPARE(view->viewWidth, static_cast<float>(size.width()));
        QCOMPARE(window.size(), QSize(300, 200));
    }
}

void TestOgl3dWidget::initProcessRepaintsAlsoAViewThatCannotGrow()
{
    SceneView view;
    QVERIFY(view.showOnScreen(320, 220));
    view.setMaximumWidth(320);
    view.picture();
    const int before = view.paints;
    view.InitProcess();
    QCOMPARE(view.width(), 320);
    QTRY_VERIFY(view.paints > before);
}

void TestOgl3dWidget::sceneIsReadyAtTheVeryEnd()
{
    SceneView view;
    QVERIFY(view.showOnScreen(320, 220));
    view.resizes.clear();
    view.InitProcess();
    QCOMPARE(view.resizes.size(), std::size_t{1});
    QVERIFY(!view.resizes[0].withScene); // the resize paints without the scene
    QVERIFY(view.sceneReady);
}

void TestOgl3dWidget::initProcessTakesTheThreadsCudaContext()
{
    CUcontext primary = nullptr;
    if (cuInit(0) != CUDA_SUCCESS || cuDevicePrimaryCtxRetain(&primary, 0) != CUDA_SUCCESS) {
        QSKIP("no CUDA device");
    }
    SceneView view;
    QVERIFY(view.showOnScreen(320, 220));
    cuCtxSetCurrent(primary);
    view.InitProcess();
    QCOMPARE(view.cudaContext, primary);
    cuCtxSetCurrent(nullptr);
    view.InitProcess();
    QCOMPARE(view.cudaContext, CUcontext(nullptr));
    cuDevicePrimaryCtxRelease(0);
}

void TestOgl3dWidget::shadersAreTheirSources()
{
    SceneView& view = freshScene(0);
    QVERIFY(view.shaderProgram->isLinked());
    QCOMPARE(view.shaderProgram->parent(), &view);
    const QList<QGLShader*> shaders = view.shaderProgram->shaders();
    QCOMPARE(shaders.size(), 2);
    // Qt adds its own definitions after the version.
    const auto source = [](const QGLShader* shader) {
        QByteArray text = shader->sourceCode();
        for (const char* name : {"lowp", "mediump", "highp"}) {
            text.replace(QByteArray("#define ") + name + "\n", "");
        }
        return text;
    };
    QCOMPARE(source(shaders[0]), QByteArray(vertexSource));
    QCOMPARE(source(shaders[1]), QByteArray(fragmentSource));
    QVERIFY(shaders[0]->shaderType() == QGLShader::Vertex && shaders[0]->parent() == &view);
    QVERIFY(shaders[1]->shaderType() == QGLShader::Fragment && shaders[1]->parent() == &view);
}

void TestOgl3dWidget::axesPointAsTheDisplaySeesThem()
{
    SceneView& view = freshScene(0);
    QCOMPARE(OpenObject::drawingTypeOf(*view.axes), GLenum{GL_LINES});
    QCOMPARE(OpenObject::verticesOf(*view.axes),
             (std::vector<float>{0, 0, 0, -1, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, -1}));
    const int colours[3][3] = {{255, 87, 87}, {48, 214, 149}, {0, 190, 255}};
    const std::vector<float>& vertexColours = OpenObject::coloursOf(*view.axes);
    QCOMPARE(vertexColours.size(), std::size_t{18});
    for (std::size_t i = 0; i < 18; ++i) {
        const std::size_t axis = i / 6;
        QCOMPARE(vertexColours[i], static_cast<float>(colours[axis][i % 3]) / 255.0F);
    }
}

void TestOgl3dWidget::axesHaveTheColoursOfFieldsAndCurves_data()
{
    QTest::addColumn<int>("axis");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QVector<int>>("curves");
    QTest::newRow("x") << 0 << clr::xAxis
                       << QVector<int>{DataPlot::AccX, DataPlot::GyrX, DataPlot::MagX,
                                       DataPlot::OrX};
    QTest::newRow("y") << 1 << clr::yAxis
                       << QVector<int>{DataPlot::AccY, DataPlot::GyrY, DataPlot::MagY,
                                       DataPlot::OrY};
    QTest::newRow("z") << 2 << clr::zAxis
                       << QVector<int>{DataPlot::AccZ, DataPlot::GyrZ, DataPlot::MagZ,
                                       DataPlot::OrZ};
}

void TestOgl3dWidget::axesHaveTheColoursOfFieldsAndCurves()
{
    QFETCH(int, axis);
    QFETCH(QString, text);
    QFETCH(QVector<int>, curves);
    // Each axis is a line of two points with three channels.
    const float* const line = OpenObject::coloursOf(*freshScene(0).axes).data() + 6 * axis;
    const QColor colour = QColor::fromRgbF(line[0], line[1], line[2]);
    QCOMPARE(clr::toStr(colour), text);

    const Style style;
    const QString fields[] = {style.xAxisEditStyle, style.yAxisEditStyle, style.zAxisEditStyle};
    QVERIFY2(fields[axis].contains(";color:" + text + ";"), qPrintable(fields[axis]));

    const DataPlot plot(nullptr);
    const QwtPlotItemList items = plot.itemList(QwtPlotItem::Rtti_PlotCurve);
    for (const int curve : curves) {
        QCOMPARE(static_cast<const QwtPlotCurve*>(items[curve])->pen().color(), colour);
    }
}

void TestOgl3dWidget::floorIsARasterOfCrossesWithTicksAtItsCorners()
{
    SceneView& view = freshScene(0);
    QCOMPARE(OpenObject::drawingTypeOf(*view.floorGrid), GLenum{GL_LINES});
    const float arm = 1.0F / 3.0F;
    std::vector<float> expected;
    const auto line = [&expected](float x1, float y1, float z1, float x2, float y2, float z2) {
        expected.insert(expected.end(), {x1, y1, z1, x2, y2, z2});
    };
    for (int i = -5; i <= 5; ++i) {
        for (int j = -5; j <= 5; ++j) {
            const auto x = static_cast<float>(i);
            const auto z = static_cast<float>(j);
            line(x + arm, -1, z, x - arm, -1, z);
            line(x, -1, z + arm, x, -1, z - arm);
            if (std::abs(i) == 5 && std::abs(j) == 5) {
                line(x, -1 + arm, z, x, -1 - arm, z);
            }
        }
    }
    QCOMPARE(expected.size(), std::size_t{(121 * 2 + 4) * 6});
    QCOMPARE(OpenObject::verticesOf(*view.floorGrid), expected);
    const std::vector<float>& vertexColours = OpenObject::coloursOf(*view.floorGrid);
    for (std::size_t i = 0; i < vertexColours.size(); i += 3) {
        QCOMPARE(vertexColours[i], 217.0F / 255.0F);
        QCOMPARE(vertexColours[i + 1], 1.0F);
        QCOMPARE(vertexColours[i + 2], 66.0F / 255.0F);
    }
}

void TestOgl3dWidget::floorMarkHasItsLinesInOrder_data()
{
    QTest::addColumn<float>("i");
    QTest::addColumn<float>("j");
    QTest::addColumn<bool>("tick");
    QTest::newRow("inside") << 1.0F << 2.0F << false;
    QTest::newRow("edge") << 3.0F << 0.0F << false;
    QTest::newRow("other edge") << 0.0F << -3.0F << false;
    QTest::newRow("corner") << 3.0F << 3.0F << true;
    QTest::newRow("corner -+") << -3.0F << 3.0F << true;
    QTest::newRow("corner +-") << 3.0F << -3.0F << true;
    QTest::newRow("corner --") << -3.0F << -3.0F << true;
    QTest::newRow("beyond") << 4.0F << 4.0F << false;
}

void TestOgl3dWidget::floorMarkHasItsLinesInOrder()
{
    QFETCH(float, i);
    QFETCH(float, j);
    QFETCH(bool, tick);
    SceneView view;
    Simple3DObject object(om::Translation(0, 0, 0), false);
    view.addVert(&object, i, j, 7, 0.5F, 3, {0.1F, 0.2F, 0.3F});
    std::vector<float> expected = {i + 0.5F, 7, j, i - 0.5F, 7, j, i, 7, j + 0.5F, i, 7, j - 0.5F};
    if (tick) {
        expected.insert(expected.end(), {i, 7.5F, j, i, 6.5F, j});
    }
    QCOMPARE(OpenObject::verticesOf(object), expected);
    QCOMPARE(OpenObject::coloursOf(object)[0], 0.1F);
    QCOMPARE(OpenObject::coloursOf(object).back(), 0.3F);
}

void TestOgl3dWidget::meshFollowsTheCameraModel_data()
{
    QTest::addColumn<int>("model");
    QTest::addColumn<int>("vertices");
    QTest::addColumn<float>("aluminium");
    QTest::newRow("TIV, also before a camera is open") << 0 << 324 << 0.64F;
    QTest::newRow("TIV_N") << 1 << 4539 << 0.79F;
    QTest::newRow("TIV_P") << 2 << 324 << 0.2F;
    QTest::newRow("TIV_Q") << 3 << 324 << 0.2F;
    QTest::newRow("TIV_R") << 4 << 324 << 0.2F;
    QTest::newRow("TIV_S") << 5 << 324 << 0.2F;
    QTest::newRow("no model known") << 32 << 324 << 0.2F;
    QTest::newRow("below") << -1 << 324 << 0.2F;
}

void TestOgl3dWidget::meshFollowsTheCameraModel()
{
    QFETCH(int, model);
    QFETCH(int, vertices);
    QFETCH(float, aluminium);
    SceneView& view = freshScene(model);
    QCOMPARE(OpenObject::drawingTypeOf(*view.cameraModel), GLenum{GL_TRIANGLES});
    QCOMPARE(static_cast<int>(OpenObject::verticesOf(*view.cameraModel).size()), 3 * vertices);
    QCOMPARE(OpenObject::coloursOf(*view.cameraModel)[0], aluminium);

    // The data on the GPU.
    view.makeCurrent();
    QOpenGLFunctions* const gl = view.context()->functions();
    const GLuint* const buffers = OpenObject::buffersOf(*view.cameraModel);
    const int expected[3] = {12 * vertices, 12 * vertices, 4 * vertices};
    for (int i = 0; i < 3; ++i) {
        GLint size = 0;
        gl->glBindBuffer(GL_ARRAY_BUFFER, buffers[i]);
        gl->glGetBufferParameteriv(GL_ARRAY_BUFFER, GL_BUFFER_SIZE, &size);
        gl->glBindBuffer(GL_ARRAY_BUFFER, 0);
        QCOMPARE(size, expected[i]);
    }
    // None of the view's objects is static.
    for (const Simple3DObject* object : {view.cameraModel, view.axes, view.floorGrid}) {
        GLint usage = 0;
        gl->glBindBuffer(GL_ARRAY_BUFFER, OpenObject::buffersOf(*object)[0]);
        gl->glGetBufferParameteriv(GL_ARRAY_BUFFER, GL_BUFFER_USAGE, &usage);
        gl->glBindBuffer(GL_ARRAY_BUFFER, 0);
        QCOMPARE(usage, GL_DYNAMIC_DRAW);
    }
    QCOMPARE(gl->glGetError(), GLenum{GL_NO_ERROR});
}

void TestOgl3dWidget::laterModelsShareTheMeshOfTheSecond()
{
    SceneView& view = freshScene(2);
    const std::vector<float> vertices = OpenObject::verticesOf(*view.cameraModel);
    const std::vector<float> vertexColours = OpenObject::coloursOf(*view.cameraModel);
    for (const int model : {3, 4, 5}) {
        ProgramStates::setIntAttr(ProgramStates::cameraModel, model);
        view.InitProcess();
        QCOMPARE(OpenObject::verticesOf(*view.cameraModel), vertices);
        QCOMPARE(OpenObject::coloursOf(*view.cameraModel), vertexColours);
    }
}

void TestOgl3dWidget::paintingOrderOfTheSmallModel()
{
    SceneView& view = freshScene(1);
    const std::vector<float>& vertexColours = OpenObject::coloursOf(*view.cameraModel);
    const std::pair<int, std::array<float, 3>> groups[] = {
        {35 + 52 + 38, {0.79F, 0.82F, 0.93F}},
        {1142 + 126, {0, 0, 0}},
        {20 + 20, {0.22F, 0.22F, 0.22F}},
        {80, {1, 1, 0}},
    };
    std::size_t at = 0;
    for (const auto& [triangles, colour] : groups) {
        for (int vertex = 0; vertex < 3 * triangles; ++vertex, at += 3) {
            QCOMPARE((std::array<float, 3>{vertexColours[at], vertexColours[at + 1],
                                           vertexColours[at + 2]}),
                     colour);
        }
    }
    QCOMPARE(at, vertexColours.size());
    // Within a colour the tables are in this order: the band, the cap, the strip.
    const std::vector<float>& vertices = OpenObject::verticesOf(*view.cameraModel);
    const auto x = [&vertices](std::size_t triangle) { return vertices[triangle * 9]; };
    QVERIFY(x(0) > 0.0F);
    QVERIFY(x(35) < -0.0268F);
    QVERIFY(x(35 + 52) > -0.02685F);
    QVERIFY(vertices[(35 + 52 + 38 + 1142) * 9 + 2] == 0.0065F);
    QVERIFY(x(35 + 52 + 38 + 1142 + 126) > 0.06F); // the first lens is the right one
    QVERIFY(x(35 + 52 + 38 + 1142 + 126 + 20) < 0.02F);
}

void TestOgl3dWidget::meshIsMadeAfreshEachTime()
{
    SceneView& view = freshScene(0);
    view.makeCurrent();
    const std::unique_ptr<Simple3DObject> first(view.cameraModel);
    view.CreateTIVModel();
    QVERIFY(view.cameraModel != first.get());
    QCOMPARE(OpenObject::verticesOf(*first).size(),
             OpenObject::verticesOf(*view.cameraModel).size());
}

void TestOgl3dWidget::secondInitProcessLeavesTheFormerScene()
{
    SceneView& view = freshScene(0);
    view.setAccStrenght(0, 1, 0);
    view.paintNow();
    const Simple3DObject* const former[] = {view.axes, view.floorGrid, view.cameraModel,
                                            view.dynamicAxes};
    const GLuint program = view.shaderProgram->programId();
    const CameraGL* const camera = view.camera;
    view.camera->translate({1, 2, 3});
    view.InitProcess();
    const Simple3DObject* const now[] = {view.axes, view.floorGrid, view.cameraModel,
                                         view.dynamicAxes};
    view.makeCurrent();
    QOpenGLFunctions* const gl = view.context()->functions();
    for (int i = 0; i < 4; ++i) {
        QVERIFY(now[i] != former[i]);
        QVERIFY(gl->glIsBuffer(OpenObject::buffersOf(*former[i])[0]) != GL_FALSE);
    }
    QVERIFY(view.shaderProgram->programId() != program);
    QVERIFY(gl->glIsProgram(program) != GL_FALSE);
    QVERIFY(view.camera != camera);
    QCOMPARE(valuesOf(view.camera->getPosition()),
             (std::array<float, 3>{-0.0542544F, -0.109509F, -0.270714F}));
}

void TestOgl3dWidget::reconnectingAHundredTimesRaisesNoError()
{
    SceneView view;
    QVERIFY(view.showScene(400, 300, 0));
    const QImage before = view.picture();
    for (int i = 0; i < 100; ++i) {
        ProgramStates::setIntAttr(ProgramStates::cameraModel, i % 4);
        view.InitProcess();
        view.setCameraModelOr(om::Orientation(om::Rotation(float(i), om::Translation(1, 2, 3))));
        view.setAccStrenght(0, 1, 0);
        view.paintNow();
        view.makeCurrent();
        QCOMPARE(view.context()->functions()->glGetError(), GLenum{GL_NO_ERROR});
    }
    ProgramStates::setIntAttr(ProgramStates::cameraModel, 0);
    view.InitProcess();
    view.setAccStrenght(0, 0, 0);
    view.setGeometry(0, 0, 400, 300);
    QCoreApplication::processEvents();
    QCOMPARE(view.picture(), before);
}

void TestOgl3dWidget::destructorDeletesInOrderAndMakesNoContextCurrent()
{
    auto view = std::make_unique<SceneView>();
    QVERIFY(view->showScene(320, 220, 0));
    view->setAccStrenght(0, 1, 0);
    view->paintNow();
    QOffscreenSurface surface;
    surface.create();
    QOpenGLContext other;
    QVERIFY(other.create());
    QVERIFY(other.makeCurrent(&surface));

    QStringList deleted;
    const auto watch = [&](const QObject& object, const QString& name) {
        connect(&object, &QObject::destroyed, &other, [&deleted, &other, name] {
            const bool alone = QOpenGLContext::currentContext() == &other;
            deleted += alone ? name : name + QStringLiteral(" with another context");
        });
    };
    watch(*view->shaderProgram, QStringLiteral("program"));
    watch(OpenObject::arrayOf(*view->cameraModel), QStringLiteral("model"));
    watch(OpenObject::arrayOf(*view->floorGrid), QStringLiteral("floor"));
    watch(OpenObject::arrayOf(*view->axes), QStringLiteral("axes"));
    watch(OpenObject::arrayOf(*view->dynamicAxes), QStringLiteral("acceleration"));
    view.reset();
    QCOMPARE(deleted, (QStringList{"program", "model", "floor", "axes", "acceleration"}));
}

void TestOgl3dWidget::viewerFollowsTheInput_data()
{
    QTest::addColumn<int>("index");
    int index = 0;
    for (const ViewerCase& row : viewerCases) {
        QTest::newRow(row.name) << index++;
    }
}

void TestOgl3dWidget::viewerFollowsTheInput()
{
    QFETCH(int, index);
    const ViewerCase& row = viewerCases[index];
    SceneView& view = freshScene(2);
    for (const Input& input : row.inputs) {
        apply(view, input);
    }
    const std::array<float, 16> matrix = viewProjectionOf(view);
    for (std::size_t i = 0; i < 16; ++i) {
        const double difference = std::abs(static_cast<double>(matrix[i]) - row.matrix[i]);
        QVERIFY2(difference < 2e-5, qPrintable(QStringLiteral("row %1, column %2: %3, not %4")
                                                   .arg(i / 4)
                                                   .arg(i % 4)
                                                   .arg(double(matrix[i]))
                                                   .arg(row.matrix[i])));
    }
}

void TestOgl3dWidget::rKeyRestoresExactlyTheFirstViewpoint()
{
    SceneView& view = freshScene(2);
    const std::array<float, 16> first = viewProjectionOf(view);
    drag(view, Qt::LeftButton, {10, 10}, {333, -217});
    drag(view, Qt::RightButton, {10, 10}, {-41, 97});
    wheel(view, {0, 1200});
    QTest::keyClick(&view, Qt::Key_Up);
    QVERIFY(viewProjectionOf(view) != first);
    QTest::keyClick(&view, Qt::Key_R);
    QCOMPARE(viewProjectionOf(view), first);
}

void TestOgl3dWidget::resetRestoresAFlippedVertical()
{
    SceneView& view = freshScene(2);
    const std::array<float, 16> first = viewProjectionOf(view);
    drag(view, Qt::LeftButton, {10, 10}, {0, 700});
    view.paintNow();
    QCOMPARE(valuesOf(view.camera->getVertical())[1], -1.0F);
    view.camera->setOffsetFromPosition({0, 0, 5});
    view.ResetPosition();
    QCOMPARE(valuesOf(view.camera->getVertical()), (std::array<float, 3>{0, 1, 0}));
    QCOMPARE(viewProjectionOf(view), first);
}

void TestOgl3dWidget::bothButtonsOrbitAndPanByZero()
{
    SceneView orbited;
    QVERIFY(orbited.showScene(320, 240, 2));
    drag(orbited, Qt::LeftButton, {100, 100}, {50, 30});

    SceneView& view = freshScene(2);
    const Qt::MouseButtons both = Qt::LeftButton | Qt::RightButton;
    sendMouse(view, QEvent::MouseButtonPress, {100, 100}, Qt::LeftButton, Qt::LeftButton);
    sendMouse(view, QEvent::MouseButtonPress, {100, 100}, Qt::RightButton, both);
    sendMouse(view, QEvent::MouseMove, {150, 130}, Qt::NoButton, both);
    QCOMPARE(view.mouseMotion.x, 0.0F);
    QCOMPARE(view.mouseMotion.y, 0.0F);
    QCOMPARE(viewProjectionOf(view), viewProjectionOf(orbited));
    QCOMPARE(valuesOf(view.camera->getPosition()),
             (std::array<float, 3>{-0.0542544F, -0.109509F, -0.270714F}));
}

void TestOgl3dWidget::moveWithoutPressDoesNothing()
{
    SceneView& view = freshScene(2);
    const std::array<float, 16> first = viewProjectionOf(view);
    sendMouse(view, QEvent::MouseMove, {300, 300}, Qt::NoButton, Qt::LeftButton);
    sendMouse(view, QEvent::MouseMove, {200, 300}, Qt::NoButton, Qt::RightButton);
    QCOMPARE(viewProjectionOf(view), first);
    // Pressed, but neither button is still held.
    sendMouse(view, QEvent::MouseButtonPress, {100, 100}, Qt::LeftButton, Qt::LeftButton);
    sendMouse(view, QEvent::MouseMove, {300, 300}, Qt::NoButton, Qt::MiddleButton);
    QCOMPARE(viewProjectionOf(view), first);
}

void TestOgl3dWidget::middleButtonDoesNotPress()
{
    SceneView& view = freshScene(2);
    sendMouse(view, QEvent::MouseButtonPress, {100, 100}, Qt::MiddleButton, Qt::MiddleButton);
    QVERIFY(!view.mousePressed);
    // With the left button held it counts and stores the position.
    sendMouse(view, QEvent::MouseButtonPress, {120, 130}, Qt::MiddleButton,
              Qt::MiddleButton | Qt::LeftButton);
    QVERIFY(view.mousePressed);
    QCOMPARE(int(view.previousMouse.x), 120);
    QCOMPARE(int(view.previousMouse.y), 130);
}

void TestOgl3dWidget::anyReleaseEndsTheDrag()
{
    SceneView& view = freshScene(2);
    const std::array<float, 16> first = viewProjectionOf(view);
    sendMouse(view, QEvent::MouseButtonPress, {100, 100}, Qt::LeftButton, Qt::LeftButton);
    sendMouse(view, QEvent::MouseButtonRelease, {100, 100}, Qt::MiddleButton, Qt::LeftButton);
    QVERIFY(!view.mousePressed);
    sendMouse(view, QEvent::MouseMove, {300, 300}, Qt::NoButton, Qt::LeftButton);
    QCOMPARE(viewProjectionOf(view), first);
}

void TestOgl3dWidget::positionsAreRoundedAndNarrowed()
{
    SceneView& view = freshScene(2);
    sendMouse(view, QEvent::MouseButtonPress, {10.5, 20.4}, Qt::RightButton, Qt::RightButton);
    QCOMPARE(int(view.previousMouse.x), 11);
    QCOMPARE(int(view.previousMouse.y), 20);
    sendMouse(view, QEvent::MouseMove, {-10.5, 45.6}, Qt::NoButton, Qt::RightButton);
    QCOMPARE(int(view.currentMouse.x), qRound(-10.5));
    QCOMPARE(int(view.currentMouse.y), 46);
    QCOMPARE(int(view.previousMouse.x), int(view.currentMouse.x));
    QCOMPARE(view.mouseMotion.y, 26.0F / 50.0F);
    sendMouse(view, QEvent::MouseButtonPress, {40000, -40000}, Qt::LeftButton, Qt::LeftButton);
    QCOMPARE(int(view.previousMouse.x), 40000 - 65536);
    QCOMPARE(int(view.previousMouse.y), 65536 - 40000);
}

void TestOgl3dWidget::otherKeysStayInTheView()
{
    KeyCounter parent;
    auto* const view = new SceneView(&parent);
    view->setGeometry(0, 0, 300, 200);
    parent.resize(300, 200);
    parent.show();
    QVERIFY(QTest::qWaitForWindowExposed(&parent, waiting::patienceMs));
    view->InitProcess();
    const std::array<float, 16> first = viewProjectionOf(*view);
    for (const int key : {Qt::Key_A, Qt::Key_Escape, Qt::Key_Return, Qt::Key_PageUp, Qt::Key_R}) {
        QTest::keyClick(view, static_cast<Qt::Key>(key));
    }
    QCOMPARE(parent.keys, 0);
    QCOMPARE(viewProjectionOf(*view), first);
}

void TestOgl3dWidget::inputDoesNotRepaint()
{
    SceneView& view = freshScene(2);
    const int before = view.paints;
    drag(view, Qt::LeftButton, {10, 10}, {33, 17});
    drag(view, Qt::RightButton, {10, 10}, {33, 17});
    wheel(view, {0, 120});
    QTest::keyClick(&view, Qt::Key_Left);
    view.ResetPosition();
    QCoreApplication::processEvents();
    QCOMPARE(view.paints, before);
    view.update();
    QTRY_VERIFY(view.paints > before);
}

void TestOgl3dWidget::verticalFieldOfViewFollowsTheHorizontalOne()
{
    SceneView& view = freshScene(2);
    view.camera->setProjection(70, 30, 0.1F, 50);
    view.makeCurrent();
    view.visualize();
    QCOMPARE(view.camera->getHorizontalFOV(), 70.0F);
    QCOMPARE(view.camera->getVerticalFOV(), 70.0F);
    QCOMPARE(view.camera->getZNear(), 0.1F);
    QCOMPARE(view.camera->getZFar(), 50.0F);
}

void TestOgl3dWidget::settersReachTheirObjects()
{
    SceneView& view = freshScene(2);
    const om::Orientation turn(om::Rotation(0.7F, om::Translation(0, 0, 1)));
    const float sine = std::sin(0.7F);
    view.setCameraModelOr(turn);
    view.setCameraModelPos({1, 2, 3});
    QVERIFY(std::abs(view.cameraModel->getModelMatrix()(1, 0) - sine) < 1e-5F);
    QVERIFY(std::abs(view.dynamicAxes->getModelMatrix()(1, 0) - sine) < 1e-5F);
    QCOMPARE(view.cameraModel->getModelMatrix()(2, 3), 3.0F);
    QCOMPARE(view.dynamicAxes->getModelMatrix()(2, 3), 0.0F);
    QCOMPARE(view.axes->getModelMatrix()(1, 0), 0.0F);

    view.setCameraModelTr(om::Transform(om::Orientation(), om::Translation(4, 5, 6)));
    QVERIFY(std::abs(view.cameraModel->getModelMatrix()(1, 0)) < 1e-6F);
    QCOMPARE(view.cameraModel->getModelMatrix()(0, 3), 4.0F);
    QVERIFY(std::abs(view.dynamicAxes->getModelMatrix()(1, 0) - sine) < 1e-5F);

    view.setCameraMovingStatus(2);
    QCOMPARE(view.movingStatus, 2);
    view.setAccStrenght(0.1F, -0.2F, 0.3F);
    QCOMPARE(view.accStrength.x, 0.1F);
    QCOMPARE(view.accStrength.y, -0.2F);
    QCOMPARE(view.accStrength.z, 0.3F);
}

void TestOgl3dWidget::lineWidthOfTheAccelerationStays()
{
    SceneView& view = freshScene(2);
    view.makeCurrent();
    const auto lineWidth = [] {
        GLfloat width = 0;
        glGetFloatv(GL_LINE_WIDTH, &width);
        return width;
    };
    view.setAccStrenght(0, 1, 0);
    view.visualize();
    QCOMPARE(lineWidth(), 20.0F);
    view.setAccStrenght(0, 0, 0);
    view.visualize();
    QCOMPARE(lineWidth(), 3.5F);
}

void TestOgl3dWidget::depthTestIsOff()
{
    // The small model's lenses are on its far side but are visible.
    SceneView& view = freshScene(1);
    const QImage without = view.grabFramebuffer();
    view.makeCurrent();
    glEnable(GL_DEPTH_TEST);
    QCOMPARE(view.grabFramebuffer(), without);
    view.makeCurrent();
    QCOMPARE(glIsEnabled(GL_DEPTH_TEST), GLboolean{GL_FALSE});
}

void TestOgl3dWidget::paintClearsTheDepth()
{
    SceneView view;
    QSurfaceFormat format = QSurfaceFormat::defaultFormat();
    format.setSamples(0); // so that the depth can be read
    view.setFormat(format);
    QVERIFY(view.showOnScreen(320, 220));
    view.paintNow(); // after a composed picture, before which Qt itself clears
    view.makeCurrent();
    glClearDepth(0.25);
    view.paintNow();
    view.makeCurrent();
    GLfloat depth = -1;
    glReadPixels(5, 5, 1, 1, GL_DEPTH_COMPONENT, GL_FLOAT, &depth);
    QVERIFY(std::abs(depth - 0.25F) < 1e-4F);
}

void TestOgl3dWidget::accelerationThatIsNotANumberIsHarmless()
{
    SceneView& view = freshScene(2);
    const QImage without = view.picture();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    view.setAccStrenght(nan, nan, nan);
    QCOMPARE(view.picture(), without);
    view.setAccStrenght(0, 1, 0);
    QVERIFY(view.picture() != without);
    view.makeCurrent();
    QCOMPARE(glGetError(), GLenum{GL_NO_ERROR});
}

void TestOgl3dWidget::rampIsDarkestInTheMiddle_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("index");
    QTest::addColumn<double>("ratio");
    QTest::newRow("begin") << 10 << 0 << 1.0;
    QTest::newRow("before the middle") << 10 << 2 << 0.6;
    QTest::newRow("middle") << 10 << 5 << 0.0;
    QTest::newRow("behind the middle") << 10 << 8 << 0.6;
    QTest::newRow("end") << 10 << 10 << 1.0;
    QTest::newRow("odd count") << 3 << 1 << 1.0 / 3.0;
    QTest::newRow("beyond") << 4 << 8 << 3.0;
}

void TestOgl3dWidget::rampIsDarkestInTheMiddle()
{
    QFETCH(int, count);
    QFETCH(int, index);
    QFETCH(double, ratio);
    SceneView view;
    float c1 = -1;
    float c2 = -1;
    float c3 = -1;
    view.getColor(count, index, c1, c2, c3);
    // The ratio is rounded first, which is visible in the last digit of 0.6's.
    const auto rounded = static_cast<double>(static_cast<float>(ratio));
    QVERIFY(c1 == static_cast<float>(rounded * 0.1));
    QVERIFY(c2 == static_cast<float>(rounded * 0.3));
    QVERIFY(c3 == static_cast<float>(rounded * 0.8));
}

int main(int argc, char** argv)
{
    QSurfaceFormat format; // as the program requests it
    format.setSamples(16);
    QSurfaceFormat::setDefaultFormat(format);
    QApplication application(argc, argv);
    TestOgl3dWidget test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_ogl3dwidget.moc"
