// The newest values of the selected sensor, and the path of a lost camera to the window.

#include "viewer/mainwindow.h"

#include "ui_mainwindow.h"
#include "viewer/live_text.h"
#include "viewer/sensor_table.h"
#include "viewer/shown_rate.h"

#include <QMutexLocker>
#include <QTimer>

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
    using Clock = std::chrono::system_clock;
    // For the whole process, from the first call, whatever that does.
    static Clock::time_point lastDisplayUpdateTime = Clock::now();
    if (cameraLost && !memoryMessageWaits) {
        cameraDisconnected(); // deletes the timer, too
        return;
    }
    displayTimer->stop();

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
    // No sensor, as after a loss of the camera, shows as the accelerometer.
    const SensorRow::Values& shown = SensorRow::shownFor(sensor).values;
    for (std::size_t i = 0; i < valueTexts.size(); ++i) {
        const SensorRow::Value& value = shown.boxes[i];
        if (value.series != nullptr) {
            valueTexts[i]->show(tr(value.text)
                                    .arg((this->*value.series).last(), shown.width, 'f',
                                         shown.precision, QLatin1Char(' ')));
        }
    }
    ui->label_sensor_rate->setText(
        tr("%1 Hz").arg(shownRate(this->*shown.rate, this->*shown.nominalRate)));
}
