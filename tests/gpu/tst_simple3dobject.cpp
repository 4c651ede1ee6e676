#include "gpu/Simple3DObject.h"

#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFramebufferObject>
#include <QOpenGLFunctions_3_3_Compatibility>
#include <QtTest>

#include <cmath>
#include <memory>

namespace {

class Object : public Simple3DObject
{
public:
    explicit Object(bool isStaticObject = false)
        : Simple3DObject(om::Translation(0, 0, 0), isStaticObject)
    {}
    using Simple3DObject::colors;
    using Simple3DObject::drawingType;
    using Simple3DObject::indices;
    using Simple3DObject::vao;
    using Simple3DObject::vboID;
    using Simple3DObject::vertices;
};

class Axis : public DynAxis
{
public:
    using DynAxis::colors;
    using DynAxis::drawingType;
    using DynAxis::vboID;
    using DynAxis::vertices;
};

bool near(float a, double b)
{
    return std::abs(static_cast<double>(a) - b) < 1e-6;
}

} // namespace

class TestSimple3dObject : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void pointBringsItsColourAndTheNextIndex();
    void lineIsTwoPointsOfOneColour();
    void drawsTrianglesAtFirst();
    void pushUploadsVerticesColoursAndIndices();
    void pushLeavesNothingBound();
    void usageFollowsIsStatic();
    void dynamicObjectIsUploadedAtEachPush();
    void staticObjectIsUploadedOnce();
    void staticObjectStaysAsItIs();
    void drawBeforeThePushDrawsNothing();
    void drawDrawsEveryIndexAsTheTypeSays();
    void clearedObjectDrawsNothingUntilItIsPushed();
    void clearKeepsTheCapacity();
    void objectWithoutPointsDrawsNothing();
    void destructorLeavesColoursAndElementsToTheContext();
    void objectMadeWithoutAContextNeverDraws();

    void translateAddsAndSetPositionReplaces();
    void rotationsGoOnTheLeft();
    void modelMatrixHoldsRotationAndPosition();
    void setRTTakesBoth();

    void dynAxisLinesPointAgainstTheirInput();
    void dynAxisUploadsSixVerticesAfresh();
    void dynAxisLeavesItsLineWidth();
    void dynAxisOfZeroDrawsNothing();
    void dynAxisOfNotANumberIsHarmless();

private:
    /// Primitives that the calls of draw() send.
    template <typename Draw>
    GLuint primitivesOf(Draw draw);
    GLint bufferSize(GLenum target, GLuint buffer);
    std::vector<float> floatsIn(GLuint buffer);

    QOffscreenSurface m_surface;
    QOpenGLContext m_context;
    std::unique_ptr<QOpenGLFramebufferObject> m_target;
    QOpenGLFunctions_3_3_Compatibility* m_gl = nullptr;
};

void TestSimple3dObject::initTestCase()
{
    m_surface.create();
    QVERIFY(m_context.create());
    QVERIFY(m_context.makeCurrent(&m_surface));
    m_gl = m_context.versionFunctions<QOpenGLFunctions_3_3_Compatibility>();
    QVERIFY(m_gl != nullptr && m_gl->initializeOpenGLFunctions());
    m_target = std::make_unique<QOpenGLFramebufferObject>(16, 16);
    m_target->bind();
}

void TestSimple3dObject::init()
{
    QVERIFY(m_context.makeCurrent(&m_surface));
}

void TestSimple3dObject::cleanup()
{
    QVERIFY(m_context.makeCurrent(&m_surface));
    QCOMPARE(m_gl->glGetError(), GLenum{GL_NO_ERROR});
}

template <typename Draw>
GLuint TestSimple3dObject::primitivesOf(Draw draw)
{
    GLuint query = 0;
    GLuint count = 0;
    m_gl->glGenQueries(1, &query);
    m_gl->glBeginQuery(GL_PRIMITIVES_GENERATED, query);
    draw();
    m_gl->glEndQuery(GL_PRIMITIVES_GENERATED);
    m_gl->glGetQueryObjectuiv(query, GL_QUERY_RESULT, &count);
    m_gl->glDeleteQueries(1, &query);
    return count;
}

