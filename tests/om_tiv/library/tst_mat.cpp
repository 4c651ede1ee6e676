#include "om_tiv/benchtest.h"

#include <cuda_runtime_api.h>
#ifndef GRAVIMON_REAL_CUDA
#include <cuda_host.h>
#endif

#include <algorithm>
#include <vector>

using namespace om;

namespace {

std::vector<std::uint8_t> fromGpu(const Mat& mat)
{
    const std::size_t row = mat.getResolution().width * mat.getPixelBytes();
    std::vector<std::uint8_t> bytes(row * mat.getResolution().height, 0xEE);
    cudaMemcpy2D(bytes.data(), row, mat.getPtr(MEM::GPU), mat.getStepBytes(MEM::GPU), row,
                 mat.getResolution().height, cudaMemcpyDeviceToHost);
    return bytes;
}

bool allZero(const std::uint8_t* bytes, std::size_t count)
{
    return std::all_of(bytes, bytes + count, [](std::uint8_t b) { return b == 0; });
}

} // namespace

class TestMat : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void aNewMatHoldsNothing();
    void pixelBytesOfATypeAreTable_data();
    void pixelBytesOfATypeAreTable();
    void hostMemoryIsZeroed();
    void gpuMemoryIsZeroed();
    void bothKindsCanBeHeld();
    void theSameSizeKeepsTheMemory();
    void anotherSizeOrTypeReplacesBothKinds();
    void freeTakesTheKindAsked();
    void noSizeHoldsNoMemory();
    void anImpossibleSizeLeavesHostMemoryNull();
    void tooLargeForTheGpuLeavesTheErrorForTheCaller();
    void littleGpuMemoryFailsOnlyWhileTheCameraIsOpen();
    void memoryGoesWithTheMat();
};

void TestMat::init()
{
    benchtest::stoppedBench();
    cudaGetLastError();
}

void TestMat::aNewMatHoldsNothing()
{
    const Mat mat;
    QCOMPARE(mat.getPtr(MEM::CPU), nullptr);
    QCOMPARE(mat.getPtr(MEM::GPU), nullptr);
    QCOMPARE(mat.getStepBytes(MEM::CPU), std::size_t{0});
    QCOMPARE(mat.getResolution().width, std::size_t{0});
}

void TestMat::pixelBytesOfATypeAreTable_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("bytes");
    QTest::newRow("one float") << 0 << 4;
    QTest::newRow("four floats") << 3 << 16;
    QTest::newRow("four bytes") << 7 << 4;
}

void TestMat::pixelBytesOfATypeAreTable()
{
    QFETCH(int, type);
    QFETCH(int, bytes);
    Mat mat;
    mat.alloc(Resolution(5, 2), static_cast<MAT_TYPE>(type), MEM::CPU);
    QCOMPARE(static_cast<int>(mat.getPixelBytes()), bytes);
    QCOMPARE(static_cast<int>(mat.getStepBytes(MEM::CPU)), 5 * bytes);
    QCOMPARE(static_cast<int>(mat.getType()), type);
}

void TestMat::hostMemoryIsZeroed()
{
    Mat mat;
    mat.alloc(Resolution(64, 48), MAT_TYPE::U8_C4, MEM::CPU);
    QVERIFY(mat.getPtr(MEM::CPU) != nullptr);
    QCOMPARE(mat.getPtr(MEM::GPU), nullptr);
    QVERIFY(allZero(mat.getPtr(MEM::CPU), 64 * 48 * 4));
}

void TestMat::gpuMemoryIsZeroed()
{
    Mat mat;
    mat.alloc(Resolution(33, 7), MAT_TYPE::F32_C4, MEM::GPU);
    QVERIFY(mat.getPtr(MEM::GPU) != nullptr);
    QCOMPARE(mat.getPtr(MEM::CPU), nullptr);
    QVERIFY(mat.getStepBytes(MEM::GPU) >= 33 * 16);
    const auto bytes = fromGpu(mat);
    QVERIFY(allZero(bytes.data(), bytes.size()));
}

void TestMat::bothKindsCanBeHeld()
{
    Mat mat;
    mat.alloc(Resolution(8, 8), MAT_TYPE::U8_C4, MEM::BOTH);
    QVERIFY(mat.getPtr(MEM::CPU) != nullptr);
    QVERIFY(mat.getPtr(MEM::GPU) != nullptr);
}

void TestMat::theSameSizeKeepsTheMemory()
{
    Mat mat;
    mat.alloc(Resolution(8, 8), MAT_TYPE::U8_C4, MEM::CPU);
    std::uint8_t* const host = mat.getPtr(MEM::CPU);
    host[3] = 42;
    mat.alloc(Resolution(8, 8), MAT_TYPE::U8_C4, MEM::BOTH);
    QCOMPARE(mat.getPtr(MEM::CPU), host);
    QCOMPARE(host[3], std::uint8_t{42});
    QVERIFY(mat.getPtr(MEM::GPU) != nullptr);
}

