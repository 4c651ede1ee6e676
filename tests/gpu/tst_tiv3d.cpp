#include "gpu/Simple3DObject.h"
#include "gpu/Tiv3D.h"

#include <QCryptographicHash>
#include <QtTest>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>
#include <utility>
#include <vector>

namespace {

using Point = std::array<float, 3>;
using Triangle = std::array<int, 3>; // counted from 1

struct Table
{
    const char* name;
    std::vector<Triangle> triangles;
};

template <std::size_t N>
std::vector<Triangle> trianglesOf(const int (&table)[N])
{
    static_assert(N % 3 == 0, "three corners a triangle");
    std::vector<Triangle> triangles;
    for (std::size_t i = 0; i < N; i += 3) {
        triangles.push_back({table[i], table[i + 1], table[i + 2]});
    }
    return triangles;
}

template <std::size_t N>
std::vector<Point> pointsOf(const float (&table)[N])
{
    static_assert(N % 3 == 0, "three coordinates a vertex");
    std::vector<Point> points;
    for (std::size_t i = 0; i < N; i += 3) {
        points.push_back({table[i], table[i + 1], table[i + 2]});
    }
    return points;
}

const std::vector<Table>& tablesOfN()
{
    using namespace TIV_N_obj;
    static const std::vector<Table> tables = {
        {"alluminiumTriangles", trianglesOf(alluminiumTriangles)},
        {"alluminiumTriangles2", trianglesOf(alluminiumTriangles2)},
        {"alluminiumTriangles3", trianglesOf(alluminiumTriangles3)},
        {"darkTriangles", trianglesOf(darkTriangles)},
        {"darkTriangles2", trianglesOf(darkTriangles2)},
        {"greyTriangles", trianglesOf(greyTriangles)},
        {"greyTriangles2", trianglesOf(greyTriangles2)},
        {"yellowTriangles", trianglesOf(yellowTriangles)},
    };
    return tables;
}

const std::vector<Triangle>& tableOfN(const QString& name)
{
    for (const Table& table : tablesOfN()) {
        if (name == QLatin1String(table.name)) {
            return table.triangles;
        }
    }
    qFatal("no such table");
}

double area(const std::vector<Point>& points, const Triangle& t)
{
    const auto at = [&](int corner) {
        return points[static_cast<std::size_t>(t[std::size_t(corner)] - 1)];
    };
    double u[3];
    double v[3];
    for (std::size_t i = 0; i < 3; ++i) {
        u[i] = double(at(1)[i]) - double(at(0)[i]);
        v[i] = double(at(2)[i]) - double(at(0)[i]);
    }
    return 0.5 * std::hypot(u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                            u[0] * v[1] - u[1] * v[0]);
}

QByteArray hashOf(const std::vector<Point>& points)
{
    QByteArray text;
    for (const Point& p : points) {
        text += QString::asprintf("%.6f %.6f %.6f\n", double(p[0]), double(p[1]), double(p[2]))
                    .toLatin1();
    }
    return QCryptographicHash::hash(text, QCryptographicHash::Sha1).toHex();
}

QByteArray hashOf(const std::vector<Triangle>& triangles)
{
    QByteArray text;
    for (const Triangle& t : triangles) {
        text += QString::asprintf("%d %d %d\n", t[0], t[1], t[2]).toLatin1();
    }
    return QCryptographicHash::hash(text, QCryptographicHash::Sha1).toHex();
}

/// Access to the vertices for the GPU.
class OpenObject : public Simple3DObject
{
public:
    OpenObject() : Simple3DObject(om::Translation(0, 0, 0), false) {}
    using Simple3DObject::colors;
    using Simple3DObject::indices;
    using Simple3DObject::vertices;
};

bool same(const om::Vector3<float>& a, float x, float y, float z)
{
    return a.x == x && a.y == y && a.z == z;
}

} // namespace

class TestTiv3d : public QObject
{
    Q_OBJECT

private slots:
    void firstModelHoldsItsTables();
    void firstModelHasItsExtents();
    void firstModelRows_data();
    void firstModelRows();
    void lensRingsAreTwelveSidedAroundTheirCentres();
    void laterModelsRepeatTheFirstOneWithTablesOfTheirOwn();
    void coloursOfTheModels();
    void firstModelHasNoDegenerateTriangle();

    void smallModelTables_data();
    void smallModelTables();
    void smallModelUsesEveryVertex();
    void smallModelRows_data();
    void smallModelRows();
    void smallModelHasItsExtents();
    void smallModelHasNoDegenerateTriangle();
    void smallModelsBodyIsClosed();
    void lensesAreFansAndRingsAreClosed();
    void lensesCloseTheirBarrelsAndRingsLieAroundThem();

