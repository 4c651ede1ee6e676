#include "report/figures_parts.h"

#include "report/number_text.h"
#include "report/qt_text.h"

#include <qwt_plot_histogram.h>

#include <algorithm>

namespace report {

Topic timeTopic(const RecordingReport& report)
{
    Topic topic{QStringLiteral("time"), QStringLiteral("Time series"), {}};
    const QString gaps = report.gapSpans.empty() ? QString() : QStringLiteral(" Gaps are shaded.");
    for (const Sensor& sensor : sensorsOf(report)) {
        for (std::size_t i = 0; i < 3; ++i) {
            const AxisReport& axis = sensor.report.axes[i];
            const bool relative = report.rest && report.rest->whole;
            const QString name = sensor.name + " " + axisNames[i];
            const QString caption = relative ? name + ", minus its mean of " +
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
    auto bars = makePlot(QStringLiteral("interval in ms"), QStringLiteral("rows"), standardHeight);
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
              "Intervals between rows. Mean " + text(number(1e3 * report.timing.periodSeconds, 5)) +
                  " ms, standard deviation " + text(number(1e6 * report.timing.jitterSeconds, 3)) +
                  " µs, without gaps. Values outside count in the first or last bar.",
              std::move(bars));
    addFigure(topic, QStringLiteral("interval-time"),
              QStringLiteral("Shortest and longest interval between rows over time."),
              timePlot(report, report.intervalEnvelope, QStringLiteral("interval in ms"), 0.0,
                       standardHeight));
    addFigure(topic, QStringLiteral("drift"),
              QStringLiteral("Drift: delay of each time stamp against an even rate from the first "
                             "row to the last. Missing samples count."),
              timePlot(report, report.drift, QStringLiteral("delay in ms"), 0.0, standardHeight));
    return topic;
}

Topic gravityTopic(const RecordingReport& report)
{
    Topic topic{QStringLiteral("gravity"), QStringLiteral("Gravity at rest"), {}};
    if (report.gravity && !report.gravity->envelope.seconds.empty()) {
        addFigure(topic, QStringLiteral("gravity"),
                  "Length of the acceleration, means over a second or more; the length of the mean "
                  "is " +
                      text(number(report.gravity->mean, 5)) + " m/s².",
                  timePlot(report, report.gravity->envelope, QStringLiteral("length in m/s²"), 0.0,
                           standardHeight));
    }
    return topic;
}

} // namespace report
