#include "charts/DataPlot.h"
#include "charts/plot_canvas.h"

#include <QImage>
#include <QProxyStyle>
#include <QtTest>

#include <cmath>

namespace {

using Change = void (*)(PlotCanvas&);

/// Counts how often the plot's items are drawn.
class DrawCounter : public QwtPlotItem
{
public:
    explicit DrawCounter(QwtPlot& plot) { attach(&plot); }
    void draw(QPainter*, const QwtScaleMap&, const QwtScaleMap&, const QRectF&) const override
    {
        ++draws;
    }
    mutable int draws = 0;
};

/// Counts how often the background of a widget is drawn.
class BackgroundCounter : public QProxyStyle
{
public:
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override
    {
        backgrounds += element == PE_Widget ? 1 : 0;
        QProxyStyle::drawPrimitive(element, option, painter, widget);
    }
    mutable int backgrounds = 0;
};

/// A plot with curves, whose canvas neither starts nor ends at an even pixel.
class Chart : public DataPlot
{
public:
    Chart() : DataPlot(nullptr)
    {
        resize(701, 303);
        QVector<double> times;
        QVector<double> values;
        for (int i = 0; i < 4000; ++i) {
            times.append(i / 400.0);
            values.append(10.0 * std::sin(i / 50.0) + (i % 7));
        }
        updateData(AccX, times, values, false);
        updateData(AccY, times.mid(0, 30), values.mid(100, 30), false); // sparse
        setTimeRange(0.3, 9.1, false);
        setValRange(-15.0, 15.0, false);
        show();
        replot();
    }

    PlotCanvas& plotCanvas() { return *qobject_cast<PlotCanvas*>(canvas()); }
    bool hasStore() { return !plotCanvas().backingStore()->isNull(); }
    bool paintsIntoTheWindow() const
    {
        return std::trunc(devicePixelRatioF()) == devicePixelRatioF();
    }
};

/// A canvas on a screen with another ratio than that of the finest screen.
class CanvasOfAnotherScreen : public PlotCanvas
{
public:
    using PlotCanvas::PlotCanvas;

protected:
    int metric(PaintDeviceMetric name) const override
    {
        return name == PdmDevicePixelRatioScaled ? 5 * static_cast<int>(devicePixelRatioFScale())
                                                 : PlotCanvas::metric(name);
    }
};

} // namespace

Q_DECLARE_METATYPE(Change)

/// CTest runs it once for each factor (CMakeLists.txt).
class TestPlotCanvas : public QObject
{
    Q_OBJECT

private slots:
    void screenHasTheFactorOfThisRun();
    void pictureOfAReplotIsThatOfTheStore_data();
    void pictureOfAReplotIsThatOfTheStore();
    void replotIsPaintedIntoTheWindow();
    void replotIsPaintedByItself();
    void samePictureComesFromTheStoreAfterwards();
    void storeOfAnEarlierPictureIsNotShown();
    void partOfAReplotLeavesTheRestToTheStore();
    void plotInAStyledWindowIsPaintedIntoTheWindow();
    void canvasOfAnotherScreenIsLeftToTheStore();
    void canvasWithAnOwnLookIsLeftToQwt_data();
    void canvasWithAnOwnLookIsLeftToQwt();
    void lookThatComesLaterIsLeftToQwt_data();
    void lookThatComesLaterIsLeftToQwt();
    void borderIsDeterminedOnce();
    void lineOfTheTrackerIsWholeAtEachPosition_data();
    void lineOfTheTrackerIsWholeAtEachPosition();
};

void TestPlotCanvas::screenHasTheFactorOfThisRun()
{
    const QWidget widget;
    QCOMPARE(widget.devicePixelRatioF(),
             qEnvironmentVariable("QT_SCREEN_SCALE_FACTORS", "1").toDouble());
}

void TestPlotCanvas::pictureOfAReplotIsThatOfTheStore_data()
{
    QTest::addColumn<int>("mode");
    for (int mode = 0; mode < 2; ++mode) {
        QTest::addRow("mode %d", mode) << mode;
    }
}

