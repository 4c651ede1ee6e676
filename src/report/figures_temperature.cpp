#include "report/figures_parts.h"

#include "report/number_text.h"
#include "report/qt_text.h"

#include <array>
#include <utility>

namespace report {

Topic temperatureTopic(const RecordingReport& report)
{
    Topic topic{QStringLiteral("temperature"), QStringLiteral("Temperature against bias"), {}};
    constexpr std::array<QwtSymbol::Style, 3> shapes{QwtSymbol::Ellipse, QwtSymbol::Cross,
                                                     QwtSymbol::UTriangle};
    const std::array<QColor, 3> colours{blue, vermilion, green};
    for (const Sensor& sensor : sensorsOf(report)) {
        if (sensor.report.axes[0].temperature.size() < 2) {
            continue;
        }
        auto plot = makePlot(QStringLiteral("temperature of the IMU in °C"),
                             "minus its mean, " + sensor.unit, standardHeight + 30);
        Range x;
        Range y;
        QString slopes;
        for (std::size_t i = 0; i < 3; ++i) {
            const AxisReport& axis = sensor.report.axes[i];
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
    if (report.temperatures &&
        report.temperatures->envelopes[analysis::imuTemperature].seconds.size() > 1) {
        addFigure(topic, QStringLiteral("temperature-time"),
                  QStringLiteral("Temperature of the IMU over time."),
                  timePlot(report, report.temperatures->envelopes[analysis::imuTemperature],
                           QStringLiteral("°C"), 0.0, standardHeight));
    }
    return topic;
}

} // namespace report