GLint TestSimple3dObject::bufferSize(GLenum bufferTarget, GLuint buffer)
{
    GLint size = -1;
    m_gl->glBindBuffer(bufferTarget, buffer);
    m_gl->glGetBufferParameteriv(bufferTarget, GL_BUFFER_SIZE, &size);
    m_gl->glBindBuffer(bufferTarget, 0);
    return size;
}

std::vector<float> TestSimple3dObject::floatsIn(GLuint buffer)
{
    std::vector<float> values(static_cast<std::size_t>(bufferSize(GL_ARRAY_BUFFER, buffer)) /
                              sizeof(float));
    m_gl->glBindBuffer(GL_ARRAY_BUFFER, buffer);
    m_gl->glGetBufferSubData(GL_ARRAY_BUFFER, 0,
                             static_cast<GLsizeiptr>(values.size() * sizeof(float)), values.data());
    m_gl->glBindBuffer(GL_ARRAY_BUFFER, 0);
    return values;
}

void TestSimple3dObject::pointBringsItsColourAndTheNextIndex()
{
    Object object;
    object.addPoint(1, 2, 3, 0.1F, 0.2F, 0.3F);
    object.addPoint(4, 5, 6, 0.4F, 0.5F, 0.6F);
    object.addPoint(1, 2, 3, 0.1F, 0.2F, 0.3F); // never shared
    QCOMPARE(object.vertices, (std::vector<float>{1, 2, 3, 4, 5, 6, 1, 2, 3}));
    QCOMPARE(object.colors,
             (std::vector<float>{0.1F, 0.2F, 0.3F, 0.4F, 0.5F, 0.6F, 0.1F, 0.2F, 0.3F}));
    QCOMPARE(object.indices, (std::vector<unsigned int>{0, 1, 2}));
}

void TestSimple3dObject::lineIsTwoPointsOfOneColour()
{
    Object object;
    object.addPoint(9, 9, 9, 0, 0, 0);
    object.addLine({1, 2, 3}, {4, 5, 6}, {0.1F, 0.2F, 0.3F});
    QCOMPARE(object.vertices, (std::vector<float>{9, 9, 9, 1, 2, 3, 4, 5, 6}));
    QCOMPARE(object.colors, (std::vector<float>{0, 0, 0, 0.1F, 0.2F, 0.3F, 0.1F, 0.2F, 0.3F}));
    QCOMPARE(object.indices, (std::vector<unsigned int>{0, 1, 2}));
}

void TestSimple3dObject::drawsTrianglesAtFirst()
{
    QCOMPARE(Object().drawingType, GLenum{GL_TRIANGLES});
}

void TestSimple3dObject::pushUploadsVerticesColoursAndIndices()
{
    Object object;
    object.addLine({1, 2, 3}, {4, 5, 6}, {0.5F, 0.25F, 1});
    QVERIFY(object.pushToGPU());
    QVERIFY(object.vao.isCreated());
    QCOMPARE(floatsIn(object.vboID[0]), object.vertices);
    QCOMPARE(floatsIn(object.vboID[1]), object.colors);
    QCOMPARE(bufferSize(GL_ELEMENT_ARRAY_BUFFER, object.vboID[2]), 2 * 4);

    object.vao.bind();
    for (GLuint attribute = 0; attribute < 2; ++attribute) {
        const auto get = [&](GLenum name) {
            GLint value = -1;
            m_gl->glGetVertexAttribiv(attribute, name, &value);
            return value;
        };
        QCOMPARE(get(GL_VERTEX_ATTRIB_ARRAY_ENABLED), GL_TRUE);
        QCOMPARE(get(GL_VERTEX_ATTRIB_ARRAY_SIZE), 3);
        QCOMPARE(get(GL_VERTEX_ATTRIB_ARRAY_TYPE), GL_FLOAT);
        QCOMPARE(get(GL_VERTEX_ATTRIB_ARRAY_STRIDE), 0);
        QCOMPARE(get(GL_VERTEX_ATTRIB_ARRAY_NORMALIZED), GL_FALSE);
        QCOMPARE(get(GL_VERTEX_ATTRIB_ARRAY_BUFFER_BINDING), GLint(object.vboID[attribute]));
    }
    GLint elements = 0;
    m_gl->glGetIntegerv(GL_ELEMENT_ARRAY_BUFFER_BINDING, &elements);
    QCOMPARE(elements, GLint(object.vboID[2]));
    object.vao.release();
}