void TestPlotCanvas::pictureOfAReplotIsThatOfTheStore()
{
    QFETCH(int, mode);
    Chart chart;
    chart.setSensorType(static_cast<DataPlot::SensorType>(mode)); // with curves, and without
    chart.replot();
    const QImage first = chart.grab().toImage();
    QCOMPARE(chart.hasStore(), !chart.paintsIntoTheWindow());
    const QImage second = chart.grab().toImage();
    QVERIFY(chart.hasStore());
    QCOMPARE(first, second);
}

void TestPlotCanvas::replotIsPaintedIntoTheWindow()
{
    Chart chart;
    const DrawCounter counter(chart);
    for (int replots = 1; replots < 4; ++replots) {
        chart.replot();
        chart.grab();
        QCOMPARE(chart.hasStore(), !chart.paintsIntoTheWindow());
        QCOMPARE(counter.draws, replots);
    }
}

void TestPlotCanvas::replotIsPaintedByItself()
{
    Chart chart;
    QVERIFY(QTest::qWaitForWindowExposed(&chart, waiting::patienceMs));
    chart.grab();
    const DrawCounter counter(chart);
    chart.replot();
    QTRY_VERIFY(counter.draws > 0);
}

void TestPlotCanvas::storeOfAnEarlierPictureIsNotShown()
{
    Chart chart;
    chart.grab();
    chart.grab(); // fills the store
    chart.setValRange(-20.0, 30.0, true);
    const QImage first = chart.grab().toImage();
    QCOMPARE(chart.grab().toImage(), first);
    QCOMPARE(chart.grab().toImage(), first);
}

void TestPlotCanvas::samePictureComesFromTheStoreAfterwards()
{
    Chart chart;
    const DrawCounter counter(chart);
    chart.replot();
    chart.grab();
    chart.grab(); // fills the store
    QVERIFY(chart.hasStore());
    const int draws = counter.draws;
    chart.grab();
    chart.grab();
    QCOMPARE(counter.draws, draws);
}

void TestPlotCanvas::partOfAReplotLeavesTheRestToTheStore()
{
    Chart chart;
    chart.replot();
    QImage picture(chart.canvas()->size() * chart.devicePixelRatioF(), QImage::Format_RGB32);
    picture.setDevicePixelRatio(chart.devicePixelRatioF());
    picture.fill(Qt::red);
    const QRect left(0, 0, 200, chart.canvas()->height());
    chart.canvas()->render(&picture, QPoint(), left);
    const QPoint outside = QPoint(300, 40) * chart.devicePixelRatioF();
    QCOMPARE(picture.pixelColor(outside), QColor(Qt::red));
    chart.canvas()->render(&picture);
    QImage whole(picture.size(), picture.format());
    whole.setDevicePixelRatio(chart.devicePixelRatioF());
    chart.canvas()->render(&whole);
    QCOMPARE(picture, whole);
}

void TestPlotCanvas::plotInAStyledWindowIsPaintedIntoTheWindow()
{
    QWidget window;
    window.setStyleSheet("QFrame{border: 0px;margin: 0px;padding: 0px;background-color: red;}");
    Chart chart;
    chart.setParent(&window);
    chart.show();
    chart.grab(); // lays the plot out
    QVERIFY(chart.canvas()->testAttribute(Qt::WA_StyledBackground));
    chart.replot();
    const QImage first = chart.grab().toImage();
    QCOMPARE(chart.hasStore(), !chart.paintsIntoTheWindow());
    QCOMPARE(first, chart.grab().toImage());
    QVERIFY(chart.hasStore());
}

void TestPlotCanvas::canvasOfAnotherScreenIsLeftToTheStore()
{
    QwtPlot plot;
    auto* const canvas = new CanvasOfAnotherScreen(&plot);
    plot.setCanvas(canvas);
    canvas->setFrameStyle(QFrame::NoFrame);
    plot.show();
    plot.replot();
    plot.grab();
    QVERIFY(!canvas->backingStore()->isNull());
}

void TestPlotCanvas::canvasWithAnOwnLookIsLeftToQwt_data()
{
    QTest::addColumn<Change>("change");
    QTest::newRow("frame") << +[](PlotCanvas& canvas) {
        canvas.setFrameStyle(QFrame::Box);
        canvas.setLineWidth(3);
    };
    QTest::newRow("round corners") << +[](PlotCanvas& canvas) { canvas.setBorderRadius(30.0); };
    QTest::newRow("style sheet") << +[](PlotCanvas& canvas) {
        canvas.setStyleSheet("border: 4px solid red; border-radius: 20px;");
    };
    QTest::newRow("focus") << +[](PlotCanvas& canvas) {
        canvas.setFocusIndicator(QwtPlotCanvas::CanvasFocusIndicator);
    };
}

