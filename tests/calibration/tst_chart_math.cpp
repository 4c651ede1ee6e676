#include "calibration/chart_math.h"

#include <QtTest>

#include <cmath>
#include <limits>

using chartmath::Extent;

class TestChartMath : public QObject
{
    Q_OBJECT

private slots:
    void extentIsStartAndWidth_data();
    void extentIsStartAndWidth();
    void limitIsATenthAboveTheGreatestMagnitude_data();
    void limitIsATenthAboveTheGreatestMagnitude();
    void limitWithoutFiniteDataIsThatOfAnEmptyPlot_data();
    void limitWithoutFiniteDataIsThatOfAnEmptyPlot();
};

void TestChartMath::extentIsStartAndWidth_data()
{
    QTest::addColumn<QVector<double>>("values");
    QTest::addColumn<float>("start");
    QTest::addColumn<float>("width");
    QTest::newRow("across zero") << QVector<double>{3.0, -2.5, 1.0} << -2.5F << 5.5F;
    QTest::newRow("above zero") << QVector<double>{30.0, 10.0, 20.0} << 10.0F << 20.0F;
    QTest::newRow("one sample") << QVector<double>{7.25} << 7.25F << 0.0F;
    QTest::newRow("all at one value") << QVector<double>{-4.0, -4.0, -4.0} << -4.0F << 0.0F;
    QTest::newRow("none") << QVector<double>{} << 0.0F << 0.0F;
    // Subtracted in double: as floats the two would be 16777216 apart from 1.
    QTest::newRow("narrowed last") << QVector<double>{16777217.0, 1.0} << 1.0F << 16777216.0F;
}

void TestChartMath::extentIsStartAndWidth()
{
    QFETCH(QVector<double>, values);
    QFETCH(float, start);
    QFETCH(float, width);
    const Extent extent = chartmath::extentOf(values);
    QVERIFY(extent.start == start);
    QVERIFY(extent.width == width);
}

void TestChartMath::limitIsATenthAboveTheGreatestMagnitude_data()
{
    using Values = QVector<double>;
    QTest::addColumn<Values>("x");
    QTest::addColumn<Values>("y");
    QTest::addColumn<Values>("z");
    QTest::addColumn<double>("limit");
    QTest::newRow("greatest of x") << Values{50.0, 1.0} << Values{2.0} << Values{3.0} << 50.0 * 1.1;
    QTest::newRow("least of x") << Values{-50.0, 1.0} << Values{2.0} << Values{3.0} << 50.0 * 1.1;
    QTest::newRow("greatest of y") << Values{1.0} << Values{60.0} << Values{3.0} << 60.0 * 1.1;
    QTest::newRow("least of y") << Values{1.0} << Values{-60.0} << Values{3.0} << 60.0 * 1.1;
    QTest::newRow("greatest of z") << Values{1.0} << Values{2.0} << Values{70.0} << 70.0 * 1.1;
    QTest::newRow("least of z") << Values{1.0} << Values{2.0} << Values{-70.0} << 70.0 * 1.1;
}

void TestChartMath::limitIsATenthAboveTheGreatestMagnitude()
{
    QFETCH(QVector<double>, x);
    QFETCH(QVector<double>, y);
    QFETCH(QVector<double>, z);
    QFETCH(double, limit);
    QVERIFY(chartmath::symmetricLimit({&x, &y, &z}) == limit);
}

void TestChartMath::limitWithoutFiniteDataIsThatOfAnEmptyPlot_data()
{
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr double infinity = std::numeric_limits<double>::infinity();
    QTest::addColumn<QVector<double>>("x");
    QTest::addColumn<QVector<double>>("y");
    QTest::newRow("no samples") << QVector<double>{} << QVector<double>{};
    QTest::newRow("NaN first") << QVector<double>{nan, 1.0} << QVector<double>{2.0, 3.0};
    QTest::newRow("NaN last") << QVector<double>{1.0, 2.0} << QVector<double>{3.0, nan};
    QTest::newRow("infinity") << QVector<double>{1.0, infinity} << QVector<double>{2.0, 3.0};
    QTest::newRow("minus infinity") << QVector<double>{-infinity} << QVector<double>{2.0};
}

void TestChartMath::limitWithoutFiniteDataIsThatOfAnEmptyPlot()
{
    QFETCH(QVector<double>, x);
    QFETCH(QVector<double>, y);
    const double limit = chartmath::symmetricLimit({&x, &y, &y});
    QCOMPARE(limit, 1.5);
}

QTEST_APPLESS_MAIN(TestChartMath)
#include "tst_chart_math.moc"