void TestSimple3dObject::pushLeavesNothingBound()
{
    Object object;
    object.addPoint(0, 0, 0, 0, 0, 0);
    object.pushToGPU();
    for (const GLenum binding : {GLenum{GL_VERTEX_ARRAY_BINDING}, GLenum{GL_ARRAY_BUFFER_BINDING},
                                 GLenum{GL_ELEMENT_ARRAY_BUFFER_BINDING}}) {
        GLint value = -1;
        m_gl->glGetIntegerv(binding, &value);
        QCOMPARE(value, 0);
    }
}

void TestSimple3dObject::usageFollowsIsStatic()
{
    for (const bool isStatic : {true, false}) {
        Object object(isStatic);
        object.addPoint(0, 0, 0, 0, 0, 0);
        object.pushToGPU();
        for (const GLuint buffer : object.vboID) {
            GLint usage = 0;
            m_gl->glBindBuffer(GL_ARRAY_BUFFER, buffer);
            m_gl->glGetBufferParameteriv(GL_ARRAY_BUFFER, GL_BUFFER_USAGE, &usage);
            m_gl->glBindBuffer(GL_ARRAY_BUFFER, 0);
            QCOMPARE(usage, isStatic ? GL_STATIC_DRAW : GL_DYNAMIC_DRAW);
        }
    }
}

void TestSimple3dObject::dynamicObjectIsUploadedAtEachPush()
{
    Object object;
    object.addPoint(1, 1, 1, 0, 0, 0);
    object.pushToGPU();
    const GLuint buffer = object.vboID[0];
    object.addPoint(2, 2, 2, 0, 0, 0);
    QVERIFY(object.pushToGPU());
    QCOMPARE(object.vboID[0], buffer);
    QCOMPARE(floatsIn(buffer), (std::vector<float>{1, 1, 1, 2, 2, 2}));
}

void TestSimple3dObject::staticObjectIsUploadedOnce()
{
    Object object(true);
    object.addPoint(1, 1, 1, 0, 0, 0);
    object.pushToGPU();
    object.addPoint(2, 2, 2, 0, 0, 0);
    object.pushToGPU();
    QCOMPARE(floatsIn(object.vboID[0]), (std::vector<float>{1, 1, 1}));
    QCOMPARE(object.vertices.size(), std::size_t{6}); // the addition stays on the CPU
}

void TestSimple3dObject::staticObjectStaysAsItIs()
{
    Object object(true);
    object.setDrawingType(GL_LINES);
    object.addLine({0, 0, 0}, {1, 1, 1}, {1, 1, 1});
    object.pushToGPU();
    object.pushToGPU();
    QCOMPARE(primitivesOf([&] { object.draw(); }), 1U);
    object.clear();
    object.addLine({0, 0, 0}, {1, 1, 1}, {1, 1, 1});
    object.pushToGPU(); // too late: it stays cleared
    QCOMPARE(primitivesOf([&] { object.draw(); }), 0U);
}

void TestSimple3dObject::drawBeforeThePushDrawsNothing()
{
    Object object;
    object.addLine({0, 0, 0}, {1, 1, 1}, {1, 1, 1});
    QCOMPARE(primitivesOf([&] { object.draw(); }), 0U);
}

void TestSimple3dObject::drawDrawsEveryIndexAsTheTypeSays()
{
    Object object;
    for (int i = 0; i < 12; ++i) {
        object.addPoint(float(i) / 12, float(i % 3) / 3, 0, 1, 1, 1);
    }
    object.pushToGPU();
    QCOMPARE(primitivesOf([&] { object.draw(); }), 4U);
    object.setDrawingType(GL_LINES);
    QCOMPARE(primitivesOf([&] { object.draw(); }), 6U);
    object.setDrawingType(GL_POINTS);
    QCOMPARE(primitivesOf([&] { object.draw(); }), 12U);
    GLint bound = -1;
    m_gl->glGetIntegerv(GL_VERTEX_ARRAY_BINDING, &bound);
    QCOMPARE(bound, 0);
}

