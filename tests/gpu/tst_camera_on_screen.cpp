/// From a camera of the virtual bench to the display, through the camera library.
#include "library/the_bench.h"
#include "gpu/OGL2DWidget.h"
#include "gpu/mesh_on_screen.h"

#include <QApplication>
#include <QScreen>
#include <QSurfaceFormat>
#include <QtTest>

#include <om_tiv/om_tiv.h>

#include <cuda_runtime_api.h>

#include <cmath>
#include <memory>

namespace {

constexpr unsigned int serial = 20000001;
constexpr int viewSide = 700;

/// A camera of the bench that lies still, without sensor errors, opened as the program opens it.
class OpenCamera
{
public:
    OpenCamera(om::MODEL model, const om::bench::Quaternion& pose)
    {
        auto& bench = om::bench::theBench();
        bench.reset();
        om::bench::CameraConfig config;
        config.model = model;
        config.serialNumber = serial;
        config.motion = om::bench::MOTION::POSED;
        config.pose = pose;
        config.errors = om::bench::SensorErrors::none();
        bench.addCamera(config);

        om::InitParameters parameters;
        parameters.resolution = om::RESOLUTION::HD720;
        parameters.coordinateUnits = om::UNIT::METRE;
        parameters.coordinateSystem = om::COORDINATE_SYSTEM::RIGHT_HANDED_Y_UP;
        om::InputType input;
        input.setFromSerialNumber(serial, om::BUS_TYPE::USB);
        parameters.input = input;
        opened = m_camera.open(parameters) == om::ERROR_CODE::SUCCESS;
    }
    ~OpenCamera()
    {
        m_camera.close();
        om::bench::theBench().reset();
    }
    OpenCamera(const OpenCamera&) = delete;
    OpenCamera& operator=(const OpenCamera&) = delete;

    om::Camera* operator->() { return &m_camera; }

    bool opened = false;

private:
    om::Camera m_camera;
};

om::bench::Quaternion quaternion(int axis, double degrees)
{
    om::bench::Vector v;
    (axis == 0 ? v.x : axis == 1 ? v.y : v.z) = degrees * M_PI / 180.0;
    return om::bench::fromRotationVector(v);
}

} // namespace

class TestCameraOnScreen : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();

    void cameraTurnedOnTheBenchTurnsOnTheScreen_data();
    void cameraTurnedOnTheBenchTurnsOnTheScreen();
    void accelerationOfACameraAtRestPointsDown();
    void imageOfTheCameraShowsUprightInItsColours_data();
    void imageOfTheCameraShowsUprightInItsColours();
};

void TestCameraOnScreen::cleanup()
{
    ProgramStates::resetStates();
}

void TestCameraOnScreen::cameraTurnedOnTheBenchTurnsOnTheScreen_data()
{
    QTest::addColumn<int>("axis");
    QTest::addColumn<double>("degrees");
    const char* const names[] = {"x", "y", "z"};
    QTest::newRow("at rest") << 0 << 0.0;
    for (int axis = 0; axis < 3; ++axis) {
        for (const double degrees : {90.0, -90.0}) {
            QTest::addRow("%g degrees about %s", degrees, names[axis]) << axis << degrees;
        }
    }
}

void TestCameraOnScreen::cameraTurnedOnTheBenchTurnsOnTheScreen()
{
    QFETCH(int, axis);
    QFETCH(double, degrees);
    OpenCamera camera(om::MODEL::TIV_N, om::bench::Quaternion());
    QVERIFY(camera.opened);
    SceneView view;
    QVERIFY(view.showScene(viewSide, viewSide, static_cast<int>(om::MODEL::TIV_N)));
    const om::Translation f = view.camera->getForward();
    view.camera->translate({-f.x * 0.4F, -f.y * 0.4F, -f.z * 0.4F});

    om::SensorsData data;
    const auto follow = [&] {
        const bool fine =
            camera->getSensorsData(data, om::TIME_REFERENCE::CURRENT) == om::ERROR_CODE::SUCCESS &&
            data.imu.timestamp != 0;
        view.setCameraModelOr(data.imu.pose.getOrientation());
        view.setCameraModelPos(om::Translation(0, 0, 0));
        return fine;
    };
    QTRY_VERIFY(follow());
    QCOMPARE(differenceFromScreen(view, turn(0, 0)), QString());

    auto& bench = om::bench::theBench();
    bench.setPose(serial, quaternion(axis, degrees), std::chrono::milliseconds(0));
    const om::bench::Nanoseconds set = bench.clock().now();
    QTRY_VERIFY(follow() && data.imu.timestamp > set);
    QCOMPARE(differenceFromScreen(view, turn(axis, degrees)), QString());
}

