#include "viewer/mainwindow.h"

#include "ui_mainwindow.h"
#include "viewer/sensormath.h"

#include <QMutexLocker>
#include <QTimer>

#include <algorithm>
#include <chrono>

void MainWindow::displayDefaultValues()
{
    const QString blank = QStringLiteral("---");
    ui->label_sensor_rate->setText(blank);
    ui->lineEdit_value_0->setText(blank);
    ui->lineEdit_value_1->setText(blank);
    ui->lineEdit_value_2->setText(blank);
}

void MainWindow::updateDataDisplay()
{
    if (cameraLost) {
        cameraDisconnected(); // sees to the timer, too
        return;
    }
    displayTimer->stop();

    using Clock = std::chrono::system_clock;
    static Clock::time_point lastDisplayUpdateTime = Clock::now();
    const Clock::time_point now = Clock::now();
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::milliseconds>(now - lastDisplayUpdateTime);
    if (displayPeriodMs <= elapsed.count()) {
        const QMutexLocker lock(&dataMutex);
        if (!accX.isEmpty()) {
            const QString sensor = currentSensor;
            lastDisplayUpdateTime = now;
            showValues(sensor);
        }
    }
    displayTimer->start();
}

void MainWindow::showValues(const QString& sensor)
{
    struct Value
    {
        const char* text = nullptr; // null leaves the box alone
        QVector<double> MainWindow::*series = nullptr;
    };
    struct Row
    {
        const char* sensor;
        Value values[3];
        int width;
        int precision;
        const Shared<double>& rate;
        double nominalRate;
    };
    using W = MainWindow;
    const Row rows[] = {
        {"Accelerometer",
         {{QT_TR_NOOP("X %1 m/s²"), &W::accX},
          {QT_TR_NOOP("Y %1 m/s²"), &W::accY},
          {QT_TR_NOOP("Z %1 m/s²"), &W::accZ}},
         5,
         3,
         imuEffectiveRate,
         imuRateHz},
        {"Gyroscope",
         {{QT_TR_NOOP("X %1 °/s"), &W::gyroX},
          {QT_TR_NOOP("Y %1 °/s"), &W::gyroY},
          {QT_TR_NOOP("Z %1 °/s"), &W::gyroZ}},
         5,
         3,
         imuEffectiveRate,
         imuRateHz},
        {"Magnetometer",
         {{QT_TR_NOOP("X %1 µT"), &W::magX},
          {QT_TR_NOOP("Y %1 µT"), &W::magY},
          {QT_TR_NOOP("Z %1 µT"), &W::magZ}},
         5,
         3,
         magEffectiveRate,
         magRateHz},
        {"Orientation",
         {{QT_TR_NOOP("X %1°"), &W::orX},
          {QT_TR_NOOP("Y %1°"), &W::orY},
          {QT_TR_NOOP("Z %1°"), &W::orZ}},
         5,
         3,
         imuEffectiveRate,
         imuRateHz},
        {"Barometer",
         {{QT_TR_NOOP("Atmospheric Pressure %1 hPa"), &W::pressure}, {}, {}},
         7,
         2,
         baroEffectiveRate,
         baroRateHz},
        // Crossed on purpose: location 2 stands under the label "Right", location 3 under "Left".
        // The chart and the CSV file aren't crossed.
        {"Camera Temperature",
         {{QT_TR_NOOP("Right %1°C"), &W::tempLeft}, {QT_TR_NOOP("Left %1°C"), &W::tempRight}, {}},
         1,
         2,
         baroEffectiveRate,
         baroRateHz},
    };
    QLineEdit* const boxes[] = {ui->lineEdit_value_0, ui->lineEdit_value_1, ui->lineEdit_value_2};

    // No sensor, as after a loss of the camera, shows as the accelerometer.
    const auto* const row = std::find_if(std::begin(rows), std::end(rows), [&](const Row& r) {
        return sensor == QLatin1String(r.sensor);
    });
    const Row& shown = row == std::end(rows) ? rows[0] : *row;
    for (std::size_t i = 0; i < std::size(boxes); ++i) {
        const Value& value = shown.values[i];
        if (value.series != nullptr) {
            boxes[i]->setText(tr(value.text)
                                  .arg((this->*value.series).last(), shown.width, 'f',
                                       shown.precision, QLatin1Char(' ')));
        }
    }
    ui->label_sensor_rate->setText(
        tr("%1 Hz").arg(sensormath::shownRate(shown.rate, shown.nominalRate)));
}
