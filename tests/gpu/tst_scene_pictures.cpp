#include "gpu/scene_view.h"

#include <QApplication>
#include <QSurfaceFormat>
#include <QtTest>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace {

using Vector = std::array<double, 3>;
using Matrix = std::array<Vector, 3>;

constexpr int viewSide = 700;

/// A turn about a coordinate axis, in plain arithmetic of its own.
Matrix turn(int axis, double degrees)
{
    const double c = std::cos(degrees * M_PI / 180.0);
    const double s = std::sin(degrees * M_PI / 180.0);
    switch (axis) {
    case 0:
        return {{{1, 0, 0}, {0, c, -s}, {0, s, c}}};
    case 1:
        return {{{c, 0, s}, {0, 1, 0}, {-s, 0, c}}};
    default:
        return {{{c, -s, 0}, {s, c, 0}, {0, 0, 1}}};
    }
}

Vector times(const Matrix& m, const Vector& v)
{
    Vector result{};
    for (std::size_t i = 0; i < 3; ++i) {
        result[i] = m[i][0] * v[0] + m[i][1] * v[1] + m[i][2] * v[2];
    }
    return result;
}

om::Orientation orientation(int axis, double degrees)
{
    om::Translation about;
    (axis == 0 ? about.x : axis == 1 ? about.y : about.z) = 1.0F;
    return om::Rotation(static_cast<float>(degrees * M_PI / 180.0), about);
}

/// Where a point of the world shows in the view, pixels.
QPointF place(const SceneView& view, const Vector& p)
{
    const om::Transform& vp = view.camera->getViewProjectionMatrix();
    std::array<double, 4> clip{};
    for (int row = 0; row < 4; ++row) {
        clip[std::size_t(row)] = double(vp(row, 0)) * p[0] + double(vp(row, 1)) * p[1] +
                                 double(vp(row, 2)) * p[2] + double(vp(row, 3));
    }
    const double side = std::max(view.width(), view.height());
    return {view.width() / 2.0 + clip[0] / clip[3] * side / 2.0,
            view.height() / 2.0 - clip[1] / clip[3] * side / 2.0};
}

/// Smallest distance of a colour from the pixels around a place.
int distance(const QImage& picture, QPointF at, int r, int g, int b)
{
    int least = 999;
    for (int dy = -1; dy <= 1; ++dy) {
        for (int dx = -1; dx <= 1; ++dx) {
            const QPoint p(int(std::floor(at.x())) + dx, int(std::floor(at.y())) + dy);
            if (picture.valid(p)) {
                const QRgb pixel = picture.pixel(p);
                least = std::min(least, std::abs(qRed(pixel) - r) + std::abs(qGreen(pixel) - g) +
                                            std::abs(qBlue(pixel) - b));
            }
        }
    }
    return least;
}

/// The same for the pixels 6 to either side of a line's middle; the larger of both.
int beside(const SceneView& view, const QImage& picture, const Vector& from, const Vector& to,
           const int (&colour)[3])
{
    const QPointF a = place(view, from);
    const QPointF b = place(view, to);
    const double length = std::hypot(b.x() - a.x(), b.y() - a.y());
    const QPointF normal(-(b.y() - a.y()) / length * 6.0, (b.x() - a.x()) / length * 6.0);
    return std::max(distance(picture, b + normal, colour[0], colour[1], colour[2]),
                    distance(picture, b - normal, colour[0], colour[1], colour[2]));
}

/// The grey pixels that are not background: black, aluminium and lenses, and the yellow ones.
struct MeshPixels
{
    QRect box;      // of all of them
    QPointF yellow; // centre of the yellow ones
    int count = 0;
    int yellowCount = 0;
};

MeshPixels meshPixels(const QImage& picture)
{
    MeshPixels mesh;
    int left = 9999;
    int right = -1;
    int top = 9999;
    int bottom = -1;
    QPointF sum;
    for (int y = 6; y < picture.height() - 6; ++y) {
        for (int x = 6; x < picture.width() - 6; ++x) {
            const QRgb p = picture.pixel(x, y);
            const bool grey =
                std::abs(qRed(p) - qGreen(p)) < 4 && std::abs(qBlue(p) - qGreen(p)) < 4;
            const bool aluminium = qRed(p) > 150 && qBlue(p) > qRed(p) + 20 && qGreen(p) < qBlue(p);
            const bool yellow = qRed(p) > 240 && qGreen(p) > 240 && qBlue(p) < 20;
            if (yellow) {
                sum += QPointF(x + 0.5, y + 0.5);
                ++mesh.yellowCount;
            }
            if (yellow || aluminium || (grey && (qRed(p) < 8 || qRed(p) > 40))) {
                ++mesh.count;
                left = std::min(left, x);
                right = std::max(right, x);
                top = std::min(top, y);
                bottom = std::max(bottom, y);
            }
        }
    }
    mesh.box = QRect(QPoint(left, top), QPoint(right, bottom));
    mesh.yellow = sum / std::max(mesh.yellowCount, 1);
    return mesh;
}

