#include "gpu/CameraGL.h"
#include "gpu/vectors.h"

#include <QtTest>

#include <array>
#include <cmath>

namespace {

constexpr float quarter = 1.5707964F;

bool near(const om::Translation& a, const om::Translation& b, float tolerance = 1e-5F)
{
    const om::Translation d = sum(a, negated(b));
    return std::sqrt(dot(d, d)) <= tolerance;
}

std::array<float, 4> valuesOf(const om::Orientation& o)
{
    return {o.ox, o.oy, o.oz, o.ow};
}

om::Rotation about(float x, float y, float z, float angle)
{
    return {angle, om::Translation(x, y, z)};
}

CameraGL ahead()
{
    return {om::Translation(0, 0, 0), om::Translation(0, 0, -1), om::Translation(0, 1, 0)};
}

} // namespace

class TestCameraGl : public QObject
{
    Q_OBJECT

private slots:
    void vectorArithmetic();
    void constantsAreTheCoordinateAxes();
    void firstAxes();
    void matrixStandsFromTheBeginning();
    void directionNeedNotBeOfUnitLength();
    void directionIsNormalisedBeforeItIsUsed();
    void forwardPointsFromTheSceneToTheEye_data();
    void forwardPointsFromTheSceneToTheEye();
    void opposedVerticalTurnsTheViewerHalfwayAroundTheViewAxis();
    void verticalIsFlippedByUpdateAndNotTheViewer();
    void verticalAcrossTheViewersUpFlipsNothing();
    void rotationsGoOnTheLeft();
    void rotationsAndOrientationsAreTheSame();
    void axesFollowARotation();
    void projectionHasItsOwnDepthRange();
    void projectionTakesTwoAngles();
    void projectionRemembersItsValues();
    void eyeStandsAtTheTurnedOffset();
    void changesTakeEffectAtTheNextUpdate();
    void translateAddsAndSetPositionReplaces();
    void matrixIsProjectionTimesInversePose();
};

void TestCameraGl::vectorArithmetic()
{
    const om::Translation a(1, -2, 3);
    const om::Translation b(0.5F, 4, -8);
    QVERIFY(near(sum(a, b), {1.5F, 2, -5}, 0));
    QVERIFY(near(negated(a), {-1, 2, -3}, 0));
    QVERIFY(near(scaled(a, -0.5F), {-0.5F, 1, -1.5F}, 0));
    QCOMPARE(dot(a, b), -31.5F);
}

void TestCameraGl::constantsAreTheCoordinateAxes()
{
    QVERIFY(near(CameraGL::ORIGINAL_FORWARD, {0, 0, 1}, 0));
    QVERIFY(near(CameraGL::ORIGINAL_UP, {0, 1, 0}, 0));
    QVERIFY(near(CameraGL::ORIGINAL_RIGHT, {1, 0, 0}, 0));
}

void TestCameraGl::firstAxes()
{
    const CameraGL camera = ahead();
    QVERIFY(near(camera.getForward(), {0, 0, 1}));
    QVERIFY(near(camera.getUp(), {0, 1, 0}));
    QVERIFY(near(camera.getRight(), {-1, 0, 0}));
    QVERIFY(near(camera.getVertical(), {0, 1, 0}));
    QVERIFY(near(camera.getPosition(), {0, 0, 0}));
    QVERIFY(near(camera.getOffsetFromPosition(), {0, 0, 0}));
    QCOMPARE(camera.getOrientation().ow, 1.0F);
}

void TestCameraGl::matrixStandsFromTheBeginning()
{
    const CameraGL camera({1, -2, 3}, {0, 0, -1}, {0, 1, 0});
    // No projection yet: the view alone.
    const om::Transform& vp = camera.getViewProjectionMatrix();
    const double expected[16] = {1, 0, 0, -1, 0, 1, 0, 2, 0, 0, 1, -3, 0, 0, 0, 1};
    for (int i = 0; i < 16; ++i) {
        QVERIFY(std::abs(static_cast<double>(vp(i / 4, i % 4)) - expected[i]) < 1e-6);
    }
}

void TestCameraGl::directionNeedNotBeOfUnitLength()
{
    const CameraGL camera({0, 0, 0}, {0, 0, -250}, {0, 1, 0});
    QVERIFY(near(camera.getForward(), {0, 0, 1}));
}

void TestCameraGl::directionIsNormalisedBeforeItIsUsed()
{
    // Rounded to single precision in between, which is visible in the last digit of the attitude.
    int changedByRounding = 0;
    for (int i = 1; i <= 200; ++i) {
        const auto f = static_cast<float>(i);
        const om::Translation direction(0.3F * f, 17.0F - f, -250.0F / f);
        om::Translation unit = direction;
        unit.normalize();
        const om::Orientation expected(CameraGL::ORIGINAL_FORWARD, negated(unit));
        const om::Orientation unrounded(CameraGL::ORIGINAL_FORWARD, negated(direction));
        // A vertical on the side of the viewer's upward axis, so that nothing is turned.
        const CameraGL camera({0, 0, 0}, direction, CameraGL::ORIGINAL_UP * expected);
        QCOMPARE(valuesOf(camera.getOrientation()), valuesOf(expected));
        changedByRounding += valuesOf(expected) != valuesOf(unrounded) ? 1 : 0;
    }
    QVERIFY(changedByRounding > 0);
}

