#include "om_tiv/values/transform_reference.h"

#include <om_tiv/om_tiv.h>

#include <QtTest>

#include <cmath>

using namespace om;

namespace {

constexpr double pi = 3.14159265358979323846;

Translation translation(const double* v)
{
    return {static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2])};
}

bool near(double a, double b, double tolerance = 2e-6)
{
    return std::abs(a - b) <= tolerance;
}

bool near(const Vector3<float>& v, double x, double y, double z, double tolerance = 2e-6)
{
    return near(double{v.x}, x, tolerance) && near(double{v.y}, y, tolerance) &&
           near(double{v.z}, z, tolerance);
}

/// q and -q are the same rotation.
bool nearQuaternion(const Orientation& o, const double* q)
{
    const double sign =
        double{o.ox} * q[0] + double{o.oy} * q[1] + double{o.oz} * q[2] + double{o.ow} * q[3] < 0.0
            ? -1.0
            : 1.0;
    return near(sign * double{o.ox}, q[0]) && near(sign * double{o.oy}, q[1]) &&
           near(sign * double{o.oz}, q[2]) && near(sign * double{o.ow}, q[3]);
}

Matrix4f matrix(const double* values)
{
    Matrix4f m;
    for (int i = 0; i < 16; ++i) {
        m.m[i] = static_cast<float>(values[i]);
    }
    return m;
}

bool near(const Matrix4f& m, const double* values, double tolerance = 2e-6)
{
    for (int i = 0; i < 16; ++i) {
        if (!near(double{m.m[i]}, values[i], tolerance)) {
            return false;
        }
    }
    return true;
}

Transform rotationTransform(const double* nine)
{
    Transform t;
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            t(row, column) = static_cast<float>(nine[3 * row + column]);
        }
    }
    return t;
}

} // namespace

class TestTransform : public QObject
{
    Q_OBJECT

private slots:
    void aTranslationIsMadeFromVectors();
    void normalizeScalesToUnitLength();
    void normalizeLeavesAVectorWithoutLength();

    void rotationMatrixMatchesTheReference();
    void rotationAboutNoAxisIsTheIdentity();
    void orientationOfARotationMatchesTheReference();
    void translationTimesOrientationTurnsByTheRotation();
    void productAppliesTheRightFactorFirst();
    void productsStayUnit();
    void setIdentityUndoesARotation();

    void rotationBetweenDirections_data();
    void rotationBetweenDirections();
    void rotationBetweenOppositeDirections_data();
    void rotationBetweenOppositeDirections();
    void rotationFromOrToNoDirectionIsTheIdentity();

    void aNewMatrixIsTheIdentity();
    void elementsAreInRowMajorOrder();
    void matrixProductMatchesTheReference();
    void matrixInverseMatchesTheReference();
    void inverseOfASingularMatrixIsNotFinite();
    void transposeSwapsRowsAndColumns();

    void transformMapsAPointByRotationThenTranslation();
    void transformProductAppliesTheRightFactorFirst();
    void settingTheOrientationKeepsTheTranslation();
    void settingTheTranslationKeepsTheOrientation();
    void orientationComesBackFromATransform();
    void aTransformMadeFromAMatrixKeepsItAll();

    void eulerAnglesMatchTheReference();
    void eulerAnglesInGimbalLock();
    void eulerAnglesOfHalfTurnsArePositive();
    void eulerAnglesInDegrees();
};

void TestTransform::aTranslationIsMadeFromVectors()
{
    const Translation t = Vector3<float>(1.0F, 2.0F, 3.0F);
    QVERIFY(near(t, 1.0, 2.0, 3.0, 0.0));
    QVERIFY(near(Translation(), 0.0, 0.0, 0.0, 0.0));
}

void TestTransform::normalizeScalesToUnitLength()
{
    Translation t(3.0F, -4.0F, 12.0F);
    t.normalize();
    QVERIFY(near(t, 3.0 / 13.0, -4.0 / 13.0, 12.0 / 13.0));

    Translation tiny(0.0F, 3e-30F, -4e-30F);
    tiny.normalize();
    QVERIFY(near(tiny, 0.0, 0.6, -0.8));

    Translation huge(3e30F, 4e30F, 0.0F);
    huge.normalize();
    QVERIFY(near(huge, 0.6, 0.8, 0.0));
}

void TestTransform::normalizeLeavesAVectorWithoutLength()
{
    Translation t;
    t.normalize();
    QVERIFY(near(t, 0.0, 0.0, 0.0, 0.0));
}

