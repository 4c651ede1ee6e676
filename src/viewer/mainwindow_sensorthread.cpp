// The one producer of samples: polls the camera without pause, keeps every new IMU sample with what
// the other sensors say at that moment, and turns the camera in the 3D view.

#include "viewer/mainwindow.h"

#include "camera/InputThreadModul.h"
#include "gpu/OGL3DWidget.h"
#include "ui_mainwindow.h"
#include "viewer/sensormath.h"
#include "viewer/timeslice.h"

#include <QMutexLocker>

#include <algorithm>

namespace sm = sensormath;
using Verdict = sm::SampleClock::Verdict;

namespace {

/// What one poll brought of the barometer or the magnetometer.
struct SlowSample
{
    std::uint64_t timeUs = 0; ///< of the record; 0 when the block is not available
    bool isNew = false;

    double seconds() const { return sm::seconds(timeUs); }
};

/// @param startTime gets the time of the first sample of the run, us
template <typename Block>
SlowSample lookAt(const Block& block, sm::SampleClock& clock, Shared<double>& effectiveRate,
                  std::uint64_t& startTime)
{
    SlowSample sample;
    if (!block.isAvailable) {
        return sample;
    }
    effectiveRate = static_cast<double>(block.effectiveRate);
    sample.timeUs = block.timestamp / 1000;
    const Verdict verdict = clock.look(block.timestamp);
    if (verdict == Verdict::First) {
        startTime = sample.timeUs;
    }
    sample.isNew = verdict == Verdict::New;
    return sample;
}

} // namespace

