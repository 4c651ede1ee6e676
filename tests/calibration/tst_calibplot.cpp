#include "calibration/calibplot.h"

#include <QImage>
#include <QPointer>
#include <QtTest>

#include <qwt_plot_canvas.h>
#include <qwt_plot_curve.h>
#include <qwt_plot_grid.h>
#include <qwt_plot_layout.h>
#include <qwt_plot_shapeitem.h>
#include <qwt_scale_widget.h>

#include <array>
#include <memory>

struct CalibPlotProbe
{
    CalibPlot& plot;

    QwtPlotCanvas* canvas() const { return plot.canvas.get(); }
    QwtPlotGrid* grid() const { return plot.grid.get(); }
    QwtPlotShapeItem* ellipse(CalibPlot::_plane plane) const { return plot.fitEllipses[plane]; }
    std::weak_ptr<QwtPlotCanvas> canvasOwner() const { return plot.canvas; }
    std::weak_ptr<QwtPlotGrid> gridOwner() const { return plot.grid; }
    std::size_t ellipses() const { return plot.fitEllipses.size(); }
};

namespace {

/// Counts its replots.
class CountingPlot : public CalibPlot
{
public:
    void replot() override
    {
        ++replots;
        CalibPlot::replot();
    }
    int replots = 0;
};

using Plane = CalibPlot::_plane;

} // namespace

Q_DECLARE_METATYPE(CalibPlot::_plane)

class TestCalibPlot : public QObject
{
    Q_OBJECT

private slots:
    void canvasIsWhiteWithoutAFrame();
    void axesAreLeftAndBottomAndFollowTheData();
    void emptyPlotShowsItsFirstRange();
    void plotReplotsByItselfAndAlignsItsCanvas();
    void axesAreGrey();
    void gridIsDotted();
    void planesAreNumbered();
    void threeEllipsesStandEmptyAtFirst();
    void ellipseFillsItsRectangle_data();
    void ellipseFillsItsRectangle();
    void ellipseLeavesTheOthersAlone();
    void ellipseReplacesTheFormerOne();
    void flatEllipseIsTaken_data();
    void flatEllipseIsTaken();
    void ellipseIsSeenInItsColour_data();
    void ellipseIsSeenInItsColour();
    void eachPartIsDeletedOnce();
    void holdReplotsEachPlotOnceAtItsEnd();
    void holdsNest();
    void holdLeavesAPlotThatDoesNotReplotAlone();
    void heldPictureIsThatOfSinglySetItems();
};

void TestCalibPlot::canvasIsWhiteWithoutAFrame()
{
    CalibPlot plot;
    const CalibPlotProbe probe{plot};
    QCOMPARE(static_cast<QWidget*>(probe.canvas()), static_cast<QwtPlot&>(plot).canvas());
    QCOMPARE(probe.canvas()->frameStyle(), static_cast<int>(QFrame::NoFrame));
    QCOMPARE(probe.canvas()->lineWidth(), 0);
    QCOMPARE(probe.canvas()->palette().color(QPalette::Window),
             QPalette(Qt::white).window().color());
    QVERIFY(probe.canvas()->testPaintAttribute(QwtPlotCanvas::BackingStore));
    QVERIFY(probe.canvas()->testPaintAttribute(QwtPlotCanvas::ImmediatePaint));
}

void TestCalibPlot::axesAreLeftAndBottomAndFollowTheData()
{
    const CalibPlot plot;
    QVERIFY(plot.axisEnabled(QwtPlot::yLeft));
    QVERIFY(plot.axisEnabled(QwtPlot::xBottom));
    QVERIFY(!plot.axisEnabled(QwtPlot::yRight));
    QVERIFY(!plot.axisEnabled(QwtPlot::xTop));
    QVERIFY(plot.axisAutoScale(QwtPlot::yLeft));
    QVERIFY(plot.axisAutoScale(QwtPlot::xBottom));
}

void TestCalibPlot::emptyPlotShowsItsFirstRange()
{
    CalibPlot plot;
    plot.replot();
    for (const int axis : {QwtPlot::yLeft, QwtPlot::xBottom}) {
        QCOMPARE(plot.axisScaleDiv(axis).lowerBound(), -1.5);
        QCOMPARE(plot.axisScaleDiv(axis).upperBound(), 1.5);
        QCOMPARE(plot.axisStepSize(axis), 0.0);
    }
}

