#include <cuda.h>
#include <cuda_gl_interop.h>
#include <cuda_host.h>
#include <cuda_runtime_api.h>

#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QtTest>

#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

constexpr std::size_t eightGiB = std::size_t{8} << 30;

/// Device memory for the duration of a test.
class Block
{
public:
    explicit Block(std::size_t bytes) { m_error = cudaMalloc(&m_pointer, bytes); }
    ~Block() { cudaFree(m_pointer); }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

    std::uint8_t* data() const { return static_cast<std::uint8_t*>(m_pointer); }
    cudaError_t error() const { return m_error; }

private:
    void* m_pointer = nullptr;
    cudaError_t m_error = cudaSuccess;
};

} // namespace

class TestCudaHost : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void currentContextBelongsToTheThread();
    void foreignContextIsRefused();
    void primaryContextIsCounted();
    void onlyDeviceZeroExists();
    void runtimeCallBindsThePrimaryContext();

    void lastErrorSticksUntilItIsRead();
    void lastErrorBelongsToTheThread();
    void driverErrorsAreNotTheLastError();
    void errorsHaveNames_data();
    void errorsHaveNames();

    void budgetLimitsAllBlocksTogether();
    void paddingOfRowsCountsAgainstTheBudget();
    void freedMemoryComesBack();
    void emptyBlockIsNull();
    void rowsBeginAtMultiplesOf512();
    void rowsThatOverflowAreRefused();
    void freeKnowsOnlyItsBlocks();

    void copyChecksBothSides_data();
    void copyChecksBothSides();
    void copyBeyondTheBlockIsRefused();
    void freedMemoryCannotBeCopied();
    void defaultKindFindsTheSides();
    void copyOfRowsKeepsTheGaps();
    void copyOfRowsChecksThePitch();
    void memsetStaysInItsBlock();

    void plannedFailuresComeOnceAndInOrder();
    void plannedFailureDoesNothingElse();
    void planForAnUnknownCallThrows();
    void forgottenPlansDoNotFail();
    void driverCallsCanFailAsPlanned();

    void threadsAllocateAndCopySideBySide();

    void unmapUploadsTheTexture();
    void unmapUploadsOnlyWhatWasCopied();
    void unmapKeepsTheUsersOpenGLState();
    void rowsOfTheSourceMayHaveGaps();
    void copyIntoTheArrayChecksItsArguments_data();
    void copyIntoTheArrayChecksItsArguments();
    void arrayIsClosedAfterUnmap();
    void mappingTwiceAndUnmappingTwiceFail();
    void mappedArrayHasOneLevel();
    void registrationChecksTheTexture();
    void registrationNeedsAContext();
    void unmapOfADeletedTextureFails();
    void unregisteredResourceIsUnknown();

private:
    GLuint makeTexture(int width, int height, GLint format = GL_RGBA);
    std::vector<std::uint8_t> contentOf(GLuint texture, int width, int height);

    QOffscreenSurface m_surface;
    QOpenGLContext m_context;
};

void TestCudaHost::init()
{
    if (!m_context.isValid()) {
        m_surface.create();
        QVERIFY(m_context.create());
    }
    QVERIFY(m_context.makeCurrent(&m_surface));
    cudaGetLastError();
    cuCtxSetCurrent(nullptr);
}

void TestCudaHost::cleanup()
{
    cuda_host::setMemoryBudget(eightGiB);
    cuda_host::forgetFailures();
    QCOMPARE(cuda_host::allocatedBytes(), std::size_t{0});
    QCOMPARE(cuda_host::allocationCount(), std::size_t{0});
    m_context.makeCurrent(&m_surface);
    QCOMPARE(m_context.functions()->glGetError(), GLenum{GL_NO_ERROR});
}

GLuint TestCudaHost::makeTexture(int width, int height, GLint format)
{
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    const std::vector<std::uint8_t> zeros(static_cast<std::size_t>(width * height) * 4);
    glTexImage2D(GL_TEXTURE_2D, 0, format, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                 zeros.data());
    glBindTexture(GL_TEXTURE_2D, 0);
    return texture;
}

std::vector<std::uint8_t> TestCudaHost::contentOf(GLuint texture, int width, int height)
{
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(width * height) * 4);
    glBindTexture(GL_TEXTURE_2D, texture);
    glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, bytes.data());
    glBindTexture(GL_TEXTURE_2D, 0);
    return bytes;
}

void TestCudaHost::currentContextBelongsToTheThread()
{
    CUcontext primary = nullptr;
    QCOMPARE(cuInit(0), CUDA_SUCCESS);
    QCOMPARE(cuDevicePrimaryCtxRetain(&primary, 0), CUDA_SUCCESS);
    QVERIFY(primary != nullptr);
    QCOMPARE(cuCtxSetCurrent(primary), CUDA_SUCCESS);

    CUcontext here = nullptr;
    CUcontext elsewhere = primary;
    QCOMPARE(cuCtxGetCurrent(&here), CUDA_SUCCESS);
    std::thread([&] { cuCtxGetCurrent(&elsewhere); }).join();
    QCOMPARE(here, primary);
    QCOMPARE(elsewhere, CUcontext(nullptr));

    QCOMPARE(cuCtxSetCurrent(nullptr), CUDA_SUCCESS);
    cuCtxGetCurrent(&here);
    QCOMPARE(here, CUcontext(nullptr));
    QCOMPARE(cuDevicePrimaryCtxRelease(0), CUDA_SUCCESS);
}