void TestTransform::rotationMatrixMatchesTheReference()
{
    for (const RotationCase& c : rotations) {
        const Rotation rotation(static_cast<float>(c.angle), translation(c.axis));
        for (int i = 0; i < 9; ++i) {
            QVERIFY2(near(double{rotation.matrix()[i]}, c.matrix[i]),
                     qPrintable(QString("angle %1, element %2").arg(c.angle).arg(i)));
        }
    }
}

void TestTransform::rotationAboutNoAxisIsTheIdentity()
{
    const Orientation o = Rotation(1.0F, Translation());
    QCOMPARE(o.ow, 1.0F);
    QVERIFY(near(Translation(1.0F, 2.0F, 3.0F) * o, 1.0, 2.0, 3.0));
}

void TestTransform::orientationOfARotationMatchesTheReference()
{
    for (const RotationCase& c : rotations) {
        const Orientation o = Rotation(static_cast<float>(c.angle), translation(c.axis));
        QVERIFY2(nearQuaternion(o, c.quaternion), qPrintable(QString::number(c.angle)));
    }
}

void TestTransform::translationTimesOrientationTurnsByTheRotation()
{
    for (const RotationCase& c : rotations) {
        const Orientation o = Rotation(static_cast<float>(c.angle), translation(c.axis));
        const Translation turned = Translation(1.0F, -2.0F, 3.0F) * o;
        QVERIFY2(near(turned, c.turned[0], c.turned[1], c.turned[2], 4e-6),
                 qPrintable(QString::number(c.angle)));
    }
}

void TestTransform::productAppliesTheRightFactorFirst()
{
    for (const ProductCase& c : products) {
        const Orientation a = Rotation(static_cast<float>(c.angleA), translation(c.axisA));
        const Orientation b = Rotation(static_cast<float>(c.angleB), translation(c.axisB));
        QVERIFY(nearQuaternion(a * b, c.quaternion));
        const Translation v(0.3F, -0.7F, 0.2F);
        const Translation together = v * (a * b);
        const Translation inTurn = (v * b) * a;
        QVERIFY(near(together, double{inTurn.x}, double{inTurn.y}, double{inTurn.z}));
    }
}

void TestTransform::productsStayUnit()
{
    const Orientation step = Rotation(0.1F, Translation(1.0F, 2.0F, -1.0F));
    Orientation o;
    for (int i = 0; i < 100000; ++i) {
        o = step * o;
    }
    const double norm = std::sqrt(double{o.ox} * double{o.ox} + double{o.oy} * double{o.oy} +
                                  double{o.oz} * double{o.oz} + double{o.ow} * double{o.ow});
    QVERIFY(near(norm, 1.0, 1e-6));
}

void TestTransform::setIdentityUndoesARotation()
{
    Orientation o = Rotation(1.0F, Translation(1.0F, 0.0F, 0.0F));
    o.setIdentity();
    QCOMPARE(o.ox, 0.0F);
    QCOMPARE(o.oy, 0.0F);
    QCOMPARE(o.oz, 0.0F);
    QCOMPARE(o.ow, 1.0F);
}

void TestTransform::rotationBetweenDirections_data()
{
    QTest::addColumn<QVector<float>>("a");
    QTest::addColumn<QVector<float>>("b");
    QTest::newRow("x to y") << QVector<float>{1, 0, 0} << QVector<float>{0, 1, 0};
    QTest::newRow("z to a slope") << QVector<float>{0, 0, 1} << QVector<float>{0.4F, -0.3F, 0.2F};
    QTest::newRow("lengths do not matter")
        << QVector<float>{0, 5, 0} << QVector<float>{0, 0, 0.01F};
    QTest::newRow("the same") << QVector<float>{1, 2, 3} << QVector<float>{2, 4, 6};
    QTest::newRow("obtuse") << QVector<float>{1, 0.1F, 0} << QVector<float>{-1, 0.2F, 0.1F};
    QTest::newRow("nearly opposite") << QVector<float>{0, 0, 1} << QVector<float>{1e-4F, 0, -1};
}

void TestTransform::rotationBetweenDirections()
{
    QFETCH(QVector<float>, a);
    QFETCH(QVector<float>, b);
    Translation from(a[0], a[1], a[2]);
    Translation to(b[0], b[1], b[2]);
    const Orientation o(from, to);
    from.normalize();
    to.normalize();
    QVERIFY(near(from * o, double{to.x}, double{to.y}, double{to.z}));
    // The smallest rotation: its axis is perpendicular to both, its angle the one between them.
    QVERIFY(near(double{o.ox * from.x + o.oy * from.y + o.oz * from.z}, 0.0));
    QVERIFY(near(double{o.ox * to.x + o.oy * to.y + o.oz * to.z}, 0.0));
    const double cosine = double{from.x * to.x + from.y * to.y + from.z * to.z};
    QVERIFY(near(2.0 * double{o.ow} * double{o.ow} - 1.0, cosine));
}

