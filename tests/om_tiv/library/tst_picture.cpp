#include "om_tiv/benchtest.h"

#include <cuda_runtime_api.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

using namespace om;
using namespace om::bench;
using namespace benchtest;
using std::chrono::milliseconds;

namespace {

constexpr std::size_t fullWidth = 1280;
constexpr std::size_t fullHeight = 720;
/// A row of the band, which is 18 rows high.
constexpr std::size_t bandRow = 360;

using Pixel = std::array<int, 4>; // blue, green, red, alpha

Pixel pixel(const Mat& mat, std::size_t x, std::size_t y)
{
    const std::uint8_t* p = mat.getPtr(MEM::CPU) + y * mat.getStepBytes(MEM::CPU) + 4 * x;
    return {p[0], p[1], p[2], p[3]};
}

std::vector<float> floats(const Mat& mat, std::size_t x, std::size_t y)
{
    std::vector<float> values(mat.getPixelBytes() / 4);
    std::memcpy(values.data(),
                mat.getPtr(MEM::CPU) + y * mat.getStepBytes(MEM::CPU) + mat.getPixelBytes() * x,
                mat.getPixelBytes());
    return values;
}

/// First column of the mark.
std::size_t markColumn(const Mat& mat)
{
    for (std::size_t x = 0; x < mat.getResolution().width; ++x) {
        if (pixel(mat, x, bandRow) == Pixel{255, 255, 255, 255}) {
            return x;
        }
    }
    return mat.getResolution().width;
}

std::vector<std::uint8_t> bytes(const Mat& mat, MEM memory)
{
    const std::size_t row = mat.getResolution().width * mat.getPixelBytes();
    std::vector<std::uint8_t> all(row * mat.getResolution().height);
    cudaMemcpy2D(all.data(), row, mat.getPtr(memory), mat.getStepBytes(memory), row,
                 mat.getResolution().height,
                 memory == MEM::GPU ? cudaMemcpyDeviceToHost : cudaMemcpyHostToHost);
    return all;
}

} // namespace

class TestPicture : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void barsAreInTheOrderBlueGreenRedAlpha_data();
    void barsAreInTheOrderBlueGreenRedAlpha();
    void aRampStandsBelow();
    void leftAndRightDiffer();
    void sideBySideIsTwiceAsWide();
    void sizeZeroIsTheCamerasOwn();
    void anotherSizeScales();
    void theMarkMovesToAndFro();
    void onlyTheBandIsWrittenAgain();
    void anotherViewIsWrittenWhole();
    void anotherCameraIsWrittenWhole();
    void hostAndGpuHoldTheSame_data();
    void hostAndGpuHoldTheSame();
    void tinyImagesArePossible_data();
    void tinyImagesArePossible();

    void depthIsTheDistanceForward();
    void pointsLieOnTheRaysOfTheirPixels();
    void pointsInImageAxes();
    void pointsInMillimetres();
    void pointsCarryTheColour();
    void distancesOutsideTheLimitsAreInfinite();
    void theMarkIsNear();

    void nothingBeforeTheFirstFrame();
    void noMeasureWithDepthOff();
    void noMeasureAfterAGrabWithoutDepth();
    void unknownViewsAreRefused();

private:
    void reopen(const InitParameters& parameters);
    void nextFrame();
    void image(Mat& mat, VIEW view = VIEW::LEFT, MEM memory = MEM::CPU,
               Resolution size = Resolution());
    void measure(Mat& mat, MEASURE kind, MEM memory = MEM::CPU);

    std::unique_ptr<Camera> m_camera;
};

void TestPicture::init()
{
    stoppedBench().addCamera(idealCamera());
    m_camera = std::make_unique<Camera>();
    reopen(parametersFor());
}

void TestPicture::cleanup()
{
    m_camera.reset();
}

void TestPicture::reopen(const InitParameters& parameters)
{
    QCOMPARE(m_camera->open(parameters), ERROR_CODE::SUCCESS);
    theBench().clock().advance(
        milliseconds(1)); // away from the frames' times, because of their jitter
    nextFrame();
}

