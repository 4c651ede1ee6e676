#include "charts/plot_grid.h"

#include <QImage>
#include <QPainter>
#include <QPicture>
#include <QtTest>

#include <qwt_scale_div.h>
#include <qwt_scale_map.h>

namespace {

using Change = void (*)(QwtPlotGrid&);
using Setting = void (*)(QPainter&);

constexpr int width = 301;
constexpr int height = 203;

void setUp(QwtPlotGrid& grid)
{
    grid.setPen(QColor("#C0C0C0"), 1.0, Qt::DotLine);
    grid.enableX(false);
    QList<double> ticks[QwtScaleDiv::NTickTypes];
    ticks[QwtScaleDiv::MajorTick] = {-20.0, -15.0, -9.7, 0.0, 3.3, 10.0, 15.0, 15.6};
    ticks[QwtScaleDiv::MinorTick] = {-5.0, 5.0};
    grid.setYDiv(QwtScaleDiv(-15.0, 15.0, ticks));
    grid.setXDiv(QwtScaleDiv(-15.0, 15.0, ticks));
}

QwtScaleMap mapOf(double begin, double end)
{
    QwtScaleMap map;
    map.setScaleInterval(-15.0, 15.0);
    map.setPaintInterval(begin, end);
    return map;
}

QImage drawn(const QwtPlotGrid& grid, double factor, const QRectF& canvas,
             Setting setting = nullptr)
{
    QImage picture(QSize(400, 300) * factor, QImage::Format_RGB32);
    picture.setDevicePixelRatio(factor);
    picture.fill(QColor(25, 25, 25));
    QPainter painter(&picture);
    painter.translate(16, 8);
    if (setting != nullptr) {
        setting(painter);
    }
    grid.draw(&painter, mapOf(canvas.left(), canvas.right()), mapOf(canvas.bottom(), canvas.top()),
              canvas);
    return picture;
}

} // namespace

Q_DECLARE_METATYPE(Change)
Q_DECLARE_METATYPE(Setting)

class TestPlotGrid : public QObject
{
    Q_OBJECT

private slots:
    void pictureIsThatOfQwt_data();
    void pictureIsThatOfQwt();
    void lineIsStrokedOnce();
    void lineOfAnotherLookIsStrokedAnew_data();
    void lineOfAnotherLookIsStrokedAnew();
    void otherGridsAreLeftToQwt_data();
    void otherGridsAreLeftToQwt();
    void otherPaintersAreLeftToQwt_data();
    void otherPaintersAreLeftToQwt();
    void recordedPictureGetsLines();
};

void TestPlotGrid::pictureIsThatOfQwt_data()
{
    QTest::addColumn<double>("factor");
    QTest::addColumn<QRectF>("canvas");
    for (const double factor : {1.0, 1.25, 1.5, 2.0, 3.0}) {
        const QByteArray name = QByteArray::number(factor);
        QTest::newRow(name + ", at the origin") << factor << QRectF(0, 0, width, height);
        QTest::newRow(name + ", moved") << factor << QRectF(3, 5, width, height);
        QTest::newRow(name + ", off the pixels") << factor << QRectF(3.4, 5.3, width, height);
        QTest::newRow(name + ", of part of a pixel") << factor << QRectF(3, 5, 300.5, 200.5);
        QTest::newRow(name + ", one pixel wide") << factor << QRectF(3, 5, 1, height);
        QTest::newRow(name + ", empty") << factor << QRectF(3, 5, 0, height);
    }
}

void TestPlotGrid::pictureIsThatOfQwt()
{
    QFETCH(double, factor);
    QFETCH(QRectF, canvas);
    QwtPlotGrid qwtGrid;
    setUp(qwtGrid);
    PlotGrid grid;
    setUp(grid);
    const QImage expected = drawn(qwtGrid, factor, canvas);
    QCOMPARE(drawn(grid, factor, canvas), expected);
    QCOMPARE(drawn(grid, factor, canvas), expected); // from the kept line
}

void TestPlotGrid::lineIsStrokedOnce()
{
    PlotGrid grid;
    setUp(grid);
    for (int replots = 0; replots < 3; ++replots) {
        drawn(grid, 2.0, QRectF(0, 0, width, height));
    }
    QCOMPARE(grid.strokes(), 1);
}