    void fillTivExpandsTrianglesInTableOrder();
    void fillTivWithNoTriangleAddsNothing();
};

void TestTiv3d::firstModelHoldsItsTables()
{
    QCOMPARE(pointsOf(TIV_obj::vertices).size(), std::size_t{56});
    QCOMPARE(trianglesOf(TIV_obj::alluminiumTriangles).size(), std::size_t{54});
    QCOMPARE(trianglesOf(TIV_obj::darkTriangles).size(), std::size_t{54});
    QCOMPARE(hashOf(pointsOf(TIV_obj::vertices)),
             QByteArray("f23cd1df0d5ed20a964ee66fb002cd89403b4aa9"));
    QCOMPARE(hashOf(trianglesOf(TIV_obj::alluminiumTriangles)),
             QByteArray("261f09b771420979605b4c41970c6786c5dadcf9"));
    QCOMPARE(hashOf(trianglesOf(TIV_obj::darkTriangles)),
             QByteArray("1fc58cc593bb127ffbed6f59916451e6b85b7e85"));
    std::set<int> used;
    for (const auto& table :
         {trianglesOf(TIV_obj::alluminiumTriangles), trianglesOf(TIV_obj::darkTriangles)}) {
        for (const Triangle& t : table) {
            used.insert(t.begin(), t.end());
        }
    }
    QCOMPARE(used.size(), std::size_t{56});
    QCOMPARE(*used.begin(), 1);
    QCOMPARE(*used.rbegin(), 56);
}

void TestTiv3d::firstModelHasItsExtents()
{
    const float expected[3][2] = {
        {-0.024755F, 0.144755F}, {-0.016299F, 0.016299F}, {-0.016299F, 0.016299F}};
    const std::vector<Point> points = pointsOf(TIV_obj::vertices);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto [low, high] = std::minmax_element(
            points.begin(), points.end(),
            [axis](const Point& a, const Point& b) { return a[axis] < b[axis]; });
        QCOMPARE((*low)[axis], expected[axis][0]);
        QCOMPARE((*high)[axis], expected[axis][1]);
    }
}

void TestTiv3d::firstModelRows_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<float>("x");
    QTest::addColumn<float>("y");
    QTest::addColumn<float>("z");
    QTest::newRow("first") << 1 << -0.008456F << -0.016299F << 0.016299F;
    QTest::newRow("left end") << 7 << -0.024755F << 0.0F << 0.016299F;
    QTest::newRow("middle") << 27 << 0.06F << -0.016299F << -0.016299F;
    QTest::newRow("first of the second column") << 29 << 0.06F << 0.016299F << -0.016299F;
    QTest::newRow("right end") << 35 << 0.144755F << 0.0F << 0.016299F;
    QTest::newRow("right lens") << 55 << 0.113494F << 0.0F << -0.016299F;
    QTest::newRow("left lens") << 56 << 0.006506F << 0.0F << -0.016299F;
}

void TestTiv3d::firstModelRows()
{
    QFETCH(int, number);
    QFETCH(float, x);
    QFETCH(float, y);
    QFETCH(float, z);
    const Point expected = {x, y, z};
    const auto row = static_cast<std::size_t>(number - 1);
    QVERIFY(pointsOf(TIV_obj::vertices)[row] == expected);
    QVERIFY(pointsOf(TIV_P_obj::vertices)[row] == expected);
}

void TestTiv3d::lensRingsAreTwelveSidedAroundTheirCentres()
{
    const std::vector<Point> points = pointsOf(TIV_obj::vertices);
    const std::pair<std::size_t, std::size_t> lenses[] = {{15, 56},
                                                          {43, 55}}; // first of ring, centre
    for (const auto& [first, centre] : lenses) {
        for (std::size_t k = 0; k < 12; ++k) {
            const Point& p = points[first - 1 + k];
            const double radius = std::hypot(double(p[0]) - double(points[centre - 1][0]),
                                             double(p[1]) - double(points[centre - 1][1]));
            QVERIFY(std::abs(radius - 0.009779) < 2e-6);
            QCOMPARE(p[2], -0.016299F);
        }
    }
}