void TestCudaHost::foreignContextIsRefused()
{
    int something = 0;
    QCOMPARE(cuCtxSetCurrent(reinterpret_cast<CUcontext>(&something)), CUDA_ERROR_INVALID_CONTEXT);
    CUcontext here = nullptr;
    cuCtxGetCurrent(&here);
    QCOMPARE(here, CUcontext(nullptr));
}

void TestCudaHost::primaryContextIsCounted()
{
    CUcontext first = nullptr;
    CUcontext second = nullptr;
    QCOMPARE(cuDevicePrimaryCtxRetain(&first, 0), CUDA_SUCCESS);
    QCOMPARE(cuDevicePrimaryCtxRetain(&second, 0), CUDA_SUCCESS);
    QCOMPARE(first, second);
    QCOMPARE(cuDevicePrimaryCtxRelease(0), CUDA_SUCCESS);
    QCOMPARE(cuDevicePrimaryCtxRelease(0), CUDA_SUCCESS);
    QCOMPARE(cuDevicePrimaryCtxRelease(0), CUDA_ERROR_INVALID_CONTEXT);
}

void TestCudaHost::onlyDeviceZeroExists()
{
    CUdevice device = -1;
    CUcontext none = nullptr;
    QCOMPARE(cuDeviceGet(&device, 0), CUDA_SUCCESS);
    QCOMPARE(device, 0);
    QCOMPARE(cuDeviceGet(&device, 1), CUDA_ERROR_INVALID_DEVICE);
    QCOMPARE(cuDeviceGet(nullptr, 0), CUDA_ERROR_INVALID_VALUE);
    QCOMPARE(cuDevicePrimaryCtxRetain(&none, 1), CUDA_ERROR_INVALID_DEVICE);
    QCOMPARE(cuDevicePrimaryCtxRelease(1), CUDA_ERROR_INVALID_DEVICE);
    QCOMPARE(cuInit(1), CUDA_ERROR_INVALID_VALUE);
}

void TestCudaHost::runtimeCallBindsThePrimaryContext()
{
    CUcontext primary = nullptr;
    cuDevicePrimaryCtxRetain(&primary, 0);
    const Block block(16);
    CUcontext here = nullptr;
    cuCtxGetCurrent(&here);
    QCOMPARE(here, primary);
    cuDevicePrimaryCtxRelease(0);
}

void TestCudaHost::lastErrorSticksUntilItIsRead()
{
    QCOMPARE(cudaMalloc(nullptr, 16), cudaErrorInvalidValue);
    const Block block(16); // a call that succeeds does not clear it
    QCOMPARE(block.error(), cudaSuccess);
    QCOMPARE(cudaPeekAtLastError(), cudaErrorInvalidValue);
    QCOMPARE(cudaGetLastError(), cudaErrorInvalidValue);
    QCOMPARE(cudaGetLastError(), cudaSuccess);
}

void TestCudaHost::lastErrorBelongsToTheThread()
{
    cudaMalloc(nullptr, 16);
    cudaError_t elsewhere = cudaErrorUnknown;
    std::thread([&] { elsewhere = cudaGetLastError(); }).join();
    QCOMPARE(elsewhere, cudaSuccess);
    QCOMPARE(cudaGetLastError(), cudaErrorInvalidValue);
}

void TestCudaHost::driverErrorsAreNotTheLastError()
{
    cuDeviceGet(nullptr, 0);
    QCOMPARE(cudaGetLastError(), cudaSuccess);
}

void TestCudaHost::errorsHaveNames_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<QString>("name");
    const auto row = [](cudaError_t error, const char* name) {
        QTest::newRow(name) << static_cast<int>(error) << QString(name);
    };
    row(cudaSuccess, "cudaSuccess");
    row(cudaErrorInvalidValue, "cudaErrorInvalidValue");
    row(cudaErrorMemoryAllocation, "cudaErrorMemoryAllocation");
    row(cudaErrorInitializationError, "cudaErrorInitializationError");
    row(cudaErrorInvalidPitchValue, "cudaErrorInvalidPitchValue");
    row(cudaErrorInvalidDevicePointer, "cudaErrorInvalidDevicePointer");
    row(cudaErrorInvalidMemcpyDirection, "cudaErrorInvalidMemcpyDirection");
    row(cudaErrorDeviceUninitialized, "cudaErrorDeviceUninitialized");
    row(cudaErrorMapBufferObjectFailed, "cudaErrorMapBufferObjectFailed");
    row(cudaErrorAlreadyMapped, "cudaErrorAlreadyMapped");
    row(cudaErrorNotMapped, "cudaErrorNotMapped");
    row(cudaErrorInvalidGraphicsContext, "cudaErrorInvalidGraphicsContext");
    row(cudaErrorInvalidResourceHandle, "cudaErrorInvalidResourceHandle");
    row(cudaErrorUnknown, "cudaErrorUnknown");
    row(static_cast<cudaError_t>(600), "unrecognized error code");
}

void TestCudaHost::errorsHaveNames()
{
    QFETCH(int, error);
    QFETCH(QString, name);
    QCOMPARE(QString(cudaGetErrorName(static_cast<cudaError_t>(error))), name);
}