void TestPicture::nextFrame()
{
    theBench().clock().advance(nsPerS / 60);
    QCOMPARE(m_camera->grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
}

void TestPicture::image(Mat& mat, VIEW view, MEM memory, Resolution size)
{
    QCOMPARE(m_camera->retrieveImage(mat, view, memory, size), ERROR_CODE::SUCCESS);
}

void TestPicture::measure(Mat& mat, MEASURE kind, MEM memory)
{
    QCOMPARE(m_camera->retrieveMeasure(mat, kind, memory, Resolution()), ERROR_CODE::SUCCESS);
}

void TestPicture::barsAreInTheOrderBlueGreenRedAlpha_data()
{
    QTest::addColumn<int>("bar");
    QTest::addColumn<int>("blue");
    QTest::addColumn<int>("green");
    QTest::addColumn<int>("red");
    QTest::newRow("white") << 0 << 255 << 255 << 255;
    QTest::newRow("yellow") << 1 << 0 << 255 << 255;
    QTest::newRow("cyan") << 2 << 255 << 255 << 0;
    QTest::newRow("green") << 3 << 0 << 255 << 0;
    QTest::newRow("magenta") << 4 << 255 << 0 << 255;
    QTest::newRow("red") << 5 << 0 << 0 << 255;
    QTest::newRow("blue") << 6 << 255 << 0 << 0;
    QTest::newRow("black") << 7 << 0 << 0 << 0;
}

void TestPicture::barsAreInTheOrderBlueGreenRedAlpha()
{
    QFETCH(int, bar);
    QFETCH(int, blue);
    QFETCH(int, green);
    QFETCH(int, red);
    Mat mat;
    image(mat);
    const std::size_t x = fullWidth / 8 * static_cast<std::size_t>(bar) + fullWidth / 16;
    QCOMPARE(pixel(mat, x, 200), (Pixel{blue, green, red, 255}));
}

void TestPicture::aRampStandsBelow()
{
    Mat mat;
    image(mat);
    QCOMPARE(pixel(mat, 0, 700), (Pixel{0, 0, 0, 255}));
    QCOMPARE(pixel(mat, fullWidth - 1, 700), (Pixel{255, 255, 255, 255}));
    QCOMPARE(pixel(mat, fullWidth / 2, 700), (Pixel{127, 127, 127, 255}));
}

void TestPicture::leftAndRightDiffer()
{
    Mat left;
    Mat right;
    image(left, VIEW::LEFT);
    image(right, VIEW::RIGHT);
    QCOMPARE(pixel(left, 5, 5), (Pixel{255, 255, 0, 255}));
    QCOMPARE(pixel(right, 5, 5), (Pixel{255, 255, 255, 255}));
    QCOMPARE(pixel(left, fullWidth - 5, 5), (Pixel{0, 0, 0, 255}));
    QCOMPARE(pixel(right, fullWidth - 5, 5), (Pixel{255, 0, 255, 255}));
}

void TestPicture::sideBySideIsTwiceAsWide()
{
    Mat mat;
    image(mat, VIEW::SIDE_BY_SIDE);
    QCOMPARE(mat.getResolution().width, 2 * fullWidth);
    QCOMPARE(mat.getResolution().height, fullHeight);
    QCOMPARE(pixel(mat, 5, 5), (Pixel{255, 255, 0, 255}));
    QCOMPARE(pixel(mat, 2 * fullWidth - 5, 5), (Pixel{255, 0, 255, 255}));
    QCOMPARE(pixel(mat, fullWidth + fullWidth / 16, 200), (Pixel{255, 255, 255, 255}));
}

void TestPicture::sizeZeroIsTheCamerasOwn()
{
    Mat mat;
    image(mat);
    QCOMPARE(mat.getResolution().width, fullWidth);
    QCOMPARE(mat.getResolution().height, fullHeight);
    QVERIFY(mat.getType() == MAT_TYPE::U8_C4);
    Mat depth;
    measure(depth, MEASURE::DEPTH);
    QVERIFY(depth.getType() == MAT_TYPE::F32_C1);
    Mat points;
    measure(points, MEASURE::XYZ);
    QVERIFY(points.getType() == MAT_TYPE::F32_C4);
    QCOMPARE(points.getResolution().width, fullWidth);
}

void TestPicture::anotherSizeScales()
{
    Mat mat;
    image(mat, VIEW::LEFT, MEM::CPU, Resolution(320, 180));
    QCOMPARE(mat.getResolution().width, std::size_t{320});
    QCOMPARE(mat.getResolution().height, std::size_t{180});
    QCOMPARE(pixel(mat, 60, 50), (Pixel{0, 255, 255, 255})); // the second bar
    QCOMPARE(pixel(mat, 319, 175), (Pixel{255, 255, 255, 255}));
}

void TestPicture::theMarkMovesToAndFro()
{
    Mat mat;
    image(mat);
    QCOMPARE(pixel(mat, fullWidth - 1, bandRow), (Pixel{40, 40, 40, 255}));
    std::size_t last = markColumn(mat);
    QCOMPARE(last, std::size_t{0});
    for (int i = 0; i < 120; ++i) {
        nextFrame();
        image(mat);
        QVERIFY(markColumn(mat) > last);
        last = markColumn(mat);
    }
    QCOMPARE(last, fullWidth - fullWidth / 16); // at the right edge
    nextFrame();
    image(mat);
    QVERIFY(markColumn(mat) < last);
}

void TestPicture::onlyTheBandIsWrittenAgain()
{
    Mat mat;
    image(mat);
    std::uint8_t* const outside = mat.getPtr(MEM::CPU) + 10 * mat.getStepBytes(MEM::CPU);
    std::uint8_t* const inside = mat.getPtr(MEM::CPU) + bandRow * mat.getStepBytes(MEM::CPU);
    *outside = 77;
    *inside = 77;
    nextFrame();
    image(mat);
    QCOMPARE(*outside, std::uint8_t{77});
    QCOMPARE(*inside, std::uint8_t{40});
}

void TestPicture::anotherViewIsWrittenWhole()
{
    Mat mat;
    image(mat, VIEW::LEFT);
    image(mat, VIEW::RIGHT);
    Mat fresh;
    image(fresh, VIEW::RIGHT);
    QVERIFY(bytes(mat, MEM::CPU) == bytes(fresh, MEM::CPU));
}

void TestPicture::anotherCameraIsWrittenWhole()
{
    Mat mat;
    image(mat);
    mat.getPtr(MEM::CPU)[0] = 77;
    reopen(parametersFor());
    image(mat);
    QCOMPARE(mat.getPtr(MEM::CPU)[0], std::uint8_t{255});
}

void TestPicture::hostAndGpuHoldTheSame_data()
{
    QTest::addColumn<int>("content"); // a view, or a measure from 100 on
    QTest::newRow("left") << 0;
    QTest::newRow("right") << 1;
    QTest::newRow("side by side") << 8;
    QTest::newRow("depth") << 101;
    QTest::newRow("points") << 104;
}

void TestPicture::hostAndGpuHoldTheSame()
{
    QFETCH(int, content);
    Mat mat;
    for (int frame = 0; frame < 3; ++frame) {
        nextFrame();
        if (content < 100) {
            image(mat, static_cast<VIEW>(content), MEM::BOTH);
        } else {
            measure(mat, static_cast<MEASURE>(content - 100), MEM::BOTH);
        }
        QVERIFY(bytes(mat, MEM::CPU) == bytes(mat, MEM::GPU));
    }
}

void TestPicture::tinyImagesArePossible_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::newRow("1 x 1") << 1 << 1;
    QTest::newRow("3 x 1") << 3 << 1;
    QTest::newRow("1 x 5") << 1 << 5;
    QTest::newRow("7 x 3") << 7 << 3;
}