void MainWindow::dataThreadFunc()
{
    stopDataThread = false;
    dataThreadRunning = true;
    // The camera keeps only the newest sample: whoever comes 2.5 ms late has lost one. Where it is
    // refused the thread is as punctual as any other.
    timeslice::askForShortest();

    sm::SampleClock imuClock;
    sm::SampleClock baroClock;
    sm::SampleClock magClock;
    // They outlive a pass: without any temperature the last ones stand.
    float left = 0.0F;
    float right = 0.0F;
    OGL3DWidget* const view = ui->widget_3d_view;

    do {
        InputThreadModul* const input = inputThread;
        if (input == nullptr || !input->camera.isOpened()) {
            break;
        }
        if (input->camera.getSensorsData(sensorsData, omlib::latest) == omlib::cameraGone) {
            cameraLost = true;
            input->stopGrabbing();
            // Out of the interface thread's sight before it goes.
            inputThread = nullptr;
            delete input;
            break;
        }
        // Any other failure passes by: the record is taken as it stands, mostly without a new
        // sample.

        const auto& imu = sensorsData.imu;
        imuEffectiveRate = static_cast<double>(imu.effectiveRate);
        const std::uint64_t imuUs = imu.timestamp / 1000;
        const Verdict verdict = imuClock.look(imu.timestamp);
        if (verdict == Verdict::First) {
            imuStartTime = imuUs;
        }
        if (verdict != Verdict::New) {
            continue;
        }

        // Looked at only beside a new IMU sample, which bounds their pace.
        const auto& barometer = sensorsData.barometer;
        const auto& magnetometer = sensorsData.magnetometer;
        const SlowSample baro = lookAt(barometer, baroClock, baroEffectiveRate, baroStartTime);
        const SlowSample mag = lookAt(magnetometer, magClock, magEffectiveRate, magStartTime);

        const om::Vector3<float>& acceleration = imu.linearAcceleration;
        const om::Vector3<float>& angularVelocity = imu.angularVelocity;
        const om::Vector3<float>& field = magnetometer.magneticFieldUncalibrated;
        accelRange = sm::widenedRange(accelRange, sm::largestMagnitude(acceleration));
        gyroRange = sm::widenedRange(gyroRange, sm::largestMagnitude(angularVelocity));
        magCalibrated = sm::differ(magnetometer.magneticFieldCalibrated, field);
        if (!sm::isSaturated(field)) {
            magRange = sm::widenedRange(magRange, sm::largestMagnitude(field));
        }

        const om::Vector3<float> angles(sm::degrees(imu.pose.getEulerAngles(true).x),
                                        sm::degrees(imu.pose.getEulerAngles(true).y),
                                        sm::degrees(imu.pose.getEulerAngles(true).z));
        orientRange = sm::widenedRange(orientRange, sm::largestMagnitude(angles));

        // Straight into the view, while it may be painting: a torn pose lasts one repaint.
        const om::Vector3<float> direction = sm::unit(acceleration);
        view->accStrength.x = direction.x;
        view->accStrength.y = direction.y;
        view->accStrength.z = direction.z;
        view->setCameraModelOr(imu.pose.getOrientation());
        view->setCameraModelPos(om::Translation(0.0F, 0.0F, 0.0F));

        const float hPa = sm::hectopascals(barometer.pressure);
        pressureMax = sm::widenedPressureMax(pressureMax, hPa);
        pressureMin = sm::widenedPressureMin(pressureMin, hPa);
        altitudeMax = sm::widenedAltitudeMax(altitudeMax, barometer.relativeAltitude);
        altitudeMin = sm::widenedAltitudeMin(altitudeMin, barometer.relativeAltitude);

        elapsedSec = sm::seconds(imuUs);
        view->movingStatus = sensorsData.cameraMovingState;

        // Without sensors on the board the IMU's temperature stands in for both.
        const auto& temperature = sensorsData.temperature;
        const int leftResult = temperature.get(omlib::onLeft, left);
        const int rightResult = temperature.get(omlib::onRight, right);
        const bool fallback = leftResult != 0 || rightResult != 0;
        if (fallback) {
            temperature.get(omlib::atImu, left);
            temperature.get(omlib::atImu, right);
        }
        temperatureMax = sm::widenedTemperatureMax(temperatureMax, std::max(left, right));
        temperatureMin = sm::widenedTemperatureMin(temperatureMin, std::min(left, right));

        const struct
        {
            QVector<double> MainWindow::*series;
            float value;
        } imuPaced[] = {
            {&MainWindow::accX, acceleration.x},
            {&MainWindow::accY, acceleration.y},
            {&MainWindow::accZ, acceleration.z},
            {&MainWindow::gyroX, angularVelocity.x},
            {&MainWindow::gyroY, angularVelocity.y},
            {&MainWindow::gyroZ, angularVelocity.z},
            {&MainWindow::magX, field.x},
            {&MainWindow::magY, field.y},
            {&MainWindow::magZ, field.z},
            {&MainWindow::orX, angles.x},
            {&MainWindow::orY, angles.y},
            {&MainWindow::orZ, angles.z},
            {&MainWindow::pressure, hPa},
            {&MainWindow::relAltitude, barometer.relativeAltitude},
            {&MainWindow::movingState, static_cast<float>(sensorsData.cameraMovingState)},
            {&MainWindow::tempLeft, left},
            {&MainWindow::tempRight, right},
        };

        const QMutexLocker lock(&dataMutex);
        for (const auto& each : imuPaced) {
            (this->*each.series).append(static_cast<double>(each.value));
        }
        imuTime.append(elapsedSec);
        magTime.append(mag.seconds());
        baroTime.append(baro.seconds());
        imuRates.append(imuClock.rate());
        if (fallback) {
            tempFallbackTime.append(elapsedSec);
            baroNewTempLeft.append(static_cast<double>(left));
            baroNewTempRight.append(static_cast<double>(right));
        }
        if (baro.isNew) {
            baroRates.append(baroClock.rate());
            baroNewPressure.append(static_cast<double>(hPa));
            baroNewTime.append(baro.seconds());
            baroNewTempLeft.append(static_cast<double>(left));
            baroNewTempRight.append(static_cast<double>(right));
        }
        if (mag.isNew) {
            magRates.append(magClock.rate());
            magNewX.append(static_cast<double>(field.x));
            magNewY.append(static_cast<double>(field.y));
            magNewZ.append(static_cast<double>(field.z));
            magNewTime.append(mag.seconds());
        }
        if (recording) {
            saveValues(imuTime.size() - 1);
        }
    } while (!stopDataThread);

    dataThreadRunning = false;
}