void TestTransform::rotationBetweenOppositeDirections_data()
{
    QTest::addColumn<QVector<float>>("a");
    QTest::addColumn<QVector<double>>("axis");
    // The coordinate axis most nearly perpendicular to a, made perpendicular to it.
    QTest::newRow("x") << QVector<float>{1, 0, 0} << QVector<double>{0, 1, 0};
    QTest::newRow("-x") << QVector<float>{-1, 0, 0} << QVector<double>{0, 1, 0};
    QTest::newRow("y") << QVector<float>{0, 1, 0} << QVector<double>{1, 0, 0};
    QTest::newRow("z") << QVector<float>{0, 0, 1} << QVector<double>{1, 0, 0};
    QTest::newRow("-z") << QVector<float>{0, 0, -1} << QVector<double>{1, 0, 0};
    // (1, 2, 2) / 3: x less its part along a is (8, -2, -2) / 9.
    QTest::newRow("a slope") << QVector<float>{1, 2, 2}
                             << QVector<double>{8 / std::sqrt(72.0), -2 / std::sqrt(72.0),
                                                -2 / std::sqrt(72.0)};
}

void TestTransform::rotationBetweenOppositeDirections()
{
    QFETCH(QVector<float>, a);
    QFETCH(QVector<double>, axis);
    const Translation from(a[0], a[1], a[2]);
    const Translation to(-2.0F * a[0], -2.0F * a[1], -2.0F * a[2]);
    const Orientation o(from, to);
    const double expected[4] = {axis[0], axis[1], axis[2], 0.0};
    QVERIFY(nearQuaternion(o, expected));
    QVERIFY(near(from * o, -double{a[0]}, -double{a[1]}, -double{a[2]}));
}

void TestTransform::rotationFromOrToNoDirectionIsTheIdentity()
{
    QCOMPARE(Orientation(Translation(), Translation(1.0F, 0.0F, 0.0F)).ow, 1.0F);
    QCOMPARE(Orientation(Translation(1.0F, 0.0F, 0.0F), Translation()).ow, 1.0F);
}

void TestTransform::aNewMatrixIsTheIdentity()
{
    const double identity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    QVERIFY(near(Matrix4f(), identity, 0.0));
    QVERIFY(near(Matrix4f::identity(), identity, 0.0));
    QVERIFY(near(Transform(), identity, 0.0));
    Matrix4f m = matrix(matrixM);
    m.setIdentity();
    QVERIFY(near(m, identity, 0.0));
}

void TestTransform::elementsAreInRowMajorOrder()
{
    Matrix4f m;
    for (int i = 0; i < 16; ++i) {
        m.m[i] = static_cast<float>(i);
    }
    QCOMPARE(m(0, 3), 3.0F);
    QCOMPARE(m(3, 0), 12.0F);
    QCOMPARE(m(2, 1), 9.0F);
    m(1, 2) = -1.0F;
    QCOMPARE(m.m[6], -1.0F);
}

void TestTransform::matrixProductMatchesTheReference()
{
    QVERIFY(near(matrix(matrixM) * matrix(matrixN), matrixProduct, 1e-5));
}

void TestTransform::matrixInverseMatchesTheReference()
{
    QVERIFY(near(Matrix4f::inverse(matrix(matrixM)), matrixInverse));
}

void TestTransform::inverseOfASingularMatrixIsNotFinite()
{
    Matrix4f m;
    m(2, 2) = 0.0F;
    const Matrix4f inverse = Matrix4f::inverse(m);
    QVERIFY(std::any_of(std::begin(inverse.m), std::end(inverse.m),
                        [](float v) { return !std::isfinite(v); }));
}

void TestTransform::transposeSwapsRowsAndColumns()
{
    const Matrix4f m = matrix(matrixM);
    const Matrix4f transposed = Matrix4f::transpose(m);
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            QCOMPARE(transposed(row, column), m(column, row));
        }
    }
}

