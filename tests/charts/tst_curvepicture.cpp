// Compares the picture of a DenseCurve with that of the same samples drawn by Qwt.

#include "charts/DataCurve.h"
#include "charts/DataPlot.h"
#include "charts/dense_curve.h"
#include "charts/waves.h"

#include <QPainter>
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
constexpr double feedSurplus = 1.3; // of IMU samples over those of the window

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

    QImage picture()
    {
        m_plot.replot();
        return m_plot.canvas()->grab().toImage().convertToFormat(QImage::Format_RGB32);
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

bool hasNear(const QImage& image, int x, int y, QRgb colour)
{
    for (int row = std::max(0, y - 1); row <= std::min(image.height() - 1, y + 1); ++row) {
        const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(row));
        for (int column = std::max(0, x - 1); column <= std::min(image.width() - 1, x + 1);
             ++column) {
            if (line[column] == colour) {
                return true;
            }
        }
    }
    return false;
}

Difference inkWithoutCounterpart(const QImage& image, const QImage& other)
{
    Difference difference;
    for (int y = 0; y < image.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = line[x];
            if (pixel != colours[0].rgb() && pixel != colours[1].rgb() &&
                pixel != colours[2].rgb()) {
                continue;
            }
            ++difference.ink;
            if (!hasNear(other, x, y, pixel)) {
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

/// All other drawn pixels have a pixel of the same colour within one pixel, in both directions.
void comparePictures(const QImage& ours, const QImage& plain)
{
    QCOMPARE(ours.size(), plain.size());
    const Difference surplus = inkWithoutCounterpart(ours, plain);
    const Difference lost = inkWithoutCounterpart(plain, ours);
    QVERIFY(surplus.ink > 0);
    QVERIFY(lost.ink > 0);
    const QByteArray folder = qgetenv("GRAVIMON_KEEP_PICTURES");
    if (!folder.isEmpty() &&
        (surplus.missing * inkPerStray > surplus.ink || lost.missing * inkPerStray > lost.ink)) {
        const QString name = QString::fromLocal8Bit(folder) + '/' + QTest::currentTestFunction() +
                             '-' + QTest::currentDataTag();
        ours.save(name + "-ours.png");
        plain.save(name + "-plain.png");
    }
    QVERIFY2(surplus.missing * inkPerStray <= surplus.ink,
             described("not in Qwt's picture", surplus));
    QVERIFY2(lost.missing * inkPerStray <= lost.ink, described("lost from Qwt's picture", lost));
}

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

void drawBoth(const QVector<Series>& channels, Canvas& ours, Canvas& plain)
{
    for (int i = 0; i < channels.size(); ++i) {
        ours.add<DenseCurve>(channels[i], colours[i]);
        for (const Series& stretch : finiteStretches(channels[i])) {
            plain.add<DataCurve>(stretch, colours[i]);
        }
    }
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
    void valuesBeyondTheAxisStayTheSame();
    void timesThatStepBackStayTheSame();
    void tinySeriesStayTheSame_data();
    void tinySeriesStayTheSame();

    void spikeOfOneSampleIsNeverLost_data();
    void spikeOfOneSampleIsNeverLost();
    void sampleThatIsNoNumberLeavesNoInkOfItsOwn();

    void doubledPixelsStayTheSame();
    void whatBarsCannotPaintIsLeftToQwt_data();
    void whatBarsCannotPaintIsLeftToQwt();
    void painterIsLeftAsItWas();
};

void TestCurvePicture::pictureStaysTheSame_data()
{
    QTest::addColumn<Shape>("shape");
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("seconds");
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
                QTest::addRow("%s, %d Hz, %d s", shape.second, rate, seconds)
                    << shape.first << rate << seconds;
            }
        }
    }
}

void TestCurvePicture::pictureStaysTheSame()
{
    QFETCH(Shape, shape);
    QFETCH(int, rate);
    QFETCH(int, seconds);
    QVector<Series> channels;
    for (int i = 0; i < 3; ++i) {
        channels.append(waves::make(shape, rate, seconds * feedSurplus, i));
    }
    Canvas ours;
    Canvas plain;
    drawBoth(channels, ours, plain);
    const double right = channels[0].time.last();
    ours.setTime(right - seconds, right);
    plain.setTime(right - seconds, right);
    comparePictures(ours.picture(), plain.picture());
}

void TestCurvePicture::pictureOfAWiderChartStaysTheSame_data()
{
    QTest::addColumn<int>("width");
    QTest::newRow("640 pixels") << 640;
    QTest::newRow("1500 pixels") << 1500;
    QTest::newRow("3700 pixels, wider than the samples are dense") << 3700;
}

void TestCurvePicture::pictureOfAWiderChartStaysTheSame()
{
    QFETCH(int, width);
    QVector<Series> channels;
    for (int i = 0; i < 3; ++i) {
        channels.append(waves::make(Shape::SineWithNoise, 400, 5 * feedSurplus, i));
    }
    Canvas ours(width, 700);
    Canvas plain(width, 700);
    drawBoth(channels, ours, plain);
    const double right = channels[0].time.last();
    ours.setTime(right - 5.0, right);
    plain.setTime(right - 5.0, right);
    comparePictures(ours.picture(), plain.picture());
}

void TestCurvePicture::pictureOfAChartThatFillsUpStaysTheSame_data()
{
    QTest::addColumn<int>("samples");
    for (const int samples : {2, 3, 15, 16, 17, 400, 4000, 20000}) {
        QTest::addRow("%d samples", samples) << samples;
    }
}

