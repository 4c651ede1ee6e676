#include "charts.h"

#include <QtCharts/QChart>
#include <QtCharts/QChartView>
#include <QtCharts/QLineSeries>
#include <QtCharts/QValueAxis>

namespace benchchart {

namespace {

class QtChart : public Chart
{
public:
    QtChart()
    {
        auto* chart = m_view.chart();
        chart->setBackgroundBrush(QColor(25, 25, 25));
        chart->setBackgroundRoundness(0.0);
        chart->setAnimationOptions(QtCharts::QChart::NoAnimation);
        chart->legend()->hide();
        m_view.setRenderHint(QPainter::Antialiasing, false);

        m_timeAxis = new QtCharts::QValueAxis;
        m_timeAxis->setTitleText(QStringLiteral("Timestamp [s]"));
        m_timeAxis->setGridLineVisible(false);
        chart->addAxis(m_timeAxis, Qt::AlignBottom);
        m_valueAxis = new QtCharts::QValueAxis;
        m_valueAxis->setTitleText(QStringLiteral("Accelerations [m/s²]"));
        chart->addAxis(m_valueAxis, Qt::AlignLeft);
        for (std::size_t i = 0; i < colours.size(); ++i) {
            m_series[i] = new QtCharts::QLineSeries;
            m_series[i]->setPen(QPen(QColor(colours[i]), 2.0));
            chart->addSeries(m_series[i]);
            m_series[i]->attachAxis(m_timeAxis);
            m_series[i]->attachAxis(m_valueAxis);
        }
    }

    QWidget* widget() override { return &m_view; }
    QWidget* canvas() override { return m_view.viewport(); }

    void update(const Frame& frame) override
    {
        m_valueAxis->setRange(-valueRange, valueRange);
        m_timeAxis->setRange(frame.left, frame.right);
        QVector<QPointF> points(frame.time.size());
        for (std::size_t curve = 0; curve < m_series.size(); ++curve) {
            for (int i = 0; i < points.size(); ++i) {
                points[i] = QPointF(frame.time[i], frame.values[curve][i]);
            }
            m_series[curve]->replace(points);
        }
    }

private:
    QtCharts::QChartView m_view;
    QtCharts::QValueAxis* m_timeAxis;                          // owned by the chart
    QtCharts::QValueAxis* m_valueAxis;                         // owned by the chart
    std::array<QtCharts::QLineSeries*, curveCount> m_series{}; // owned by the chart
};

} // namespace

std::unique_ptr<Chart> makeQtChart()
{
    return std::make_unique<QtChart>();
}

} // namespace benchchart
