#include "charts.h"

#include <qcustomplot.h>

namespace benchchart {

namespace {

class QCustomPlotChart : public Chart
{
public:
    QCustomPlotChart()
    {
        m_plot.setBackground(QColor(25, 25, 25));
        m_plot.setNotAntialiasedElements(QCP::aeAll);
        m_plot.setPlottingHint(QCP::phFastPolylines, true);
        m_plot.setPlottingHint(QCP::phCacheLabels, true);
        m_plot.setNoAntialiasingOnDrag(true);
        const QSharedPointer<QCPAxisTickerDateTime> ticker(new QCPAxisTickerDateTime);
        ticker->setDateTimeFormat(QStringLiteral("hh:mm:ss"));
        m_plot.xAxis->setTicker(ticker);
        m_plot.xAxis->setLabel(QStringLiteral("Timestamp [h:m:s]"));
        m_plot.yAxis->setLabel(QStringLiteral("Accelerations [m/s²]"));
        m_plot.xAxis->grid()->setVisible(false);
        for (const char* colour : colours) {
            QCPGraph* graph = m_plot.addGraph();
            graph->setPen(QPen(QColor(colour), 2.0));
            graph->setAdaptiveSampling(true);
        }
    }

    QWidget* widget() override { return &m_plot; }
    QWidget* canvas() override { return &m_plot; }

    void update(const Frame& frame) override
    {
        for (int i = 0; i < curveCount; ++i) {
            m_plot.graph(i)->setData(frame.time, frame.values[static_cast<std::size_t>(i)], true);
        }
        m_plot.yAxis->setRange(-valueRange, valueRange);
        m_plot.xAxis->setRange(frame.left, frame.right);
        m_plot.replot(QCustomPlot::rpQueuedRefresh);
    }

private:
    QCustomPlot m_plot;
};

} // namespace

std::unique_ptr<Chart> makeQCustomPlot()
{
    return std::make_unique<QCustomPlotChart>();
}

} // namespace benchchart
