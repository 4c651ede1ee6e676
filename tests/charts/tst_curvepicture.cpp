// Compares the picture of a DenseCurve with that of the same samples drawn by Qwt.

#include "charts/DataCurve.h"
#include "charts/DataPlot.h"
#include "charts/dense_curve.h"
#include "charts/waves.h"

#include <QPainter>
#include <QSet>
#include <QtTest>

#include <qwt_plot_canvas.h>
#include <qwt_scale_engine.h>
#include <qwt_scale_map.h>

#include <cmath>
#include <functional>

using waves::Series;
using waves::Shape;
using Prepare = std::function<void(QPainter&, DataCurve&)>;

Q_DECLARE_METATYPE(Shape)
Q_DECLARE_METATYPE(Prepare)

namespace {

const QColor colours[3] = {"#ff5757", "#30d695", "#00beff"};
constexpr double feedSurplus = 1.3;                 // of IMU samples over those of the window
constexpr double factors[] = {1.0, 1.25, 1.5, 2.0}; // pixels of the device per pixel of the chart

/// A plot without its own curves, with a value axis of +-15 and a time axis that ends with the
/// newest sample.
class Canvas
{
public:
    explicit Canvas(int width = 900, int height = 310) : m_plot(nullptr)
    {
        m_plot.resize(width, height);
        m_plot.setSensorType(static_cast<DataPlot::SensorType>(-1));
        m_plot.setValRange(-waves::range, waves::range, false);
    }

    void setTime(double left, double right) { m_plot.setTimeRange(left, right, false); }

    template <class Curve>
    Curve* add(const Series& series, const QColor& colour)
    {
        auto* curve = new Curve(QString()); // deleted by the plot
        curve->setLine(colour, 2.0);
        curve->setSamples(series.time, series.values);
        curve->attach(&m_plot);
        return curve;
    }

    /// On a device with so many pixels per pixel of the chart.
    QImage picture(double factor)
    {
        m_plot.replot();
        if (factor == 1.0) {
            return m_plot.canvas()->grab().toImage().convertToFormat(QImage::Format_RGB32);
        }
        m_plot.updateLayout(); // grab() would do it
        QImage image(m_plot.canvas()->size() * factor, QImage::Format_RGB32);
        image.setDevicePixelRatio(factor);
        QPainter painter(&image);
        painter.setClipRect(m_plot.canvas()->contentsRect());
        m_plot.drawCanvas(&painter);
        return image;
    }

    DataPlot& plot() { return m_plot; }

private:
    DataPlot m_plot;
};

/// Drawn pixels of one picture without a counterpart in the other.
struct Difference
{
    int ink = 0;
    int missing = 0;
    QPoint first = {-1, -1};
};

bool hasNear(const QImage& image, int x, int y, QRgb colour, int distance = 1)
{
    for (int row = std::max(0, y - distance); row <= std::min(image.height() - 1, y + distance);
         ++row) {
        const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(row));
        for (int column = std::max(0, x - distance);
             column <= std::min(image.width() - 1, x + distance); ++column) {
            if (line[column] == colour) {
                return true;
            }
        }
    }
    return false;
}

Difference inkWithoutCounterpart(const QImage& image, const QImage& other, int distance)
{
    // Beside the ends of the time axis the counterpart may be outside the picture.
    const int margin = 2 * (distance - 1);
    Difference difference;
    for (int y = 0; y < image.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = margin; x < image.width() - margin; ++x) {
            const QRgb pixel = line[x];
            if (pixel != colours[0].rgb() && pixel != colours[1].rgb() &&
                pixel != colours[2].rgb()) {
                continue;
            }
            ++difference.ink;
            if (!hasNear(other, x, y, pixel, distance)) {
                if (difference.missing++ == 0) {
                    difference.first = QPoint(x, y);
                }
            }
        }
    }
    return difference;
}

QByteArray described(const char* what, const Difference& difference)
{
    return QStringLiteral("%1: %2 of %3 ink pixels, the first at %4, %5")
        .arg(QLatin1String(what))
        .arg(difference.missing)
        .arg(difference.ink)
        .arg(difference.first.x())
        .arg(difference.first.y())
        .toLocal8Bit();
}

