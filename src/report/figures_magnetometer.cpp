#include "report/figures_parts.h"

#include "report/number_text.h"
#include "report/qt_text.h"

#include <qwt_plot_curve.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace report {

namespace {

constexpr int squareHeight = 450;
constexpr std::size_t mostReadingsDrawn = 500;
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

} // namespace

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
        auto plot = makePlot(unit.title, QStringLiteral("residual in µT"), standardHeight);
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
                  "Residuals: length of the corrected reading minus the radius. RMS " +
                      text(number(part.fit->aligned.residualRms, 3)) + " µT.",
                  std::move(plot));
    }
    return topic;
}

} // namespace report