void TestCameraGl::forwardPointsFromTheSceneToTheEye_data()
{
    QTest::addColumn<float>("x");
    QTest::addColumn<float>("y");
    QTest::addColumn<float>("z");
    QTest::newRow("ahead") << 0.0F << 0.0F << -1.0F;
    QTest::newRow("to the right") << 1.0F << 0.0F << 0.0F;
    QTest::newRow("down") << 0.0F << -1.0F << 0.0F;
    QTest::newRow("askew") << 0.48F << -0.6F << -0.64F;
    QTest::newRow("back") << 0.0F << 0.0F << 1.0F;
}

void TestCameraGl::forwardPointsFromTheSceneToTheEye()
{
    QFETCH(float, x);
    QFETCH(float, y);
    QFETCH(float, z);
    CameraGL camera = ahead();
    camera.setDirection({x, y, z}, camera.getUp());
    // Whichever way the viewer had to be turned about the z axis, x and y only change sign there.
    const om::Translation forward = camera.getForward();
    QVERIFY(near({std::abs(forward.x), std::abs(forward.y), forward.z},
                 {std::abs(x), std::abs(y), -z}));
    QVERIFY(dot(camera.getUp(), camera.getVertical()) >= 0.0F);
    QVERIFY(std::abs(dot(camera.getUp(), forward)) < 1e-6F);
}

void TestCameraGl::opposedVerticalTurnsTheViewerHalfwayAroundTheViewAxis()
{
    CameraGL camera = ahead();
    camera.setDirection({0, 0, -1}, {0, -1, 0});
    QVERIFY(near(camera.getForward(), {0, 0, 1}));
    QVERIFY(near(camera.getUp(), {0, -1, 0}));
    QVERIFY(near(camera.getRight(), {1, 0, 0}));
    QVERIFY(near(camera.getVertical(), {0, -1, 0}));
    QVERIFY(dot(camera.getUp(), camera.getVertical()) > 0.0F);
}

void TestCameraGl::verticalIsFlippedByUpdateAndNotTheViewer()
{
    CameraGL camera = ahead();
    camera.setRotation(about(0, 0, 1, 2 * quarter));
    QVERIFY(near(camera.getVertical(), {0, 1, 0}));
    camera.update();
    QVERIFY(near(camera.getVertical(), {0, -1, 0}));
    QVERIFY(near(camera.getUp(), {0, -1, 0}));
    camera.update(); // agrees now, so it does not change
    QVERIFY(near(camera.getVertical(), {0, -1, 0}));
}

void TestCameraGl::verticalAcrossTheViewersUpFlipsNothing()
{
    CameraGL camera = ahead();
    camera.setDirection({0, 0, -1}, {1, 0, 0});
    QVERIFY(near(camera.getUp(), {0, 1, 0}));
    camera.update();
    QVERIFY(near(camera.getVertical(), {1, 0, 0}, 0));
}

void TestCameraGl::rotationsGoOnTheLeft()
{
    CameraGL camera = ahead();
    camera.setRotation(about(0, 0, 1, quarter));
    camera.rotate(about(1, 0, 0, quarter));
    // First z: up is -x; then x: it stays. On the right it would have become z.
    QVERIFY(near(camera.getUp(), {-1, 0, 0}));
    QVERIFY(near(camera.getForward(), {0, -1, 0}));
}

void TestCameraGl::rotationsAndOrientationsAreTheSame()
{
    CameraGL byRotation = ahead();
    CameraGL byOrientation = ahead();
    byRotation.setRotation(about(1, 2, 3, 0.7F));
    byOrientation.setRotation(om::Orientation(about(1, 2, 3, 0.7F)));
    byRotation.rotate(about(-1, 0, 3, 0.2F));
    byOrientation.rotate(om::Orientation(about(-1, 0, 3, 0.2F)));
    QVERIFY(near(byRotation.getForward(), byOrientation.getForward(), 0));
    QVERIFY(near(byRotation.getUp(), byOrientation.getUp(), 0));
    QVERIFY(!near(byRotation.getUp(), {0, 1, 0}, 0.1F));
}

void TestCameraGl::axesFollowARotation()
{
    CameraGL camera = ahead();
    camera.setRotation(about(0, 1, 0, quarter));
    QVERIFY(near(camera.getForward(), {1, 0, 0}));
    QVERIFY(near(camera.getUp(), {0, 1, 0}));
    QVERIFY(near(camera.getRight(), {0, 0, 1}));
}