constexpr int inkPerStray = 4000; // one drawn pixel in so many may lack a counterpart

/// The parts between samples that are not a number, which Qwt's own line cannot handle.
QVector<Series> finiteStretches(const Series& series)
{
    QVector<Series> stretches(1);
    for (int i = 0; i < series.values.size(); ++i) {
        if (std::isfinite(series.values[i])) {
            stretches.last().time.append(series.time[i]);
            stretches.last().values.append(series.values[i]);
        } else {
            stretches.append(Series());
        }
    }
    return stretches;
}

Series lastPart(const Series& series, int count)
{
    const int start = std::max(0, series.time.size() - count);
    return {series.time.mid(start), series.values.mid(start)};
}

QVector<Series> threeOf(Shape shape, int rate, double seconds)
{
    QVector<Series> channels;
    for (int i = 0; i < 3; ++i) {
        channels.append(waves::make(shape, rate, seconds, i));
    }
    return channels;
}

void drawBoth(const Series& series, const QColor& colour, Canvas& ours, Canvas& plain)
{
    ours.add<DenseCurve>(series, colour);
    for (const Series& stretch : finiteStretches(series)) {
        plain.add<DataCurve>(stretch, colour);
    }
}

void keepPictures(const QImage& ours, const QImage& plain)
{
    const QByteArray folder = qgetenv("GRAVIMON_KEEP_PICTURES");
    if (!folder.isEmpty()) {
        const QString name = QString::fromLocal8Bit(folder) + '/' + QTest::currentTestFunction() +
                             '-' + QTest::currentDataTag();
        ours.save(name + "-ours.png");
        plain.save(name + "-plain.png");
    }
}

/// All other drawn pixels have a pixel of the same colour within one pixel of the chart, in both
/// directions. Qwt rounds samples to whole pixels of the chart, also where the device has more of
/// them; then a curve that another one covers would show beside it, so the first is drawn alone.
void compareWithQwt(const QVector<Series>& channels, double left, double right, double factor,
                    const QSize& size = {900, 310})
{
    const int distance = static_cast<int>(std::ceil(factor));
    Canvas ours(size.width(), size.height());
    Canvas plain(size.width(), size.height());
    for (int i = 0; i < (factor == 1.0 ? channels.size() : 1); ++i) {
        drawBoth(channels[i], colours[i], ours, plain);
    }
    ours.setTime(left, right);
    plain.setTime(left, right);
    const QImage ourPicture = ours.picture(factor);
    const QImage plainPicture = plain.picture(factor);
    QCOMPARE(ourPicture.size(), plainPicture.size());
    const Difference surplus = inkWithoutCounterpart(ourPicture, plainPicture, distance);
    const Difference lost = inkWithoutCounterpart(plainPicture, ourPicture, distance);
    if (surplus.missing * inkPerStray > surplus.ink || lost.missing * inkPerStray > lost.ink) {
        keepPictures(ourPicture, plainPicture);
    }
    QVERIFY(surplus.ink > 0);
    QVERIFY(lost.ink > 0);
    QVERIFY2(surplus.missing * inkPerStray <= surplus.ink,
             described("not in Qwt's picture", surplus));
    QVERIFY2(lost.missing * inkPerStray <= lost.ink, described("lost from Qwt's picture", lost));
}

/// Both curves on an image, over x 0 to 100 and y -15 to 15.
struct Painted
{
    template <class Curve>
    static QImage picture(const Series& series, const QColor& colour,
                          const std::function<void(QPainter&, Curve&)>& prepare,
                          double devicePixelRatio = 1.0)
    {
        QImage image(QSize(400, 200) * devicePixelRatio, QImage::Format_RGB32);
        image.setDevicePixelRatio(devicePixelRatio);
        image.fill(QColor(25, 25, 25));
        QPainter painter(&image);
        Curve curve{QString()};
        curve.setLine(colour, 2.0);
        curve.setSamples(series.time, series.values);
        if (prepare) {
            prepare(painter, curve);
        }
        QwtScaleMap xMap;
        xMap.setScaleInterval(waves::startTime, waves::startTime + 10.0);
        xMap.setPaintInterval(0.0, 400.0);
        QwtScaleMap yMap;
        yMap.setScaleInterval(-waves::range, waves::range);
        yMap.setPaintInterval(200.0, 0.0);
        curve.draw(&painter, xMap, yMap, QRectF(0.0, 0.0, 400.0, 200.0));
        return image;
    }
};