void TestCudaHost::budgetLimitsAllBlocksTogether()
{
    QCOMPARE(cuda_host::memoryBudget(), eightGiB);
    cuda_host::setMemoryBudget(1000);
    const Block first(600);
    QCOMPARE(first.error(), cudaSuccess);
    const Block second(401);
    QCOMPARE(second.error(), cudaErrorMemoryAllocation);
    QVERIFY(second.data() == nullptr);
    QCOMPARE(cudaGetLastError(), cudaErrorMemoryAllocation);
    const Block third(400);
    QCOMPARE(third.error(), cudaSuccess);
    QCOMPARE(cuda_host::allocatedBytes(), std::size_t{1000});
    QCOMPARE(cuda_host::allocationCount(), std::size_t{2});

    std::size_t freeBytes = 1;
    std::size_t totalBytes = 0;
    QCOMPARE(cudaMemGetInfo(&freeBytes, &totalBytes), cudaSuccess);
    QCOMPARE(freeBytes, std::size_t{0});
    QCOMPARE(totalBytes, std::size_t{1000});
    cuda_host::setMemoryBudget(500); // below the amount already in use
    QCOMPARE(cudaMemGetInfo(&freeBytes, &totalBytes), cudaSuccess);
    QCOMPARE(freeBytes, std::size_t{0});
    QCOMPARE(cudaMemGetInfo(nullptr, &totalBytes), cudaErrorInvalidValue);
}

void TestCudaHost::paddingOfRowsCountsAgainstTheBudget()
{
    cuda_host::setMemoryBudget(512 * 10);
    void* pointer = nullptr;
    std::size_t pitch = 0;
    QCOMPARE(cudaMallocPitch(&pointer, &pitch, 4, 10), cudaSuccess);
    QCOMPARE(cuda_host::allocatedBytes(), std::size_t{5120});
    void* more = nullptr;
    QCOMPARE(cudaMallocPitch(&more, &pitch, 4, 1), cudaErrorMemoryAllocation);
    cudaFree(pointer);
}

void TestCudaHost::freedMemoryComesBack()
{
    cuda_host::setMemoryBudget(100);
    for (int i = 0; i < 3; ++i) {
        void* pointer = nullptr;
        QCOMPARE(cudaMalloc(&pointer, 100), cudaSuccess);
        QCOMPARE(cudaFree(pointer), cudaSuccess);
    }
    QCOMPARE(cudaFree(nullptr), cudaSuccess);
}

void TestCudaHost::emptyBlockIsNull()
{
    int something = 0;
    void* pointer = &something;
    QCOMPARE(cudaMalloc(&pointer, 0), cudaSuccess);
    QVERIFY(pointer == nullptr);
}

void TestCudaHost::rowsBeginAtMultiplesOf512()
{
    const std::pair<std::size_t, std::size_t> cases[] = {
        {1, 512}, {512, 512}, {513, 1024}, {1280 * 4, 5120}, {1920 * 4, 7680}, {1921 * 4, 8192}};
    for (const auto& [width, expected] : cases) {
        void* pointer = nullptr;
        std::size_t pitch = 0;
        QCOMPARE(cudaMallocPitch(&pointer, &pitch, width, 3), cudaSuccess);
        QCOMPARE(pitch, expected);
        QCOMPARE(cuda_host::allocatedBytes(), 3 * expected);
        QCOMPARE(reinterpret_cast<std::uintptr_t>(pointer) % 512, std::uintptr_t{0});
        cudaFree(pointer);
    }
}

void TestCudaHost::rowsThatOverflowAreRefused()
{
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
    void* pointer = nullptr;
    std::size_t pitch = 7;
    QCOMPARE(cudaMallocPitch(&pointer, &pitch, most, 1), cudaErrorInvalidValue);
    QCOMPARE(cudaMallocPitch(&pointer, &pitch, 1024, most / 512), cudaErrorMemoryAllocation);
    QCOMPARE(cudaMallocPitch(nullptr, &pitch, 4, 4), cudaErrorInvalidValue);
    QCOMPARE(cudaMallocPitch(&pointer, nullptr, 4, 4), cudaErrorInvalidValue);
    QCOMPARE(pitch, std::size_t{7});
}

void TestCudaHost::freeKnowsOnlyItsBlocks()
{
    const Block block(64);
    int something = 0;
    QCOMPARE(cudaFree(&something), cudaErrorInvalidValue);
    QCOMPARE(cudaFree(block.data() + 1), cudaErrorInvalidValue);
    void* pointer = nullptr;
    cudaMalloc(&pointer, 8);
    QCOMPARE(cudaFree(pointer), cudaSuccess);
    QCOMPARE(cudaFree(pointer), cudaErrorInvalidValue);
}

void TestCudaHost::copyChecksBothSides_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<bool>("toDevice");
    QTest::addColumn<bool>("fromDevice");
    QTest::addColumn<int>("expected");
    const char* const names[] = {"host to host", "host to device", "device to host",
                                 "device to device"};
    for (int kind = cudaMemcpyHostToHost; kind <= cudaMemcpyDeviceToDevice; ++kind) {
        for (int sides = 0; sides < 4; ++sides) {
            // The kinds count in the order of the sides: bit 0 to the device, bit 1 from it.
            QTest::addRow("%s, given %s", names[kind], names[sides])
                << kind << bool(sides & 1) << bool(sides & 2)
                << int(kind == sides ? cudaSuccess : cudaErrorInvalidValue);
        }
    }
    QTest::newRow("no such kind") << 5 << true << false << int(cudaErrorInvalidMemcpyDirection);
}

