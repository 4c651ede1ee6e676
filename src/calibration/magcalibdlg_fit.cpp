#include "calibration/magcalibdlg.h"

#include "calibration/calibplot.h"
#include "calibration/mag_calib.h"
#include "calibration/orientcount.h"

namespace {

// A periodic fit needs more samples than the first number, and the second number of new ones since
// the last fit.
constexpr int firstFitAbove = 100;
constexpr int newSamplesAbove = 49;

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

void MagCalibDlg::updateCalibration()
{
    const std::lock_guard<std::mutex> lock(grabMutex);
    askCoverage();
    const int count = rawX.size();
    if (count > firstFitAbove && count - lastFitCount > newSamplesAbove) {
        // A fit changes the plots three times; they replot once.
        const CalibPlot::ReplotHold hold(plots());
        calibrateData();
        lastFitCount = count;
        updateEllipses();
        updatePlots();
    } else {
        updatePlots();
    }
}

void MagCalibDlg::askCoverage()
{
    // No decision and no display depends on it.
    if (orientCount) {
        orientCount->getPercNotZero();
    }
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