/// 4000 samples on a straight line across the whole of the picture of Painted.
Series line(double from, double to)
{
    Series series;
    for (int i = 0; i <= 4000; ++i) {
        series.time.append(waves::startTime + 10.0 * i / 4000);
        series.values.append(from + (to - from) * i / 4000);
    }
    return series;
}

struct Ink
{
    int top;
    int height;
};

/// The rows of a column that are drawn, from the first to the last.
Ink inkOf(const QImage& picture, int column)
{
    Ink ink{-1, 0};
    for (int y = 0; y < picture.height(); ++y) {
        if (picture.pixel(column, y) == colours[0].rgb()) {
            ink.top = ink.top < 0 ? y : ink.top;
            ink.height = y + 1 - ink.top;
        }
    }
    return ink;
}

void addFactors()
{
    QTest::addColumn<double>("factor");
    for (const double factor : factors) {
        QTest::addRow("factor %g", factor) << factor;
    }
}

} // namespace

class TestCurvePicture : public QObject
{
    Q_OBJECT

private slots:
    void pictureStaysTheSame_data();
    void pictureStaysTheSame();
    void pictureOfAWiderChartStaysTheSame_data();
    void pictureOfAWiderChartStaysTheSame();
    void pictureOfAChartThatFillsUpStaysTheSame_data();
    void pictureOfAChartThatFillsUpStaysTheSame();
    void valuesBeyondTheAxisStayTheSame_data() { addFactors(); }
    void valuesBeyondTheAxisStayTheSame();
    void timesThatStepBackStayTheSame_data() { addFactors(); }
    void timesThatStepBackStayTheSame();
    void tinySeriesStayTheSame_data();
    void tinySeriesStayTheSame();

    void spikeOfOneSampleIsNeverLost_data();
    void spikeOfOneSampleIsNeverLost();
    void sampleThatIsNoNumberLeavesNoInkOfItsOwn_data() { addFactors(); }
    void sampleThatIsNoNumberLeavesNoInkOfItsOwn();

    void gentleSlopeClimbsByPixelsOfTheDevice_data() { addFactors(); }
    void gentleSlopeClimbsByPixelsOfTheDevice();
    void lineIsAsThickAtEveryHeight_data() { addFactors(); }
    void lineIsAsThickAtEveryHeight();
    void slopeIsAsThickAsThePen_data() { addFactors(); }
    void slopeIsAsThickAsThePen();

    void whatBarsCannotPaintIsLeftToQwt_data();
    void whatBarsCannotPaintIsLeftToQwt();
    void painterIsLeftAsItWas();
};

void TestCurvePicture::pictureStaysTheSame_data()
{
    QTest::addColumn<Shape>("shape");
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("seconds");
    QTest::addColumn<double>("factor");
    const QPair<Shape, const char*> shapes[] = {
        {Shape::SineWithNoise, "sine with noise"},
        {Shape::WhiteNoise, "white noise"},
        {Shape::Steps, "steps"},
        {Shape::Spikes, "spikes"},
        {Shape::Gaps, "gaps"},
        {Shape::NotANumber, "no numbers"},
        {Shape::Constant, "constant"},
    };
    for (const auto& shape : shapes) {
        for (const int rate : {400, 50, 25}) {
            for (const int seconds : {5, 10, 30, 60}) {
                for (const double factor : factors) {
                    if (factor != 1.0 && rate != 400 && seconds != 10) {
                        continue; // as sparse as another row
                    }
                    QTest::addRow("%s, %d Hz, %d s, factor %g", shape.second, rate, seconds, factor)
                        << shape.first << rate << seconds << factor;
                }
            }
        }
    }
}