void TestCameraOnScreen::accelerationOfACameraAtRestPointsDown()
{
    // In any pose of the camera the sum of the three lines is a vector towards the ground.
    const om::bench::Quaternion pose = om::bench::normalized({0.7, 0.3, -0.5, 0.2});
    OpenCamera camera(om::MODEL::TIV_P, pose);
    QVERIFY(camera.opened);
    SceneView view;
    QVERIFY(view.showScene(viewSide, viewSide, static_cast<int>(om::MODEL::TIV_P)));
    om::SensorsData data;
    QTRY_VERIFY(camera->getSensorsData(data, om::TIME_REFERENCE::CURRENT) ==
                    om::ERROR_CODE::SUCCESS &&
                data.imu.timestamp != 0);
    const om::Vector3<float> a = data.imu.linearAcceleration;
    const float n = std::sqrt(a.x * a.x + a.y * a.y + a.z * a.z);
    view.setCameraModelOr(data.imu.pose.getOrientation());
    view.setAccStrenght(a.x / n, a.y / n, a.z / n);
    view.paintNow();

    const std::vector<float>& lines = OpenObject::verticesOf(*view.dynamicAxes);
    const om::Transform model = view.cameraModel->getModelMatrix();
    double sum[3] = {};
    for (std::size_t line = 0; line < 3; ++line) {
        const float* const end = lines.data() + 6 * line + 3;
        for (int row = 0; row < 3; ++row) {
            sum[row] += static_cast<double>(model(row, 0) * end[0] + model(row, 1) * end[1] +
                                            model(row, 2) * end[2]);
        }
    }
    QVERIFY(std::abs(sum[0]) < 1e-3);
    QVERIFY(std::abs(sum[1] + 0.15) < 1e-3);
    QVERIFY(std::abs(sum[2]) < 1e-3);
}

void TestCameraOnScreen::imageOfTheCameraShowsUprightInItsColours_data()
{
    QTest::addColumn<QSize>("window");
    QTest::newRow("wide") << QSize(900, 300);
    QTest::newRow("tall") << QSize(400, 800);
}

void TestCameraOnScreen::imageOfTheCameraShowsUprightInItsColours()
{
    QFETCH(QSize, window);
    OpenCamera camera(om::MODEL::TIV_Q, om::bench::Quaternion());
    QVERIFY(camera.opened);
    om::RuntimeParameters runtime;
    QTRY_COMPARE(camera->grab(runtime), om::ERROR_CODE::SUCCESS);
    om::Mat image;
    QCOMPARE(camera->retrieveImage(image, om::VIEW::LEFT, om::MEM::GPU, om::Resolution()),
             om::ERROR_CODE::SUCCESS);
    const om::Resolution size = image.getResolution();
    const auto width = static_cast<int>(size.width);
    const auto height = static_cast<int>(size.height);
    QCOMPARE(width, 1280);
    QCOMPARE(height, 720);

    OGL2DWidget view(nullptr);
    view.setWindowFlags(Qt::Window | Qt::FramelessWindowHint);
    view.setGeometry(QRect(QPoint(0, 0), window));
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view, waiting::patienceMs));
    view.cudaContext = camera->getCUDAContext();
    view.InitGLProcess(width, height, int(image.getStepBytes(om::MEM::GPU)));
    view.gpuImage = image.getPtr(om::MEM::GPU);
    view.Ingest();
    view.updateGL();
    const QImage picture = QGuiApplication::primaryScreen()
                               ->grabWindow(0, 0, 0, window.width(), window.height())
                               .toImage();
    view.stopDraw();

    // The same image read back from the device has the expected colour of each place.
    std::vector<std::uint8_t> bytes(size.width * size.height * 4);
    QCOMPARE(cudaMemcpy2D(bytes.data(), size.width * 4, image.getPtr(om::MEM::GPU),
                          image.getStepBytes(om::MEM::GPU), size.width * 4, size.height,
                          cudaMemcpyDeviceToHost),
             cudaSuccess);
    const double scale = std::min(window.width() / 1280.0, window.height() / 720.0);
    const QPointF corner((window.width() - 1280 * scale) / 2, (window.height() - 720 * scale) / 2);
    int colours = 0;
    int compared = 0;
    for (int y = 20; y < height; y += 40) {
        for (int x = 20; x < width; x += 40) {
            const auto pixel = [&](int px, int py) {
                const std::uint8_t* const p = bytes.data() + (py * width + px) * 4;
                return qRgb(p[2], p[1], p[0]); // blue first
            };
            // Only in uniform areas of the image, so that scaling does not matter.
            const QRgb expected = pixel(x, y);
            bool even = true;
            for (int d = -8; d <= 8; d += 4) {
                even = even && pixel(x + d, y) == expected && pixel(x, y + d) == expected;
            }
            if (!even) {
                continue;
            }
            const QPoint at(int(corner.x() + double(x) * scale),
                            int(corner.y() + double(y) * scale));
            const QRgb seen = picture.pixel(at) | 0xff000000U;
            QVERIFY2(seen == expected, qPrintable(QStringLiteral("%1 %2: %3, not %4")
                                                      .arg(x)
                                                      .arg(y)
                                                      .arg(seen, 0, 16)
                                                      .arg(expected, 0, 16)));
            ++compared;
            const bool grey =
                qRed(expected) == qGreen(expected) && qGreen(expected) == qBlue(expected);
            colours += grey ? 0 : 1;
        }
    }
    QVERIFY2(compared > 200, qPrintable(QString::number(compared)));
    QVERIFY2(colours > 100, qPrintable(QString::number(colours)));
    // Black bars on the free sides.
    QCOMPARE(picture.pixel(2, 2) & 0xffffffU, 0U);
    QCOMPARE(picture.pixel(window.width() - 3, window.height() - 3) & 0xffffffU, 0U);
}

int main(int argc, char** argv)
{
    QSurfaceFormat format; // as the program requests it
    format.setSamples(16);
    QSurfaceFormat::setDefaultFormat(format);
    QApplication application(argc, argv);
    TestCameraOnScreen test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_camera_on_screen.moc"