void TestCalibPlot::plotReplotsByItselfAndAlignsItsCanvas()
{
    CalibPlot plot;
    QVERIFY(plot.autoReplot());
    for (const int axis : {QwtPlot::yLeft, QwtPlot::xBottom}) {
        QVERIFY(plot.plotLayout()->alignCanvasToScale(axis));
    }
}

void TestCalibPlot::axesAreGrey()
{
    const CalibPlot plot;
    for (const int axis : {QwtPlot::yLeft, QwtPlot::xBottom}) {
        QCOMPARE(plot.axisWidget(axis)->styleSheet(), QString("color: rgb(130,130,130)"));
    }
}

void TestCalibPlot::gridIsDotted()
{
    CalibPlot plot;
    const QwtPlotGrid* const grid = CalibPlotProbe{plot}.grid();
    QCOMPARE(grid->plot(), static_cast<QwtPlot*>(&plot));
    for (const QPen& pen : {grid->majorPen(), grid->minorPen()}) {
        QCOMPARE(pen.color(), QColor(0xC0, 0xC0, 0xC0));
        QCOMPARE(pen.widthF(), 1.0);
        QCOMPARE(pen.style(), Qt::DotLine);
    }
}

void TestCalibPlot::planesAreNumbered()
{
    QCOMPARE(static_cast<int>(CalibPlot::PLANE_XY), 0);
    QCOMPARE(static_cast<int>(CalibPlot::PLANE_XZ), 1);
    QCOMPARE(static_cast<int>(CalibPlot::PLANE_YZ), 2);
}

void TestCalibPlot::threeEllipsesStandEmptyAtFirst()
{
    CalibPlot plot;
    const CalibPlotProbe probe{plot};
    QCOMPARE(probe.ellipses(), std::size_t{3});
    const char* const titles[] = {"Fit Ellipse XY", "Fit Ellipse XZ", "Fit Ellipse YZ"};
    QwtPlotItemList expected;
    for (int i = 0; i < 3; ++i) {
        QwtPlotShapeItem* const ellipse = probe.ellipse(static_cast<Plane>(i));
        QCOMPARE(ellipse->title().text(), QString(titles[i]));
        QVERIFY(ellipse->testItemAttribute(QwtPlotItem::Legend));
        QVERIFY(ellipse->testRenderHint(QwtPlotItem::RenderAntialiased));
        QVERIFY(ellipse->shape().isEmpty());
        expected.append(ellipse);
    }
    QCOMPARE(plot.itemList(QwtPlotItem::Rtti_PlotShape), expected);
    QCOMPARE(plot.itemList().size(), 4); // with the grid
}

void TestCalibPlot::ellipseFillsItsRectangle_data()
{
    QTest::addColumn<Plane>("plane");
    QTest::addColumn<QColor>("colour");
    QTest::newRow("XY") << CalibPlot::PLANE_XY << QColor(255, 53, 53, 100);
    QTest::newRow("XZ") << CalibPlot::PLANE_XZ << QColor(77, 156, 210, 100);
    QTest::newRow("YZ") << CalibPlot::PLANE_YZ << QColor(105, 199, 85, 100);
}

void TestCalibPlot::ellipseFillsItsRectangle()
{
    QFETCH(Plane, plane);
    QFETCH(QColor, colour);
    CalibPlot plot;
    plot.setFitEllipse(plane, -40.1F, -30.2F, 80.3F, 70.4F);
    const QwtPlotShapeItem* const item = CalibPlotProbe{plot}.ellipse(plane);
    QPainterPath path;
    path.addEllipse(static_cast<double>(-40.1F), static_cast<double>(-30.2F),
                    static_cast<double>(80.3F), static_cast<double>(70.4F));
    QVERIFY(item->shape() == path);
    QCOMPARE(CalibPlot::planeColour(plane), colour);
    QCOMPARE(item->pen().color(), colour.darker(200));
    QCOMPARE(item->pen().color().alpha(), 100);
    QCOMPARE(item->pen().widthF(), 0.0);
    QCOMPARE(item->pen().style(), Qt::SolidLine);
    QCOMPARE(item->brush().color(), colour.lighter(150));
    QCOMPARE(item->brush().style(), Qt::SolidPattern);
}