/// The same from the mesh's vertices, for a rotation of the camera.
struct Expected
{
    double left = 1e9;
    double right = -1e9;
    double top = 1e9;
    double bottom = -1e9;
    QPointF yellow;
};

Expected expectedOf(const SceneView& view, const Matrix& rotation)
{
    const std::vector<float>& vertices = OpenObject::verticesOf(*view.cameraModel);
    const std::vector<float>& colors = OpenObject::colorsOf(*view.cameraModel);
    Expected expected;
    QPointF sum;
    double area = 0.0;
    QPointF corner[3];
    for (std::size_t i = 0; i < vertices.size(); i += 3) {
        const QPointF p = place(view, times(rotation, {double(vertices[i]), double(vertices[i + 1]),
                                                       double(vertices[i + 2])}));
        expected.left = std::min(expected.left, p.x());
        expected.right = std::max(expected.right, p.x());
        expected.top = std::min(expected.top, p.y());
        expected.bottom = std::max(expected.bottom, p.y());
        corner[i / 3 % 3] = p;
        if (i / 3 % 3 == 2 && colors[i] == 1.0F) { // a yellow triangle
            const QPointF u = corner[1] - corner[0];
            const QPointF v = corner[2] - corner[0];
            const double a = std::abs(u.x() * v.y() - u.y() * v.x());
            sum += a * (corner[0] + corner[1] + corner[2]) / 3.0;
            area += a;
        }
    }
    expected.yellow = area > 0 ? sum / area : QPointF();
    return expected;
}

void compareToScreen(SceneView& view, const Matrix& rotation)
{
    const MeshPixels seen = meshPixels(view.picture());
    const Expected expected = expectedOf(view, rotation);
    const auto text = [&](const char* side) {
        return QStringLiteral("%1: seen %2 %3 %4 %5, expected %6 %7 %8 %9")
            .arg(side)
            .arg(seen.box.left())
            .arg(seen.box.right() + 1)
            .arg(seen.box.top())
            .arg(seen.box.bottom() + 1)
            .arg(expected.left)
            .arg(expected.right)
            .arg(expected.top)
            .arg(expected.bottom);
    };
    QVERIFY2(expected.left > 10 && expected.top > 10 && expected.right < view.width() - 10 &&
                 expected.bottom < view.height() - 10,
             qPrintable(text("out of the picture")));
    QVERIFY2(std::abs(seen.box.left() - expected.left) < 2.0, qPrintable(text("left")));
    QVERIFY2(std::abs(seen.box.right() + 1 - expected.right) < 2.0, qPrintable(text("right")));
    QVERIFY2(std::abs(seen.box.top() - expected.top) < 2.0, qPrintable(text("top")));
    QVERIFY2(std::abs(seen.box.bottom() + 1 - expected.bottom) < 2.0, qPrintable(text("bottom")));
    // The lenses look the right way too: which end, and front or back.
    QVERIFY2(seen.yellowCount > 40, qPrintable(QString::number(seen.yellowCount)));
    const QPointF off = seen.yellow - expected.yellow;
    QVERIFY2(std::hypot(off.x(), off.y()) < 4.0,
             qPrintable(QStringLiteral("%1 %2").arg(off.x()).arg(off.y())));
}

void addTurns()
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

} // namespace

class TestScenePictures : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();

    void floorAndAxesShowInTheirColours();
    void accelerationShowsAgainstGravity_data();
    void accelerationShowsAgainstGravity();
    void accelerationLinesTurnWithTheCamera();
    void meshIsDrawnOverTheAxesAndTheAcceleration();
    void eachModelShowsItsColours_data();
    void eachModelShowsItsColours();
    void turnedCameraTurnsOnTheScreen_data();
    void turnedCameraTurnsOnTheScreen();
    void sceneIsNotDistorted_data();
    void sceneIsNotDistorted();

private:
    /// A scene with the viewer close enough to measure the mesh.
    bool showClose(SceneView& view, int model, float approach);
};