void TestCudaHost::copyChecksBothSides()
{
    QFETCH(int, kind);
    QFETCH(bool, toDevice);
    QFETCH(bool, fromDevice);
    QFETCH(int, expected);
    const Block deviceTo(4);
    const Block deviceFrom(4);
    std::array<std::uint8_t, 4> hostTo{};
    std::array<std::uint8_t, 4> hostFrom{};
    std::uint8_t* const to = toDevice ? deviceTo.data() : hostTo.data();
    std::uint8_t* const from = fromDevice ? deviceFrom.data() : hostFrom.data();
    constexpr std::array<std::uint8_t, 4> letters = {'a', 'b', 'c', 'd'};
    std::memset(to, 0, 4);
    std::memcpy(from, letters.data(), 4);

    const auto asKind = static_cast<cudaMemcpyKind>(kind);
    QCOMPARE(int(cudaMemcpy(to, from, 4, asKind)), expected);
    QCOMPARE(std::memcmp(to, letters.data(), 4) == 0, expected == cudaSuccess);
    QCOMPARE(int(cudaGetLastError()), expected);

    std::memset(to, 0, 4);
    QCOMPARE(int(cudaMemcpy2D(to, 2, from, 2, 2, 2, asKind)), expected);
    QCOMPARE(std::memcmp(to, letters.data(), 4) == 0, expected == cudaSuccess);
}

void TestCudaHost::copyBeyondTheBlockIsRefused()
{
    const Block block(16);
    std::array<std::uint8_t, 32> host{};
    QCOMPARE(cudaMemcpy(block.data(), host.data(), 16, cudaMemcpyHostToDevice), cudaSuccess);
    QCOMPARE(cudaMemcpy(block.data(), host.data(), 17, cudaMemcpyHostToDevice),
             cudaErrorInvalidValue);
    QCOMPARE(cudaMemcpy(block.data() + 15, host.data(), 2, cudaMemcpyHostToDevice),
             cudaErrorInvalidValue);
    QCOMPARE(cudaMemcpy(host.data(), block.data() + 12, 4, cudaMemcpyDeviceToHost), cudaSuccess);
    // Three rows of 8 bytes, 4 of them in use: the last one ends at byte 20.
    QCOMPARE(cudaMemcpy2D(host.data(), 4, block.data(), 8, 4, 3, cudaMemcpyDeviceToHost),
             cudaErrorInvalidValue);
    QCOMPARE(cudaMemcpy2D(host.data(), 4, block.data(), 6, 4, 3, cudaMemcpyDeviceToHost),
             cudaSuccess);
    QCOMPARE(cudaMemcpy(nullptr, host.data(), 1, cudaMemcpyHostToHost), cudaErrorInvalidValue);
    QCOMPARE(cudaMemcpy(nullptr, nullptr, 0, cudaMemcpyHostToDevice), cudaSuccess);
}

void TestCudaHost::freedMemoryCannotBeCopied()
{
    void* pointer = nullptr;
    cudaMalloc(&pointer, 16);
    cudaFree(pointer);
    std::array<std::uint8_t, 16> host{};
    QCOMPARE(cudaMemcpy(host.data(), pointer, 16, cudaMemcpyDeviceToHost), cudaErrorInvalidValue);
}

void TestCudaHost::defaultKindFindsTheSides()
{
    const Block block(4);
    std::array<std::uint8_t, 4> host = {1, 2, 3, 4};
    QCOMPARE(cudaMemcpy(block.data(), host.data(), 4, cudaMemcpyDefault), cudaSuccess);
    host = {};
    QCOMPARE(cudaMemcpy(host.data(), block.data(), 4, cudaMemcpyDefault), cudaSuccess);
    QCOMPARE(host, (std::array<std::uint8_t, 4>{1, 2, 3, 4}));
}

void TestCudaHost::copyOfRowsKeepsTheGaps()
{
    void* pointer = nullptr;
    std::size_t pitch = 0;
    QCOMPARE(cudaMallocPitch(&pointer, &pitch, 3, 2), cudaSuccess);
    QCOMPARE(cudaMemset(pointer, 0xEE, pitch * 2), cudaSuccess);
    const std::array<std::uint8_t, 8> host = {1, 2, 3, 90, 4, 5, 6, 91};
    QCOMPARE(cudaMemcpy2D(pointer, pitch, host.data(), 4, 3, 2, cudaMemcpyHostToDevice),
             cudaSuccess);
    const auto* const device = static_cast<const std::uint8_t*>(pointer);
    QCOMPARE(int(device[2]), 3);
    QCOMPARE(int(device[3]), 0xEE);
    QCOMPARE(int(device[pitch]), 4);
    QCOMPARE(int(device[pitch + 2]), 6);
    QCOMPARE(int(device[pitch + 3]), 0xEE);
    cudaFree(pointer);
}

void TestCudaHost::copyOfRowsChecksThePitch()
{
    const Block block(64);
    std::array<std::uint8_t, 64> host{};
    QCOMPARE(cudaMemcpy2D(block.data(), 7, host.data(), 8, 8, 2, cudaMemcpyHostToDevice),
             cudaErrorInvalidPitchValue);
    QCOMPARE(cudaMemcpy2D(block.data(), 8, host.data(), 7, 8, 2, cudaMemcpyHostToDevice),
             cudaErrorInvalidPitchValue);
    QCOMPARE(cudaMemcpy2D(block.data(), 8, host.data(), 8, 8, 0, cudaMemcpyHostToDevice),
             cudaSuccess);
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
    QCOMPARE(cudaMemcpy2D(block.data(), most / 2, host.data(), 8, 8, 4, cudaMemcpyHostToDevice),
             cudaErrorInvalidValue);
}

