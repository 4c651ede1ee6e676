#include "report/figures.h"

#include "report/number_text.h"

#include <QFont>
#include <QPen>

#include <qwt_legend.h>
#include <qwt_plot.h>
#include <qwt_plot_canvas.h>
#include <qwt_plot_curve.h>
#include <qwt_plot_grid.h>
#include <qwt_plot_histogram.h>
#include <qwt_plot_intervalcurve.h>
#include <qwt_plot_layout.h>
#include <qwt_plot_zoneitem.h>
#include <qwt_scale_draw.h>
#include <qwt_scale_engine.h>
#include <qwt_scale_widget.h>
#include <qwt_symbol.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>

namespace report {

namespace {

using analysis::AllanPoint;
using analysis::NoiseModel;

constexpr int width = 480;
constexpr int height = 300;
constexpr int lowHeight = 210;
constexpr int squareHeight = 450;
constexpr int fontPixels = 14;
constexpr std::size_t mostReadingsDrawn = 500;
constexpr std::size_t spectrumColumns = 240;

// Colours that stay apart for colour-blind eyes (M. Okabe, K. Ito, 2008). Colour is never the only
// difference: lines differ in their dashes, points in their shapes.
const QColor blue(0, 114, 178);
const QColor lightBlue(190, 217, 233);
const QColor vermilion(213, 94, 0);
const QColor green(0, 110, 80);
const QColor purple(160, 80, 130);
const QColor ink(32, 32, 32);
const QColor gridColour(222, 222, 222);
const QColor gapColour(250, 200, 160);
const QColor restColour(205, 232, 222);

constexpr std::array<const char*, 3> axisNames{"x", "y", "z"};

QFont font()
{
    QFont sans(QStringLiteral("sans-serif"));
    sans.setStyleHint(QFont::SansSerif);
    sans.setPixelSize(fontPixels);
    return sans;
}

QwtText titleOf(const QString& text)
{
    QwtText title(text, QwtText::PlainText);
    title.setFont(font());
    title.setColor(ink);
    return title;
}

std::unique_ptr<QwtPlot> makePlot(const QString& xTitle, const QString& yTitle, int plotHeight)
{
    auto plot = std::make_unique<QwtPlot>();
    plot->resize(width, plotHeight);
    plot->setFont(font());
    plot->setAutoReplot(false);
    plot->setCanvasBackground(Qt::white);
    if (auto* const canvas = qobject_cast<QwtPlotCanvas*>(plot->canvas())) {
        canvas->setFrameStyle(QFrame::NoFrame);
    }
    plot->plotLayout()->setAlignCanvasToScales(true);
    for (const int axis : {QwtPlot::xBottom, QwtPlot::yLeft}) {
        plot->setAxisFont(axis, font());
        plot->setAxisMaxMajor(axis, axis == QwtPlot::xBottom ? 6 : plotHeight < height ? 4 : 6);
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
    legend->setFont(font());
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

/// The unit in which a time of that length is read.
struct TimeUnit
{
    double seconds = 1.0;
    QString title;
};

TimeUnit timeUnit(double duration)
{
    if (duration > 7200.0) {
        return {3600.0, QStringLiteral("time in h")};
    }
    return duration > 600.0 ? TimeUnit{60.0, QStringLiteral("time in min")}
                            : TimeUnit{1.0, QStringLiteral("time in s")};
}

/// Limits that hold all values and are not equal.
struct Range
{
    double low = 0.0;
    double high = 0.0;
    bool any = false;

    void take(double value)
    {
        low = any ? std::min(low, value) : value;
        high = any ? std::max(high, value) : value;
        any = true;
    }
    void widen()
    {
        const double least = std::max(1e-9, 1e-9 * std::max(std::abs(low), std::abs(high)));
        if (high - low < least) {
            low -= 0.5 * std::max(least, 1e-3 * std::abs(low));
            high += 0.5 * std::max(least, 1e-3 * std::abs(high));
        }
    }
};

void setRange(QwtPlot& plot, int axis, Range range, double margin = 0.04)
{
    range.widen();
    const double extra = margin * (range.high - range.low);
    plot.setAxisScale(axis, range.low - extra, range.high + extra);
}

/// An envelope over time, less the value given.
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
    // A band ends where a gap lies before its next part.
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

QString text(const std::string& utf8)
{
    return QString::fromStdString(utf8);
}

struct Sensor
{
    const InertialReport* report = nullptr;
    QString id;
    QString name;
    QString unit;
};

std::array<Sensor, 2> sensorsOf(const RecordingReport& report)
{
    return {
        {{report.accelerometer ? &*report.accelerometer : nullptr, QStringLiteral("accelerometer"),
          QStringLiteral("Accelerometer"), QStringLiteral("m/s²")},
         {report.gyroscope ? &*report.gyroscope : nullptr, QStringLiteral("gyroscope"),
          QStringLiteral("Gyroscope"), QStringLiteral("°/s")}}};
}

// ---- Time series --------------------------------------------------------------------------------

Topic timeTopic(const RecordingReport& report)
{
    Topic topic{QStringLiteral("time"), QStringLiteral("Time series"), {}};
    const QString gaps = report.gapSpans.empty() ? QString() : QStringLiteral(" Gaps are shaded.");
    for (const Sensor& sensor : sensorsOf(report)) {
        for (std::size_t i = 0; sensor.report != nullptr && i < 3; ++i) {
            const AxisReport& axis = sensor.report->axes[i];
            const bool relative = report.rest && report.rest->whole;
            const QString name = sensor.name + " " + axisNames[i];
            const QString caption = relative ? name + ", less its mean of " +
                                                   text(number(axis.mean, 5)) + " " + sensor.unit +
                                                   "." + gaps
                                             : name + "." + gaps;
            addFigure(topic, "time-" + sensor.id + "-" + axisNames[i], caption,
                      timePlot(report, axis.envelope,
                               axisNames[i] + QStringLiteral(" in ") + sensor.unit,
                               relative ? axis.mean : 0.0, lowHeight));
        }
    }
    return topic;
}

Topic intervalTopic(const RecordingReport& report)
{
    Topic topic{QStringLiteral("interval"), QStringLiteral("Sample interval and drift"), {}};
    if (report.intervalEnvelope.seconds.empty()) {
        return topic;
    }
    const analysis::Histogram& histogram = report.intervals;
    auto bars = makePlot(QStringLiteral("distance of rows in ms"), QStringLiteral("rows"), height);
    QVector<QwtIntervalSample> samples;
    Range counts;
    counts.take(0.0);
    for (std::size_t i = 0; i < histogram.counts.size(); ++i) {
        const double low = 1e3 * (histogram.first + static_cast<double>(i) * histogram.width);
        const auto count = static_cast<double>(histogram.counts[i]);
        samples.append({count, low, low + 1e3 * histogram.width});
        counts.take(count);
    }
    auto* const item = new QwtPlotHistogram;
    item->setSamples(samples);
    item->setBrush(blue);
    item->setPen(QPen(Qt::white, 0.5));
    item->attach(bars.get());
    bars->setAxisScale(QwtPlot::yLeft, 0.0, std::max(1.0, 1.05 * counts.high));
    Range distances;
    distances.take(1e3 * histogram.first);
    distances.take(
        1e3 * (histogram.first + static_cast<double>(histogram.counts.size()) * histogram.width));
    setRange(*bars, QwtPlot::xBottom, distances, 0.0);
    addFigure(topic, QStringLiteral("interval-histogram"),
              "Distances of neighbouring rows. Mean " +
                  text(number(1e3 * report.timing.periodSeconds, 5)) + " ms, standard deviation " +
                  text(number(1e6 * report.timing.jitterSeconds, 3)) +
                  " µs, gaps left out. What lies outside counts in the last bar.",
              std::move(bars));
    addFigure(
        topic, QStringLiteral("interval-time"),
        QStringLiteral("Shortest and longest distance of rows over time."),
        timePlot(report, report.intervalEnvelope, QStringLiteral("distance in ms"), 0.0, height));
    addFigure(topic, QStringLiteral("drift"),
              QStringLiteral("Drift: by how much each time stamp is late against an even rate from "
                             "the first row to the last, missing samples counted."),
              timePlot(report, report.drift, QStringLiteral("late by ms"), 0.0, height));
    return topic;
}

// ---- Noise --------------------------------------------------------------------------------------

/// A line through the points of the curve's averaging times.
template <typename Value>
QVector<QPointF> lineOver(const std::vector<AllanPoint>& points, const Value& value)
{
    QVector<QPointF> line;
    for (const AllanPoint& point : points) {
        const double y = value(point.tau);
        if (y > 0.0) {
            line.append({point.tau, y});
        }
    }
    return line;
}

/// None where the deviation is zero throughout, which has no place on a logarithmic axis.
std::unique_ptr<QwtPlot> allanPlot(const AxisReport& axis, const QString& unit)
{
    std::vector<AllanPoint> points;
    Range deviations;
    for (const AllanPoint& point : axis.noise.allan) {
        if (point.deviation > 0.0 && point.low > 0.0) {
            points.push_back(point);
            deviations.take(point.low);
            deviations.take(point.high);
        }
    }
    if (points.size() < 3) {
        return nullptr;
    }
    auto plot = makePlot(QStringLiteral("averaging time τ in s"), "σ in " + unit, height + 60);
    plot->setAxisScaleEngine(QwtPlot::xBottom, new QwtLogScaleEngine);
    plot->setAxisScaleEngine(QwtPlot::yLeft, new QwtLogScaleEngine);
    QVector<QwtIntervalSample> band;
    QVector<QPointF> curve;
    for (const AllanPoint& point : points) {
        band.append({point.tau, point.low, point.high});
        curve.append({point.tau, point.deviation});
    }
    if (!axis.allanWithLines.empty()) {
        QVector<QPointF> raw;
        for (const AllanPoint& point : axis.allanWithLines) {
            raw.append({point.tau, point.deviation});
            deviations.take(point.deviation);
        }
        addLine(*plot, QStringLiteral("with vibration"), raw, QPen(ink, 1.2, Qt::DotLine));
    }
    addBand(*plot, QStringLiteral("68 %"), band, lightBlue, QPen(lightBlue, 0.8));
    addLine(*plot, QStringLiteral("σ"), curve, QPen(blue, 2.0));
    const NoiseModel& model = axis.noise.model;
    addLine(*plot, QStringLiteral("fit"),
            lineOver(points, [&](double tau) { return std::sqrt(model.variance(tau)); }),
            QPen(ink, 1.0));
    if (model.noiseDensity.value) {
        const double density = *model.noiseDensity.value;
        addLine(*plot, QStringLiteral("N"),
                lineOver(points, [=](double tau) { return density / std::sqrt(tau); }),
                QPen(vermilion, 1.5, Qt::DashLine));
    }
    if (model.biasInstability.value) {
        const double level = *model.biasInstability.value * analysis::flickerLevel;
        addLine(*plot, QStringLiteral("0.664 B"), lineOver(points, [=](double) { return level; }),
                QPen(purple, 1.5, Qt::DotLine));
    }
    if (model.randomWalk.value) {
        const double walk = *model.randomWalk.value;
        addLine(*plot, QStringLiteral("K"),
                lineOver(points, [=](double tau) { return walk * std::sqrt(tau / 3.0); }),
                QPen(green, 1.5, Qt::DashDotLine));
    }
    plot->setAxisScale(QwtPlot::xBottom, points.front().tau, points.back().tau);
    plot->setAxisScale(QwtPlot::yLeft, deviations.low / 1.3, deviations.high * 1.3);
    addLegend(*plot);
    return plot;
}

QString coefficientText(const analysis::Coefficient& coefficient, const QString& unit)
{
    return coefficient.value ? text(number(*coefficient.value, 3)) + " " + unit
                             : QStringLiteral("not observable");
}

Topic allanTopic(const RecordingReport& report)
{
    Topic topic{QStringLiteral("allan"), QStringLiteral("Overlapping Allan deviation"), {}};
    for (const Sensor& sensor : sensorsOf(report)) {
        const bool turns = sensor.id == QLatin1String("gyroscope");
        for (std::size_t i = 0; sensor.report != nullptr && i < 3; ++i) {
            const AxisReport& axis = sensor.report->axes[i];
            if (auto plot = allanPlot(axis, sensor.unit)) {
                const NoiseModel& model = axis.noise.model;
                addFigure(topic, "allan-" + sensor.id + "-" + axisNames[i],
                          sensor.name + " " + axisNames[i] + ": N " +
                              coefficientText(model.noiseDensity, sensor.unit + "/√Hz") + ", B " +
                              coefficientText(model.biasInstability, sensor.unit) + ", K " +
                              coefficientText(model.randomWalk, turns
                                                                    ? QStringLiteral("°/s²/√Hz")
                                                                    : QStringLiteral("m/s³/√Hz")) +
                              ".",
                          std::move(plot));
            }
        }
    }
    return topic;
}

std::unique_ptr<QwtPlot> spectrumPlot(const analysis::Spectrum& spectrum, const QString& unit)
{
    if (spectrum.density.size() < 8) {
        return nullptr;
    }
    // Lowest and highest of equal parts of the logarithmic axis.
    const double first = spectrum.resolutionHz;
    const double last = static_cast<double>(spectrum.density.size() - 1) * first;
    std::map<int, std::pair<double, double>> columns;
    Range values;
    // Without the highest frequency, which has half of the others' density.
    for (std::size_t i = 1; i + 1 < spectrum.density.size(); ++i) {
        const double value = std::sqrt(spectrum.density[i]);
        if (!(value > 0.0)) {
            continue;
        }
        const double place = std::log(static_cast<double>(i)) / std::log(last / first);
        const int column = static_cast<int>(place * static_cast<double>(spectrumColumns));
        const auto [at, fresh] = columns.try_emplace(column, value, value);
        if (!fresh) {
            at->second.first = std::min(at->second.first, value);
            at->second.second = std::max(at->second.second, value);
        }
        values.take(value);
    }
    if (columns.size() < 4) {
        return nullptr;
    }
    auto plot = makePlot(QStringLiteral("frequency in Hz"), unit + "/√Hz", height);
    plot->setAxisScaleEngine(QwtPlot::xBottom, new QwtLogScaleEngine);
    plot->setAxisScaleEngine(QwtPlot::yLeft, new QwtLogScaleEngine);
    QVector<QwtIntervalSample> samples;
    for (const auto& [column, value] : columns) {
        const double place = (column + 0.5) / static_cast<double>(spectrumColumns);
        samples.append({first * std::pow(last / first, place), value.first, value.second});
    }
    addBand(*plot, QString(), samples, blue, QPen(blue, 1.2));
    plot->setAxisScale(QwtPlot::xBottom, first, last);
    // A decade at least, so that white noise looks even.
    const double margin = std::max(1.5, std::sqrt(10.0 * values.low / values.high));
    plot->setAxisScale(QwtPlot::yLeft, values.low / margin, values.high * margin);
    return plot;
}

Topic spectrumTopic(const RecordingReport& report)
{
    Topic topic{QStringLiteral("spectrum"), QStringLiteral("Spectrum"), {}};
    for (const Sensor& sensor : sensorsOf(report)) {
        for (std::size_t i = 0; sensor.report != nullptr && i < 3; ++i) {
            const AxisReport& axis = sensor.report->axes[i];
            auto plot = spectrumPlot(axis.spectrum, sensor.unit);
            if (!plot) {
                continue;
            }
            QString lines;
            for (std::size_t k = 0; k < std::min<std::size_t>(axis.lines.size(), 3); ++k) {
                const analysis::SpectralLine& line = axis.lines[k];
                lines += (k == 0 ? QStringLiteral(" Lines: ") : QStringLiteral(", ")) +
                         text(number(line.frequencyHz, 5)) + " Hz ± " +
                         text(number(0.5 * (line.high - line.low), 2)) + " Hz (" +
                         text(number(line.amplitude, 3)) + " " + sensor.unit + ")";
            }
            addFigure(topic, "spectrum-" + sensor.id + "-" + axisNames[i],
                      sensor.name + " " + axisNames[i] + ": amplitude density, mean of " +
                          text(number(std::uint64_t{axis.spectrum.averages})) + " segments." +
                          lines + (lines.isEmpty() ? "" : "."),
                      std::move(plot));
        }
    }
    return topic;
}

// ---- Gravity and temperature --------------------------------------------------------------------

Topic gravityTopic(const RecordingReport& report)
{
    Topic topic{QStringLiteral("gravity"), QStringLiteral("Gravity at rest"), {}};
    if (report.gravity && !report.gravity->envelope.seconds.empty()) {
        addFigure(topic, QStringLiteral("gravity"),
                  "Length of the acceleration, means over a second or more; the length of the mean "
                  "is " +
                      text(number(report.gravity->mean, 5)) + " m/s².",
                  timePlot(report, report.gravity->envelope, QStringLiteral("length in m/s²"), 0.0,
                           height));
    }
    return topic;
}

Topic temperatureTopic(const RecordingReport& report)
{
    Topic topic{QStringLiteral("temperature"), QStringLiteral("Temperature against bias"), {}};
    constexpr std::array<QwtSymbol::Style, 3> shapes{QwtSymbol::Ellipse, QwtSymbol::Cross,
                                                     QwtSymbol::UTriangle};
    const std::array<QColor, 3> colours{blue, vermilion, green};
    for (const Sensor& sensor : sensorsOf(report)) {
        if (sensor.report == nullptr || sensor.report->axes[0].temperature.size() < 2) {
            continue;
        }
        auto plot = makePlot(QStringLiteral("temperature of the IMU in °C"),
                             "less its mean, " + sensor.unit, height + 30);
        Range x;
        Range y;
        QString slopes;
        for (std::size_t i = 0; i < 3; ++i) {
            const AxisReport& axis = sensor.report->axes[i];
            QVector<QPointF> points;
            const std::size_t step = axis.temperature.size() / 200 + 1;
            for (std::size_t k = 0; k < axis.temperature.size(); k += step) {
                const Point& point = axis.temperature[k];
                points.append({point.x, point.y - axis.mean});
                x.take(point.x);
                y.take(point.y - axis.mean);
            }
            addDots(*plot, axisNames[i], points, colours.at(i), shapes.at(i));
            if (axis.temperatureSlope) {
                slopes += (slopes.isEmpty() ? " Slope: " : ", ") + QString(axisNames[i]) + " " +
                          text(number(*axis.temperatureSlope, 3)) + " " + sensor.unit + "/°C";
            }
        }
        setRange(*plot, QwtPlot::xBottom, x);
        setRange(*plot, QwtPlot::yLeft, y);
        addLegend(*plot);
        addFigure(topic, "temperature-" + sensor.id,
                  sensor.name + " against the temperature of the IMU, at rest." +
                      (slopes.isEmpty() ? QString() : slopes + "."),
                  std::move(plot));
    }
    if (report.temperatures && report.temperatures->envelopes[2].seconds.size() > 1) {
        addFigure(
            topic, QStringLiteral("temperature-time"),
            QStringLiteral("Temperature of the IMU over time."),
            timePlot(report, report.temperatures->envelopes[2], QStringLiteral("°C"), 0.0, height));
    }
    return topic;
}

// ---- Magnetometer -------------------------------------------------------------------------------

constexpr std::array<std::array<Eigen::Index, 2>, 3> planes{{{0, 1}, {0, 2}, {1, 2}}};

std::unique_ptr<QwtPlot> spherePlot(const Eigen::Matrix3Xd& readings,
                                    const std::array<Eigen::Index, 2>& plane, double reach,
                                    const Eigen::Vector3d& centre, const Eigen::Vector3d& radii,
                                    bool fitted)
{
    const auto name = [](Eigen::Index axis) {
        return axisNames.at(static_cast<std::size_t>(axis));
    };
    auto plot = makePlot(name(plane[0]) + QStringLiteral(" in µT"),
                         name(plane[1]) + QStringLiteral(" in µT"), squareHeight);
    QVector<QPointF> points;
    const Eigen::Index step = readings.cols() / static_cast<Eigen::Index>(mostReadingsDrawn) + 1;
    for (Eigen::Index i = 0; i < readings.cols(); i += step) {
        points.append({readings(plane[0], i), readings(plane[1], i)});
    }
    auto* const dots = new QwtPlotCurve;
    dots->setStyle(QwtPlotCurve::Dots);
    dots->setPen(blue, 2.5);
    dots->setSamples(points);
    dots->attach(plot.get());
    if (fitted) {
        QVector<QPointF> outline;
        for (int i = 0; i <= 72; ++i) {
            const double turn = i * 3.14159265358979323846 / 36.0;
            outline.append({centre[plane[0]] + radii[plane[0]] * std::cos(turn),
                            centre[plane[1]] + radii[plane[1]] * std::sin(turn)});
        }
        addLine(*plot, QString(), outline, QPen(vermilion, 1.8));
    }
    plot->setAxisScale(QwtPlot::xBottom, -reach, reach);
    plot->setAxisScale(QwtPlot::yLeft, -reach, reach);
    return plot;
}

Topic magnetometerTopic(const RecordingReport& report)
{
    Topic topic{QStringLiteral("magnetometer"), QStringLiteral("Magnetometer"), {}};
    if (!report.magnetometer || report.magnetometer->before.cols() == 0) {
        return topic;
    }
    const MagnetometerPart& part = *report.magnetometer;
    const Eigen::Vector3d none = Eigen::Vector3d::Zero();
    const double reach = 1.15 * std::max(1.0, part.before.cwiseAbs().maxCoeff());
    for (const auto& plane : planes) {
        const QString axes = QString(axisNames.at(static_cast<std::size_t>(plane[0]))) + "-" +
                             axisNames.at(static_cast<std::size_t>(plane[1]));
        addFigure(topic, "magnetometer-before-" + axes,
                  "Before, " + axes + ": readings" +
                      (part.fit ? " with the outline of the fitted ellipsoid." : "."),
                  spherePlot(part.before, plane, reach, part.fit ? part.fit->aligned.offset : none,
                             part.fit ? part.fit->aligned.radii : none, part.fit.has_value()));
        if (part.fit) {
            const double radius = part.fit->aligned.radius;
            addFigure(topic, "magnetometer-after-" + axes,
                      "After, " + axes + ": corrected readings with the sphere.",
                      spherePlot(part.after, plane,
                                 1.15 * std::max(radius, part.after.cwiseAbs().maxCoeff()), none,
                                 Eigen::Vector3d::Constant(radius), true));
        }
    }
    if (part.residuals.size() > 1) {
        const TimeUnit unit = timeUnit(part.residuals.back().x);
        auto plot = makePlot(unit.title, QStringLiteral("residual in µT"), height);
        QVector<QPointF> points;
        Range values;
        const std::size_t step = part.residuals.size() / mostReadingsDrawn + 1;
        for (std::size_t i = 0; i < part.residuals.size(); i += step) {
            points.append({part.residuals[i].x / unit.seconds, part.residuals[i].y});
            values.take(part.residuals[i].y);
        }
        auto* const dots = new QwtPlotCurve;
        dots->setStyle(QwtPlotCurve::Dots);
        dots->setPen(blue, 2.5);
        dots->setSamples(points);
        dots->attach(plot.get());
        plot->setAxisScale(QwtPlot::xBottom, 0.0, part.residuals.back().x / unit.seconds);
        setRange(*plot, QwtPlot::yLeft, values);
        addFigure(topic, QStringLiteral("magnetometer-residual"),
                  "Residuals: length of the corrected reading less the radius. RMS " +
                      text(number(part.fit->aligned.residualRms, 3)) + " µT.",
                  std::move(plot));
    }
    return topic;
}

Topic sixPositionsTopic(const RecordingReport& report)
{
    Topic topic{QStringLiteral("six-positions"), QStringLiteral("Six positions"), {}};
    if (!report.options.sixPositions || report.accelerationLength.seconds.empty()) {
        return topic;
    }
    auto plot =
        timePlot(report, report.accelerationLength, QStringLiteral("length in m/s²"), 0.0, height);
    if (report.sixPositions && report.read.rows > 1) {
        const TimeUnit unit = timeUnit(report.timing.durationSeconds);
        // Rows are close enough to even for a shade.
        const double perRow =
            report.timing.durationSeconds / static_cast<double>(report.read.rows - 1);
        for (const analysis::Rest& rest : report.sixPositions->rests) {
            addZone(*plot, static_cast<double>(rest.first) * perRow / unit.seconds,
                    static_cast<double>(rest.end) * perRow / unit.seconds, restColour);
        }
    }
    addFigure(topic, QStringLiteral("six-positions"),
              QStringLiteral("Length of the acceleration. The rests that were found are shaded."),
              std::move(plot));
    return topic;
}

} // namespace

Figure::Figure() = default;
Figure::Figure(Figure&& other) noexcept = default;
Figure& Figure::operator=(Figure&& other) noexcept = default;
Figure::~Figure() = default;

std::vector<Topic> topicsOf(const RecordingReport& report)
{
    std::vector<Topic> topics;
    topics.push_back(timeTopic(report));
    topics.push_back(intervalTopic(report));
    topics.push_back(allanTopic(report));
    topics.push_back(spectrumTopic(report));
    topics.push_back(gravityTopic(report));
    topics.push_back(temperatureTopic(report));
    topics.push_back(magnetometerTopic(report));
    topics.push_back(sixPositionsTopic(report));
    for (Topic& topic : topics) {
        for (Figure& figure : topic.figures) {
            figure.plot->updateAxes();
        }
    }
    return topics;
}

void alignAxes(std::vector<std::vector<Topic>>& recordings)
{
    struct Axes
    {
        QwtInterval x;
        QwtInterval y;
    };
    const auto each = [&](const auto& visit) {
        for (std::vector<Topic>& topics : recordings) {
            for (Topic& topic : topics) {
                for (Figure& figure : topic.figures) {
                    visit(figure);
                }
            }
        }
    };
    std::map<QString, Axes> axes;
    each([&](Figure& figure) {
        Axes& all = axes[figure.id];
        all.x |= figure.plot->axisInterval(QwtPlot::xBottom);
        all.y |= figure.plot->axisInterval(QwtPlot::yLeft);
    });
    each([&](Figure& figure) {
        if (figure.id == QLatin1String("interval-histogram")) {
            return; // bars about different rates would be too thin to see
        }
        const Axes& all = axes[figure.id];
        figure.plot->setAxisScale(QwtPlot::xBottom, all.x.minValue(), all.x.maxValue());
        figure.plot->setAxisScale(QwtPlot::yLeft, all.y.minValue(), all.y.maxValue());
        figure.plot->updateAxes();
    });
}

} // namespace report