void TestTiv3d::laterModelsRepeatTheFirstOneWithTablesOfTheirOwn()
{
    QVERIFY(std::equal(std::begin(TIV_obj::vertices), std::end(TIV_obj::vertices),
                       std::begin(TIV_P_obj::vertices), std::end(TIV_P_obj::vertices)));
    QVERIFY(std::equal(
        std::begin(TIV_obj::alluminiumTriangles), std::end(TIV_obj::alluminiumTriangles),
        std::begin(TIV_P_obj::alluminiumTriangles), std::end(TIV_P_obj::alluminiumTriangles)));
    QVERIFY(std::equal(std::begin(TIV_obj::darkTriangles), std::end(TIV_obj::darkTriangles),
                       std::begin(TIV_P_obj::darkTriangles), std::end(TIV_P_obj::darkTriangles)));
    QVERIFY(static_cast<const void*>(TIV_obj::vertices) != TIV_P_obj::vertices);
    QVERIFY(static_cast<const void*>(TIV_obj::darkTriangles) != TIV_P_obj::darkTriangles);
    QVERIFY(static_cast<const void*>(TIV_obj::alluminiumTriangles) !=
            TIV_P_obj::alluminiumTriangles);
}

void TestTiv3d::coloursOfTheModels()
{
    QVERIFY(same(TIV_obj::ALLUMINIUM_COLOR, 0.64F, 0.64F, 0.64F));
    QVERIFY(same(TIV_obj::DARK_COLOR, 0, 0, 0));
    QVERIFY(same(TIV_N_obj::ALLUMINIUM_COLOR, 0.79F, 0.82F, 0.93F));
    QVERIFY(same(TIV_N_obj::DARK_COLOR, 0, 0, 0));
    QVERIFY(same(TIV_N_obj::YELLOW_COLOR, 1, 1, 0));
    QVERIFY(same(TIV_N_obj::LENS_COLOR, 0.22F, 0.22F, 0.22F));
    QVERIFY(same(TIV_P_obj::ALLUMINIUM_COLOR, 0.2F, 0.2F, 0.2F));
    QVERIFY(same(TIV_P_obj::DARK_COLOR, 0, 0, 0));
}

void TestTiv3d::firstModelHasNoDegenerateTriangle()
{
    const std::vector<Point> points = pointsOf(TIV_obj::vertices);
    for (const auto& table :
         {trianglesOf(TIV_obj::alluminiumTriangles), trianglesOf(TIV_obj::darkTriangles)}) {
        for (const Triangle& t : table) {
            QVERIFY2(area(points, t) > 1e-9, qPrintable(QStringLiteral("%1").arg(t[0])));
        }
    }
}

void TestTiv3d::smallModelTables_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("last");
    QTest::addColumn<QVector<double>>("extents"); // x, y, z from and to; equal if not specified
    const double open = 0.0;
    const auto row = [](const char* name, int count, int first, int last,
                        const QVector<double>& extents) {
        QTest::newRow(name) << count << first << last << extents;
    };
    row("alluminiumTriangles", 35, 1, 34, {0.000152, 0.061449, open, open, -0.00225, 0.002251});
    row("alluminiumTriangles2", 52, 35, 87, {-0.031809, -0.026809, open, open, open, open});
    row("alluminiumTriangles3", 38, 14, 121,
        {-0.026847, 0.093353, open, open, -0.000564, 0.000564});
    row("darkTriangles", 1142, 122, 845, {open, open, open, open, open, open});
    row("darkTriangles2", 126, 780, 1015, {-0.030263, 0.091768, open, open, 0.0065, 0.0065});
    row("greyTriangles", 20, 846, 866, {0.064123, 0.077863, -0.00687, 0.00687, -0.0215, -0.0215});
    row("greyTriangles2", 20, 947, 967, {0.001126, 0.014866, -0.00687, 0.00687, -0.0215, -0.0215});
    row("yellowTriangles", 80, 867, 946, {-0.0016, 0.080589, open, open, -0.0195, -0.018});
}

void TestTiv3d::smallModelTables()
{
    QFETCH(int, count);
    QFETCH(int, first);
    QFETCH(int, last);
    QFETCH(QVector<double>, extents);
    const std::vector<Triangle>& triangles = tableOfN(QTest::currentDataTag());
    QCOMPARE(static_cast<int>(triangles.size()), count);
    const std::vector<Point> points = pointsOf(TIV_N_obj::vertices);
    std::set<int> used;
    for (const Triangle& t : triangles) {
        used.insert(t.begin(), t.end());
    }
    QCOMPARE(*used.begin(), first);
    QCOMPARE(*used.rbegin(), last);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double low = extents[int(2 * axis)];
        const double high = extents[int(2 * axis) + 1];
        if (low == 0.0 && high == 0.0) {
            continue;
        }
        double least = 1.0;
        double most = -1.0;
        for (const int number : used) {
            const auto value = double(points[std::size_t(number - 1)][axis]);
            least = std::min(least, value);
            most = std::max(most, value);
        }
        QVERIFY2(std::abs(least - low) < 5e-7, qPrintable(QString::number(least, 'f', 7)));
        QVERIFY2(std::abs(most - high) < 5e-7, qPrintable(QString::number(most, 'f', 7)));
    }
}