void TestCameraGl::projectionHasItsOwnDepthRange()
{
    CameraGL camera = ahead();
    camera.setProjection(90, 90, 0.5F, 10);
    camera.update();
    // The viewer is neither turned nor moved: the matrix is the projection.
    const om::Transform& p = camera.getViewProjectionMatrix();
    const double expected[4][4] = {
        {1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, -10.0 / 9.5, -5.0 / 9.5}, {0, 0, -1, 0}};
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            QVERIFY2(std::abs(static_cast<double>(p(row, column)) - expected[row][column]) < 1e-6,
                     qPrintable(QStringLiteral("%1 %2").arg(row).arg(column)));
        }
    }
    // The near plane maps to depth 0 and the far plane to 1.
    const auto depth = [&p](float z) { return (p(2, 2) * z + p(2, 3)) / (p(3, 2) * z + p(3, 3)); };
    QVERIFY(std::abs(depth(-0.5F)) < 1e-6F);
    QVERIFY(std::abs(depth(-10.0F) - 1.0F) < 1e-6F);
}

void TestCameraGl::projectionTakesTwoAngles()
{
    CameraGL camera = ahead();
    camera.setProjection(60, 120, 0.05F, 300);
    camera.update();
    const om::Transform& p = camera.getViewProjectionMatrix();
    // In double precision: in single precision the first one has another last digit.
    QVERIFY(p(0, 0) == 1.73205081F);
    QVERIFY(p(1, 1) == 0.577350269F);
}

void TestCameraGl::projectionRemembersItsValues()
{
    CameraGL camera = ahead();
    camera.setProjection(60, 45, 0.25F, 30);
    QCOMPARE(camera.getHorizontalFOV(), 60.0F);
    QCOMPARE(camera.getVerticalFOV(), 45.0F);
    QCOMPARE(camera.getZNear(), 0.25F);
    QCOMPARE(camera.getZFar(), 30.0F);
}

void TestCameraGl::eyeStandsAtTheTurnedOffset()
{
    CameraGL camera = ahead();
    camera.setProjection(90, 90, 0.05F, 300);
    camera.setOffsetFromPosition({0, 0, 1});
    camera.setPosition({5, 0, 0});
    camera.setRotation(about(0, 1, 0, quarter));
    camera.update();
    // The eye is at (6, 0, 0) and looks along -x: a point at (4, 0, 0) lies 2 before it.
    const om::Transform& p = camera.getViewProjectionMatrix();
    const auto row = [&p](int r, float x, float y, float z) {
        return p(r, 0) * x + p(r, 1) * y + p(r, 2) * z + p(r, 3);
    };
    QVERIFY(std::abs(row(3, 4, 0, 0) - 2.0F) < 1e-5F);
    QVERIFY(std::abs(row(0, 4, 0, 0)) < 1e-5F);
    QVERIFY(std::abs(row(0, 4, 0, -1) - 1.0F) < 1e-5F); // -z is to the right
}

void TestCameraGl::changesTakeEffectAtTheNextUpdate()
{
    CameraGL camera = ahead();
    camera.setProjection(90, 90, 0.05F, 300);
    camera.update();
    const float before = camera.getViewProjectionMatrix()(0, 3);
    camera.translate({1, 0, 0});
    QCOMPARE(camera.getViewProjectionMatrix()(0, 3), before);
    camera.update();
    QCOMPARE(camera.getViewProjectionMatrix()(0, 3), before - 1.0F);

    const om::Transform still = camera.getViewProjectionMatrix();
    camera.setOffsetFromPosition({0, 0, 2});
    camera.rotate(about(0, 1, 0, quarter));
    camera.setDirection({1, 0, 0}, {0, 1, 0});
    camera.setProjection(60, 60, 1, 2);
    for (int i = 0; i < 16; ++i) {
        QCOMPARE(camera.getViewProjectionMatrix()(i / 4, i % 4), still(i / 4, i % 4));
    }
    camera.update();
    QVERIFY(camera.getViewProjectionMatrix()(0, 0) != still(0, 0));
}

void TestCameraGl::translateAddsAndSetPositionReplaces()
{
    CameraGL camera = ahead();
    camera.translate({1, 2, 3});
    camera.translate({1, 0, -1});
    QVERIFY(near(camera.getPosition(), {2, 2, 2}, 0));
    camera.setPosition({7, 8, 9});
    QVERIFY(near(camera.getPosition(), {7, 8, 9}, 0));
}

void TestCameraGl::matrixIsProjectionTimesInversePose()
{
    CameraGL camera = ahead();
    camera.setProjection(90, 90, 1, 2);
    camera.setPosition({3, 4, 5});
    camera.setRotation(about(2, -1, 0.5F, 1.1F));
    camera.update();
    // An orthonormal view undoes the pose: the eye itself maps to the projection's translation.
    const om::Transform& p = camera.getViewProjectionMatrix();
    for (int row = 0; row < 4; ++row) {
        const float at = p(row, 0) * 3 + p(row, 1) * 4 + p(row, 2) * 5 + p(row, 3);
        QVERIFY(std::abs(at - (row == 2 ? -2.0F : 0.0F)) < 1e-5F);
    }
}

QTEST_APPLESS_MAIN(TestCameraGl)
#include "tst_camera_gl.moc"