void TestMat::anotherSizeOrTypeReplacesBothKinds()
{
    Mat mat;
    mat.alloc(Resolution(8, 8), MAT_TYPE::U8_C4, MEM::BOTH);
    mat.getPtr(MEM::CPU)[0] = 42;
    mat.alloc(Resolution(8, 8), MAT_TYPE::F32_C1, MEM::CPU);
    QCOMPARE(mat.getPtr(MEM::GPU), nullptr);
    QCOMPARE(mat.getPtr(MEM::CPU)[0], std::uint8_t{0});
    mat.alloc(Resolution(9, 8), MAT_TYPE::F32_C1, MEM::GPU);
    QCOMPARE(mat.getPtr(MEM::CPU), nullptr);
    QCOMPARE(mat.getResolution().width, std::size_t{9});
}

void TestMat::freeTakesTheKindAsked()
{
    Mat mat;
    mat.alloc(Resolution(8, 8), MAT_TYPE::U8_C4, MEM::BOTH);
    mat.free(MEM::GPU);
    QCOMPARE(mat.getPtr(MEM::GPU), nullptr);
    QVERIFY(mat.getPtr(MEM::CPU) != nullptr);
    mat.free(MEM::BOTH);
    QCOMPARE(mat.getPtr(MEM::CPU), nullptr);
    QCOMPARE(mat.getResolution().height, std::size_t{0});
    mat.free(MEM::BOTH); // nothing left to free
}

void TestMat::noSizeHoldsNoMemory()
{
    Mat mat;
    mat.alloc(Resolution(0, 8), MAT_TYPE::U8_C4, MEM::BOTH);
    QCOMPARE(mat.getPtr(MEM::CPU), nullptr);
    QCOMPARE(mat.getPtr(MEM::GPU), nullptr);
    QCOMPARE(cudaGetLastError(), cudaSuccess);
}

void TestMat::anImpossibleSizeLeavesHostMemoryNull()
{
    Mat mat;
    mat.alloc(Resolution(std::size_t{1} << 40, std::size_t{1} << 40), MAT_TYPE::F32_C4, MEM::CPU);
    QCOMPARE(mat.getPtr(MEM::CPU), nullptr);
    QCOMPARE(mat.getStepBytes(MEM::CPU), std::size_t{0});
}

void TestMat::tooLargeForTheGpuLeavesTheErrorForTheCaller()
{
    Mat mat;
    mat.alloc(Resolution(std::size_t{1} << 20, std::size_t{1} << 24), MAT_TYPE::F32_C4, MEM::GPU);
    QCOMPARE(mat.getPtr(MEM::GPU), nullptr);
    QVERIFY(cudaGetLastError() != cudaSuccess);
    QCOMPARE(cudaGetLastError(), cudaSuccess);
}

void TestMat::littleGpuMemoryFailsOnlyWhileTheCameraIsOpen()
{
    auto& bench = benchtest::stoppedBench();
    auto config = benchtest::idealCamera();
    config.faults.littleGpuMemory = true;
    bench.addCamera(config);

    Mat before;
    before.alloc(Resolution(8, 8), MAT_TYPE::U8_C4, MEM::GPU);
    QCOMPARE(cudaGetLastError(), cudaSuccess);

    Camera camera;
    QCOMPARE(camera.open(benchtest::parametersFor()), ERROR_CODE::SUCCESS);
    Mat mat;
    mat.alloc(Resolution(8, 8), MAT_TYPE::U8_C4, MEM::BOTH);
    QVERIFY(mat.getPtr(MEM::CPU) != nullptr);
    QCOMPARE(mat.getPtr(MEM::GPU), nullptr);
    Mat other; // a later success does not hide the failure
    bench.changeFaults(benchtest::cameraSerial,
                       [](auto& faults) { faults.littleGpuMemory = false; });
    other.alloc(Resolution(8, 8), MAT_TYPE::U8_C4, MEM::GPU);
    QVERIFY(other.getPtr(MEM::GPU) != nullptr);
    QCOMPARE(cudaGetLastError(), cudaErrorMemoryAllocation);
}

void TestMat::memoryGoesWithTheMat()
{
#ifdef GRAVIMON_REAL_CUDA
    QSKIP("a device does not say what one program has allocated");
#else
    const std::size_t before = cuda_host::allocatedBytes();
    {
        Mat mat;
        mat.alloc(Resolution(100, 100), MAT_TYPE::F32_C4, MEM::BOTH);
        QVERIFY(cuda_host::allocatedBytes() >= before + 100 * 100 * 16);
    }
    QCOMPARE(cuda_host::allocatedBytes(), before);
#endif
}

QTEST_GUILESS_MAIN(TestMat)
#include "tst_mat.moc"
