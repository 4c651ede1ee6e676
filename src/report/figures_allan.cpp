#include "report/figures_parts.h"

#include "report/number_text.h"
#include "report/qt_text.h"

#include <qwt_scale_engine.h>

#include <cmath>
#include <utility>
#include <vector>

namespace report {

namespace {

using analysis::AllanPoint;
using analysis::NoiseModel;

/// A line with a point at each averaging time of the curve.
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

/// None if the deviation is zero everywhere: a logarithmic axis has no zero.
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
    auto plot =
        makePlot(QStringLiteral("averaging time τ in s"), "σ in " + unit, standardHeight + 60);
    plot->setAxisScaleEngine(QwtPlot::xBottom, new QwtLogScaleEngine);
    plot->setAxisScaleEngine(QwtPlot::yLeft, new QwtLogScaleEngine);
    QVector<QwtIntervalSample> band;
    QVector<QPointF> curve;
    for (const AllanPoint& point : points) {
        band.append({point.tau, point.low, point.high});
        curve.append({point.tau, point.deviation});
    }
    if (!axis.allanAsRecorded.empty()) {
        QVector<QPointF> raw;
        for (const AllanPoint& point : axis.allanAsRecorded) {
            raw.append({point.tau, point.deviation});
            deviations.take(point.deviation);
        }
        addLine(*plot, QStringLiteral("as recorded"), raw, QPen(ink, 1.2, Qt::DotLine));
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

} // namespace

Topic allanTopic(const RecordingReport& report)
{
    Topic topic{QStringLiteral("allan"), QStringLiteral("Overlapping Allan deviation"), {}};
    for (const Sensor& sensor : sensorsOf(report)) {
        for (std::size_t i = 0; i < 3; ++i) {
            const AxisReport& axis = sensor.report.axes[i];
            if (auto plot = allanPlot(axis, sensor.unit)) {
                const NoiseModel& model = axis.noise.model;
                addFigure(topic, "allan-" + sensor.id + "-" + axisNames[i],
                          sensor.name + " " + axisNames[i] + ": N " +
                              coefficientText(model.noiseDensity, sensor.unit + "/√Hz") + ", B " +
                              coefficientText(model.biasInstability, sensor.unit) + ", K " +
                              coefficientText(model.randomWalk, sensor.walkUnit) + ".",
                          std::move(plot));
            }
        }
    }
    return topic;
}

} // namespace report
