/// The calls of CUDA and OpenGL that the image view makes.
#include "gpu/OGL2DWidget.h"

#include <QApplication>
#include <QGLShaderProgram>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QRegularExpression>
#include <QtTest>

#include <cuda_gl_interop.h>
#ifndef GRAVIMON_REAL_CUDA
#include <cuda_host.h>
#endif

#include <algorithm>

namespace {

constexpr int imageWidth = 8;
constexpr int imageHeight = 4;
constexpr int imageStep = 512;

QStringList* calls = nullptr; // recorded here while it is set
bool shadersAreBroken = false;
QStringList warnings;

void keepWarning(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    static_cast<void>(type);
    static_cast<void>(context);
    warnings += text;
}

/// Keeps Qt's messages during its life.
class Warnings
{
public:
    Warnings() : m_former(qInstallMessageHandler(keepWarning)) { warnings.clear(); }
    ~Warnings() { qInstallMessageHandler(m_former); }
    Warnings(const Warnings&) = delete;
    Warnings& operator=(const Warnings&) = delete;

private:
    QtMessageHandler m_former;
};

void record(const QString& call)
{
    if (calls != nullptr) {
        *calls += call;
    }
}

QString pointer(const void* value)
{
    return value == nullptr ? QStringLiteral("null") : QStringLiteral("set");
}

class View : public OGL2DWidget
{
public:
    View() : OGL2DWidget(nullptr) {}

    using OGL2DWidget::available;
    using OGL2DWidget::shaderProgram;
    using OGL2DWidget::texture;

    bool showOnScreen()
    {
        show();
        return QTest::qWaitForWindowExposed(this, waiting::patienceMs) && isValid();
    }
};

/// A block of device memory; null after a failure.
class DeviceMemory
{
public:
    explicit DeviceMemory(std::size_t bytes) { cudaMalloc(&m_data, bytes); }
    ~DeviceMemory() { cudaFree(m_data); }
    DeviceMemory(const DeviceMemory&) = delete;
    DeviceMemory& operator=(const DeviceMemory&) = delete;

    unsigned char* data() const { return static_cast<unsigned char*>(m_data); }

private:
    void* m_data = nullptr;
};

} // namespace

// The linker redirects the view's calls of CUDA and of the compiler here (--wrap) and defines these
// names. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

CUresult __real_cuCtxSetCurrent(CUcontext context);
CUresult __wrap_cuCtxSetCurrent(CUcontext context)
{
    record(QStringLiteral("cuCtxSetCurrent, OpenGL context %1")
               .arg(pointer(QOpenGLContext::currentContext())));
    return __real_cuCtxSetCurrent(context);
}

cudaError_t __real_cudaGraphicsGLRegisterImage(cudaGraphicsResource_t* resource, GLuint image,
                                               GLenum target, unsigned int flags);
cudaError_t __wrap_cudaGraphicsGLRegisterImage(cudaGraphicsResource_t* resource, GLuint image,
                                               GLenum target, unsigned int flags)
{
    record(QStringLiteral("cudaGraphicsGLRegisterImage, target 0x%1, flags %2")
               .arg(target, 0, 16)
               .arg(flags));
    return __real_cudaGraphicsGLRegisterImage(resource, image, target, flags);
}

cudaError_t __real_cudaGraphicsMapResources(int count, cudaGraphicsResource_t* resources,
                                            cudaStream_t stream);
cudaError_t __wrap_cudaGraphicsMapResources(int count, cudaGraphicsResource_t* resources,
                                            cudaStream_t stream)
{
    record(QStringLiteral("cudaGraphicsMapResources, %1, stream %2, OpenGL context %3")
               .arg(count)
               .arg(pointer(stream), pointer(QOpenGLContext::currentContext())));
    return __real_cudaGraphicsMapResources(count, resources, stream);
}

cudaError_t __real_cudaGraphicsSubResourceGetMappedArray(cudaArray_t* array,
                                                         cudaGraphicsResource_t resource,
                                                         unsigned int index, unsigned int level);
cudaError_t __wrap_cudaGraphicsSubResourceGetMappedArray(cudaArray_t* array,
                                                         cudaGraphicsResource_t resource,
                                                         unsigned int index, unsigned int level)
{
    record(QStringLiteral("cudaGraphicsSubResourceGetMappedArray, %1, %2").arg(index).arg(level));
    return __real_cudaGraphicsSubResourceGetMappedArray(array, resource, index, level);
}

cudaError_t __real_cudaMemcpy2DToArray(cudaArray_t to, std::size_t x, std::size_t y,
                                       const void* from, std::size_t pitch, std::size_t width,
                                       std::size_t height, cudaMemcpyKind kind);