void TestCudaHost::memsetStaysInItsBlock()
{
    const Block block(8);
    std::array<std::uint8_t, 8> host{};
    QCOMPARE(cudaMemset(block.data(), 0x5A, 8), cudaSuccess);
    QCOMPARE(int(block.data()[7]), 0x5A);
    QCOMPARE(cudaMemset(block.data(), 0, 9), cudaErrorInvalidValue);
    QCOMPARE(cudaMemset(host.data(), 0, 8), cudaErrorInvalidValue);
    QCOMPARE(cudaMemset(nullptr, 0, 0), cudaSuccess);
}

void TestCudaHost::plannedFailuresComeOnceAndInOrder()
{
    cuda_host::failNext("cudaMalloc", cudaErrorMemoryAllocation);
    cuda_host::failNext("cudaMalloc", cudaErrorUnknown);
    QCOMPARE(Block(4).error(), cudaErrorMemoryAllocation);
    QCOMPARE(Block(4).error(), cudaErrorUnknown);
    QCOMPARE(Block(4).error(), cudaSuccess);
    QCOMPARE(cudaGetLastError(), cudaErrorUnknown);
}

void TestCudaHost::plannedFailureDoesNothingElse()
{
    const Block block(4);
    std::memset(block.data(), 1, 4);
    cuda_host::failNext("cudaMemset", cudaErrorUnknown);
    QCOMPARE(cudaMemset(block.data(), 2, 4), cudaErrorUnknown);
    QCOMPARE(int(block.data()[0]), 1);
}

void TestCudaHost::planForAnUnknownCallThrows()
{
    QVERIFY_EXCEPTION_THROWN(cuda_host::failNext("cudaMaloc", 1), std::invalid_argument);
}

void TestCudaHost::forgottenPlansDoNotFail()
{
    cuda_host::failNext("cudaMalloc", cudaErrorUnknown);
    cuda_host::forgetFailures();
    QCOMPARE(Block(4).error(), cudaSuccess);
}

void TestCudaHost::driverCallsCanFailAsPlanned()
{
    cuda_host::failNext("cuCtxGetCurrent", CUDA_ERROR_NOT_INITIALIZED);
    CUcontext here = nullptr;
    QCOMPARE(cuCtxGetCurrent(&here), CUDA_ERROR_NOT_INITIALIZED);
    QCOMPARE(cuCtxGetCurrent(&here), CUDA_SUCCESS);
    QCOMPARE(cudaGetLastError(), cudaSuccess);
}

