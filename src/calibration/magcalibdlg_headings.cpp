// The headings with and without the calibration, and the quality that the link reports for it.

#include "calibration/magcalibdlg.h"

#include "calibration/sample_math.h"
#include "camera/camera_library.h"
#include "ui_magcalibdlg.h"

#include <QColor>
#include <QPalette>

namespace {

constexpr int notCalibrated = 3; // heading state

QString headingStateWord(int state)
{
    switch (state) {
    case 0:
        return MagCalibDlg::tr("GOOD");
    case 1:
        return MagCalibDlg::tr("OK");
    case 2:
        return MagCalibDlg::tr("NOT GOOD");
    case notCalibrated:
        return MagCalibDlg::tr("MAG. NOT CALIBRATED");
    default:
        return MagCalibDlg::tr("NOT AVAILABLE");
    }
}

} // namespace

void MagCalibDlg::readHeading()
{
    const omlib::McuPose pose = mcu->getIMUPose(6);
    headingUncalib = static_cast<double>(
                         mcu->calcMagHeading(omlib::fieldOf(pose), omlib::accelerationOf(pose))) *
                     samplemath::degreesPerRadian;
    if (omlib::headingStateOf(pose) == notCalibrated) {
        headingCalib = headingUncalib;
    } else {
        headingCalib = static_cast<double>(omlib::headingOf(pose)) * samplemath::degreesPerRadian;
    }
    if (!calibrating) {
        headingState = omlib::headingStateOf(pose);
        headingAccuracy = omlib::headingAccuracyOf(pose);
    }
}

void MagCalibDlg::showHeadings()
{
    ui->label_heading_uncalib->setText(
        tr("Uncalibrated\n%1°").arg(headingUncalib, 6, 'f', 2, QLatin1Char(' ')));
    ui->label_heading_calib->setText(
        tr("Calibrated\n%1°").arg(headingCalib, 6, 'f', 2, QLatin1Char(' ')));
    ui->widget_raw_compass->setHeading(headingUncalib);
    ui->widget_calib_compass->setHeading(headingCalib);
}

void MagCalibDlg::showHeadingState()
{
    QLabel* const label = ui->label_mag_calib_quality;
    label->setText(headingStateWord(headingState));

    // Red at an accuracy of 0.0, green at 1.0.
    QColor colour;
    colour.setHsvF(static_cast<double>(headingAccuracy) * 0.33, 0.75, 0.8, 1.0);
    QPalette colours = label->palette();
    colours.setColor(QPalette::All, QPalette::Window, colour);
    colours.setColor(QPalette::All, QPalette::WindowText, Qt::black);
    label->setAutoFillBackground(true);
    label->setPalette(colours);
}