void TestCalibPlot::ellipseLeavesTheOthersAlone()
{
    CalibPlot plot;
    const CalibPlotProbe probe{plot};
    plot.setFitEllipse(CalibPlot::PLANE_XZ, 0.0F, 0.0F, 1.0F, 1.0F);
    QVERIFY(probe.ellipse(CalibPlot::PLANE_XY)->shape().isEmpty());
    QVERIFY(!probe.ellipse(CalibPlot::PLANE_XZ)->shape().isEmpty());
    QVERIFY(probe.ellipse(CalibPlot::PLANE_YZ)->shape().isEmpty());
}

void TestCalibPlot::ellipseReplacesTheFormerOne()
{
    CalibPlot plot;
    const CalibPlotProbe probe{plot};
    plot.setFitEllipse(CalibPlot::PLANE_XY, 0.0F, 0.0F, 100.0F, 100.0F);
    const QwtPlotShapeItem* const first = probe.ellipse(CalibPlot::PLANE_XY);
    plot.setFitEllipse(CalibPlot::PLANE_XY, 1.0F, 2.0F, 3.0F, 4.0F);
    QCOMPARE(probe.ellipse(CalibPlot::PLANE_XY), first);
    QCOMPARE(first->shape().boundingRect(), QRectF(1.0, 2.0, 3.0, 4.0));
    QCOMPARE(plot.itemList(QwtPlotItem::Rtti_PlotShape).size(), 3);
    QCOMPARE(plot.axisScaleDiv(QwtPlot::xBottom).upperBound() < 10.0, true);
}

void TestCalibPlot::flatEllipseIsTaken_data()
{
    QTest::addColumn<float>("width");
    QTest::addColumn<float>("height");
    QTest::newRow("no width") << 0.0F << 20.0F;
    QTest::newRow("no height") << 20.0F << 0.0F;
    QTest::newRow("a point") << 0.0F << 0.0F;
}

void TestCalibPlot::flatEllipseIsTaken()
{
    QFETCH(float, width);
    QFETCH(float, height);
    CalibPlot plot;
    plot.resize(290, 270);
    plot.setFitEllipse(CalibPlot::PLANE_YZ, 5.0F, 6.0F, width, height);
    const QRectF bounds = CalibPlotProbe{plot}.ellipse(CalibPlot::PLANE_YZ)->shape().boundingRect();
    QCOMPARE(bounds.width(), static_cast<double>(width));
    QCOMPARE(bounds.height(), static_cast<double>(height));
    QVERIFY(!plot.grab().isNull());
}

void TestCalibPlot::ellipseIsSeenInItsColour_data()
{
    ellipseFillsItsRectangle_data();
}

void TestCalibPlot::ellipseIsSeenInItsColour()
{
    QFETCH(Plane, plane);
    QFETCH(QColor, colour);
    CalibPlot plot;
    plot.resize(290, 270);
    plot.setAxisScale(QwtPlot::xBottom, -10.0, 10.0);
    plot.setAxisScale(QwtPlot::yLeft, -10.0, 10.0);
    plot.show();
    plot.setFitEllipse(plane, -7.0F, -6.0F, 14.0F, 12.0F);
    QWidget* const canvas = static_cast<QwtPlot&>(plot).canvas();
    const QImage picture = canvas->grab().toImage();
    const auto pixel = [&](double x, double y) {
        return picture.pixelColor(qRound(plot.transform(QwtPlot::xBottom, x)),
                                  qRound(plot.transform(QwtPlot::yLeft, y)));
    };
    // The translucent brush over the white canvas, off the lines of the grid.
    const QColor brush = colour.lighter(150);
    const double alpha = brush.alphaF();
    const auto mixed = [alpha](int channel) { return qRound(255 * (1 - alpha) + channel * alpha); };
    const QColor inside = pixel(1.3, 1.7);
    QVERIFY(std::abs(inside.red() - mixed(brush.red())) <= 2);
    QVERIFY(std::abs(inside.green() - mixed(brush.green())) <= 2);
    QVERIFY(std::abs(inside.blue() - mixed(brush.blue())) <= 2);
    QCOMPARE(pixel(-8.7, 8.7), QColor(Qt::white));
    QCOMPARE(pixel(8.7, 8.7), QColor(Qt::white));
}

