#include "gpu/mesh_on_screen.h"
#include "gpu/scene_view.h"

#include <QApplication>
#include <QSurfaceFormat>
#include <QtTest>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace {

constexpr int viewSide = 700;

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
    // Beside the middle of the line, where only a line of its width reaches and no axis.
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
    view.setCameraModelOr(orientation(2, 90)); // y becomes -x
    const QImage picture = view.picture();
    const int colour[3] = {40, 200, 125};
    const auto at = [&](const Vector& p) { return beside(view, picture, {0, 0, 0}, p, colour); };
    // The line's end at (0, -0.15, 0) moves to (0.15, 0, 0).
    QVERIFY(at({0.14, 0, 0}) < 12);
    QVERIFY(at({0, -0.14, 0}) > 60);
    // Turned once, not again by the lines' own rotation.
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
    QCOMPARE(differenceFromScreen(view, turn(axis, degrees)), QString());
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
    QCOMPARE(differenceFromScreen(view, turn(0, 0)), QString());
}

int main(int argc, char** argv)
{
    QSurfaceFormat format; // as the program requests it
    format.setSamples(16);
    QSurfaceFormat::setDefaultFormat(format);
    QApplication application(argc, argv);
    TestScenePictures test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_scene_pictures.moc"