void TestTiv3d::smallModelUsesEveryVertex()
{
    QCOMPARE(pointsOf(TIV_N_obj::vertices).size(), std::size_t{1015});
    std::set<int> used;
    std::size_t triangles = 0;
    for (const Table& table : tablesOfN()) {
        triangles += table.triangles.size();
        for (const Triangle& t : table.triangles) {
            used.insert(t.begin(), t.end());
        }
    }
    QCOMPARE(triangles, std::size_t{1513});
    QCOMPARE(used.size(), std::size_t{1015});
    QCOMPARE(*used.begin(), 1);
    QCOMPARE(*used.rbegin(), 1015);
}

void TestTiv3d::smallModelRows_data()
{
    QTest::addColumn<float>("x");
    QTest::addColumn<float>("y");
    QTest::addColumn<float>("z");
    QTest::newRow("1") << 0.0308F << 0.0133F << 0.000001F;
    QTest::newRow("2") << 0.058785F << 0.0133F << -0.00225F;
    QTest::newRow("3") << 0.058785F << 0.0133F << 0.002251F;
    QTest::newRow("8") << 0.002815F << 0.0133F << -0.00225F;
    QTest::newRow("501") << 0.061866F << 0.002963F << -0.018F;
    QTest::newRow("1015") << -0.029024F << 0.010412F << 0.0065F;
}

void TestTiv3d::smallModelRows()
{
    QFETCH(float, x);
    QFETCH(float, y);
    QFETCH(float, z);
    const Point expected = {x, y, z};
    const int number = QByteArray(QTest::currentDataTag()).toInt();
    QVERIFY(pointsOf(TIV_N_obj::vertices)[std::size_t(number - 1)] == expected);
}

void TestTiv3d::smallModelHasItsExtents()
{
    const float expected[3][2] = {
        {-0.031847F, 0.093353F}, {-0.013333F, 0.0133F}, {-0.022997F, 0.0065F}};
    const std::vector<Point> points = pointsOf(TIV_N_obj::vertices);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto [low, high] = std::minmax_element(
            points.begin(), points.end(),
            [axis](const Point& a, const Point& b) { return a[axis] < b[axis]; });
        QCOMPARE((*low)[axis], expected[axis][0]);
        QCOMPARE((*high)[axis], expected[axis][1]);
    }
}

void TestTiv3d::smallModelHasNoDegenerateTriangle()
{
    const std::vector<Point> points = pointsOf(TIV_N_obj::vertices);
    for (const Table& table : tablesOfN()) {
        for (const Triangle& t : table.triangles) {
            QVERIFY2(t[0] >= 1 && t[0] <= 1015 && t[1] >= 1 && t[1] <= 1015 && t[2] >= 1 &&
                         t[2] <= 1015,
                     table.name);
            QVERIFY2(area(points, t) > 1e-9, table.name);
        }
    }
}

void TestTiv3d::smallModelsBodyIsClosed()
{
    // By position: rows of vertices that meet at a hard edge are doubled.
    const std::vector<Point> points = pointsOf(TIV_N_obj::vertices);
    std::map<std::pair<Point, Point>, int> edges;
    std::map<Point, Point> parent;
    const auto root = [&parent](Point p) {
        while (parent.count(p) != 0 && parent[p] != p) {
            p = parent[p];
        }
        return p;
    };
    for (const char* name : {"darkTriangles", "darkTriangles2", "greyTriangles", "greyTriangles2",
                             "yellowTriangles"}) {
        for (const Triangle& t : tableOfN(QLatin1String(name))) {
            for (std::size_t k = 0; k < 3; ++k) {
                const Point a = points[std::size_t(t[k] - 1)];
                const Point b = points[std::size_t(t[(k + 1) % 3] - 1)];
                ++edges[{a, b}];
                parent[root(a)] = root(b);
            }
        }
    }
    // The part with the lenses; the parts on it (wall of the band, boss, connector) are separate.
    const Point body = root(points[846 - 1]);
    int checked = 0;
    for (const auto& [edge, count] : edges) {
        if (root(edge.first) != body) {
            continue;
        }
        ++checked;
        // Used once in each direction: closed, and all triangles face the same side.
        QCOMPARE(count, 1);
        QCOMPARE(edges.count({edge.second, edge.first}), std::size_t{1});
    }
    QVERIFY(checked > 3000);

    // And that side is the outer one.
    double volume = 0.0;
    for (const char* name : {"darkTriangles", "darkTriangles2", "greyTriangles", "greyTriangles2",
                             "yellowTriangles"}) {
        for (const Triangle& t : tableOfN(QLatin1String(name))) {
            const auto at = [&](std::size_t k, std::size_t i) {
                return double(points[std::size_t(t[k] - 1)][i]);
            };
            if (root(points[std::size_t(t[0] - 1)]) == body) {
                volume += (at(0, 0) * (at(1, 1) * at(2, 2) - at(1, 2) * at(2, 1)) +
                           at(0, 1) * (at(1, 2) * at(2, 0) - at(1, 0) * at(2, 2)) +
                           at(0, 2) * (at(1, 0) * at(2, 1) - at(1, 1) * at(2, 0))) /
                          6.0;
            }
        }
    }
    QVERIFY(volume > 6e-5); // about 120 x 25 x 25 mm
}

