// The only source of samples: polls the camera without pause, keeps every new IMU sample with the
// current values of the other sensors, and turns the camera in the 3D view.

#include "viewer/mainwindow.h"

#include "camera/InputThreadModul.h"
#include "gpu/OGL3DWidget.h"
#include "sensors/time_slice.h"
#include "ui_mainwindow.h"
#include "viewer/chart_limits.h"
#include "viewer/sensor_sample.h"

#include <QMutexLocker>

using sensorsample::Sample;

void MainWindow::dataThreadFunc()
{
    stopDataThread = false;
    dataThreadRunning = true;
    dataThreadBegun.release();
    // The camera keeps only the newest sample: a thread that is 2.5 ms late has lost one. If the
    // short time slice is refused, the thread runs with the usual one.
    timeslice::requestShortest();

    sensorsample::Sampler sampler({imuEffectiveRate, imuStartTime},
                                  {baroEffectiveRate, baroStartTime},
                                  {magEffectiveRate, magStartTime});
    const chartlimits::Limits limits{accelRange,     gyroRange,     magRange,    orientRange,
                                     pressureMax,    pressureMin,   altitudeMax, altitudeMin,
                                     temperatureMax, temperatureMin};
    do {
        InputThreadModul* const input = inputThread;
        if (input == nullptr || !input->camera.isOpened()) {
            break;
        }
        if (input->camera.getSensorsData(sensorsData, omlib::current) == omlib::cameraGone) {
            cameraLost = true;
            input->stopGrabbing();
            {
                // The interface thread, which learns of the loss at the same time, either has taken
                // the object's signals away or no longer finds the object.
                const QMutexLocker lock(&inputThreadMutex);
                inputThread = nullptr;
            }
            delete input;
            break;
        }
        // Any other failure is temporary: the record is used as it is, usually without a new
        // sample.
        if (const auto sample = sampler.take(sensorsData); sample.has_value()) {
            chartlimits::widen(limits, *sample);
            magCalibrated = sample->fieldIsCalibrated;
            elapsedSec = sample->time;
            showInView(*sample);
            storeSample(*sample);
        }
    } while (!stopDataThread);

    dataThreadRunning = false;
}

void MainWindow::showInView(const Sample& sample)
{
    // Sets the pose directly, perhaps while the view paints: a torn pose is shown for one repaint.
    OGL3DWidget* const view = ui->widget_3d_view;
    view->accStrength.x = sample.direction.x;
    view->accStrength.y = sample.direction.y;
    view->accStrength.z = sample.direction.z;
    view->setCameraModelOr(sample.orientation);
    view->setCameraModelPos(om::Translation(0.0F, 0.0F, 0.0F));
    view->movingStatus = sample.movingState;
}

void MainWindow::storeSample(const Sample& sample)
{
    {
        const QMutexLocker lock(&dataMutex);
        appendToSeries(sample);
        if (recording) {
            saveValues(imuTime.size() - 1);
        }
        growSeries();
    }
    disposal.take(growth.takeReplaced());
}

void MainWindow::growSeries()
{
    for (std::size_t i = 0; i < sampleSeriesCount; ++i) {
        growth.step(i, this->*allSeries[i]);
    }
}

void MainWindow::appendToSeries(const Sample& sample)
{
    const struct
    {
        QVector<double> MainWindow::*series;
        float value;
    } imuPaced[] = {
        {&MainWindow::accX, sample.acceleration.x},
        {&MainWindow::accY, sample.acceleration.y},
        {&MainWindow::accZ, sample.acceleration.z},
        {&MainWindow::gyroX, sample.angularVelocity.x},
        {&MainWindow::gyroY, sample.angularVelocity.y},
        {&MainWindow::gyroZ, sample.angularVelocity.z},
        {&MainWindow::magX, sample.field.x},
        {&MainWindow::magY, sample.field.y},
        {&MainWindow::magZ, sample.field.z},
        {&MainWindow::orX, sample.angles.x},
        {&MainWindow::orY, sample.angles.y},
        {&MainWindow::orZ, sample.angles.z},
        {&MainWindow::pressure, sample.pressure},
        {&MainWindow::relAltitude, sample.altitude},
        {&MainWindow::movingState, static_cast<float>(sample.movingState)},
        {&MainWindow::tempLeft, sample.left},
        {&MainWindow::tempRight, sample.right},
    };
    const auto appendTemperatures = [&] {
        baroNewTempLeft.append(static_cast<double>(sample.left));
        baroNewTempRight.append(static_cast<double>(sample.right));
    };

    for (const auto& each : imuPaced) {
        (this->*each.series).append(static_cast<double>(each.value));
    }
    imuTime.append(sample.time);
    magTime.append(sample.magnetometer.time);
    baroTime.append(sample.barometer.time);
    imuRates.append(sample.rate);
    if (sample.temperatureFallback) {
        tempFallbackTime.append(sample.time);
        appendTemperatures();
    }
    if (sample.barometer.isNew) {
        baroRates.append(sample.barometer.rate);
        baroNewPressure.append(static_cast<double>(sample.pressure));
        baroNewTime.append(sample.barometer.time);
        appendTemperatures();
    }
    if (sample.magnetometer.isNew) {
        magRates.append(sample.magnetometer.rate);
        magNewX.append(static_cast<double>(sample.field.x));
        magNewY.append(static_cast<double>(sample.field.y));
        magNewZ.append(static_cast<double>(sample.field.z));
        magNewTime.append(sample.magnetometer.time);
    }
}