cudaError_t __wrap_cudaMemcpy2DToArray(cudaArray_t to, std::size_t x, std::size_t y,
                                       const void* from, std::size_t pitch, std::size_t width,
                                       std::size_t height, cudaMemcpyKind kind)
{
    record(QStringLiteral("cudaMemcpy2DToArray, at %1 %2, pitch %3, %4 x %5, kind %6")
               .arg(x)
               .arg(y)
               .arg(pitch)
               .arg(width)
               .arg(height)
               .arg(static_cast<int>(kind)));
    return __real_cudaMemcpy2DToArray(to, x, y, from, pitch, width, height, kind);
}

cudaError_t __real_cudaGraphicsUnmapResources(int count, cudaGraphicsResource_t* resources,
                                              cudaStream_t stream);
cudaError_t __wrap_cudaGraphicsUnmapResources(int count, cudaGraphicsResource_t* resources,
                                              cudaStream_t stream)
{
    record(QStringLiteral("cudaGraphicsUnmapResources, %1, stream %2")
               .arg(count)
               .arg(pointer(stream)));
    return __real_cudaGraphicsUnmapResources(count, resources, stream);
}

cudaError_t __real_cudaGetLastError();
cudaError_t __wrap_cudaGetLastError()
{
    record(QStringLiteral("cudaGetLastError"));
    return __real_cudaGetLastError();
}

cudaError_t __real_cudaMalloc(void** memory, std::size_t bytes);
cudaError_t __wrap_cudaMalloc(void** memory, std::size_t bytes)
{
    record(QStringLiteral("cudaMalloc"));
    return __real_cudaMalloc(memory, bytes);
}

cudaError_t __real_cudaMallocPitch(void** memory, std::size_t* pitch, std::size_t width,
                                   std::size_t height);
cudaError_t __wrap_cudaMallocPitch(void** memory, std::size_t* pitch, std::size_t width,
                                   std::size_t height)
{
    record(QStringLiteral("cudaMallocPitch"));
    return __real_cudaMallocPitch(memory, pitch, width, height);
}

bool __real__ZN9QGLShader17compileSourceCodeEPKc(QGLShader* shader, const char* source);
bool __wrap__ZN9QGLShader17compileSourceCodeEPKc(QGLShader* shader, const char* source)
{
    return __real__ZN9QGLShader17compileSourceCodeEPKc(
        shader, shadersAreBroken ? "#version 330 core\nvoid main(void) { nothing; }\n" : source);
}

/// Replaces the library's function for the view's own draw calls.
void glDrawArrays(GLenum mode, GLint first, GLsizei count)
{
    record(QStringLiteral("glDrawArrays, %1 from %2, %3").arg(mode).arg(first).arg(count));
    using DrawArrays = void (*)(GLenum, GLint, GLsizei);
    reinterpret_cast<DrawArrays>(QOpenGLContext::currentContext()->getProcAddress("glDrawArrays"))(
        mode, first, count);
}

/// Replaces the library's function for the view's own textures.
void glTexImage2D(GLenum target, GLint level, GLint internal, GLsizei width, GLsizei height,
                  GLint border, GLenum format, GLenum type, const void* pixels)
{
    QString content = QStringLiteral("no pixels");
    if (pixels != nullptr && calls != nullptr) {
        const auto* const bytes = static_cast<const unsigned char*>(pixels);
        const bool zero = std::all_of(bytes, bytes + 4 * width * height,
                                      [](unsigned char byte) { return byte == 0; });
        content = zero ? QStringLiteral("zeros") : QStringLiteral("others");
    }
    record(QStringLiteral("glTexImage2D, 0x%1, %2 x %3, 0x%4 of 0x%5 and 0x%6, %7")
               .arg(target, 0, 16)
               .arg(width)
               .arg(height)
               .arg(internal, 0, 16)
               .arg(format, 0, 16)
               .arg(type, 0, 16)
               .arg(content));
    using TexImage2D =
        void (*)(GLenum, GLint, GLint, GLsizei, GLsizei, GLint, GLenum, GLenum, const void*);
    reinterpret_cast<TexImage2D>(QOpenGLContext::currentContext()->getProcAddress("glTexImage2D"))(
        target, level, internal, width, height, border, format, type, pixels);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

class TestImageCalls : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void initMakesTheOpenGlContextCurrentBeforeTheCudaContext();
    void ingestSetsTheCudaContextBeforeTheOpenGlContext();
    void frameTakesNoGpuMemory();
    void programThatDoesNotLinkIsDrawnWithAllTheSame();
};

void TestImageCalls::cleanup()
{
    calls = nullptr;
    shadersAreBroken = false;
}

void TestImageCalls::initTestCase()
{
    void* memory = nullptr;
    if (cudaMalloc(&memory, 4) != cudaSuccess) {
        QSKIP("no CUDA device");
    }
    cudaFree(memory);
}

