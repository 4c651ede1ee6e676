#include "gpu/scene_view.h"
#include "support/allocations.h"
#include "support/sidethread.h"

#include <QApplication>
#include <QOpenGLFunctions_3_3_Compatibility>
#include <QtTest>

#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <set>

class TestSceneCost : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void counterCounts();
    void framesAfterTheFirstAllocateNothing_data();
    void framesAfterTheFirstAllocateNothing();
    void onlyTheAccelerationLinesAreUploadedEachFrame();
    void framesMakeNoObjectsOfOpenGL();
    void poseAndAccelerationMayComeFromAnotherThread();

private:
    /// Bytes of a buffer.
    std::vector<char> contentOf(GLuint buffer);

    std::unique_ptr<SceneView> m_view;
    QOpenGLFunctions_3_3_Compatibility* m_gl = nullptr;
};

void TestSceneCost::init()
{
    m_view = std::make_unique<SceneView>();
    QVERIFY(m_view->showScene(640, 480, 1));
    m_view->makeCurrent();
    m_gl = m_view->context()->versionFunctions<QOpenGLFunctions_3_3_Compatibility>();
    QVERIFY(m_gl != nullptr && m_gl->initializeOpenGLFunctions());
}

void TestSceneCost::cleanup()
{
    m_view.reset();
    ProgramStates::resetStates();
}

std::vector<char> TestSceneCost::contentOf(GLuint buffer)
{
    GLint size = 0;
    m_gl->glBindBuffer(GL_COPY_READ_BUFFER, buffer);
    m_gl->glGetBufferParameteriv(GL_COPY_READ_BUFFER, GL_BUFFER_SIZE, &size);
    std::vector<char> bytes(static_cast<std::size_t>(size));
    m_gl->glGetBufferSubData(GL_COPY_READ_BUFFER, 0, size, bytes.data());
    m_gl->glBindBuffer(GL_COPY_READ_BUFFER, 0);
    return bytes;
}

void TestSceneCost::counterCounts()
{
#if GRAVIMON_COUNTS_ALLOCATIONS
    allocations::Counter counter;
    allocations::Counter* const before = allocations::use(&counter);
    std::vector<float> vector(3);
    auto* volatile number = new int(1);
    void* volatile block = std::malloc(8);
    void* volatile page = std::aligned_alloc(4096, 4096);
    QByteArray bytes(100, 'x');
    bytes.resize(5000); // moves
    allocations::use(before);
    delete number;
    std::free(block);
    std::free(page);
    QCOMPARE(counter.ofTheProgramAndQt(), std::size_t{6});
    QCOMPARE(counter.all(), std::size_t{6});
    QCOMPARE(vector.size() + std::size_t(bytes.size()), std::size_t{5003});
#else
    QSKIP("the sanitizer has its own malloc");
#endif
}

void TestSceneCost::framesAfterTheFirstAllocateNothing_data()
{
    QTest::addColumn<int>("model");
    QTest::newRow("TIV") << 0;
    QTest::newRow("TIV_N") << 1;
    QTest::newRow("TIV_P") << 2;
}

void TestSceneCost::framesAfterTheFirstAllocateNothing()
{
#if GRAVIMON_COUNTS_ALLOCATIONS
    QFETCH(int, model);
    ProgramStates::setIntAttr(ProgramStates::cameraModel, model);
    m_view->InitProcess();
    m_view->makeCurrent();
    m_view->setAccStrenght(0, 1, 0);
    m_view->visualize();
    glFinish();
    allocations::Counter counter;
    for (int frame = 0; frame < 100; ++frame) {
        const auto f = static_cast<float>(frame);
        m_view->setCameraModelOr(om::Orientation(om::Rotation(0.1F * f, om::Translation(1, 2, 3))));
        m_view->setAccStrenght(0.01F * f, 1.0F - 0.01F * f, -0.5F);
        m_view->camera->rotate(om::Rotation(0.01F, om::Translation(0, 1, 0)));
        const allocations::Scope counted(&counter);
        m_view->visualize();
    }
    QVERIFY(counter.all() < counter.keptAtMost);
    QCOMPARE(counter.ofTheProgramAndQt(), std::size_t{0});
#else
    QSKIP("the sanitizer has its own malloc");
#endif
}

