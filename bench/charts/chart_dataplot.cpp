#include "charts.h"

#include "charts/DataCurve.h"
#include "charts/DataPlot.h"

#include <QColor>

namespace benchchart {

const std::array<const char*, curveCount> colours{"#ff5757", "#30d695", "#00beff"};

namespace {

enum class Curves { Own, Plain, None };

class DataPlotChart : public Chart
{
public:
    explicit DataPlotChart(Curves curves) : m_plot(nullptr), m_curves(curves)
    {
        m_plot.setStyleSheet(QStringLiteral("background-color: transparent;"));
        if (curves != Curves::Own) {
            m_plot.setSensorType(static_cast<DataPlot::SensorType>(-1));
        }
        if (curves == Curves::Plain) {
            for (const char* colour : colours) {
                auto* curve = new DataCurve(QString()); // deleted by the plot
                curve->setLine(QColor(colour), 2.0);
                curve->attach(&m_plot);
                m_plain.append(curve);
            }
        }
    }

    QWidget* widget() override { return &m_plot; }
    QWidget* canvas() override { return m_plot.canvas(); }

    void update(const Frame& frame) override
    {
        for (int i = 0; i < curveCount && m_curves != Curves::None; ++i) {
            const QVector<double>& values = frame.values[static_cast<std::size_t>(i)];
            if (m_curves == Curves::Own) {
                m_plot.updateData(static_cast<DataPlot::DataType>(i), frame.time, values, false);
            } else {
                m_plain[i]->setSamples(frame.time, values);
            }
        }
        m_plot.setValRange(-valueRange, valueRange, false);
        m_plot.setTimeRange(frame.left, frame.right, false);
        m_plot.replot();
    }

private:
    DataPlot m_plot;
    Curves m_curves;
    QVector<DataCurve*> m_plain;
};

} // namespace

std::unique_ptr<Chart> makeDataPlot()
{
    return std::make_unique<DataPlotChart>(Curves::Own);
}

std::unique_ptr<Chart> makePlainDataPlot()
{
    return std::make_unique<DataPlotChart>(Curves::Plain);
}

std::unique_ptr<Chart> makeEmptyDataPlot()
{
    return std::make_unique<DataPlotChart>(Curves::None);
}

} // namespace benchchart