void TestImageCalls::initMakesTheOpenGlContextCurrentBeforeTheCudaContext()
{
    OGL2DWidget view(nullptr);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view, waiting::patienceMs));
    view.doneCurrent();
    QStringList seen;
    calls = &seen;
    view.InitGLProcess(imageWidth, imageHeight, imageStep);
    calls = nullptr;
    QCOMPARE(seen, (QStringList{
                       "cuCtxSetCurrent, OpenGL context set",
                       "glTexImage2D, 0xde1, 8 x 4, 0x1908 of 0x1908 and 0x1401, no pixels",
                       "glTexImage2D, 0xde1, 8 x 4, 0x1908 of 0x1908 and 0x1401, zeros",
                       "cudaGraphicsGLRegisterImage, target 0xde1, flags 0",
                   }));
}

void TestImageCalls::ingestSetsTheCudaContextBeforeTheOpenGlContext()
{
    OGL2DWidget view(nullptr);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view, waiting::patienceMs));
    view.InitGLProcess(imageWidth, imageHeight, imageStep);
    void* image = nullptr;
    QCOMPARE(cudaMalloc(&image, std::size_t{imageStep} * imageHeight), cudaSuccess);
    view.gpuImage = static_cast<unsigned char*>(image);
    view.doneCurrent();
    QStringList seen;
    calls = &seen;
    view.Ingest();
    calls = nullptr;
    QCOMPARE(seen, (QStringList{
                       "cuCtxSetCurrent, OpenGL context null",
                       "cudaGraphicsMapResources, 1, stream null, OpenGL context set",
                       "cudaGraphicsSubResourceGetMappedArray, 0, 0",
                       "cudaMemcpy2DToArray, at 0 0, pitch 512, 32 x 4, kind 3",
                       "cudaGraphicsUnmapResources, 1, stream null",
                       "cudaGetLastError",
                   }));
    QCOMPARE(static_cast<int>(cudaMemcpyDeviceToDevice), 3);
    view.gpuImage = nullptr;
    cudaFree(image);
}

void TestImageCalls::frameTakesNoGpuMemory()
{
    View view;
    QVERIFY(view.showOnScreen());
    view.InitGLProcess(imageWidth, imageHeight, imageStep);
    const DeviceMemory image(std::size_t{imageStep} * imageHeight);
    QVERIFY(image.data() != nullptr);
    view.gpuImage = image.data();
    const auto frames = [&view](int count) {
        for (int i = 0; i < count; ++i) {
            view.Ingest();
            view.updateGL();
        }
    };
    const auto objects = [&view] {
        view.makeCurrent();
        QOpenGLFunctions* const gl = QOpenGLContext::currentContext()->functions();
        int count = 0;
        for (GLuint name = 1; name < 200; ++name) {
            count += gl->glIsTexture(name) + gl->glIsBuffer(name) + gl->glIsProgram(name) +
                     gl->glIsShader(name) + gl->glIsFramebuffer(name) + gl->glIsRenderbuffer(name);
        }
        return count;
    };
    frames(2);
    const int before = objects();
    QVERIFY(before >= 4); // the texture, the program and its two shaders
    const GLuint texture = view.texture;
#ifndef GRAVIMON_REAL_CUDA
    const std::size_t blocks = cuda_host::allocationCount();
    const std::size_t bytes = cuda_host::allocatedBytes();
    const std::size_t registered = cuda_host::registeredResources();
#endif
    QStringList seen;
    calls = &seen;
    frames(20);
    calls = nullptr;
    QCOMPARE(seen.filter("cudaMemcpy2DToArray").size(), 20);
    QCOMPARE(seen.filter("glDrawArrays").size(), 20);
    const QRegularExpression taking("^(cudaMalloc|cudaGraphicsGLRegisterImage|glTexImage2D)");
    QCOMPARE(seen.filter(taking), QStringList());
    QCOMPARE(objects(), before);
    QCOMPARE(view.texture, texture);
#ifndef GRAVIMON_REAL_CUDA
    QCOMPARE(cuda_host::allocationCount(), blocks);
    QCOMPARE(cuda_host::allocatedBytes(), bytes);
    QCOMPARE(cuda_host::registeredResources(), registered);
#endif
    view.gpuImage = nullptr;
}

void TestImageCalls::programThatDoesNotLinkIsDrawnWithAllTheSame()
{
    const Warnings kept; // Qt's and the driver's, of each attempt to link
    shadersAreBroken = true;
    View view;
    QVERIFY(view.showOnScreen());
    QVERIFY(view.shaderProgram != nullptr && !view.shaderProgram->isLinked());
    QVERIFY(!warnings.isEmpty());
    view.InitGLProcess(imageWidth, imageHeight, imageStep);
    QVERIFY(view.available);
    const DeviceMemory image(std::size_t{imageStep} * imageHeight);
    QVERIFY(image.data() != nullptr);
    view.gpuImage = image.data();
    view.Ingest();
    QStringList seen;
    calls = &seen;
    view.updateGL();
    calls = nullptr;
    QCOMPARE(seen.filter("glDrawArrays"), QStringList{"glDrawArrays, 6 from 0, 4"});
    QVERIFY(!view.shaderProgram->isLinked());
    view.gpuImage = nullptr;
}

QTEST_MAIN(TestImageCalls)
#include "tst_image_calls.moc"
