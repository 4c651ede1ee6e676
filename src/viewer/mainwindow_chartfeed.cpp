// The chart feed: the changes of the window for a selected sensor, and the timer-driven copy of the
// newest samples into the chart.

#include "viewer/mainwindow.h"

#include "ui_mainwindow.h"
#include "viewer/chart_feed_rules.h"
#include "viewer/sensor_table.h"

#include <QLineEdit>
#include <QMutexLocker>
#include <QTimer>

#include <algorithm>
#include <array>
#include <limits>
#include <utility>
#include <vector>

namespace {

constexpr int reservedSamples = 24000; // a minute of the IMU

/// At most `count` samples from `start` on, in a separate vector of exactly that size. mid() alone
/// would share a series that fits into the window, and the sensor thread would copy all of it with
/// the next sample.
QVector<double> windowOf(const QVector<double>& series, int start, int count)
{
    const int begin = std::min(start, series.size());
    const int size = std::min(count, series.size() - begin);
    if (size < series.size()) {
        return series.mid(begin, size);
    }
    // Not from a pair of iterators: QVector appends those element by element.
    QVector<double> window(size);
    std::copy(series.cbegin(), series.cend(), window.begin());
    return window;
}

} // namespace

void MainWindow::initCharts()
{
    // Without the lock: no sensor thread runs when this is called.
    std::vector<OldSeries> former; // clear() would keep the memory of hours
    for (const auto series : allSeries) {
        former.emplace_back(std::exchange(this->*series, {}));
        (this->*series).reserve(reservedSamples);
    }
    disposal.take(std::move(former));
    growth.reset();
    DataPlot* const chart = ui->widget_chart;
    chart->setAutoReplot(false);
    for (int curve = 0; curve < DataPlot::curveCount; ++curve) {
        chart->updateData(static_cast<DataPlot::DataType>(curve), {}, {}, false);
    }
    chart->replot();
    changeSensor(QString());
}

void MainWindow::changeSensor(const QString& sensor)
{
    currentSensor = sensor;

    // Without a row the boxes are those of the accelerometer, and the chart's mode does not change.
    const SensorRow* const row = SensorRow::find(sensor);
    const SensorRow::Boxes boxes = row != nullptr ? row->boxes : SensorRow::Boxes();
    ui->lineEdit_value_0->setStyleSheet(style->*boxes.sheets[0]);
    ui->lineEdit_value_1->setStyleSheet(style->*boxes.sheets[1]);
    ui->lineEdit_value_2->setStyleSheet(style->*boxes.sheets[2]);
    ui->lineEdit_value_1->setVisible(boxes.shown > 1);
    ui->lineEdit_value_2->setVisible(boxes.shown > 2);
    ui->pushButton_calib_mag->setVisible(row != nullptr && row->isMagnetometer);

    if (row != nullptr) {
        ui->widget_chart->setSensorType(row->mode);
        const auto axis = row->valueAxis(*this, chartfeed::selectionMargin);
        ui->widget_chart->setValRange(axis.min, axis.max, false);
    }
    updateChartTimeSize();
}

void MainWindow::updateChartTimeSize()
{
    const auto seconds = chartfeed::windowSeconds(ui->comboBox_time_range->currentText(),
                                                  {tr("sec"), tr("min"), tr("hours")});
    if (seconds.has_value()) {
        chartWindowSec = *seconds;
    }
}

void MainWindow::updatePlot()
{
    // Held to the end, so that the sensor thread does not change the series during the copy.
    // replot() only updates the axes; the painting follows in a later event.
    const QMutexLocker lock(&dataMutex);
    ui->widget_chart->setAutoReplot(false);
    if (accX.isEmpty()) {
        return;
    }
    plotTimer->stop();

    const int start = chartfeed::windowStart(
        accX.size(), chartfeed::imuWindowSamples(chartWindowSec, imuSamplesPerSec));
    // Depends on the IMU's window, whatever the chart shows.
    const int period = chartfeed::updatePeriodMs(accX.size() - start);
    if (period != plotPeriodMs) {
        plotPeriodMs = period;
        plotTimer->setInterval(plotPeriodMs);
    }

    feedChart(SensorRow::shownFor(currentSensor), start);
    ui->widget_chart->replot();
    plotTimer->start();
}

