/// The calls of CUDA and OpenGL that the image view makes, in order.
#include "gpu/OGL2DWidget.h"

#include <QApplication>
#include <QOpenGLContext>
#include <QtTest>

#include <cuda_gl_interop.h>

#include <algorithm>

namespace {

constexpr int imageWidth = 8;
constexpr int imageHeight = 4;
constexpr int imageStep = 512;

QStringList* calls = nullptr; // recorded here while it is set

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

} // namespace

// The linker redirects the view's calls of CUDA here (--wrap) and defines these names.
// NOLINTBEGIN(bugprone-reserved-identifier)
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
    void cleanup() { calls = nullptr; }

    void initMakesTheOpenGlContextCurrentBeforeTheCudaContext();
    void ingestSetsTheCudaContextBeforeTheOpenGlContext();
};

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

QTEST_MAIN(TestImageCalls)
#include "tst_image_calls.moc"