void TestCurvePicture::pictureStaysTheSame()
{
    QFETCH(Shape, shape);
    QFETCH(int, rate);
    QFETCH(int, seconds);
    QFETCH(double, factor);
    const QVector<Series> channels = threeOf(shape, rate, seconds * feedSurplus);
    const double right = channels[0].time.last();
    compareWithQwt(channels, right - seconds, right, factor);
}

void TestCurvePicture::pictureOfAWiderChartStaysTheSame_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<double>("factor");
    for (const double factor : factors) {
        QTest::addRow("640 pixels, factor %g", factor) << 640 << factor;
        QTest::addRow("1500 pixels, factor %g", factor) << 1500 << factor;
    }
    QTest::newRow("3700 pixels, wider than the samples are dense") << 3700 << 1.0;
}

void TestCurvePicture::pictureOfAWiderChartStaysTheSame()
{
    QFETCH(int, width);
    QFETCH(double, factor);
    const QVector<Series> channels = threeOf(Shape::SineWithNoise, 400, 5 * feedSurplus);
    const double right = channels[0].time.last();
    compareWithQwt(channels, right - 5.0, right, factor, QSize(width, 700));
}

void TestCurvePicture::pictureOfAChartThatFillsUpStaysTheSame_data()
{
    QTest::addColumn<int>("samples");
    QTest::addColumn<double>("factor");
    for (const int samples : {2, 3, 15, 16, 17, 400, 4000, 20000}) {
        for (const double factor : factors) {
            if (factor == 1.0 || samples >= 400) { // fewer are in one pixel of the chart
                QTest::addRow("%d samples, factor %g", samples, factor) << samples << factor;
            }
        }
    }
}

void TestCurvePicture::pictureOfAChartThatFillsUpStaysTheSame()
{
    QFETCH(int, samples);
    QFETCH(double, factor);
    const QVector<Series> channels = threeOf(Shape::SineWithNoise, 400, samples / 400.0);
    // The first samples keep a distance from the canvas's edge, where rounding decides whether they
    // are drawn.
    const double left = channels[0].time.first() - 1.0;
    compareWithQwt(channels, left, left + 60.0, factor);
}

void TestCurvePicture::valuesBeyondTheAxisStayTheSame()
{
    QFETCH(double, factor);
    QVector<Series> channels = threeOf(Shape::SineWithNoise, 400, 30.0);
    for (Series& series : channels) {
        for (double& value : series.values) {
            value *= 4.0;
        }
    }
    channels[0].values[5000] = 1e9;
    channels[1].values[6000] = -1e9;
    const double right = channels[0].time.last();
    compareWithQwt(channels, right - 30.0, right, factor);
}

void TestCurvePicture::timesThatStepBackStayTheSame()
{
    QFETCH(double, factor);
    Series series = waves::make(Shape::SineWithNoise, 400, 20.0, 0);
    for (int i = 4000; i < series.time.size(); ++i) {
        series.time[i] -= 7.0;
    }
    compareWithQwt({series}, waves::startTime, waves::startTime + 15.0, factor);
}

void TestCurvePicture::tinySeriesStayTheSame_data()
{
    QTest::addColumn<int>("samples");
    QTest::addColumn<double>("factor");
    for (const double factor : factors) {
        QTest::addRow("no sample, factor %g", factor) << 0 << factor;
        QTest::addRow("one sample, factor %g", factor) << 1 << factor;
        QTest::addRow("two samples, factor %g", factor) << 2 << factor;
        QTest::addRow("five samples, factor %g", factor) << 5 << factor;
    }
}

void TestCurvePicture::tinySeriesStayTheSame()
{
    QFETCH(int, samples);
    QFETCH(double, factor);
    const Series series = lastPart(waves::make(Shape::SineWithNoise, 1, 20.0, 0), samples);
    if (factor != 1.0 && samples > 1) {
        compareWithQwt({series}, waves::startTime, waves::startTime + 20.0, factor);
        return;
    }
    Canvas ours;
    Canvas plain;
    drawBoth(series, colours[0], ours, plain);
    ours.setTime(waves::startTime, waves::startTime + 20.0);
    plain.setTime(waves::startTime, waves::startTime + 20.0);
    QCOMPARE(ours.picture(factor), plain.picture(factor));
}