void TestCudaHost::threadsAllocateAndCopySideBySide()
{
    constexpr int rounds = 500;
    std::array<bool, 4> good{};
    std::vector<std::thread> threads;
    threads.reserve(good.size());
    for (std::size_t t = 0; t < good.size(); ++t) {
        threads.emplace_back([t, &good] {
            bool fine = true;
            for (int i = 0; i < rounds; ++i) {
                const Block block(64 + t);
                const std::vector<std::uint8_t> sent(64 + t, static_cast<std::uint8_t>(i));
                std::vector<std::uint8_t> back(64 + t);
                fine = fine &&
                       cudaMemcpy(block.data(), sent.data(), sent.size(), cudaMemcpyHostToDevice) ==
                           cudaSuccess &&
                       cudaMemcpy(back.data(), block.data(), back.size(), cudaMemcpyDeviceToHost) ==
                           cudaSuccess &&
                       back == sent;
            }
            good[t] = fine && cudaGetLastError() == cudaSuccess;
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    QCOMPARE(good, (std::array<bool, 4>{true, true, true, true}));
}

void TestCudaHost::unmapUploadsTheTexture()
{
    const GLuint texture = makeTexture(4, 2);
    std::vector<std::uint8_t> image(4 * 2 * 4);
    for (std::size_t i = 0; i < image.size(); ++i) {
        image[i] = static_cast<std::uint8_t>(i * 7);
    }
    const Block block(image.size());
    cudaMemcpy(block.data(), image.data(), image.size(), cudaMemcpyHostToDevice);

    const std::size_t before = cuda_host::registeredResources();
    cudaGraphicsResource_t resource = nullptr;
    QCOMPARE(cudaGraphicsGLRegisterImage(&resource, texture, GL_TEXTURE_2D, 0), cudaSuccess);
    QCOMPARE(cuda_host::registeredResources(), before + 1);
    QCOMPARE(cudaGraphicsMapResources(1, &resource), cudaSuccess);
    cudaArray_t array = nullptr;
    QCOMPARE(cudaGraphicsSubResourceGetMappedArray(&array, resource, 0, 0), cudaSuccess);
    QCOMPARE(cudaMemcpy2DToArray(array, 0, 0, block.data(), 16, 16, 2, cudaMemcpyDeviceToDevice),
             cudaSuccess);
    QCOMPARE(contentOf(texture, 4, 2), std::vector<std::uint8_t>(32)); // not before the unmapping
    QCOMPARE(cudaGraphicsUnmapResources(1, &resource), cudaSuccess);
    QCOMPARE(contentOf(texture, 4, 2), image);

    QCOMPARE(cudaGraphicsUnregisterResource(resource), cudaSuccess);
    QCOMPARE(cuda_host::registeredResources(), before);
    glDeleteTextures(1, &texture);
}

void TestCudaHost::unmapUploadsOnlyWhatWasCopied()
{
    const GLuint texture = makeTexture(3, 3);
    cudaGraphicsResource_t resource = nullptr;
    QCOMPARE(cudaGraphicsGLRegisterImage(&resource, texture, GL_TEXTURE_2D, 0), cudaSuccess);
    // Drawn by OpenGL after the registration: must stay around the copied pixel.
    const std::vector<std::uint8_t> drawn(36, 9);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, 3, 3, GL_RGBA, GL_UNSIGNED_BYTE, drawn.data());
    glBindTexture(GL_TEXTURE_2D, 0);

    const std::uint8_t pixel[] = {1, 2, 3, 4};
    cudaArray_t array = nullptr;
    cudaGraphicsMapResources(1, &resource);
    cudaGraphicsSubResourceGetMappedArray(&array, resource, 0, 0);
    QCOMPARE(cudaMemcpy2DToArray(array, 8, 1, pixel, 4, 4, 1, cudaMemcpyHostToDevice), cudaSuccess);
    QCOMPARE(cudaGraphicsUnmapResources(1, &resource), cudaSuccess);
    std::vector<std::uint8_t> expected = drawn;
    std::copy(std::begin(pixel), std::end(pixel), expected.begin() + (1 * 3 + 2) * 4);
    QCOMPARE(contentOf(texture, 3, 3), expected);

    // A mapping without a copy uploads nothing.
    cudaGraphicsMapResources(1, &resource);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, 3, 3, GL_RGBA, GL_UNSIGNED_BYTE, drawn.data());
    QCOMPARE(cudaGraphicsUnmapResources(1, &resource), cudaSuccess);
    QCOMPARE(contentOf(texture, 3, 3), drawn);
    cudaGraphicsUnregisterResource(resource);
    glDeleteTextures(1, &texture);
}

void TestCudaHost::unmapKeepsTheUsersOpenGLState()
{
    QOpenGLFunctions* const gl = m_context.functions();
    const GLuint texture = makeTexture(2, 2);
    const GLuint users = makeTexture(1, 1);
    cudaGraphicsResource_t resource = nullptr;
    QCOMPARE(cudaGraphicsGLRegisterImage(&resource, texture, GL_TEXTURE_2D, 0), cudaSuccess);

    GLuint buffer = 0;
    gl->glGenBuffers(1, &buffer);
    gl->glBindBuffer(GL_PIXEL_UNPACK_BUFFER, buffer);
    gl->glBufferData(GL_PIXEL_UNPACK_BUFFER, 4, nullptr, GL_STATIC_DRAW);
    glBindTexture(GL_TEXTURE_2D, users);
    const std::pair<GLenum, GLint> state[] = {{GL_UNPACK_ALIGNMENT, 8},  {GL_UNPACK_ROW_LENGTH, 17},
                                              {GL_UNPACK_SKIP_ROWS, 3},  {GL_UNPACK_SKIP_PIXELS, 5},
                                              {GL_UNPACK_SWAP_BYTES, 1}, {GL_UNPACK_LSB_FIRST, 1}};
    GLint before[6] = {};
    for (int i = 0; i < 6; ++i) {
        glGetIntegerv(state[i].first, &before[i]);
        glPixelStorei(state[i].first, state[i].second);
    }

    const std::uint8_t image[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    cudaArray_t array = nullptr;
    cudaGraphicsMapResources(1, &resource);
    cudaGraphicsSubResourceGetMappedArray(&array, resource, 0, 0);
    cudaMemcpy2DToArray(array, 0, 0, image, 8, 8, 2, cudaMemcpyHostToDevice);
    QCOMPARE(cudaGraphicsUnmapResources(1, &resource), cudaSuccess);

    GLint value = -1;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &value);
    QCOMPARE(value, static_cast<GLint>(users));
    glGetIntegerv(GL_PIXEL_UNPACK_BUFFER_BINDING, &value);
    QCOMPARE(value, static_cast<GLint>(buffer));
    for (int i = 0; i < 6; ++i) {
        glGetIntegerv(state[i].first, &value);
        QCOMPARE(value, state[i].second);
        glPixelStorei(state[i].first, before[i]);
    }
    gl->glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
    gl->glDeleteBuffers(1, &buffer);
    QCOMPARE(contentOf(texture, 2, 2), std::vector<std::uint8_t>(image, image + 16));
    cudaGraphicsUnregisterResource(resource);
    glDeleteTextures(1, &users);
    glDeleteTextures(1, &texture);
}

void TestCudaHost::rowsOfTheSourceMayHaveGaps()
{
    const GLuint texture = makeTexture(1, 2);
    cudaGraphicsResource_t resource = nullptr;
    cudaGraphicsGLRegisterImage(&resource, texture, GL_TEXTURE_2D, 0);
    const std::uint8_t image[12] = {1, 2, 3, 4, 99, 99, 99, 99, 5, 6, 7, 8};
    cudaArray_t array = nullptr;
    cudaGraphicsMapResources(1, &resource);
    cudaGraphicsSubResourceGetMappedArray(&array, resource, 0, 0);
    QCOMPARE(cudaMemcpy2DToArray(array, 0, 0, image, 8, 4, 2, cudaMemcpyHostToDevice), cudaSuccess);
    cudaGraphicsUnmapResources(1, &resource);
    QCOMPARE(contentOf(texture, 1, 2), (std::vector<std::uint8_t>{1, 2, 3, 4, 5, 6, 7, 8}));
    cudaGraphicsUnregisterResource(resource);
    glDeleteTextures(1, &texture);
}

void TestCudaHost::copyIntoTheArrayChecksItsArguments_data()
{
    QTest::addColumn<int>("xBytes");
    QTest::addColumn<int>("y");
    QTest::addColumn<int>("pitch");
    QTest::addColumn<int>("widthBytes");
    QTest::addColumn<int>("height");
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("expected");
    const int device = cudaMemcpyDeviceToDevice;
    QTest::newRow("all") << 0 << 0 << 16 << 16 << 4 << device << int(cudaSuccess);
    QTest::newRow("nothing") << 0 << 0 << 16 << 0 << 4 << device << int(cudaSuccess);
    QTest::newRow("too wide") << 4 << 0 << 16 << 16 << 4 << device << int(cudaErrorInvalidValue);
    QTest::newRow("too high") << 0 << 1 << 16 << 16 << 4 << device << int(cudaErrorInvalidValue);
    QTest::newRow("part of a pixel")
        << 0 << 0 << 16 << 6 << 4 << device << int(cudaErrorInvalidValue);
    QTest::newRow("between pixels")
        << 2 << 0 << 16 << 4 << 4 << device << int(cudaErrorInvalidValue);
    QTest::newRow("rows overlap") << 0 << 0 << 12 << 16 << 4 << device
                                  << int(cudaErrorInvalidPitchValue);
    QTest::newRow("source too small")
        << 0 << 0 << 20 << 16 << 4 << device << int(cudaErrorInvalidValue);
    QTest::newRow("device taken for host")
        << 0 << 0 << 16 << 16 << 4 << int(cudaMemcpyHostToDevice) << int(cudaErrorInvalidValue);
    QTest::newRow("found by itself")
        << 0 << 0 << 16 << 16 << 4 << int(cudaMemcpyDefault) << int(cudaSuccess);
    QTest::newRow("to the host") << 0 << 0 << 16 << 16 << 4 << int(cudaMemcpyDeviceToHost)
                                 << int(cudaErrorInvalidMemcpyDirection);
}

void TestCudaHost::copyIntoTheArrayChecksItsArguments()
{
    QFETCH(int, xBytes);
    QFETCH(int, y);
    QFETCH(int, pitch);
    QFETCH(int, widthBytes);
    QFETCH(int, height);
    QFETCH(int, kind);
    QFETCH(int, expected);
    const auto size = [](int value) { return static_cast<std::size_t>(value); };
    const GLuint texture = makeTexture(4, 4);
    const Block block(64);
    std::memset(block.data(), 7, 64);
    cudaGraphicsResource_t resource = nullptr;
    cudaGraphicsGLRegisterImage(&resource, texture, GL_TEXTURE_2D, 0);
    cudaArray_t array = nullptr;
    cudaGraphicsMapResources(1, &resource);
    cudaGraphicsSubResourceGetMappedArray(&array, resource, 0, 0);
    QCOMPARE(
        int(cudaMemcpy2DToArray(array, size(xBytes), size(y), block.data(), size(pitch),
                                size(widthBytes), size(height), static_cast<cudaMemcpyKind>(kind))),
        expected);
    QCOMPARE(int(cudaGetLastError()), expected);
    cudaGraphicsUnmapResources(1, &resource);
    const bool copied = expected == cudaSuccess && widthBytes > 0;
    QCOMPARE(contentOf(texture, 4, 4), std::vector<std::uint8_t>(64, copied ? 7 : 0));
    cudaGraphicsUnregisterResource(resource);
    glDeleteTextures(1, &texture);
}

void TestCudaHost::arrayIsClosedAfterUnmap()
{
    const GLuint texture = makeTexture(1, 1);
    const std::uint8_t pixel[] = {1, 2, 3, 4};
    cudaGraphicsResource_t resource = nullptr;
    cudaGraphicsGLRegisterImage(&resource, texture, GL_TEXTURE_2D, 0);
    cudaArray_t array = nullptr;
    cudaGraphicsMapResources(1, &resource);
    cudaGraphicsSubResourceGetMappedArray(&array, resource, 0, 0);
    cudaGraphicsUnmapResources(1, &resource);
    QCOMPARE(cudaMemcpy2DToArray(array, 0, 0, pixel, 4, 4, 1, cudaMemcpyHostToDevice),
             cudaErrorInvalidResourceHandle);
    QCOMPARE(cudaMemcpy2DToArray(nullptr, 0, 0, pixel, 4, 4, 1, cudaMemcpyHostToDevice),
             cudaErrorInvalidResourceHandle);
    cudaGraphicsUnregisterResource(resource);
    glDeleteTextures(1, &texture);
}

void TestCudaHost::mappingTwiceAndUnmappingTwiceFail()
{
    const GLuint texture = makeTexture(1, 1);
    cudaGraphicsResource_t resource = nullptr;
    cudaGraphicsGLRegisterImage(&resource, texture, GL_TEXTURE_2D, 0);
    cudaArray_t array = nullptr;
    QCOMPARE(cudaGraphicsSubResourceGetMappedArray(&array, resource, 0, 0), cudaErrorNotMapped);
    QCOMPARE(cudaGraphicsUnmapResources(1, &resource), cudaErrorNotMapped);
    QCOMPARE(cudaGraphicsMapResources(1, &resource), cudaSuccess);
    QCOMPARE(cudaGraphicsMapResources(1, &resource), cudaErrorAlreadyMapped);
    QCOMPARE(cudaGraphicsUnmapResources(1, &resource), cudaSuccess);
    QCOMPARE(cudaGraphicsUnmapResources(1, &resource), cudaErrorNotMapped);
    cudaGraphicsResource_t twice[] = {resource, resource};
    QCOMPARE(cudaGraphicsMapResources(2, twice), cudaErrorInvalidValue);
    QCOMPARE(cudaGraphicsMapResources(0, &resource), cudaErrorInvalidValue);
    QCOMPARE(cudaGraphicsMapResources(1, nullptr), cudaErrorInvalidValue);
    cudaGraphicsUnregisterResource(resource);
    glDeleteTextures(1, &texture);
}

void TestCudaHost::mappedArrayHasOneLevel()
{
    const GLuint texture = makeTexture(1, 1);
    cudaGraphicsResource_t resource = nullptr;
    cudaGraphicsGLRegisterImage(&resource, texture, GL_TEXTURE_2D, 0);
    cudaGraphicsMapResources(1, &resource);
    cudaArray_t array = nullptr;
    QCOMPARE(cudaGraphicsSubResourceGetMappedArray(&array, resource, 1, 0), cudaErrorInvalidValue);
    QCOMPARE(cudaGraphicsSubResourceGetMappedArray(&array, resource, 0, 1), cudaErrorInvalidValue);
    QCOMPARE(cudaGraphicsSubResourceGetMappedArray(nullptr, resource, 0, 0), cudaErrorInvalidValue);
    cudaGraphicsUnmapResources(1, &resource);
    cudaGraphicsUnregisterResource(resource);
    glDeleteTextures(1, &texture);
}

void TestCudaHost::registrationChecksTheTexture()
{
    const std::size_t before = cuda_host::registeredResources();
    cudaGraphicsResource_t resource = nullptr;
    const GLuint good = makeTexture(1, 1);
    const GLuint opaque = makeTexture(1, 1, GL_RGB8);
    QCOMPARE(cudaGraphicsGLRegisterImage(nullptr, good, GL_TEXTURE_2D, 0), cudaErrorInvalidValue);
    QCOMPARE(cudaGraphicsGLRegisterImage(&resource, good, GL_TEXTURE_3D, 0), cudaErrorInvalidValue);
    QCOMPARE(cudaGraphicsGLRegisterImage(&resource, good, GL_TEXTURE_2D, 16),
             cudaErrorInvalidValue);
    QCOMPARE(cudaGraphicsGLRegisterImage(&resource, 4711, GL_TEXTURE_2D, 0), cudaErrorInvalidValue);
    QCOMPARE(cudaGraphicsGLRegisterImage(&resource, opaque, GL_TEXTURE_2D, 0),
             cudaErrorInvalidValue);
    GLuint empty = 0;
    glGenTextures(1, &empty);
    glBindTexture(GL_TEXTURE_2D, empty);
    QCOMPARE(cudaGraphicsGLRegisterImage(&resource, empty, GL_TEXTURE_2D, 0),
             cudaErrorInvalidValue);
    GLint bound = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    QCOMPARE(bound, static_cast<GLint>(empty));
    QVERIFY(resource == nullptr);
    QCOMPARE(cuda_host::registeredResources(), before);
    for (const GLuint texture : {good, opaque, empty}) {
        glDeleteTextures(1, &texture);
    }
}

void TestCudaHost::registrationNeedsAContext()
{
    const GLuint texture = makeTexture(1, 1);
    cudaGraphicsResource_t resource = nullptr;
    cudaGraphicsGLRegisterImage(&resource, texture, GL_TEXTURE_2D, 0);
    cudaGraphicsMapResources(1, &resource);
    m_context.doneCurrent();
    cudaGraphicsResource_t another = nullptr;
    QCOMPARE(cudaGraphicsGLRegisterImage(&another, texture, GL_TEXTURE_2D, 0),
             cudaErrorInvalidGraphicsContext);
    QCOMPARE(cudaGraphicsUnmapResources(1, &resource), cudaErrorInvalidGraphicsContext);
    QVERIFY(m_context.makeCurrent(&m_surface));
    QCOMPARE(cudaGraphicsUnmapResources(1, &resource), cudaSuccess);
    cudaGraphicsUnregisterResource(resource);
    glDeleteTextures(1, &texture);
}

void TestCudaHost::unmapOfADeletedTextureFails()
{
    const GLuint texture = makeTexture(1, 1);
    cudaGraphicsResource_t resource = nullptr;
    cudaGraphicsGLRegisterImage(&resource, texture, GL_TEXTURE_2D, 0);
    cudaGraphicsMapResources(1, &resource);
    glDeleteTextures(1, &texture);
    QCOMPARE(cudaGraphicsUnmapResources(1, &resource), cudaErrorUnknown);
    cudaGraphicsUnregisterResource(resource);
}

void TestCudaHost::unregisteredResourceIsUnknown()
{
    const GLuint texture = makeTexture(1, 1);
    cudaGraphicsResource_t resource = nullptr;
    cudaGraphicsGLRegisterImage(&resource, texture, GL_TEXTURE_2D, 0);
    QCOMPARE(cudaGraphicsUnregisterResource(resource), cudaSuccess);
    QCOMPARE(cudaGraphicsUnregisterResource(resource), cudaErrorInvalidResourceHandle);
    QCOMPARE(cudaGraphicsMapResources(1, &resource), cudaErrorInvalidResourceHandle);
    cudaArray_t array = nullptr;
    QCOMPARE(cudaGraphicsSubResourceGetMappedArray(&array, resource, 0, 0),
             cudaErrorInvalidResourceHandle);
    glDeleteTextures(1, &texture);
}

QTEST_MAIN(TestCudaHost)
#include "tst_cuda_host.moc"