void TestTiv3d::lensesAreFansAndRingsAreClosed()
{
    for (const auto& [name, centre] :
         {std::pair<const char*, int>{"greyTriangles", 846}, {"greyTriangles2", 947}}) {
        std::set<int> rim;
        for (const Triangle& t : tableOfN(QLatin1String(name))) {
            QCOMPARE(static_cast<int>(std::count(t.begin(), t.end(), centre)), 1);
            rim.insert(t.begin(), t.end());
        }
        QCOMPARE(rim.size(), std::size_t{21});
    }
    std::map<std::pair<int, int>, int> edges;
    for (const Triangle& t : tableOfN(QStringLiteral("yellowTriangles"))) {
        for (std::size_t k = 0; k < 3; ++k) {
            const auto ends = std::minmax(t[k], t[(k + 1) % 3]);
            ++edges[{ends.first, ends.second}];
        }
    }
    // Each of two rings has 20 inner and 20 outer edges of its own, and 40 shared ones.
    const auto shared =
        std::count_if(edges.begin(), edges.end(), [](const auto& e) { return e.second == 2; });
    QCOMPARE(static_cast<int>(shared), 80);
    QCOMPARE(static_cast<int>(edges.size()), 160);
}

void TestTiv3d::lensesCloseTheirBarrelsAndRingsLieAroundThem()
{
    const std::vector<Point> points = pointsOf(TIV_N_obj::vertices);
    const auto radius = [&](int number, float centre) {
        const Point& p = points[std::size_t(number - 1)];
        return std::hypot(double(p[0]) - double(centre), double(p[1]));
    };
    for (int k = 0; k < 20; ++k) {
        QVERIFY(std::abs(radius(847 + k, 0.070993F) - 0.00687) < 2e-6);
        QVERIFY(std::abs(radius(948 + k, 0.007996F) - 0.00687) < 2e-6);
    }
    for (int number = 867; number <= 946; ++number) {
        const double r = radius(number, number < 907 ? 0.070993F : 0.007996F);
        QVERIFY(r > 0.00687);
        QVERIFY(r < 0.0096);
    }
}

void TestTiv3d::fillTivExpandsTrianglesInTableOrder()
{
    const float vertices[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    const int triangles[] = {1, 3, 2, 4, 3, 1, 2, 2, 2};
    OpenObject object;
    fillTIV(2, vertices, triangles, {0.25F, 0.5F, 0.75F}, &object);
    QCOMPARE(object.vertices,
             (std::vector<float>{1, 2, 3, 7, 8, 9, 4, 5, 6, 10, 11, 12, 7, 8, 9, 1, 2, 3}));
    QCOMPARE(object.indices, (std::vector<unsigned int>{0, 1, 2, 3, 4, 5}));
    QCOMPARE(object.colors.size(), std::size_t{18});
    for (std::size_t i = 0; i < 18; i += 3) {
        QCOMPARE(object.colors[i], 0.25F);
        QCOMPARE(object.colors[i + 1], 0.5F);
        QCOMPARE(object.colors[i + 2], 0.75F);
    }
}

void TestTiv3d::fillTivWithNoTriangleAddsNothing()
{
    OpenObject object;
    fillTIV(0, TIV_obj::vertices, TIV_obj::darkTriangles, {1, 1, 1}, &object);
    QVERIFY(object.vertices.empty());
    QVERIFY(object.colors.empty());
    QVERIFY(object.indices.empty());
}

QTEST_APPLESS_MAIN(TestTiv3d)
#include "tst_tiv3d.moc"