void TestPlotCanvas::canvasWithAnOwnLookIsLeftToQwt()
{
    QFETCH(Change, change);
    Chart chart;
    change(chart.plotCanvas());
    chart.grab(); // lays the plot out
    chart.replot();
    const QImage first = chart.grab().toImage();
    QVERIFY(chart.hasStore());
    QCOMPARE(first, chart.grab().toImage());
}

void TestPlotCanvas::lookThatComesLaterIsLeftToQwt_data()
{
    QTest::addColumn<QString>("firstSheet");
    QTest::addColumn<Change>("change");
    QTest::newRow("round corners")
        << QString() << +[](PlotCanvas& canvas) { canvas.setBorderRadius(30.0); };
    QTest::newRow("style sheet") << "background: red;" << +[](PlotCanvas& canvas) {
        canvas.setStyleSheet("background: red; border-radius: 20px;");
    };
    QTest::newRow("style sheet of the window") << QString() << +[](PlotCanvas& canvas) {
        canvas.window()->setStyleSheet("QFrame { background: red; border-radius: 20px; }");
    };
    QTest::newRow("state") << "*:disabled { background: red; border-radius: 20px; }"
                           << +[](PlotCanvas& canvas) { canvas.setEnabled(false); };
}

void TestPlotCanvas::lookThatComesLaterIsLeftToQwt()
{
    QFETCH(QString, firstSheet);
    QFETCH(Change, change);
    Chart chart;
    chart.plotCanvas().setStyleSheet(firstSheet);
    chart.grab(); // lays the plot out
    chart.replot();
    chart.grab();
    QCOMPARE(chart.hasStore(), !chart.paintsIntoTheWindow());
    change(chart.plotCanvas());
    chart.replot();
    const QImage first = chart.grab().toImage();
    QVERIFY(chart.hasStore());
    QCOMPARE(first, chart.grab().toImage());
}

void TestPlotCanvas::borderIsDeterminedOnce()
{
    BackgroundCounter style;
    Chart chart;
    chart.plotCanvas().setStyle(&style);
    chart.plotCanvas().setAttribute(Qt::WA_StyledBackground);
    chart.grab(); // lays the plot out
    chart.replot();
    chart.grab();
    const int first = style.backgrounds;
    for (int replots = 0; replots < 3; ++replots) {
        chart.replot();
        chart.grab();
    }
    if (chart.paintsIntoTheWindow()) { // the store begins with the background
        QCOMPARE(style.backgrounds, first);
        QVERIFY(first > 0);
    }
    chart.plotCanvas().setStyle(nullptr);
}

void TestPlotCanvas::lineOfTheTrackerIsWholeAtEachPosition_data()
{
    QTest::addColumn<int>("x");
    for (int x = 200; x < 204; ++x) {
        QTest::addRow("%d", x) << x;
    }
}

void TestPlotCanvas::lineOfTheTrackerIsWholeAtEachPosition()
{
    QFETCH(int, x);
    Chart chart;
    chart.grab(); // lays the plot out
    const QPoint position(x, 100);
    QMouseEvent move(QEvent::MouseMove, position, Qt::NoButton, Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(chart.canvas(), &move);

    const QImage picture = chart.canvas()->grab().toImage();
    const double ratio = chart.devicePixelRatioF();
    QVector<int> columns; // of the line, in the topmost row
    for (int column = 0; column < picture.width(); ++column) {
        if (picture.pixelColor(column, 0) == QColor("MediumOrchid")) {
            columns.append(column);
        }
    }
    QVERIFY(columns.size() >= std::floor(ratio) && columns.size() <= std::ceil(ratio));
    QVERIFY(std::abs(columns.first() - x * ratio) <= ratio);
}

int main(int argc, char* argv[])
{
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication application(argc, argv);
    TestPlotCanvas test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_plot_canvas.moc"