void TestCalibPlot::eachPartIsDeletedOnce()
{
    auto* const parent = new QWidget;
    auto* const plot = new CalibPlot(parent);
    const CalibPlotProbe probe{*plot};
    const QPointer<QWidget> canvas = probe.canvas();
    const std::weak_ptr<QwtPlotCanvas> canvasOwner = probe.canvasOwner();
    const std::weak_ptr<QwtPlotGrid> gridOwner = probe.gridOwner();
    int destroyed = 0;
    connect(probe.canvas(), &QObject::destroyed, [&destroyed] { ++destroyed; });
    parent->resize(300, 300);
    parent->show();
    delete parent;
    QVERIFY(canvas.isNull());
    QVERIFY(canvasOwner.expired());
    QVERIFY(gridOwner.expired());
    QCOMPARE(destroyed, 1);
}

void TestCalibPlot::holdReplotsEachPlotOnceAtItsEnd()
{
    CountingPlot first;
    CountingPlot second;
    first.replots = second.replots = 0;
    {
        const CalibPlot::ReplotHold hold(std::array<CalibPlot*, 2>{&first, &second});
        for (int i = 1; i < 5; ++i) {
            const auto size = static_cast<float>(i);
            first.setFitEllipse(CalibPlot::PLANE_XY, 0.0F, 0.0F, size, size);
            second.setFitEllipse(CalibPlot::PLANE_XZ, 0.0F, 0.0F, size, size);
        }
        QCOMPARE(first.replots, 0);
        QCOMPARE(second.replots, 0);
    }
    QCOMPARE(first.replots, 1);
    QCOMPARE(second.replots, 1);
    QVERIFY(first.autoReplot());
    QVERIFY(second.autoReplot());
}

void TestCalibPlot::holdsNest()
{
    CountingPlot plot;
    plot.replots = 0;
    {
        const std::array<CalibPlot*, 1> plots{&plot};
        const CalibPlot::ReplotHold outer(plots);
        {
            const CalibPlot::ReplotHold inner(plots);
            plot.setFitEllipse(CalibPlot::PLANE_XY, 0.0F, 0.0F, 1.0F, 1.0F);
        }
        QCOMPARE(plot.replots, 0);
        QVERIFY(!plot.autoReplot());
    }
    QCOMPARE(plot.replots, 1);
}

void TestCalibPlot::holdLeavesAPlotThatDoesNotReplotAlone()
{
    CountingPlot plot;
    plot.setAutoReplot(false);
    plot.replots = 0;
    {
        const CalibPlot::ReplotHold hold(std::array<CalibPlot*, 1>{&plot});
    }
    QVERIFY(!plot.autoReplot());
    QCOMPARE(plot.replots, 0);
}

void TestCalibPlot::heldPictureIsThatOfSinglySetItems()
{
    CalibPlot held;
    CalibPlot single;
    const auto fill = [](CalibPlot& plot) {
        plot.setFitEllipse(CalibPlot::PLANE_XY, -30.0F, -20.0F, 90.0F, 60.0F);
        plot.setFitEllipse(CalibPlot::PLANE_YZ, -10.0F, -40.0F, 50.0F, 95.0F);
        auto* const curve = new QwtPlotCurve;
        curve->attach(&plot);
        curve->setSamples(QVector<double>{-50.0, 20.0, 71.0}, QVector<double>{5.0, -60.0, 33.0});
    };
    for (CalibPlot* const plot : {&held, &single}) {
        plot->resize(290, 270);
        plot->show();
    }
    {
        const CalibPlot::ReplotHold hold(std::array<CalibPlot*, 1>{&held});
        fill(held);
    }
    fill(single);
    QCOMPARE(held.grab().toImage(), single.grab().toImage());
}

QTEST_MAIN(TestCalibPlot)
#include "tst_calibplot.moc"