void TestCurvePicture::spikeOfOneSampleIsNeverLost_data()
{
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("seconds");
    QTest::addColumn<double>("factor");
    for (const int rate : {400, 50, 25}) {
        for (const int seconds : {5, 10, 30, 60}) {
            for (const double factor : factors) {
                QTest::addRow("%d Hz, %d s, factor %g", rate, seconds, factor)
                    << rate << seconds << factor;
            }
        }
    }
}

void TestCurvePicture::spikeOfOneSampleIsNeverLost()
{
    QFETCH(int, rate);
    QFETCH(int, seconds);
    QFETCH(double, factor);
    const Series series = waves::make(Shape::Spikes, rate, seconds, 0);
    const QVector<int> spikes = waves::spikes(series.values.size(), 0);
    Canvas ours;
    ours.add<DenseCurve>(series, colours[0]);
    ours.setTime(series.time.first(), series.time.first() + seconds);
    const QImage picture = ours.picture(factor);
    const QwtScaleMap xMap = ours.plot().canvasMap(QwtPlot::xBottom);
    const QwtScaleMap yMap = ours.plot().canvasMap(QwtPlot::yLeft);
    QVERIFY(!spikes.isEmpty());
    for (const int i : spikes) {
        const int x = qRound(factor * xMap.transform(series.time[i]));
        const int y = qRound(factor * yMap.transform(series.values[i]));
        QVERIFY2(hasNear(picture, x, y, colours[0].rgb()),
                 qPrintable(QStringLiteral("spike at %1, %2").arg(x).arg(y)));
    }
}

void TestCurvePicture::sampleThatIsNoNumberLeavesNoInkOfItsOwn()
{
    QFETCH(double, factor);
    for (const int rate : {400, 20}) {
        Series series = waves::make(Shape::Constant, rate, 10.0, 1);
        Canvas without;
        without.add<DenseCurve>(series, colours[1]);
        without.setTime(waves::startTime, waves::startTime + 10.0);
        const QImage whole = without.picture(factor);

        series.values[series.values.size() / 2] = std::nan("");
        Canvas with;
        with.add<DenseCurve>(series, colours[1]);
        with.setTime(waves::startTime, waves::startTime + 10.0);
        const QImage interrupted = with.picture(factor);
        for (int y = 0; y < whole.height(); ++y) {
            for (int x = 0; x < whole.width(); ++x) {
                if (interrupted.pixel(x, y) == colours[1].rgb()) {
                    QCOMPARE(whole.pixel(x, y), colours[1].rgb());
                }
            }
        }
        QVERIFY(inkWithoutCounterpart(interrupted, whole, 1).ink > 1000);
    }
}

void TestCurvePicture::gentleSlopeClimbsByPixelsOfTheDevice()
{
    QFETCH(double, factor);
    const QImage picture =
        Painted::picture<DenseCurve>(line(0.0, 6.0), colours[0], nullptr, factor);
    // Six units are 40 of the chart's 200 rows.
    QSet<int> tops;
    for (int x = 0; x < picture.width(); ++x) {
        tops.insert(inkOf(picture, x).top);
    }
    QVERIFY(tops.size() >= static_cast<int>(40 * factor));
}

void TestCurvePicture::lineIsAsThickAtEveryHeight()
{
    QFETCH(double, factor);
    QSet<int> heights;
    for (int i = 0; i < 40; ++i) {
        const Series series = line(0.05 * i, 0.05 * i);
        const QImage picture = Painted::picture<DenseCurve>(series, colours[0], nullptr, factor);
        for (int x = 0; x < picture.width(); ++x) {
            heights.insert(inkOf(picture, x).height);
        }
    }
    QCOMPARE(heights.size(), 1);
    QVERIFY(std::abs(*heights.begin() - 2.0 * factor) <= 0.5);
}

