#include "report/figures_parts.h"

#include "report/number_text.h"
#include "report/qt_text.h"

#include <qwt_scale_engine.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

namespace report {

namespace {

constexpr std::size_t spectrumColumns = 240;

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
    // The highest frequency is left out: it has half the density of the others.
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
    auto plot = makePlot(QStringLiteral("frequency in Hz"), unit + "/√Hz", standardHeight);
    plot->setAxisScaleEngine(QwtPlot::xBottom, new QwtLogScaleEngine);
    plot->setAxisScaleEngine(QwtPlot::yLeft, new QwtLogScaleEngine);
    QVector<QwtIntervalSample> samples;
    for (const auto& [column, value] : columns) {
        const double place = (column + 0.5) / static_cast<double>(spectrumColumns);
        samples.append({first * std::pow(last / first, place), value.first, value.second});
    }
    addBand(*plot, QString(), samples, blue, QPen(blue, 1.2));
    plot->setAxisScale(QwtPlot::xBottom, first, last);
    // At least a decade, so that white noise looks flat.
    const double margin = std::max(1.5, std::sqrt(10.0 * values.low / values.high));
    plot->setAxisScale(QwtPlot::yLeft, values.low / margin, values.high * margin);
    return plot;
}

} // namespace

Topic spectrumTopic(const RecordingReport& report)
{
    Topic topic{QStringLiteral("spectrum"), QStringLiteral("Spectrum"), {}};
    for (const Sensor& sensor : sensorsOf(report)) {
        for (std::size_t i = 0; i < 3; ++i) {
            const AxisReport& axis = sensor.report.axes[i];
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

} // namespace report