void TestCurvePicture::pictureOfAChartThatFillsUpStaysTheSame()
{
    QFETCH(int, samples);
    QVector<Series> channels;
    for (int i = 0; i < 3; ++i) {
        channels.append(waves::make(Shape::SineWithNoise, 400, samples / 400.0, i));
    }
    Canvas ours;
    Canvas plain;
    drawBoth(channels, ours, plain);
    // The first samples keep a distance from the canvas's edge, where rounding decides whether they
    // are drawn.
    const double left = channels[0].time.first() - 1.0;
    ours.setTime(left, left + 60.0);
    plain.setTime(left, left + 60.0);
    comparePictures(ours.picture(), plain.picture());
}

void TestCurvePicture::valuesBeyondTheAxisStayTheSame()
{
    QVector<Series> channels;
    for (int i = 0; i < 3; ++i) {
        Series series = waves::make(Shape::SineWithNoise, 400, 30.0, i);
        for (double& value : series.values) {
            value *= 4.0;
        }
        channels.append(series);
    }
    channels[0].values[5000] = 1e9;
    channels[1].values[6000] = -1e9;
    Canvas ours;
    Canvas plain;
    drawBoth(channels, ours, plain);
    const double right = channels[0].time.last();
    ours.setTime(right - 30.0, right);
    plain.setTime(right - 30.0, right);
    comparePictures(ours.picture(), plain.picture());
}

void TestCurvePicture::timesThatStepBackStayTheSame()
{
    Series series = waves::make(Shape::SineWithNoise, 400, 20.0, 0);
    for (int i = 4000; i < series.time.size(); ++i) {
        series.time[i] -= 7.0;
    }
    Canvas ours;
    Canvas plain;
    drawBoth({series}, ours, plain);
    ours.setTime(waves::startTime, waves::startTime + 15.0);
    plain.setTime(waves::startTime, waves::startTime + 15.0);
    comparePictures(ours.picture(), plain.picture());
}

void TestCurvePicture::tinySeriesStayTheSame_data()
{
    QTest::addColumn<int>("samples");
    QTest::newRow("no sample") << 0;
    QTest::newRow("one sample") << 1;
    QTest::newRow("two samples") << 2;
    QTest::newRow("five samples") << 5;
}

void TestCurvePicture::tinySeriesStayTheSame()
{
    QFETCH(int, samples);
    const Series series = lastPart(waves::make(Shape::SineWithNoise, 1, 20.0, 0), samples);
    Canvas ours;
    Canvas plain;
    drawBoth({series}, ours, plain);
    ours.setTime(waves::startTime, waves::startTime + 20.0);
    plain.setTime(waves::startTime, waves::startTime + 20.0);
    QCOMPARE(ours.picture(), plain.picture());
}

void TestCurvePicture::spikeOfOneSampleIsNeverLost_data()
{
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("seconds");
    for (const int rate : {400, 50, 25}) {
        for (const int seconds : {5, 10, 30, 60}) {
            QTest::addRow("%d Hz, %d s", rate, seconds) << rate << seconds;
        }
    }
}

void TestCurvePicture::spikeOfOneSampleIsNeverLost()
{
    QFETCH(int, rate);
    QFETCH(int, seconds);
    const Series series = waves::make(Shape::Spikes, rate, seconds, 0);
    const QVector<int> spikes = waves::spikes(series.values.size(), 0);
    Canvas ours;
    ours.add<DenseCurve>(series, colours[0]);
    ours.setTime(series.time.first(), series.time.first() + seconds);
    const QImage picture = ours.picture();
    const QwtScaleMap xMap = ours.plot().canvasMap(QwtPlot::xBottom);
    const QwtScaleMap yMap = ours.plot().canvasMap(QwtPlot::yLeft);
    QVERIFY(!spikes.isEmpty());
    for (const int i : spikes) {
        const int x = qRound(xMap.transform(series.time[i]));
        const int y = qRound(yMap.transform(series.values[i]));
        QVERIFY2(hasNear(picture, x, y, colours[0].rgb()),
                 qPrintable(QStringLiteral("spike at %1, %2").arg(x).arg(y)));
    }
}

void TestCurvePicture::sampleThatIsNoNumberLeavesNoInkOfItsOwn()
{
    for (const int rate : {400, 20}) {
        Series series = waves::make(Shape::Constant, rate, 10.0, 1);
        Canvas without;
        without.add<DenseCurve>(series, colours[1]);
        without.setTime(waves::startTime, waves::startTime + 10.0);
        const QImage whole = without.picture();

        series.values[series.values.size() / 2] = std::nan("");
        Canvas with;
        with.add<DenseCurve>(series, colours[1]);
        with.setTime(waves::startTime, waves::startTime + 10.0);
        const QImage interrupted = with.picture();
        for (int y = 0; y < whole.height(); ++y) {
            for (int x = 0; x < whole.width(); ++x) {
                if (interrupted.pixel(x, y) == colours[1].rgb()) {
                    QCOMPARE(whole.pixel(x, y), colours[1].rgb());
                }
            }
        }
        QVERIFY(inkWithoutCounterpart(interrupted, whole).ink > 1000);
    }
}

void TestCurvePicture::doubledPixelsStayTheSame()
{
    const Series series = waves::make(Shape::SineWithNoise, 400, 10.0, 0);
    const QImage ours = Painted::picture<DenseCurve>(series, colours[0], nullptr, 2.0);
    const QImage plain = Painted::picture<DataCurve>(series, colours[0], nullptr, 2.0);
    QCOMPARE(ours.size(), QSize(800, 400));
    // A pixel of the chart is two pixels of the screen.
    comparePictures(ours.scaled(400, 200, Qt::IgnoreAspectRatio, Qt::FastTransformation),
                    plain.scaled(400, 200, Qt::IgnoreAspectRatio, Qt::FastTransformation));
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