void TestTransform::transformMapsAPointByRotationThenTranslation()
{
    const RotationCase& c = rotations[5];
    const Transform t(Rotation(static_cast<float>(c.angle), translation(c.axis)),
                      Translation(10.0F, 20.0F, 30.0F));
    const double expected[16] = {
        c.matrix[0], c.matrix[1], c.matrix[2], 10.0, c.matrix[3], c.matrix[4], c.matrix[5], 20.0,
        c.matrix[6], c.matrix[7], c.matrix[8], 30.0, 0.0,         0.0,         0.0,         1.0};
    QVERIFY(near(t, expected));
    QVERIFY(near(t.getTranslation(), 10.0, 20.0, 30.0, 0.0));
}

void TestTransform::transformProductAppliesTheRightFactorFirst()
{
    const Transform turn(Rotation(static_cast<float>(pi / 2), Translation(0.0F, 0.0F, 1.0F)),
                         Translation());
    const Transform shift(Orientation(), Translation(1.0F, 0.0F, 0.0F));
    QVERIFY(near(Transform(turn * shift).getTranslation(), 0.0, 1.0, 0.0));
    QVERIFY(near(Transform(shift * turn).getTranslation(), 1.0, 0.0, 0.0));
}

void TestTransform::settingTheOrientationKeepsTheTranslation()
{
    Transform t(Orientation(), Translation(1.0F, 2.0F, 3.0F));
    t.setOrientation(Rotation(1.2F, Translation(0.0F, 0.0F, 1.0F)));
    QVERIFY(near(t.getTranslation(), 1.0, 2.0, 3.0, 0.0));
    QVERIFY(near(double{t(0, 0)}, rotations[3].matrix[0]));
    QVERIFY(near(double{t(0, 1)}, rotations[3].matrix[1]));
}

void TestTransform::settingTheTranslationKeepsTheOrientation()
{
    Transform t(Rotation(1.2F, Translation(0.0F, 0.0F, 1.0F)), Translation());
    t.setTranslation(Translation(4.0F, 5.0F, 6.0F));
    QVERIFY(near(t.getTranslation(), 4.0, 5.0, 6.0, 0.0));
    QVERIFY(nearQuaternion(t.getOrientation(), rotations[3].quaternion));
}

void TestTransform::orientationComesBackFromATransform()
{
    for (const RotationCase& c : rotations) {
        const Transform t = rotationTransform(c.matrix);
        QVERIFY2(nearQuaternion(t.getOrientation(), c.quaternion),
                 qPrintable(QString::number(c.angle)));
    }
}

void TestTransform::aTransformMadeFromAMatrixKeepsItAll()
{
    QVERIFY(near(Transform(matrix(matrixM)), matrixM, 1e-8));
}

void TestTransform::eulerAnglesMatchTheReference()
{
    for (const EulerCase& c : eulers) {
        const Vector3<float> angles = rotationTransform(c.matrix).getEulerAngles(true);
        // Near the lock the matrix holds X and Z less exactly.
        QVERIFY2(near(angles, c.angles[0], c.angles[1], c.angles[2], 1e-5),
                 qPrintable(QString("%1 %2 %3, made of %4 %5 %6")
                                .arg(double{angles.x})
                                .arg(double{angles.y})
                                .arg(double{angles.z})
                                .arg(c.angles[0])
                                .arg(c.angles[1])
                                .arg(c.angles[2])));
    }
}

void TestTransform::eulerAnglesInGimbalLock()
{
    for (const EulerCase& c : locked) {
        const Vector3<float> angles = rotationTransform(c.matrix).getEulerAngles(true);
        const bool up = c.angles[1] > 0.0;
        const double left = up ? c.angles[0] - c.angles[2] : c.angles[0] + c.angles[2];
        QVERIFY(near(angles, left, up ? pi / 2 : -pi / 2, 0.0));
    }
}

void TestTransform::eulerAnglesOfHalfTurnsArePositive()
{
    // Half a turn, with a negative zero where the sine is.
    Transform x;
    x(1, 1) = -1.0F;
    x(2, 2) = -1.0F;
    x(2, 1) = -0.0F;
    QVERIFY(near(x.getEulerAngles(true), pi, 0.0, 0.0));
    Transform z;
    z(0, 0) = -1.0F;
    z(1, 1) = -1.0F;
    z(1, 0) = -0.0F;
    QVERIFY(near(z.getEulerAngles(true), 0.0, 0.0, pi));
}

void TestTransform::eulerAnglesInDegrees()
{
    const EulerCase& c = eulers[4];
    const Vector3<float> angles = rotationTransform(c.matrix).getEulerAngles(false);
    QVERIFY(near(angles, c.angles[0] * 180.0 / pi, c.angles[1] * 180.0 / pi,
                 c.angles[2] * 180.0 / pi, 1e-4));
}

QTEST_GUILESS_MAIN(TestTransform)
#include "tst_transform.moc"