void TestSimple3dObject::clearedObjectDrawsNothingUntilItIsPushed()
{
    Object object;
    object.setDrawingType(GL_LINES);
    object.addLine({0, 0, 0}, {1, 1, 1}, {1, 1, 1});
    object.pushToGPU();
    object.clear();
    QVERIFY(object.vertices.empty() && object.colors.empty() && object.indices.empty());
    object.addLine({0, 0, 0}, {1, 1, 1}, {1, 1, 1});
    QCOMPARE(object.indices, (std::vector<unsigned int>{0, 1})); // they count from 0 again
    QCOMPARE(primitivesOf([&] { object.draw(); }), 0U);
    QCOMPARE(floatsIn(object.vboID[0]).size(), std::size_t{6}); // the old copy is still there
    object.pushToGPU();
    QCOMPARE(primitivesOf([&] { object.draw(); }), 1U);
}

void TestSimple3dObject::clearKeepsTheCapacity()
{
    Object object;
    for (int i = 0; i < 100; ++i) {
        object.addPoint(0, 0, 0, 0, 0, 0);
    }
    const float* const before = object.vertices.data();
    object.clear();
    QVERIFY(object.vertices.capacity() >= 300 && object.colors.capacity() >= 300);
    QVERIFY(object.indices.capacity() >= 100);
    object.addPoint(0, 0, 0, 0, 0, 0);
    QCOMPARE(static_cast<const float*>(object.vertices.data()), before);
}

void TestSimple3dObject::objectWithoutPointsDrawsNothing()
{
    Object object;
    QVERIFY(object.pushToGPU());
    QCOMPARE(primitivesOf([&] { object.draw(); }), 0U);
}

void TestSimple3dObject::destructorLeavesColoursAndElementsToTheContext()
{
    GLuint buffers[3] = {};
    {
        Object object;
        object.addPoint(0, 0, 0, 0, 0, 0);
        object.pushToGPU();
        std::copy(std::begin(object.vboID), std::end(object.vboID), buffers);
    }
    QCOMPARE(m_gl->glIsBuffer(buffers[0]), GLboolean{GL_FALSE});
    QCOMPARE(m_gl->glIsBuffer(buffers[1]), GLboolean{GL_TRUE});
    QCOMPARE(m_gl->glIsBuffer(buffers[2]), GLboolean{GL_TRUE});
}

void TestSimple3dObject::objectMadeWithoutAContextNeverDraws()
{
    m_context.doneCurrent();
    auto object = std::make_unique<Object>();
    QVERIFY(m_context.makeCurrent(&m_surface));
    object->addLine({0, 0, 0}, {1, 1, 1}, {1, 1, 1});
    QVERIFY(!object->pushToGPU());
    QCOMPARE(primitivesOf([&] { object->draw(); }), 0U);
    object.reset();
}

void TestSimple3dObject::translateAddsAndSetPositionReplaces()
{
    Simple3DObject object(om::Translation(1, 2, 3), false);
    object.translate({1, 0, -1});
    QCOMPARE(object.getPosition().x, 2.0F);
    QCOMPARE(object.getPosition().y, 2.0F);
    QCOMPARE(object.getPosition().z, 2.0F);
    object.setPosition({7, 8, 9});
    QCOMPARE(object.getPosition().x, 7.0F);
    QCOMPARE(object.getPosition().z, 9.0F);
}

void TestSimple3dObject::rotationsGoOnTheLeft()
{
    const om::Rotation aboutZ(1.5707964F, om::Translation(0, 0, 1));
    const om::Rotation aboutX(1.5707964F, om::Translation(1, 0, 0));
    Object object;
    object.setRotation(aboutZ);
    object.rotate(aboutX);
    // The first turns x to y and the second y to z.
    QVERIFY(near(object.getModelMatrix()(2, 0), 1.0));
    Object other;
    other.setRotation(om::Orientation(aboutZ));
    other.rotate(om::Orientation(aboutX));
    for (int i = 0; i < 16; ++i) {
        QCOMPARE(other.getModelMatrix()(i / 4, i % 4), object.getModelMatrix()(i / 4, i % 4));
    }
}