void MainWindow::feedChart(const SensorRow& row, int imuStart)
{
    SensorRow::Series time = &MainWindow::imuTime;
    int start = imuStart;
    if (row.pace.time != nullptr) {
        time = row.pace.time;
        SensorRow::Series counted = row.pace.counted;
        int rate = this->*row.pace.samplesPerSec;
        if (row.pace.fallbackTime != nullptr && (this->*time).isEmpty()) {
            time = counted = row.pace.fallbackTime;
            rate = imuSamplesPerSec;
        }
        start = chartfeed::windowStart((this->*counted).size(),
                                       chartfeed::windowSamples(chartWindowSec, rate));
    }
    chartTime = windowOf(this->*time, start, std::numeric_limits<int>::max());

    DataPlot* const chart = ui->widget_chart;
    const std::array<QVector<double>*, 3> working{&chartY0, &chartY1, &chartY2};
    for (std::size_t i = 0; i < working.size(); ++i) {
        const SensorRow::Curve& curve = row.curves[i];
        if (curve.values != nullptr) {
            // A curve draws no more samples than there are times. The temperatures can be many
            // more: they grow at the IMU's pace while those of the board are absent.
            *working[i] = windowOf(this->*curve.values, start, chartTime.size());
            chart->updateData(curve.curve, chartTime, *working[i], false);
        }
    }
    const auto values = row.valueAxis(*this, chartfeed::updateMargin);
    chart->setValRange(values.min, values.max, false);
    // A sensor may have no samples when the IMU already has some. The axis then does not change.
    if (!chartTime.isEmpty()) {
        // Read through a constant: the curves share the times, and other access would copy them.
        const auto times =
            chartfeed::timeAxis(chartTime.constFirst(), chartTime.constLast(), chartWindowSec);
        chart->setTimeRange(times.min, times.max, false);
    }
    if (row.mode == DataPlot::Barometer) {
        // Hidden in this mode: until the temperature is selected, its curve has the values of the
        // pressure.
        chart->updateData(DataPlot::TempLeft, chartTime, chartY0, false);
    }
}

void MainWindow::selectSensor(bool checked, const char* sensor)
{
    if (!checked) {
        return;
    }
    const QString name = QString::fromLatin1(sensor);
    const SensorRow& row = *SensorRow::find(name);
    changeSensor(name);
    ui->label_sensor_type->setText(tr(row.label));
    QString top = tr(row.topLabel);
    if (row.isMagnetometer) {
        // The state at the click; a later change is not shown.
        top = top.arg(magCalibrated ? tr("Calibrated") : tr("Not Calibrated"));
    }
    ui->label_sensor_type_top->setText(top);
}

void MainWindow::on_comboBox_time_range_currentIndexChanged(const QString&)
{
    updateChartTimeSize();
}

void MainWindow::on_pushButton_accel_clicked(bool checked)
{
    selectSensor(checked, "Accelerometer");
}

void MainWindow::on_pushButton_gyro_clicked(bool checked)
{
    selectSensor(checked, "Gyroscope");
}

void MainWindow::on_pushButton_mag_clicked(bool checked)
{
    selectSensor(checked, "Magnetometer");
}

void MainWindow::on_pushButton_orient_clicked(bool checked)
{
    selectSensor(checked, "Orientation");
}

void MainWindow::on_pushButton_baro_clicked(bool checked)
{
    selectSensor(checked, "Barometer");
}

void MainWindow::on_pushButton_temper_clicked(bool checked)
{
    selectSensor(checked, "Camera Temperature");
}
