// The chart feed, as long as it has no file of its own: the window runs without a chart.

#include "viewer/mainwindow.h"

#include "ui_mainwindow.h"

void MainWindow::initCharts()
{
    for (const auto series : allSeries) {
        (this->*series).clear();
        (this->*series).reserve(24000);
    }
    changeSensor(QString());
}

void MainWindow::changeSensor(const QString& sensor)
{
    currentSensor = sensor;
}

void MainWindow::updateChartTimeSize() {}
void MainWindow::on_comboBox_time_range_currentIndexChanged(const QString& /*text*/) {}
void MainWindow::updatePlot() {}

void MainWindow::on_pushButton_accel_clicked(bool checked)
{
    if (checked) {
        changeSensor(QStringLiteral("Accelerometer"));
    }
}
void MainWindow::on_pushButton_gyro_clicked(bool checked)
{
    if (checked) {
        changeSensor(QStringLiteral("Gyroscope"));
    }
}
void MainWindow::on_pushButton_mag_clicked(bool checked)
{
    if (checked) {
        changeSensor(QStringLiteral("Magnetometer"));
    }
}
void MainWindow::on_pushButton_orient_clicked(bool checked)
{
    if (checked) {
        changeSensor(QStringLiteral("Orientation"));
    }
}
void MainWindow::on_pushButton_baro_clicked(bool checked)
{
    if (checked) {
        changeSensor(QStringLiteral("Barometer"));
    }
}
void MainWindow::on_pushButton_temper_clicked(bool checked)
{
    if (checked) {
        changeSensor(QStringLiteral("Camera Temperature"));
    }
}