void TestSimple3dObject::modelMatrixHoldsRotationAndPosition()
{
    Simple3DObject object(om::Translation(1, 2, 3), false);
    const om::Transform still = object.getModelMatrix();
    const double expected[16] = {1, 0, 0, 1, 0, 1, 0, 2, 0, 0, 1, 3, 0, 0, 0, 1};
    for (int i = 0; i < 16; ++i) {
        QVERIFY(near(still(i / 4, i % 4), expected[i]));
    }
    object.setRotation(om::Rotation(1.5707964F, om::Translation(0, 1, 0)));
    const om::Transform turned = object.getModelMatrix();
    const double expectedTurned[16] = {0, 0, 1, 1, 0, 1, 0, 2, -1, 0, 0, 3, 0, 0, 0, 1};
    for (int i = 0; i < 16; ++i) {
        QVERIFY(near(turned(i / 4, i % 4), expectedTurned[i]));
    }
}

void TestSimple3dObject::setRTTakesBoth()
{
    const om::Orientation rotation(om::Rotation(0.5F, om::Translation(1, 2, -1)));
    Object object;
    object.setRT(om::Transform(rotation, om::Translation(4, 5, 6)));
    const om::Transform expected(rotation, om::Translation(4, 5, 6));
    for (int i = 0; i < 16; ++i) {
        QVERIFY(near(object.getModelMatrix()(i / 4, i % 4),
                     static_cast<double>(expected(i / 4, i % 4))));
    }
}

void TestSimple3dObject::dynAxisLinesPointAgainstTheirInput()
{
    Axis axis;
    axis.draw(1, -0.5F, 0.25F);
    QCOMPARE(axis.drawingType, GLenum{GL_LINES});
    const std::vector<double> ends = {0, 0,     0, -0.15, 0, 0, 0, 0, 0,
                                      0, 0.075, 0, 0,     0, 0, 0, 0, -0.0375};
    QCOMPARE(axis.vertices.size(), ends.size());
    for (std::size_t i = 0; i < ends.size(); ++i) {
        QVERIFY2(near(axis.vertices[i], ends[i]), qPrintable(QString::number(i)));
    }
    const int colours[3][3] = {{200, 70, 70}, {40, 200, 125}, {0, 100, 200}};
    for (std::size_t vertex = 0; vertex < 6; ++vertex) {
        for (std::size_t c = 0; c < 3; ++c) {
            QCOMPARE(qRound(axis.colors[3 * vertex + c] * 255.0F), colours[vertex / 2][c]);
        }
    }
}

void TestSimple3dObject::dynAxisUploadsSixVerticesAfresh()
{
    Axis axis;
    QCOMPARE(primitivesOf([&] { axis.draw(0, 0, 1); }), 3U);
    QCOMPARE(primitivesOf([&] { axis.draw(0, 0, 1); }), 3U); // the same input is drawn again
    axis.draw(1, 0, 0);
    QCOMPARE(axis.vertices.size(), std::size_t{18});
    QCOMPARE(floatsIn(axis.vboID[0]), axis.vertices);
    QCOMPARE(bufferSize(GL_ELEMENT_ARRAY_BUFFER, axis.vboID[2]), 6 * 4);
    GLint usage = 0;
    m_gl->glBindBuffer(GL_ARRAY_BUFFER, axis.vboID[0]);
    m_gl->glGetBufferParameteriv(GL_ARRAY_BUFFER, GL_BUFFER_USAGE, &usage);
    m_gl->glBindBuffer(GL_ARRAY_BUFFER, 0);
    QCOMPARE(usage, GL_DYNAMIC_DRAW);
}

void TestSimple3dObject::dynAxisLeavesItsLineWidth()
{
    m_gl->glLineWidth(1.0F);
    Axis axis;
    axis.draw(0, 1, 0);
    GLfloat width = 0;
    m_gl->glGetFloatv(GL_LINE_WIDTH, &width);
    QCOMPARE(width, 20.0F);
    m_gl->glLineWidth(1.0F);
}

void TestSimple3dObject::dynAxisOfZeroDrawsNothing()
{
    Axis axis;
    QCOMPARE(primitivesOf([&] { axis.draw(0, 0, 0); }), 0U);
    QVERIFY(axis.vertices.empty());
}

void TestSimple3dObject::dynAxisOfNotANumberIsHarmless()
{
    Axis axis;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    QCOMPARE(primitivesOf([&] { axis.draw(nan, nan, nan); }), 3U);
    axis.draw(0, 1, 0);
    QVERIFY(near(axis.vertices[10], -0.15));
}

QTEST_MAIN(TestSimple3dObject)
#include "tst_simple3dobject.moc"