void TestScenePictures::cleanup()
{
    ProgramStates::resetStates();
}

bool TestScenePictures::showClose(SceneView& view, int model, float approach)
{
    if (!view.showScene(viewSide, viewSide, model)) {
        return false;
    }
    const om::Translation f = view.camera->getForward();
    view.camera->translate({-f.x * approach, -f.y * approach, -f.z * approach});
    view.paintNow();
    return true;
}

void TestScenePictures::floorAndAxesShowInTheirColours()
{
    SceneView view;
    QVERIFY(view.showScene(900, 700, 0));
    const QImage picture = view.picture();
    int crosses = 0;
    for (int i = -5; i <= 5; ++i) {
        for (int j = -5; j <= 0; ++j) {
            for (const Vector& p :
                 {Vector{double(i) + 0.2, -1, double(j)}, {double(i), -1, j - 0.2}}) {
                const QPointF at = place(view, p);
                if (at.x() < 10 || at.y() < 10 || at.x() > 890 || at.y() > 690) {
                    continue;
                }
                ++crosses;
                // Far ones are thinner than a pixel; an axis may lie over it.
                if (distance(picture, at, 217, 255, 66) > 130) {
                    --crosses;
                    QVERIFY2(distance(picture, at, 0, 190, 255) < 100 ||
                                 distance(picture, at, 255, 87, 87) < 100 ||
                                 distance(picture, at, 48, 214, 149) < 100,
                             qPrintable(QStringLiteral("%1 %2 at %3 %4: %5")
                                            .arg(i)
                                            .arg(j)
                                            .arg(at.x())
                                            .arg(at.y())
                                            .arg(picture.pixel(at.toPoint()), 0, 16)));
                }
            }
        }
    }
    QVERIFY2(crosses > 40, qPrintable(QString::number(crosses)));

    QVERIFY(distance(picture, place(view, {-0.5, 0, 0}), 255, 87, 87) < 12);
    QVERIFY(distance(picture, place(view, {0, 0.3, 0}), 48, 214, 149) < 12);
    QVERIFY(distance(picture, place(view, {0, 0, -0.6}), 0, 190, 255) < 12);
    // They run one way only.
    QVERIFY(distance(picture, place(view, {0.3, 0, 0}), 255, 87, 87) > 100);
    QVERIFY(distance(picture, place(view, {0, -0.3, 0}), 48, 214, 149) > 100);
    QVERIFY(distance(picture, place(view, {0, 0, 0.1}), 0, 190, 255) > 100);
}

void TestScenePictures::accelerationShowsAgainstGravity_data()
{
    QTest::addColumn<int>("axis");
    QTest::addColumn<float>("strength");
    QTest::newRow("x") << 0 << 1.0F;
    QTest::newRow("-x") << 0 << -1.0F;
    QTest::newRow("y, as at rest") << 1 << 1.0F;
    QTest::newRow("-y") << 1 << -1.0F;
    QTest::newRow("z") << 2 << 1.0F;
    QTest::newRow("-z") << 2 << -1.0F;
    QTest::newRow("half of y") << 1 << 0.5F;
}

void TestScenePictures::accelerationShowsAgainstGravity()
{
    QFETCH(int, axis);
    QFETCH(float, strength);
    SceneView view;
    QVERIFY(view.showScene(900, 700, 2));
    float values[3] = {};
    values[axis] = strength;
    view.setAccStrenght(values[0], values[1], values[2]);
    const QImage picture = view.picture();
    const int colours[3][3] = {{200, 70, 70}, {40, 200, 125}, {0, 100, 200}};
    const int(&colour)[3] = colours[axis];
    // Beside the middle of the line, where only one of its width reaches and no axis does.
    const auto at = [&](double along) {
        Vector p{};
        p[std::size_t(axis)] = along;
        return beside(view, picture, {0, 0, 0}, p, colour);
    };
    const double end = -0.15 * static_cast<double>(strength);
    // The mesh hides a part of the line along its own body.
    if (axis != 0 || strength > 0) {
        QVERIFY2(at(end * 0.93) < 12, qPrintable(QString::number(at(end * 0.93))));
    }
    QVERIFY2(at(end * 1.25) > 60, "too long");
    QVERIFY2(at(-end * 0.9) > 60, "wrong way");
}

