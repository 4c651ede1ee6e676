#include "calibration/orientcount.h"

#include <QtTest>

#include <cmath>
#include <cstring>
#include <limits>
#include <tuple>
#include <type_traits>

/// The tests' view of the cells.
struct OrientCountProbe
{
    static int cell(const OrientCount& count, int i, int j, int k) { return count.cells[i][j][k]; }

    /// The indices of the one visited cell; -1 when there is none or more than one.
    static std::tuple<int, int, int> visited(const OrientCount& count)
    {
        std::tuple<int, int, int> found{-1, -1, -1};
        int cells = 0;
        for (int i = 0; i < 12; ++i) {
            for (int j = 0; j < 12; ++j) {
                for (int k = 0; k < 12; ++k) {
                    if (count.cells[i][j][k] != 0) {
                        found = {i, j, k};
                        ++cells;
                    }
                }
            }
        }
        return cells == 1 ? found : std::tuple<int, int, int>{-1, -1, -1};
    }
};

class TestOrientCount : public QObject
{
    Q_OBJECT

private slots:
    void newObjectIsEmpty();
    void oneCellIsItsShareOfThePercentage();
    void allCellsAreHundredPercent();
    void sameOrientationCountsOnce();
    void cellsHoldOneOrZero();
    void angleFallsIntoItsBin_data();
    void angleFallsIntoItsBin();
    void firstArgumentIsSlowestAndSecondFastest();
    void secondAndThirdArgumentAreNotExchangeable();
    void perBinFactorIsTheNearestSingle();
    void objectHoldsItsCellsOnly();
};

void TestOrientCount::newObjectIsEmpty()
{
    OrientCount count;
    QCOMPARE(count.getPercNotZero(), 0.0F);
}

void TestOrientCount::oneCellIsItsShareOfThePercentage()
{
    OrientCount count;
    count.addOrientation(1.0F, 2.0F, 3.0F);
    QVERIFY(count.getPercNotZero() == 100.0F / 1728.0F);
    QVERIFY(count.getPercNotZero() == 0.05787037F);
}

void TestOrientCount::allCellsAreHundredPercent()
{
    OrientCount count;
    int marked = 0;
    for (int a = 0; a < 12; ++a) {
        for (int b = 0; b < 12; ++b) {
            for (int c = 0; c < 12; ++c) {
                count.addOrientation(30.0F * static_cast<float>(a) + 15.0F,
                                     30.0F * static_cast<float>(b) + 15.0F,
                                     30.0F * static_cast<float>(c) + 15.0F);
                ++marked;
                QVERIFY(count.getPercNotZero() == static_cast<float>(marked) * 100.0F / 1728.0F);
            }
        }
    }
    QVERIFY(count.getPercNotZero() == 100.0F);
}

void TestOrientCount::sameOrientationCountsOnce()
{
    OrientCount count;
    count.addOrientation(100.0F, 200.0F, 300.0F);
    const float once = count.getPercNotZero();
    count.addOrientation(100.0F, 200.0F, 300.0F);
    QVERIFY(count.getPercNotZero() == once);
}

void TestOrientCount::cellsHoldOneOrZero()
{
    OrientCount count;
    for (int i = 0; i < 300; ++i) {
        count.addOrientation(0.0F, 0.0F, 0.0F);
    }
    QCOMPARE(OrientCountProbe::cell(count, 0, 0, 0), 1);
    QCOMPARE(OrientCountProbe::cell(count, 0, 0, 1), 0);
}

void TestOrientCount::angleFallsIntoItsBin_data()
{
    QTest::addColumn<float>("degrees");
    QTest::addColumn<int>("bin");
    QTest::newRow("0") << 0.0F << 0;
    QTest::newRow("-0") << -0.0F << 0;
    QTest::newRow("29.99") << 29.99F << 0;
    QTest::newRow("just below 30 rounds up") << 29.999998F << 1;
    QTest::newRow("30") << 30.0F << 1;
    QTest::newRow("180") << 180.0F << 6;
    QTest::newRow("329.9") << 329.9F << 10;
    QTest::newRow("330") << 330.0F << 11;
    QTest::newRow("359.9") << 359.9F << 11;
    QTest::newRow("just below 360") << 359.99997F << 0;
    QTest::newRow("360") << 360.0F << 0;
    QTest::newRow("361") << 361.0F << 0;
    QTest::newRow("-10 is 350") << -10.0F << 11;
    QTest::newRow("-360") << -360.0F << 0;
    QTest::newRow("730 is 10") << 730.0F << 0;
    QTest::newRow("760 is 40") << 760.0F << 1;
    QTest::newRow("-1000 is 80") << -1000.0F << 2;
    QTest::newRow("NaN") << std::numeric_limits<float>::quiet_NaN() << 0;
}

void TestOrientCount::angleFallsIntoItsBin()
{
    QFETCH(float, degrees);
    QFETCH(int, bin);
    using Cell = std::tuple<int, int, int>;
    OrientCount first;
    first.addOrientation(degrees, 75.0F, 75.0F);
    QVERIFY((OrientCountProbe::visited(first) == Cell{bin, 2, 2}));
    OrientCount second;
    second.addOrientation(75.0F, degrees, 75.0F);
    QVERIFY((OrientCountProbe::visited(second) == Cell{2, 2, bin}));
    OrientCount third;
    third.addOrientation(75.0F, 75.0F, degrees);
    QVERIFY((OrientCountProbe::visited(third) == Cell{2, bin, 2}));
}

void TestOrientCount::firstArgumentIsSlowestAndSecondFastest()
{
    OrientCount count;
    count.addOrientation(40.0F, 100.0F, 220.0F); // bins 1, 3, 7
    QVERIFY((OrientCountProbe::visited(count) == std::tuple<int, int, int>{1, 7, 3}));
}

void TestOrientCount::secondAndThirdArgumentAreNotExchangeable()
{
    OrientCount count;
    count.addOrientation(10.0F, 40.0F, 70.0F);
    count.addOrientation(10.0F, 70.0F, 40.0F);
    QVERIFY(count.getPercNotZero() == 2.0F * 100.0F / 1728.0F);
}

void TestOrientCount::perBinFactorIsTheNearestSingle()
{
    const float factor = 1.0F / 30.0F;
    quint32 bits = 0;
    std::memcpy(&bits, &factor, sizeof bits);
    QCOMPARE(bits, 0x3D088889U);
    // The upper edges of all bins follow from it.
    for (int bin = 1; bin < 12; ++bin) {
        const float edge = 30.0F * static_cast<float>(bin);
        const float below = std::nextafter(edge, 0.0F);
        OrientCount count;
        count.addOrientation(below, 0.0F, 0.0F);
        const int expected = static_cast<int>(std::floor(below * factor));
        QVERIFY((OrientCountProbe::visited(count) == std::tuple<int, int, int>{expected, 0, 0}));
    }
}

void TestOrientCount::objectHoldsItsCellsOnly()
{
    QCOMPARE(sizeof(OrientCount), sizeof(void*) + 1728);
    QVERIFY(std::has_virtual_destructor<OrientCount>::value);
}

QTEST_APPLESS_MAIN(TestOrientCount)
#include "tst_orientcount.moc"
