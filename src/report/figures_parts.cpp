#include "report/figures_parts.h"

#include "report/inertial_sensors.h"
#include "report/qt_text.h"

#include <qwt_legend.h>
#include <qwt_plot_canvas.h>
#include <qwt_plot_curve.h>
#include <qwt_plot_grid.h>
#include <qwt_plot_intervalcurve.h>
#include <qwt_plot_layout.h>
#include <qwt_plot_zoneitem.h>
#include <qwt_scale_draw.h>
#include <qwt_scale_widget.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace report {

namespace {

constexpr int width = 480;
constexpr int fontPixels = 14;
constexpr QColor gridColour(222, 222, 222);
constexpr QColor gapColour(250, 200, 160);

QwtText titleOf(const QString& text)
{
    QwtText title(text, QwtText::PlainText);
    title.setFont(sansSerif(fontPixels));
    title.setColor(ink);
    return title;
}

} // namespace

QFont sansSerif(int pixels)
{
    QFont sans(QStringLiteral("sans-serif"));
    sans.setStyleHint(QFont::SansSerif);
    sans.setPixelSize(pixels);
    return sans;
}

void Range::take(double value)
{
    low = any ? std::min(low, value) : value;
    high = any ? std::max(high, value) : value;
    any = true;
}

void Range::widen()
{
    const double least = std::max(1e-9, 1e-9 * std::max(std::abs(low), std::abs(high)));
    if (high - low < least) {
        low -= 0.5 * std::max(least, 1e-3 * std::abs(low));
        high += 0.5 * std::max(least, 1e-3 * std::abs(high));
    }
}

std::unique_ptr<QwtPlot> makePlot(const QString& xTitle, const QString& yTitle, int plotHeight)
{
    auto plot = std::make_unique<QwtPlot>();
    plot->resize(width, plotHeight);
    plot->setFont(sansSerif(fontPixels));
    plot->setAutoReplot(false);
    plot->setCanvasBackground(Qt::white);
    if (auto* const canvas = qobject_cast<QwtPlotCanvas*>(plot->canvas())) {
        canvas->setFrameStyle(QFrame::NoFrame);
    }
    plot->plotLayout()->setAlignCanvasToScales(true);
    for (const int axis : {QwtPlot::xBottom, QwtPlot::yLeft}) {
        plot->setAxisFont(axis, sansSerif(fontPixels));
        plot->setAxisMaxMajor(axis, axis == QwtPlot::xBottom      ? 6
                                    : plotHeight < standardHeight ? 4
                                                                  : 6);
        plot->setAxisTitle(axis, titleOf(axis == QwtPlot::xBottom ? xTitle : yTitle));
        QPalette palette = plot->axisWidget(axis)->palette();
        palette.setColor(QPalette::WindowText, ink);
        palette.setColor(QPalette::Text, ink);
        plot->axisWidget(axis)->setPalette(palette);
    }
    auto* const grid = new QwtPlotGrid; // the plot owns its items
    grid->setMajorPen(gridColour, 1.0);
    grid->attach(plot.get());
    return plot;
}

void addLegend(QwtPlot& plot)
{
    auto* const legend = new QwtLegend; // the plot owns it
    legend->setFont(sansSerif(fontPixels));
    plot.insertLegend(legend, QwtPlot::BottomLegend);
}

void addLine(QwtPlot& plot, const QString& name, const QVector<QPointF>& points, const QPen& pen)
{
    auto* const curve = new QwtPlotCurve(titleOf(name));
    curve->setSamples(points);
    curve->setPen(pen);
    curve->setPaintAttribute(QwtPlotCurve::ClipPolygons, true);
    curve->setLegendAttribute(QwtPlotCurve::LegendShowLine, true);
    curve->setLegendIconSize(QSize(28, 10));
    curve->setItemAttribute(QwtPlotItem::Legend, !name.isEmpty());
    curve->attach(&plot);
}