void TestScenePictures::accelerationLinesTurnWithTheCamera()
{
    SceneView view;
    QVERIFY(view.showScene(900, 700, 2));
    view.setAccStrenght(0, 1, 0);
    view.setCameraModelOr(orientation(2, 90)); // y goes to -x
    const QImage picture = view.picture();
    const int colour[3] = {40, 200, 125};
    const auto at = [&](const Vector& p) { return beside(view, picture, {0, 0, 0}, p, colour); };
    // The line's end at (0, -0.15, 0) goes to (0.15, 0, 0).
    QVERIFY(at({0.14, 0, 0}) < 12);
    QVERIFY(at({0, -0.14, 0}) > 60);
    // Turned once, and not once more by the lines' own rotation.
    QVERIFY(at({0, 0.14, 0}) > 60);
}

void TestScenePictures::meshIsDrawnOverTheAxesAndTheAcceleration()
{
    SceneView view;
    QVERIFY(showClose(view, 2, 0.3F));
    view.setAccStrenght(-1, 0, 0); // along the body
    const QImage picture = view.picture();
    // In the middle of the bar, between the lenses.
    QVERIFY(distance(picture, place(view, {0.06, 0, 0}), 0, 0, 0) < 6);
    view.setAccStrenght(0, 0, 0);
    QVERIFY(distance(view.picture(), place(view, {0.06, 0, 0}), 0, 0, 0) < 6);
}

void TestScenePictures::eachModelShowsItsColours_data()
{
    QTest::addColumn<int>("model");
    QTest::addColumn<QVector<QRgb>>("colours");
    QTest::newRow("TIV") << 0 << QVector<QRgb>{qRgb(0, 0, 0), qRgb(163, 163, 163)};
    QTest::newRow("TIV_N") << 1
                           << QVector<QRgb>{qRgb(0, 0, 0), qRgb(201, 209, 237), qRgb(56, 56, 56),
                                            qRgb(255, 255, 0)};
    QTest::newRow("TIV_P") << 2 << QVector<QRgb>{qRgb(0, 0, 0), qRgb(51, 51, 51)};
}

void TestScenePictures::eachModelShowsItsColours()
{
    QFETCH(int, model);
    QFETCH(QVector<QRgb>, colours);
    SceneView view;
    QVERIFY(showClose(view, model, 0.45F));
    // Seen from the first viewpoint, and turned.
    for (const double degrees : {0.0, 30.0}) {
        view.setCameraModelOr(orientation(0, degrees));
        const QImage picture = view.picture();
        for (const QRgb colour : colours) {
            int count = 0;
            for (int y = 6; y < picture.height() - 6; ++y) {
                for (int x = 6; x < picture.width() - 6; ++x) {
                    const QRgb p = picture.pixel(x, y);
                    count += std::abs(qRed(p) - qRed(colour)) < 3 &&
                                     std::abs(qGreen(p) - qGreen(colour)) < 3 &&
                                     std::abs(qBlue(p) - qBlue(colour)) < 3
                                 ? 1
                                 : 0;
                }
            }
            QVERIFY2(count > 25, qPrintable(QStringLiteral("%1 degrees, %2: %3 pixels")
                                                .arg(degrees)
                                                .arg(colour, 0, 16)
                                                .arg(count)));
        }
    }
}

void TestScenePictures::turnedCameraTurnsOnTheScreen_data()
{
    addTurns();
}

void TestScenePictures::turnedCameraTurnsOnTheScreen()
{
    QFETCH(int, axis);
    QFETCH(double, degrees);
    SceneView view;
    QVERIFY(showClose(view, 1, 0.4F));
    view.setCameraModelOr(orientation(axis, degrees));
    view.setCameraModelPos({0, 0, 0});
    compareToScreen(view, turn(axis, degrees));
}

void TestScenePictures::sceneIsNotDistorted_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("wide") << QSize(900, 400);
    QTest::newRow("tall") << QSize(400, 900);
    QTest::newRow("square") << QSize(600, 600);
}

void TestScenePictures::sceneIsNotDistorted()
{
    QFETCH(QSize, size);
    SceneView view;
    QVERIFY(view.showScene(size.width(), size.height(), 1));
    const om::Translation f = view.camera->getForward();
    view.camera->translate({-f.x * 0.4F, -f.y * 0.4F, -f.z * 0.4F});
    compareToScreen(view, turn(0, 0));
}

int main(int argc, char** argv)
{
    QSurfaceFormat format; // as the program asks for it
    format.setSamples(16);
    QSurfaceFormat::setDefaultFormat(format);
    QApplication application(argc, argv);
    TestScenePictures test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_scene_pictures.moc"
