#include "gpu/scene_view.h"

#include <QApplication>
#include <QGLShaderProgram>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QtTest>

#include <array>
#include <cmath>
#include <vector>

namespace {

/// A draw call with the state at that moment.
struct Draw
{
    GLenum mode;
    GLsizei count;
    GLfloat lineWidth;
    std::array<GLfloat, 16> matrix; // column by column
};

std::vector<Draw>* draws = nullptr; // recorded here while it is set

int messages = 0; // of Qt, while countMessage() is installed

void countMessage(QtMsgType /*type*/, const QMessageLogContext& /*context*/,
                  const QString& /*text*/)
{
    ++messages;
}

} // namespace

/// Replaces the library's function for the scene's own draw calls.
extern "C" void glDrawElements(GLenum mode, GLsizei count, GLenum type, const void* indices)
{
    QOpenGLContext* const context = QOpenGLContext::currentContext();
    if (draws != nullptr) {
        Draw draw{mode, count, 0.0F, {}};
        glGetFloatv(GL_LINE_WIDTH, &draw.lineWidth);
        GLint program = 0;
        glGetIntegerv(GL_CURRENT_PROGRAM, &program);
        QOpenGLFunctions* const gl = context->functions();
        gl->glGetUniformfv(static_cast<GLuint>(program),
                           gl->glGetUniformLocation(static_cast<GLuint>(program), "u_mvpMatrix"),
                           draw.matrix.data());
        draws->push_back(draw);
    }
    using DrawElements = void (*)(GLenum, GLsizei, GLenum, const void*);
    reinterpret_cast<DrawElements>(context->getProcAddress("glDrawElements"))(mode, count, type,
                                                                              indices);
}

class TestSceneCalls : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();

    void objectsAreDrawnInOrderWithTheirLineWidths();
    void withoutAccelerationTheMeshFollowsTheAxes();
    void floorAndAxesStandStillWhileTheMeshTurns();
    void projectionShowsAFrameLater();
    void programThatDoesNotLinkIsDrawnWithoutFurtherMessages();

private:
    std::vector<Draw> drawsOf(SceneView& view);
};

void TestSceneCalls::cleanup()
{
    ProgramStates::resetStates();
}

std::vector<Draw> TestSceneCalls::drawsOf(SceneView& view)
{
    std::vector<Draw> recorded;
    view.makeCurrent();
    draws = &recorded;
    view.visualize();
    draws = nullptr;
    return recorded;
}

void TestSceneCalls::objectsAreDrawnInOrderWithTheirLineWidths()
{
    SceneView view;
    QVERIFY(view.showScene(320, 220, 1));
    view.setAccStrenght(0, 1, 0);
    const std::vector<Draw> seen = drawsOf(view);
    const Draw expected[] = {{GL_LINES, 2 * (121 * 2 + 4), 1.5F, {}},
                             {GL_LINES, 6, 3.5F, {}},
                             {GL_LINES, 6, 20.0F, {}},
                             {GL_TRIANGLES, 4539, 20.0F, {}}};
    QCOMPARE(seen.size(), std::size(expected));
    for (std::size_t i = 0; i < seen.size(); ++i) {
        QCOMPARE(seen[i].mode, expected[i].mode);
        QCOMPARE(seen[i].count, expected[i].count);
        QCOMPARE(seen[i].lineWidth, expected[i].lineWidth);
    }
    GLint program = -1;
    glGetIntegerv(GL_CURRENT_PROGRAM, &program);
    QCOMPARE(program, 0); // released
}

void TestSceneCalls::withoutAccelerationTheMeshFollowsTheAxes()
{
    SceneView view;
    QVERIFY(view.showScene(320, 220, 0));
    const std::vector<Draw> seen = drawsOf(view);
    QCOMPARE(seen.size(), std::size_t{3});
    QCOMPARE(seen[2].count, 324);
    QCOMPARE(seen[2].lineWidth, 3.5F);
}

void TestSceneCalls::floorAndAxesStandStillWhileTheMeshTurns()
{
    SceneView view;
    QVERIFY(view.showScene(320, 220, 2));
    view.setAccStrenght(0, 1, 0);
    const om::Orientation turn(om::Rotation(0.5F, om::Translation(1, -2, 0.5F)));
    view.setCameraModelTr(om::Transform(turn, om::Translation(0.1F, 0.2F, -0.3F)));
    const std::vector<Draw> seen = drawsOf(view);
    QCOMPARE(seen.size(), std::size_t{4});

    const om::Transform& vp = view.camera->getViewProjectionMatrix();
    const om::Transform model(turn, om::Translation(0.1F, 0.2F, -0.3F));
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            double product = 0.0;
            for (int k = 0; k < 4; ++k) {
                product += static_cast<double>(vp(row, k)) * static_cast<double>(model(k, column));
            }
            const auto at = [&](std::size_t draw) {
                const auto element =
                    static_cast<std::size_t>(column) * 4 + static_cast<std::size_t>(row);
                return static_cast<double>(seen[draw].matrix[element]);
            };
            const auto still = static_cast<double>(vp(row, column));
            QVERIFY(std::abs(at(0) - still) < 1e-6);
            QVERIFY(std::abs(at(1) - still) < 1e-6);
            QVERIFY(std::abs(at(2) - product) < 1e-5);
            QVERIFY(std::abs(at(3) - product) < 1e-5);
        }
    }
}

void TestSceneCalls::projectionShowsAFrameLater()
{
    SceneView view;
    QVERIFY(view.showScene(320, 220, 2));
    view.camera->setRotation(om::Orientation());
    view.camera->setProjection(90, 60, 0.1F, 50);
    // The frame's matrix is computed before the vertical angle follows the horizontal one.
    const double expected[2] = {1.7320508, 1.0};
    for (const double height : expected) {
        const std::vector<Draw> seen = drawsOf(view);
        QVERIFY(!seen.empty());
        QVERIFY(std::abs(static_cast<double>(seen[0].matrix[0]) - 1.0) < 1e-6);
        QVERIFY(std::abs(static_cast<double>(seen[0].matrix[5]) - height) < 1e-6);
    }
}

void TestSceneCalls::programThatDoesNotLinkIsDrawnWithoutFurtherMessages()
{
    SceneView view;
    QVERIFY(view.showScene(320, 220, 1));
    view.setAccStrenght(0, 1, 0);
    view.makeCurrent();
    // The program has two main functions then.
    QVERIFY(view.shaderProgram->addShaderFromSourceCode(QGLShader::Vertex,
                                                        "#version 330 core\nvoid main() {}\n"));
    messages = 0;
    const QtMessageHandler former = qInstallMessageHandler(countMessage);
    const bool isLinked = view.shaderProgram->link();
    const int messagesOfLink = messages;
    const std::vector<Draw> first = drawsOf(view);
    const std::vector<Draw> second = drawsOf(view);
    qInstallMessageHandler(former);
    QVERIFY(!isLinked);
    QVERIFY(messagesOfLink > 0);
    QCOMPARE(messages, messagesOfLink);
    QVERIFY(!view.shaderProgram->isLinked());
    QCOMPARE(first.size(), std::size_t{4});
    QCOMPARE(second.size(), std::size_t{4});
}

QTEST_MAIN(TestSceneCalls)
#include "tst_scene_calls.moc"
