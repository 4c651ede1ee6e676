#include "charts/Background.h"
#include "charts/DataCurve.h"

#include <QImage>
#include <QPainter>
#include <QtTest>

#include <qwt_scale_map.h>
#include <qwt_text.h>

class TestDataCurve : public QObject
{
    Q_OBJECT

private slots:
    void startsAsAThinBlackLine();
    void keepsTheMeansOfFastPainting();
    void setLineSetsASolidPen();
    void setLineReplacesAnotherPenStyle();

    void backgroundIsAUserItemBelowAll();
    void backgroundFillsTheCanvasRectangleAlone();
};

void TestDataCurve::startsAsAThinBlackLine()
{
    const DataCurve curve(QStringLiteral("Acc. X"));
    QCOMPARE(curve.title().text(), QString("Acc. X"));
    QCOMPARE(curve.style(), QwtPlotCurve::Lines);
    QCOMPARE(curve.pen().color(), QColor(Qt::black));
    QCOMPARE(curve.pen().widthF(), 1.0);
    QCOMPARE(curve.pen().style(), Qt::SolidLine);
}

void TestDataCurve::keepsTheMeansOfFastPainting()
{
    const DataCurve curve(QStringLiteral("x"));
    QVERIFY(curve.testPaintAttribute(QwtPlotCurve::ClipPolygons));
    QVERIFY(curve.testPaintAttribute(QwtPlotCurve::FilterPoints));
    QVERIFY(!curve.testRenderHint(QwtPlotItem::RenderAntialiased));
}

void TestDataCurve::setLineSetsASolidPen()
{
    DataCurve curve(QStringLiteral("x"));
    curve.setLine(QColor("#30d695"), 2.0);
    QCOMPARE(curve.pen().color(), QColor(48, 214, 149));
    QCOMPARE(curve.pen().widthF(), 2.0);
    QCOMPARE(curve.pen().style(), Qt::SolidLine);
}

void TestDataCurve::setLineReplacesAnotherPenStyle()
{
    DataCurve curve(QStringLiteral("x"));
    curve.setPen(QPen(Qt::red, 7.0, Qt::DashLine));
    curve.setLine(Qt::blue, 1.5);
    QCOMPARE(curve.pen(), QPen(Qt::blue, 1.5, Qt::SolidLine));
}

void TestDataCurve::backgroundIsAUserItemBelowAll()
{
    const Background background;
    QCOMPARE(background.rtti(), 1000);
    QCOMPARE(background.z(), 0.0);
    QVERIFY(background.title().isEmpty());
}

void TestDataCurve::backgroundFillsTheCanvasRectangleAlone()
{
    QImage image(20, 10, QImage::Format_ARGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    Background().draw(&painter, QwtScaleMap(), QwtScaleMap(), QRectF(4.0, 2.0, 10.0, 5.0));
    painter.end();

    QImage expected(20, 10, QImage::Format_ARGB32);
    expected.fill(Qt::white);
    for (int y = 2; y < 7; ++y) {
        for (int x = 4; x < 14; ++x) {
            expected.setPixelColor(x, y, QColor(25, 25, 25));
        }
    }
    QCOMPARE(image, expected);
}

QTEST_MAIN(TestDataCurve)
#include "tst_datacurve.moc"