void addDots(QwtPlot& plot, const QString& name, const QVector<QPointF>& points,
             const QColor& colour, QwtSymbol::Style shape)
{
    auto* const curve = new QwtPlotCurve(titleOf(name));
    curve->setSamples(points);
    curve->setStyle(QwtPlotCurve::NoCurve);
    curve->setSymbol(new QwtSymbol(shape, QBrush(Qt::NoBrush), QPen(colour, 1.2), QSize(5, 5)));
    curve->setLegendAttribute(QwtPlotCurve::LegendShowSymbol, true);
    curve->setItemAttribute(QwtPlotItem::Legend, !name.isEmpty());
    curve->attach(&plot);
}

void addBand(QwtPlot& plot, const QString& name, const QVector<QwtIntervalSample>& samples,
             const QColor& fill, const QPen& edge)
{
    auto* const band = new QwtPlotIntervalCurve(titleOf(name));
    band->setSamples(samples);
    band->setStyle(QwtPlotIntervalCurve::Tube);
    band->setBrush(fill);
    band->setPen(edge);
    band->setItemAttribute(QwtPlotItem::Legend, !name.isEmpty());
    band->setLegendIconSize(QSize(28, 10));
    band->attach(&plot);
}

void addZone(QwtPlot& plot, double from, double to, const QColor& colour)
{
    auto* const zone = new QwtPlotZoneItem;
    zone->setOrientation(Qt::Vertical);
    zone->setInterval(from, to);
    zone->setBrush(colour);
    zone->setPen(QPen(Qt::NoPen));
    zone->attach(&plot);
}

TimeUnit timeUnit(double duration)
{
    if (duration > 7200.0) {
        return {3600.0, QStringLiteral("time in h")};
    }
    return duration > 600.0 ? TimeUnit{60.0, QStringLiteral("time in min")}
                            : TimeUnit{1.0, QStringLiteral("time in s")};
}

void setRange(QwtPlot& plot, int axis, Range range, double margin)
{
    range.widen();
    const double extra = margin * (range.high - range.low);
    plot.setAxisScale(axis, range.low - extra, range.high + extra);
}

std::unique_ptr<QwtPlot> timePlot(const RecordingReport& report, const Envelope& envelope,
                                  const QString& yTitle, double less, int plotHeight)
{
    const TimeUnit unit = timeUnit(report.timing.durationSeconds);
    auto plot = makePlot(unit.title, yTitle, plotHeight);
    Range values;
    Range times;
    const double column = report.timing.durationSeconds / width;
    for (const Point& span : report.gapSpans) {
        addZone(*plot, span.x / unit.seconds, std::max(span.y, span.x + column) / unit.seconds,
                gapColour);
    }
    // A band ends at a gap.
    QVector<QwtIntervalSample> samples;
    auto gap = report.gapSpans.begin();
    const auto close = [&] {
        addBand(*plot, QString(), samples, blue, QPen(blue, 1.2));
        samples.clear();
    };
    for (std::size_t i = 0; i < envelope.seconds.size(); ++i) {
        const double seconds = envelope.seconds[i];
        bool behindGap = false;
        for (; gap != report.gapSpans.end() && 0.5 * (gap->x + gap->y) < seconds; ++gap) {
            behindGap = behindGap || gap->y - gap->x > 2.0 * column;
        }
        if (behindGap && !samples.isEmpty()) {
            close();
        }
        samples.append(
            {seconds / unit.seconds, envelope.lowest[i] - less, envelope.highest[i] - less});
        values.take(envelope.lowest[i] - less);
        values.take(envelope.highest[i] - less);
        times.take(seconds / unit.seconds);
    }
    close();
    setRange(*plot, QwtPlot::xBottom, times, 0.0);
    setRange(*plot, QwtPlot::yLeft, values);
    return plot;
}

void addFigure(Topic& topic, const QString& id, const QString& caption,
               std::unique_ptr<QwtPlot> plot)
{
    Figure figure;
    figure.id = id;
    figure.caption = caption;
    figure.plot = std::move(plot);
    topic.figures.push_back(std::move(figure));
}

std::vector<Sensor> sensorsOf(const RecordingReport& report)
{
    std::vector<Sensor> sensors;
    for (const InertialSensor& sensor : inertialSensors) {
        if (const auto& inertial = report.*sensor.report) {
            sensors.push_back({*inertial, text(sensor.id), text(sensor.name), text(sensor.unit),
                               text(sensor.walkUnit)});
        }
    }
    return sensors;
}

} // namespace report