void TestSceneCost::onlyTheAccelerationLinesAreUploadedEachFrame()
{
    m_view->setAccStrenght(0, 1, 0);
    m_view->visualize();
    std::set<GLuint> dynamic;
    for (int i = 0; i < 3; ++i) {
        dynamic.insert(OpenObject::buffersOf(*m_view->dynamicAxes)[i]);
    }
    // Six vertices: position and colour of three floats each, and an index.
    const std::size_t sizes[3] = {6 * 12, 6 * 12, 6 * 4};
    for (std::size_t i = 0; i < 3; ++i) {
        QCOMPARE(contentOf(OpenObject::buffersOf(*m_view->dynamicAxes)[i]).size(), sizes[i]);
    }

    // Every buffer gets content that no upload would write; after a frame the written ones are
    // known.
    std::set<GLuint> all;
    for (GLuint name = 1; name < 200; ++name) {
        if (m_gl->glIsBuffer(name) != GL_FALSE && !contentOf(name).empty()) {
            all.insert(name);
        }
    }
    QVERIFY(all.size() >= 12); // four objects of three buffers
    std::map<GLuint, std::vector<char>> poisoned;
    for (const GLuint name : all) {
        // Elements stay within the buffers, so that the draw calls stay within bounds.
        const std::vector<char> poison(contentOf(name).size(), 0);
        m_gl->glBindBuffer(GL_COPY_WRITE_BUFFER, name);
        m_gl->glBufferSubData(GL_COPY_WRITE_BUFFER, 0, GLsizeiptr(poison.size()), poison.data());
        m_gl->glBindBuffer(GL_COPY_WRITE_BUFFER, 0);
        poisoned[name] = poison;
    }
    m_view->setAccStrenght(0.25F, 0.5F, 1);
    m_view->visualize();
    for (const GLuint name : all) {
        const bool written = contentOf(name) != poisoned[name];
        QVERIFY2(written == (dynamic.count(name) != 0), qPrintable(QString::number(name)));
    }
    QCOMPARE(m_gl->glGetError(), GLenum{GL_NO_ERROR});
}

void TestSceneCost::framesMakeNoObjectsOfOpenGL()
{
    m_view->setAccStrenght(0, 1, 0);
    m_view->visualize();
    const auto objects = [this] {
        std::size_t count = 0;
        for (GLuint name = 1; name < 500; ++name) {
            count += m_gl->glIsBuffer(name) + m_gl->glIsVertexArray(name) +
                     m_gl->glIsProgram(name) + m_gl->glIsShader(name) + m_gl->glIsTexture(name);
        }
        return count;
    };
    const std::size_t before = objects();
    QVERIFY(before > 12);
    for (int frame = 0; frame < 50; ++frame) {
        m_view->visualize();
    }
    QCOMPARE(objects(), before);
}

void TestSceneCost::poseAndAccelerationMayComeFromAnotherThread()
{
    // Like the sensor thread: plain stores during the painting.
    int last = 0;
    SideThread sensors([this, &last](const std::atomic<bool>& stop) {
        for (int i = 0; i < 4000 || !stop; ++i) {
            const float angle = 0.01F * static_cast<float>(i);
            m_view->accStrength.x = std::cos(angle);
            m_view->accStrength.y = std::sin(angle);
            m_view->accStrength.z = 0;
            m_view->setCameraModelOr(
                om::Orientation(om::Rotation(angle, om::Translation(0, 1, 0))));
            m_view->setCameraModelPos(om::Translation(0, 0, 0));
            m_view->movingStatus = i % 3;
            last = i;
        }
    });
    for (int frame = 0; frame < 50; ++frame) {
        m_view->paintNow();
    }
    sensors.join();
    m_view->makeCurrent();
    QCOMPARE(m_gl->glGetError(), GLenum{GL_NO_ERROR});
    QCOMPARE(m_view->movingStatus, last % 3);
}

QTEST_MAIN(TestSceneCost)
#include "tst_scene_cost.moc"