void TestPicture::tinyImagesArePossible()
{
    QFETCH(int, width);
    QFETCH(int, height);
    const Resolution size(static_cast<std::size_t>(width), static_cast<std::size_t>(height));
    for (const VIEW view : {VIEW::LEFT, VIEW::RIGHT, VIEW::SIDE_BY_SIDE}) {
        Mat mat;
        image(mat, view, MEM::BOTH, size);
        nextFrame();
        image(mat, view, MEM::BOTH, size);
        QVERIFY(bytes(mat, MEM::CPU) == bytes(mat, MEM::GPU));
        QCOMPARE(pixel(mat, size.width - 1, size.height - 1)[3], 255);
    }
    Mat points;
    QCOMPARE(m_camera->retrieveMeasure(points, MEASURE::XYZ, MEM::BOTH, size), ERROR_CODE::SUCCESS);
}

void TestPicture::depthIsTheDistanceForward()
{
    Mat depth;
    Mat points;
    measure(depth, MEASURE::DEPTH);
    measure(points, MEASURE::XYZ);
    for (const std::size_t y : {10U, 300U, 500U, 719U}) {
        for (const std::size_t x : {0U, 400U, 1279U}) {
            const float distance = floats(depth, x, y)[0];
            QVERIFY(distance > 0.5F && distance < 10.0F);
            QCOMPARE(floats(points, x, y)[2], -distance); // z points backward
        }
    }
    QCOMPARE(floats(depth, 600, 10)[0], 4.0F);  // the wall
    QVERIFY(floats(depth, 600, 719)[0] < 3.0F); // the floor
}

void TestPicture::pointsLieOnTheRaysOfTheirPixels()
{
    Mat points;
    measure(points, MEASURE::XYZ);
    for (const std::size_t y : {10U, 500U, 719U}) {
        for (const std::size_t x : {0U, 639U, 640U, 1279U}) {
            const auto p = floats(points, x, y);
            // A field of view of 90 degrees: half the width is one focal length.
            const double across = (static_cast<double>(x) + 0.5 - 640.0) / 640.0;
            const double up = -(static_cast<double>(y) + 0.5 - 360.0) / 640.0;
            QVERIFY(std::abs(double{p[0]} - across * double{-p[2]}) < 1e-5);
            QVERIFY(std::abs(double{p[1]} - up * double{-p[2]}) < 1e-5);
        }
    }
}