void TestCurvePicture::slopeIsAsThickAsThePen()
{
    QFETCH(double, factor);
    // 30 units are 200 rows, in half the width of the chart: one row per column
    const Series series = line(-15.0, 45.0);
    const QImage picture = Painted::picture<DenseCurve>(series, colours[0], nullptr, factor);
    int ink = 0;
    int columns = 0;
    for (int x = picture.width() / 8; x < picture.width() * 3 / 8; ++x) {
        ink += inkOf(picture, x).height;
        ++columns;
    }
    const double thickness = std::sqrt(0.5) * ink / columns;
    // At factor 1 the pen is a square of two pixels, whose diagonal is as wide as the slope.
    const double allowed = factor == 1.0 ? 0.85 : 0.75;
    QVERIFY2(std::abs(thickness - 2.0 * factor) <= allowed, QByteArray::number(thickness));
}

void TestCurvePicture::whatBarsCannotPaintIsLeftToQwt_data()
{
    QTest::addColumn<Prepare>("prepare");
    QTest::newRow("translucent pen") << Prepare(
        [](QPainter&, DataCurve& curve) { curve.setPen(QColor(255, 87, 87, 100), 2.0); });
    QTest::newRow("dotted pen") << Prepare(
        [](QPainter&, DataCurve& curve) { curve.setPen(colours[0], 2.0, Qt::DotLine); });
    QTest::newRow("no pen") << Prepare(
        [](QPainter&, DataCurve& curve) { curve.setPen(colours[0], 2.0, Qt::NoPen); });
    QTest::newRow("hairline pen") << Prepare(
        [](QPainter&, DataCurve& curve) { curve.setPen(colours[0], 0.0); });
    QTest::newRow("filled curve") << Prepare(
        [](QPainter&, DataCurve& curve) { curve.setBrush(colours[2]); });
    QTest::newRow("antialiased curve") << Prepare(
        [](QPainter& painter, DataCurve&) { painter.setRenderHint(QPainter::Antialiasing); });
    QTest::newRow("scaled painter")
        << Prepare([](QPainter& painter, DataCurve&) { painter.scale(0.5, 0.7); });
    QTest::newRow("rotated painter")
        << Prepare([](QPainter& painter, DataCurve&) { painter.rotate(10.0); });
    QTest::newRow("steps") << Prepare(
        [](QPainter&, DataCurve& curve) { curve.setStyle(QwtPlotCurve::Steps); });
    QTest::newRow("samples as points") << Prepare([](QPainter&, DataCurve& curve) {
        QVector<QPointF> points;
        for (std::size_t i = 0; i < curve.dataSize(); ++i) {
            points.append(curve.sample(static_cast<int>(i)));
        }
        curve.setSamples(points);
    });
}

void TestCurvePicture::whatBarsCannotPaintIsLeftToQwt()
{
    QFETCH(Prepare, prepare);
    const Series series = waves::make(Shape::SineWithNoise, 400, 10.0, 0);
    const auto ours = Painted::picture<DenseCurve>(
        series, colours[0], [&](QPainter& painter, DenseCurve& curve) { prepare(painter, curve); });
    const auto plain = Painted::picture<DataCurve>(series, colours[0], prepare);
    const auto bars = Painted::picture<DenseCurve>(series, colours[0], nullptr);
    QCOMPARE(ours, plain);
    QVERIFY(ours != bars);
}

void TestCurvePicture::painterIsLeftAsItWas()
{
    const Series series = waves::make(Shape::SineWithNoise, 400, 10.0, 0);
    QImage image(400, 200, QImage::Format_RGB32);
    image.fill(Qt::black);
    QPainter painter(&image);
    const QPen pen(Qt::yellow, 5.0);
    const QBrush brush(Qt::cyan);
    painter.setPen(pen);
    painter.setBrush(brush);
    DenseCurve curve{QString()};
    curve.setLine(colours[0], 2.0);
    curve.setSamples(series.time, series.values);
    QwtScaleMap xMap;
    xMap.setScaleInterval(waves::startTime, waves::startTime + 10.0);
    xMap.setPaintInterval(0.0, 400.0);
    QwtScaleMap yMap;
    yMap.setScaleInterval(-waves::range, waves::range);
    yMap.setPaintInterval(200.0, 0.0);
    curve.draw(&painter, xMap, yMap, QRectF(0.0, 0.0, 400.0, 200.0));
    QCOMPARE(painter.pen(), pen);
    QCOMPARE(painter.brush(), brush);
}

QTEST_MAIN(TestCurvePicture)
#include "tst_curvepicture.moc"
