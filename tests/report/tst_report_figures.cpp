#include "report/figures.h"

#include "report/recordings.h"

#include <QtTest>

#include <qwt_plot.h>
#include <qwt_plot_curve.h>
#include <qwt_plot_histogram.h>
#include <qwt_plot_intervalcurve.h>
#include <qwt_plot_zoneitem.h>
#include <qwt_scale_div.h>
#include <qwt_symbol.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>
#include <vector>

using namespace report;

namespace {

/// At rest, with a magnetometer and temperatures.
analysis::Recording everything()
{
    analysis::Recording recording = recordings::atRest(20'000);
    recordings::addMagnetometer(recording, {18.5, -24.0, 11.5}, {50.88, 44.64, 48.96}, 3000, 0.25);
    for (std::size_t i = 0; i < recording.times.size(); i += 16) {
        recording.temperatureTimes.push_back(recording.times[i]);
        for (auto& values : recording.temperatures) {
            values.push_back(27.0 + 3.0 * static_cast<double>(i) / 20'000.0);
        }
    }
    return recording;
}

Figure* find(std::vector<Topic>& topics, const QString& id)
{
    for (Topic& topic : topics) {
        for (Figure& figure : topic.figures) {
            if (figure.id == id) {
                return &figure;
            }
        }
    }
    return nullptr;
}

Figure figureOf(const RecordingReport& report, const QString& id)
{
    std::vector<Topic> topics = topicsOf(report);
    Figure* const figure = find(topics, id);
    return figure != nullptr ? std::move(*figure) : Figure();
}

QString penText(const QPen& pen)
{
    return pen.style() == Qt::NoPen ? QStringLiteral("no pen")
                                    : QStringLiteral("%1 %2 %3")
                                          .arg(pen.color().name())
                                          .arg(pen.widthF())
                                          .arg(int(pen.style()));
}

/// What draws the plot, without the grid, from the lowest to the highest, with its looks.
QStringList itemsOf(const QwtPlot& plot)
{
    QStringList all;
    for (const QwtPlotItem* const item : plot.itemList()) {
        const QString name = item->title().text();
        const QString legend = item->testItemAttribute(QwtPlotItem::Legend)
                                   ? QStringLiteral(", in the legend")
                                   : QString();
        if (item->rtti() == QwtPlotItem::Rtti_PlotIntervalCurve) {
            const auto& band = dynamic_cast<const QwtPlotIntervalCurve&>(*item);
            all << "band '" + name + "' " + band.brush().color().name() + ", " +
                       penText(band.pen()) + legend;
        } else if (item->rtti() == QwtPlotItem::Rtti_PlotZone) {
            const auto& zone = dynamic_cast<const QwtPlotZoneItem&>(*item);
            all << "zone " + zone.brush().color().name() + ", " + penText(zone.pen());
        } else if (item->rtti() == QwtPlotItem::Rtti_PlotHistogram) {
            const auto& bars = dynamic_cast<const QwtPlotHistogram&>(*item);
            all << "bars " + bars.brush().color().name() + ", " + penText(bars.pen());
        } else if (item->rtti() == QwtPlotItem::Rtti_PlotCurve) {
            const auto& curve = dynamic_cast<const QwtPlotCurve&>(*item);
            const QString kind = curve.style() == QwtPlotCurve::Lines  ? QStringLiteral("line")
                                 : curve.style() == QwtPlotCurve::Dots ? QStringLiteral("dots")
                                                                       : QStringLiteral("symbols");
            const QString looks = curve.symbol() == nullptr
                                      ? penText(curve.pen())
                                      : penText(curve.symbol()->pen()) + " shape " +
                                            QString::number(curve.symbol()->style());
            all << kind + " '" + name + "' " + looks + legend;
        }
    }
    return all;
}

template <typename Item>
std::vector<Item*> itemsOf(const QwtPlot& plot, int rtti)
{
    std::vector<Item*> found;
    for (QwtPlotItem* const item : plot.itemList(rtti)) {
        found.push_back(dynamic_cast<Item*>(item));
    }
    return found;
}

QVector<QPointF> pointsOf(const QwtPlot& plot, const QString& name)
{
    for (const auto* const curve : itemsOf<QwtPlotCurve>(plot, QwtPlotItem::Rtti_PlotCurve)) {
        if (curve->title().text() == name) {
            QVector<QPointF> points;
            for (std::size_t i = 0; i < curve->dataSize(); ++i) {
                points.append(curve->sample(int(i)));
            }
            return points;
        }
    }
    return {};
}

bool near(double value, double truth)
{
    return std::abs(value - truth) <= 1e-9 * std::abs(truth);
}

} // namespace

class TestReportFigures : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void figuresHaveFixedIds();
    void axesHaveTheirUnits_data();
    void axesHaveTheirUnits();
    void itemsHaveTheirLooks_data();
    void itemsHaveTheirLooks();
    void linesOfTheCoefficientsFollowTheirDefinitions();
    void spectrumLeavesOutOnlyTheConstantAndTheHighestFrequency();
    void captionNamesTheThreeHighestLines();
    void captionWithoutLinesEndsAfterTheSegments();
    void outlineIsTheFittedEllipsoid();
    void gapIsShadedAtLeastOneColumnWide();
    void bandEndsAtALongGap();

private:
    RecordingReport m_report;
    std::vector<Topic> m_topics; // of it
};

void TestReportFigures::initTestCase()
{
    m_report = analyse(everything(), {});
    m_report.gapSpans = {{10.0, 12.0}};
    for (AxisReport& axis : m_report.accelerometer->axes) {
        axis.noise.model.noiseDensity.value = 1.5e-3;
        axis.noise.model.biasInstability.value = 2e-4;
        axis.noise.model.randomWalk.value = 3e-4;
        axis.allanAsRecorded = axis.noise.allan;
    }
    m_topics = topicsOf(m_report);
}

void TestReportFigures::figuresHaveFixedIds()
{
    const std::vector<std::pair<QString, QStringList>> expected{
        {"time",
         {"time-accelerometer-x", "time-accelerometer-y", "time-accelerometer-z",
          "time-gyroscope-x", "time-gyroscope-y", "time-gyroscope-z"}},
        {"interval", {"interval-histogram", "interval-time", "drift"}},
        {"allan",
         {"allan-accelerometer-x", "allan-accelerometer-y", "allan-accelerometer-z",
          "allan-gyroscope-x", "allan-gyroscope-y", "allan-gyroscope-z"}},
        {"spectrum",
         {"spectrum-accelerometer-x", "spectrum-accelerometer-y", "spectrum-accelerometer-z",
          "spectrum-gyroscope-x", "spectrum-gyroscope-y", "spectrum-gyroscope-z"}},
        {"gravity", {"gravity"}},
        {"temperature", {"temperature-accelerometer", "temperature-gyroscope", "temperature-time"}},
        {"magnetometer",
         {"magnetometer-before-x-y", "magnetometer-after-x-y", "magnetometer-before-x-z",
          "magnetometer-after-x-z", "magnetometer-before-y-z", "magnetometer-after-y-z",
          "magnetometer-residual"}},
        {"six-positions", {}},
    };
    const std::vector<Topic> topics = topicsOf(m_report);
    QCOMPARE(topics.size(), expected.size());
    for (std::size_t i = 0; i < topics.size(); ++i) {
        QStringList ids;
        for (const Figure& figure : topics[i].figures) {
            ids << figure.id;
        }
        QCOMPARE(topics[i].id, expected[i].first);
        QCOMPARE(ids, expected[i].second);
    }
}

void TestReportFigures::axesHaveTheirUnits_data()
{
    QTest::addColumn<QString>("x");
    QTest::addColumn<QString>("y");
    QTest::newRow("time-accelerometer-x") << "time in s"
                                          << "x in m/s²";
    QTest::newRow("time-gyroscope-z") << "time in s"
                                      << "z in °/s";
    QTest::newRow("interval-histogram") << "interval in ms"
                                        << "rows";
    QTest::newRow("interval-time") << "time in s"
                                   << "interval in ms";
    QTest::newRow("drift") << "time in s"
                           << "delay in ms";
    QTest::newRow("allan-accelerometer-x") << "averaging time τ in s"
                                           << "σ in m/s²";
    QTest::newRow("allan-gyroscope-x") << "averaging time τ in s"
                                       << "σ in °/s";
    QTest::newRow("spectrum-accelerometer-x") << "frequency in Hz"
                                              << "m/s²/√Hz";
    QTest::newRow("spectrum-gyroscope-x") << "frequency in Hz"
                                          << "°/s/√Hz";
    QTest::newRow("gravity") << "time in s"
                             << "length in m/s²";
    QTest::newRow("temperature-accelerometer") << "temperature of the IMU in °C"
                                               << "minus its mean, m/s²";
    QTest::newRow("temperature-time") << "time in s"
                                      << "°C";
    QTest::newRow("magnetometer-before-x-z") << "x in µT"
                                             << "z in µT";
    QTest::newRow("magnetometer-residual") << "time in s"
                                           << "residual in µT";
}

void TestReportFigures::axesHaveTheirUnits()
{
    QFETCH(QString, x);
    QFETCH(QString, y);
    const Figure* const figure = find(m_topics, QTest::currentDataTag());
    QVERIFY(figure != nullptr);
    QCOMPARE(figure->plot->axisTitle(QwtPlot::xBottom).text(), x);
    QCOMPARE(figure->plot->axisTitle(QwtPlot::yLeft).text(), y);
}

void TestReportFigures::itemsHaveTheirLooks_data()
{
    QTest::addColumn<QStringList>("items");
    // Colour, width and dashes (Qt::PenStyle).
    QTest::newRow("time-accelerometer-x") << QStringList{
        "zone #fac8a0, no pen", "band '' #0072b2, #0072b2 1.2 1", "band '' #0072b2, #0072b2 1.2 1"};
    QTest::newRow("interval-histogram") << QStringList{"bars #0072b2, #ffffff 0.5 1"};
    QTest::newRow("allan-accelerometer-x")
        << QStringList{"line 'as recorded' #202020 1.2 3, in the legend",
                       "band '68 %' #bed9e9, #bed9e9 0.8 1, in the legend",
                       "line 'σ' #0072b2 2 1, in the legend",
                       "line 'fit' #202020 1 1, in the legend",
                       "line 'N' #d55e00 1.5 2, in the legend",
                       "line '0.664 B' #a05082 1.5 3, in the legend",
                       "line 'K' #006e50 1.5 4, in the legend"};
    QTest::newRow("spectrum-accelerometer-x") << QStringList{"band '' #0072b2, #0072b2 1.2 1"};
    QTest::newRow("temperature-accelerometer")
        << QStringList{"symbols 'x' #0072b2 1.2 1 shape 0, in the legend",
                       "symbols 'y' #d55e00 1.2 1 shape 8, in the legend",
                       "symbols 'z' #006e50 1.2 1 shape 5, in the legend"};
    QTest::newRow("magnetometer-before-x-y")
        << QStringList{"dots '' #0072b2 2.5 1, in the legend", "line '' #d55e00 1.8 1"};
}

void TestReportFigures::itemsHaveTheirLooks()
{
    QFETCH(QStringList, items);
    const Figure* const figure = find(m_topics, QTest::currentDataTag());
    QVERIFY(figure != nullptr);
    QStringList found = itemsOf(*figure->plot);
    found.sort();
    items.sort();
    QCOMPARE(found.join('\n'), items.join('\n'));
}

void TestReportFigures::linesOfTheCoefficientsFollowTheirDefinitions()
{
    const Figure figure = figureOf(m_report, "allan-accelerometer-y");
    QVERIFY(figure.plot);
    const AxisReport& axis = m_report.accelerometer->axes[1];
    const int count = int(axis.noise.allan.size());
    for (const char* const name : {"σ", "as recorded"}) {
        const QVector<QPointF> points = pointsOf(*figure.plot, name);
        QCOMPARE(points.size(), count);
        for (int i = 0; i < count; ++i) {
            QCOMPARE(points[i].x(), axis.noise.allan[std::size_t(i)].tau);
            QCOMPARE(points[i].y(), axis.noise.allan[std::size_t(i)].deviation);
        }
    }
    const std::pair<const char*, std::function<double(double)>> lines[] = {
        {"fit", [&](double tau) { return std::sqrt(axis.noise.model.variance(tau)); }},
        {"N", [](double tau) { return 1.5e-3 / std::sqrt(tau); }},
        {"0.664 B", [](double) { return 0.66428 * 2e-4; }},
        {"K", [](double tau) { return 3e-4 * std::sqrt(tau / 3.0); }},
    };
    for (const auto& [name, truth] : lines) {
        const QVector<QPointF> points = pointsOf(*figure.plot, name);
        QCOMPARE(points.size(), count);
        for (const QPointF& point : points) {
            QVERIFY2(near(point.y(), truth(point.x())), name);
        }
    }
}

void TestReportFigures::spectrumLeavesOutOnlyTheConstantAndTheHighestFrequency()
{
    analysis::Spectrum& spectrum = m_report.gyroscope->axes[0].spectrum;
    const analysis::Spectrum kept = spectrum;
    spectrum.resolutionHz = 0.5;
    spectrum.density.clear();
    for (int i = 0; i < 12; ++i) {
        spectrum.density.push_back(std::pow(10.0 + i, 2.0));
    }
    const Figure figure = figureOf(m_report, "spectrum-gyroscope-x");
    spectrum = kept;
    QVERIFY(figure.plot);
    const auto bands =
        itemsOf<QwtPlotIntervalCurve>(*figure.plot, QwtPlotItem::Rtti_PlotIntervalCurve);
    QCOMPARE(bands.size(), std::size_t{1});
    QCOMPARE(int(bands[0]->dataSize()), 10);
    for (int i = 0; i < 10; ++i) {
        const QwtIntervalSample sample = bands[0]->sample(i);
        QCOMPARE(sample.interval.minValue(), 11.0 + i);
        QCOMPARE(sample.interval.maxValue(), 11.0 + i);
        // In the middle of a column of the logarithmic axis.
        QVERIFY(std::abs(std::log(sample.value / (0.5 * (i + 1)))) < std::log(11.0) / 240.0);
    }
    const QwtScaleDiv x = figure.plot->axisScaleDiv(QwtPlot::xBottom);
    QVERIFY(near(x.lowerBound(), 0.5));
    QVERIFY(near(x.upperBound(), 5.5));
}

void TestReportFigures::captionNamesTheThreeHighestLines()
{
    AxisReport& axis = m_report.gyroscope->axes[2];
    axis.spectrum.averages = 7;
    axis.lines.clear();
    for (const double frequency : {50.0, 60.5, 71.25, 80.0}) {
        analysis::SpectralLine line{};
        line.frequencyHz = frequency;
        line.low = frequency - 0.5;
        line.high = frequency + 1.0;
        line.amplitude = frequency / 100.0;
        axis.lines.push_back(line);
    }
    QCOMPARE(
        figureOf(m_report, "spectrum-gyroscope-z").caption,
        QString("Gyroscope z: amplitude density, mean of 7 segments. Lines: 50.000 Hz ± 0.75 Hz "
                "(0.500 °/s), 60.500 Hz ± 0.75 Hz (0.605 °/s), 71.250 Hz ± 0.75 Hz "
                "(0.713 °/s)."));
}

void TestReportFigures::captionWithoutLinesEndsAfterTheSegments()
{
    AxisReport& axis = m_report.gyroscope->axes[1];
    axis.spectrum.averages = 9;
    axis.lines.clear();
    QCOMPARE(figureOf(m_report, "spectrum-gyroscope-y").caption,
             QString("Gyroscope y: amplitude density, mean of 9 segments."));
}

void TestReportFigures::outlineIsTheFittedEllipsoid()
{
    const Figure figure = figureOf(m_report, "magnetometer-before-x-z");
    QVERIFY(figure.plot);
    const auto curves = itemsOf<QwtPlotCurve>(*figure.plot, QwtPlotItem::Rtti_PlotCurve);
    QCOMPARE(curves.size(), std::size_t{2});
    const QwtPlotCurve& outline =
        *(curves[0]->style() == QwtPlotCurve::Lines ? curves[0] : curves[1]);
    QCOMPARE(int(outline.dataSize()), 73); // closed, in steps of 5 degrees
    const auto& fit = m_report.magnetometer->fit->aligned;
    for (int i = 0; i < 73; ++i) {
        const QPointF point = outline.sample(i);
        const double turn = qDegreesToRadians(5.0 * i);
        QVERIFY(std::abs(point.x() - fit.offset[0] - fit.radii[0] * std::cos(turn)) < 1e-9);
        QVERIFY(std::abs(point.y() - fit.offset[2] - fit.radii[2] * std::sin(turn)) < 1e-9);
    }
}

void TestReportFigures::gapIsShadedAtLeastOneColumnWide()
{
    RecordingReport report = m_report;
    report.gapSpans = {{10.0, 10.001}, {20.0, 25.0}};
    const Figure figure = figureOf(report, "time-gyroscope-x");
    QVERIFY(figure.plot);
    const auto zones = itemsOf<QwtPlotZoneItem>(*figure.plot, QwtPlotItem::Rtti_PlotZone);
    QCOMPARE(zones.size(), std::size_t{2});
    const double column = report.timing.durationSeconds / 480.0;
    for (QwtPlotZoneItem* const zone : zones) {
        const double from = zone->interval().minValue();
        QCOMPARE(zone->orientation(), Qt::Vertical);
        QCOMPARE(zone->interval().maxValue(), from == 10.0 ? 10.0 + column : 25.0);
        QVERIFY(from == 10.0 || from == 20.0);
    }
}

void TestReportFigures::bandEndsAtALongGap()
{
    RecordingReport report = m_report;
    const double column = report.timing.durationSeconds / 480.0;
    Envelope& envelope = report.gyroscope->axes[0].envelope;
    envelope.seconds = {1.0, 2.0, 10.0, 11.0, 30.0};
    envelope.lowest = {1.0, 1.0, 1.0, 1.0, 1.0};
    envelope.highest = {2.0, 2.0, 2.0, 2.0, 2.0};
    // One that a column hardly shows, and one that it does.
    report.gapSpans = {{3.0, 3.0 + 1.9 * column}, {12.0, 12.0 + 2.1 * column}};
    const Figure figure = figureOf(report, "time-gyroscope-x");
    QVERIFY(figure.plot);
    QList<int> sizes;
    for (const auto* const band :
         itemsOf<QwtPlotIntervalCurve>(*figure.plot, QwtPlotItem::Rtti_PlotIntervalCurve)) {
        sizes << int(band->dataSize());
    }
    std::sort(sizes.begin(), sizes.end());
    QCOMPARE(sizes, (QList<int>{1, 4}));
}

QTEST_MAIN(TestReportFigures)
#include "tst_report_figures.moc"