void TestPicture::pointsInImageAxes()
{
    Mat backward;
    measure(backward, MEASURE::XYZ);
    InitParameters parameters = parametersFor();
    parameters.coordinateSystem = COORDINATE_SYSTEM::IMAGE;
    reopen(parameters);
    Mat forward;
    measure(forward, MEASURE::XYZ);
    const auto a = floats(backward, 100, 500);
    const auto b = floats(forward, 100, 500);
    QCOMPARE(b[0], a[0]);
    QCOMPARE(b[1], -a[1]);
    QCOMPARE(b[2], -a[2]);
}

void TestPicture::pointsInMillimetres()
{
    InitParameters parameters = parametersFor();
    parameters.coordinateUnits = UNIT::MILLIMETRE;
    reopen(parameters);
    Mat points;
    measure(points, MEASURE::XYZ);
    QCOMPARE(floats(points, 600, 10)[2], -4000.0F);
}

void TestPicture::pointsCarryTheColour()
{
    Mat points;
    Mat left;
    measure(points, MEASURE::XYZ);
    image(left);
    for (const std::size_t x : {100U, 250U, 900U}) {
        const float packed = floats(points, x, 200)[3];
        std::array<std::uint8_t, 4> colour{};
        std::memcpy(colour.data(), &packed, 4);
        QCOMPARE((Pixel{colour[0], colour[1], colour[2], colour[3]}), pixel(left, x, 200));
    }
}

void TestPicture::distancesOutsideTheLimitsAreInfinite()
{
    InitParameters parameters = parametersFor();
    parameters.depthMinimum = 2.5F;
    parameters.depthMaximum = 3.5F;
    reopen(parameters);
    Mat depth;
    measure(depth, MEASURE::DEPTH);
    constexpr float infinite = std::numeric_limits<float>::infinity();
    QCOMPARE(floats(depth, 600, 10)[0], infinite);
    QCOMPARE(floats(depth, 600, 719)[0], -infinite);
    Mat points;
    measure(points, MEASURE::XYZ);
    QCOMPARE(floats(points, 600, 10)[0], infinite);
}

void TestPicture::theMarkIsNear()
{
    Mat depth;
    measure(depth, MEASURE::DEPTH);
    QCOMPARE(floats(depth, 10, bandRow)[0], 1.5F);
    QVERIFY(floats(depth, 1000, bandRow)[0] > 3.0F);
}

void TestPicture::nothingBeforeTheFirstFrame()
{
    QCOMPARE(m_camera->open(parametersFor()), ERROR_CODE::SUCCESS);
    Mat mat;
    QCOMPARE(m_camera->retrieveImage(mat, VIEW::LEFT, MEM::CPU, Resolution()), ERROR_CODE::FAILURE);
    QCOMPARE(m_camera->retrieveMeasure(mat, MEASURE::XYZ, MEM::CPU, Resolution()),
             ERROR_CODE::FAILURE);
    QCOMPARE(mat.getPtr(MEM::CPU), nullptr);
}

void TestPicture::noMeasureWithDepthOff()
{
    InitParameters parameters = parametersFor();
    parameters.depthMode = DEPTH_MODE::NONE;
    reopen(parameters);
    Mat mat;
    QCOMPARE(m_camera->retrieveMeasure(mat, MEASURE::XYZ, MEM::CPU, Resolution()),
             ERROR_CODE::FAILURE);
    image(mat);
}

void TestPicture::noMeasureAfterAGrabWithoutDepth()
{
    RuntimeParameters runtime;
    runtime.enableDepth = false;
    theBench().clock().advance(milliseconds(17));
    QCOMPARE(m_camera->grab(runtime), ERROR_CODE::SUCCESS);
    Mat mat;
    QCOMPARE(m_camera->retrieveMeasure(mat, MEASURE::DEPTH, MEM::CPU, Resolution()),
             ERROR_CODE::FAILURE);
}

void TestPicture::unknownViewsAreRefused()
{
    Mat mat;
    QCOMPARE(m_camera->retrieveImage(mat, static_cast<VIEW>(3), MEM::CPU, Resolution()),
             ERROR_CODE::INVALID_INPUT);
    QCOMPARE(m_camera->retrieveMeasure(mat, static_cast<MEASURE>(2), MEM::CPU, Resolution()),
             ERROR_CODE::INVALID_INPUT);
}

QTEST_GUILESS_MAIN(TestPicture)
#include "tst_picture.moc"