void TestPlotGrid::lineOfAnotherLookIsStrokedAnew_data()
{
    QTest::addColumn<double>("factor");
    QTest::addColumn<int>("length");
    QTest::addColumn<Change>("change");
    const Change none = +[](QwtPlotGrid&) {};
    QTest::newRow("factor") << 2.0 << width << none;
    QTest::newRow("length") << 1.0 << width + 40 << none;
    QTest::newRow("colour") << 1.0 << width
                            << +[](QwtPlotGrid& grid) { grid.setPen(Qt::red, 1.0, Qt::DotLine); };
    QTest::newRow("pattern") << 1.0 << width
                             << +[](QwtPlotGrid& grid) { grid.setPen(Qt::red, 1.0, Qt::DashLine); };
}

void TestPlotGrid::lineOfAnotherLookIsStrokedAnew()
{
    QFETCH(double, factor);
    QFETCH(int, length);
    QFETCH(Change, change);
    QwtPlotGrid qwtGrid;
    setUp(qwtGrid);
    PlotGrid grid;
    setUp(grid);
    drawn(grid, 1.0, QRectF(0, 0, width, height));
    change(qwtGrid);
    change(grid);
    const QRectF canvas(0, 0, length, height);
    QCOMPARE(drawn(grid, factor, canvas), drawn(qwtGrid, factor, canvas));
    QCOMPARE(grid.strokes(), 2);
}

void TestPlotGrid::otherGridsAreLeftToQwt_data()
{
    QTest::addColumn<Change>("change");
    QTest::newRow("vertical lines") << +[](QwtPlotGrid& grid) { grid.enableX(true); };
    QTest::newRow("no lines") << +[](QwtPlotGrid& grid) { grid.enableY(false); };
    QTest::newRow("minor lines") << +[](QwtPlotGrid& grid) { grid.enableYMin(true); };
    QTest::newRow("minor vertical lines") << +[](QwtPlotGrid& grid) {
        grid.enableX(true);
        grid.enableXMin(true);
    };
    QTest::newRow("thick lines") << +[](QwtPlotGrid& grid) {
        grid.setPen(Qt::red, 5.0, Qt::SolidLine);
    };
}

void TestPlotGrid::otherGridsAreLeftToQwt()
{
    QFETCH(Change, change);
    QwtPlotGrid qwtGrid;
    setUp(qwtGrid);
    change(qwtGrid);
    PlotGrid grid;
    setUp(grid);
    change(grid);
    const QRectF canvas(0, 0, width, height);
    QCOMPARE(drawn(grid, 1.0, canvas), drawn(qwtGrid, 1.0, canvas));
    QCOMPARE(grid.strokes(), 0);
}

void TestPlotGrid::otherPaintersAreLeftToQwt_data()
{
    QTest::addColumn<Setting>("setting");
    QTest::newRow("antialiased") << +[](QPainter& painter) {
        painter.setRenderHint(QPainter::Antialiasing);
    };
    QTest::newRow("rotated") << +[](QPainter& painter) { painter.rotate(3); };
    QTest::newRow("sheared") << +[](QPainter& painter) { painter.shear(0.2, 0.0); };
    QTest::newRow("mirrored") << +[](QPainter& painter) {
        painter.translate(width, height);
        painter.scale(-1.0, -1.0);
    };
    QTest::newRow("stretched") << +[](QPainter& painter) { painter.scale(1.0, 2.0); };
    QTest::newRow("reduced") << +[](QPainter& painter) { painter.scale(0.5, 0.5); };
    QTest::newRow("off the columns") << +[](QPainter& painter) { painter.translate(0.4, 0.0); };
    QTest::newRow("off the rows") << +[](QPainter& painter) { painter.translate(0.0, 0.4); };
}

void TestPlotGrid::otherPaintersAreLeftToQwt()
{
    QFETCH(Setting, setting);
    QwtPlotGrid qwtGrid;
    setUp(qwtGrid);
    PlotGrid grid;
    setUp(grid);
    const QRectF canvas(0, 0, width, height);
    QCOMPARE(drawn(grid, 1.0, canvas, setting), drawn(qwtGrid, 1.0, canvas, setting));
    QCOMPARE(grid.strokes(), 0);
}

void TestPlotGrid::recordedPictureGetsLines()
{
    PlotGrid grid;
    setUp(grid);
    QPicture picture;
    QPainter painter(&picture);
    const QRectF canvas(0, 0, width, height);
    grid.draw(&painter, mapOf(0, width), mapOf(height, 0), canvas);
    QCOMPARE(grid.strokes(), 0);
}

QTEST_MAIN(TestPlotGrid)
#include "tst_plot_grid.moc"
