#include "calibration/magcalibdlg.h"

#include "calibration/mag_calib.h"
#include "calibration/orientcount.h"
#include "calibration/samplemath.h"
#include "camera/camera_library.h"

#include <chrono>
#include <cstdint>
#include <utility>

namespace {

/// Number of consecutive failed reads after which the camera counts as lost.
constexpr int failuresTolerated = 100;

Eigen::VectorXd toDense(const QVector<double>& values)
{
    const int count = values.size();
    Eigen::VectorXd dense(count);
    for (int i = 0; i < count; ++i) {
        dense[i] = values.constData()[i];
    }
    return dense;
}

} // namespace

void MagCalibDlg::magDataGrabThread()
{
    grabStop = false;
    if (!mcu->captureRunning) {
        mcu->startCapture(0.0F);
    }
    orientCount = std::make_shared<OrientCount>();
    if (grabStop) {
        grabRunning = false;
        return;
    }

    double previousMs = 0.0;
    std::uint16_t failures = 0;
    do {
        grabRunning = true;
        const omlib::McuRecord record = mcu->getIMUReaderData();
        if (!samplemath::isGood(record)) {
            failures = static_cast<std::uint16_t>((failures + 1) & 0xFFFF);
            if (failures > failuresTolerated) {
                // The thread ends here and stays unjoined; see the destructor.
                grabRunning = false;
                emit cameraError(tr("Error retrieving sensors data"));
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            continue;
        }
        // Nothing new: the link is polled again at once, as fast as it answers.
        if (omlib::magStateOf(record) == 1) {
            continue;
        }
        const double nowMs = samplemath::millisecondsOf(omlib::ticksOf(record));
        if (nowMs == previousMs) {
            continue;
        }

        const samplemath::Sample sample = samplemath::sampleOf(record);
        sampleRate = samplemath::rateBetween(previousMs, nowMs);
        if (calibrating) {
            const std::lock_guard<std::mutex> lock(grabMutex);
            rawX.append(sample.x);
            rawY.append(sample.y);
            rawZ.append(sample.z);
        }

        readHeading();

        const std::int64_t pause = samplemath::pauseMs(sampleRate);
        if (pause > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(pause));
        }
        previousMs = nowMs;
        failures = 0;
    } while (!grabStop);
    grabRunning = false;
}

void MagCalibDlg::calibrateData()
{
    MagCalib fit;
    Eigen::VectorXd x = toDense(rawX);
    Eigen::VectorXd y = toDense(rawY);
    Eigen::VectorXd z = toDense(rawZ);
    if (!fit.ellipsoidCalibration(x, y, z, 1.0)) {
        return;
    }

    for (std::size_t i = 0; i < 3; ++i) {
        magOffset[i] = fit.center[i];
        magScale[i] = fit.scale[i];
    }
    updateForms();

    // New vectors: clear() would copy those that the curves share.
    for (QVector<double>* const corrected : {&calX, &calY, &calZ}) {
        *corrected = QVector<double>();
        corrected->reserve(rawX.size());
    }
    const QVector<double>& rx = rawX;
    const QVector<double>& ry = rawY;
    const QVector<double>& rz = rawZ;
    for (int i = 0; i < rx.size(); ++i) {
        calX.append((rx.constData()[i] - magOffset[0]) * magScale[0]);
        calY.append((ry.constData()[i] - magOffset[1]) * magScale[1]);
        calZ.append((rz.constData()[i] - magOffset[2]) * magScale[2]);
    }

    updatePlots();
    calibrationPending = true;
}
