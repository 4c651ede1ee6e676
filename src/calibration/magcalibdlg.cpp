#include "calibration/magcalibdlg.h"

#include "calibration/calib_messages.h"
#include "camera/camera_library.h"
#include "look/Style.h"
#include "look/clr.h"
#include "look/dressing.h"
#include "ui_magcalibdlg.h"

#include <QIcon>
#include <QKeyEvent>

namespace {

constexpr int updatePeriodMs = 100;

/// Names what has no text of its own.
void nameForAssistivePrograms(const Ui_MagCalibDlg& form)
{
    using Dialog = MagCalibDlg;
    form.label_logo->setAccessibleName(Dialog::tr("The camera family's logo"));
    form.widget_raw_compass->setAccessibleName(Dialog::tr("Compass without the calibration"));
    form.widget_calib_compass->setAccessibleName(Dialog::tr("Compass with the calibration"));
    form.widget_plot_XY->setAccessibleName(Dialog::tr("Samples in the plane XY"));
    form.widget_plot_YZ->setAccessibleName(Dialog::tr("Samples in the plane YZ"));
    form.widget_plot_XZ->setAccessibleName(Dialog::tr("Samples in the plane XZ"));
    form.widget_plot_mixed_raw->setAccessibleName(Dialog::tr("Uncalibrated samples"));
    form.widget_plot_calibrated->setAccessibleName(Dialog::tr("Calibrated samples"));
}

} // namespace

MagCalibDlg::MagCalibDlg(int serial, QWidget* parent)
    : QDialog(parent), ui(new Ui_MagCalibDlg), serialNumber(serial)
{
    ui->setupUi(this);
    // A title without buttons. A window manager can still close the dialog: reject().
    setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::CustomizeWindowHint);
    setOmStyleSheet();
    nameForAssistivePrograms(*ui);
    ui->widget_raw_compass->setRaw(true);
    makeSymbols();
    initPlots();

    connect(this, &MagCalibDlg::cameraError, this, &MagCalibDlg::onCameraError);
    connect(&updateTimer, &QTimer::timeout, this, &MagCalibDlg::onUpdateTimer);

    if (initTivMcu()) {
        startAcquisition();
    }
}

MagCalibDlg::~MagCalibDlg()
{
    closeLink();
    delete ui;
}

void MagCalibDlg::closeLink()
{
    if (mcuClosed) {
        return;
    }
    stopAcquisition();
    if (mcu) {
        mcu->close();
    }
    mcuClosed = true;
}

void MagCalibDlg::setOmStyleSheet()
{
    dressing::showLogo(*ui->label_logo);
    dressing::fillBackground(*this);

    style = std::make_shared<Style>();
    const QFont buttonFont = dressing::largeButtonFont(*style);
    for (QPushButton* const button :
         {ui->pushButton_start, ui->pushButton_clear_data, ui->pushButton_save_calib,
          ui->pushButton_reset, ui->pushButton_exit}) {
        dressing::dress(button, style->sensorButtonCopyStyle, buttonFont);
    }
    ui->frame_left->setStyleSheet(style->sideFrameStyle);
    dressing::dress(ui->groupBox_check, style->groupBoxIndentStyle, buttonFont);
    for (QGroupBox* const group :
         {ui->groupBox_mixed_calib, ui->groupBox_mixed_raw, ui->groupBox_plane_xy,
          ui->groupBox_plane_xz, ui->groupBox_plane_yz}) {
        dressing::dress(group, style->groupBoxIndentStyle, style->fontMonoCaps9);
    }
    for (QLabel* const label :
         {ui->label_heading_calib, ui->label_heading_uncalib, ui->label_mag_calib_quality}) {
        dressing::dress(label, style->labelBaseStyle, style->fontMonoCaps9);
    }
    dressing::dress(ui->Instructionlabel, "QLabel{color: " + clr::om_pearl + ";}",
                    style->fontMono9);
}

void MagCalibDlg::updateForms() {}

bool MagCalibDlg::startAcquisition()
{
    if (grabRunning) {
        return true;
    }
    if (!mcu && !initTivMcu()) {
        return false;
    }
    if (!mcu->captureRunning) {
        mcu->startCapture(0.0F);
    }
    setPlotsAutoscale(true);
    grabThread = std::thread(&MagCalibDlg::magDataGrabThread, this);
    // A dialog that is left before the thread runs would not join it, and the end of the unjoined
    // thread's object ends the process. A busy machine may take hundreds of milliseconds.
    grabBegun.acquire();
    updateTimer.start(updatePeriodMs);
    return true;
}

void MagCalibDlg::stopAcquisition()
{
    // The stream is stopped before the thread.
    if (mcu) {
        mcu->stopCapture();
    }

    ui->pushButton_start->setChecked(false);
    ui->pushButton_start->setText(" Continue Calibration");
    ui->pushButton_start->setIcon(QIcon(":/images/play.png"));
    updateTimer.stop();

    if (grabRunning) {
        grabStop = true;
        if (grabThread.joinable()) {
            grabThread.join();
        }
    }
}

void MagCalibDlg::on_pushButton_start_clicked(bool checked)
{
    if (checked) {
        if (!grabRunning && !startAcquisition()) {
            ui->pushButton_start->setChecked(false);
            calibrating = false;
            calibrationPending = false;
            return;
        }
        calibmessages::show(calibmessages::calibrationStarting(), *style);
        ui->pushButton_start->setText(" Stop Calibration");
        ui->pushButton_start->setIcon(QIcon(":/images/stop_h.png"));
        setPlotsAutoscale(true);
        calibrating = true;
        ui->pushButton_save_calib->setEnabled(false);
        ui->pushButton_reset->setEnabled(false);
        calibrationPending = false;
        return;
    }

    // Samples and fits continue until the user answers.
    calibmessages::show(calibmessages::calibrationStopped(), *style);
    ui->pushButton_start->setText(" Continue Calibration");
    ui->pushButton_start->setIcon(QIcon(":/images/play.png"));
    calibrateData();
    scalePlots();
    calibrating = false;
    calibrationPending = true;
    ui->pushButton_save_calib->setEnabled(true);
    ui->pushButton_reset->setEnabled(true);
}

void MagCalibDlg::on_pushButton_clear_data_clicked()
{
    if (!calibrating) {
        ui->pushButton_start->setText(" Start Calibration");
    }
    clearPlots();
    calibrationPending = false;
}

void MagCalibDlg::on_pushButton_save_calib_clicked()
{
    constexpr int ok = 1;
    if (calibmessages::show(calibmessages::confirmStore(), *style) == ok && !saveCalibData()) {
        calibmessages::show(calibmessages::storeFailed(), *style);
    }
}

void MagCalibDlg::on_pushButton_reset_clicked()
{
    constexpr int yes = 1;
    if (calibmessages::show(calibmessages::confirmReset(), *style) != yes) {
        return;
    }
    clearPlots();
    if (!saveCalibData()) {
        calibmessages::show(calibmessages::resetFailed(), *style);
    }
}

void MagCalibDlg::on_pushButton_exit_clicked()
{
    constexpr int yes = 1;
    if (calibrationPending && calibmessages::show(calibmessages::confirmExit(), *style) != yes) {
        return;
    }
    closeLink();
    accept();
}

void MagCalibDlg::reject()
{
    // The camera is opened again as soon as exec() has returned.
    closeLink();
    QDialog::reject();
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the slot's declared interface
void MagCalibDlg::onCameraError(QString errStr)
{
    calibmessages::show(calibmessages::cameraFailed(errStr), *style);
    stopAcquisition();
    ui->pushButton_reset->setEnabled(true);
}

void MagCalibDlg::keyPressEvent(QKeyEvent* event)
{
    if (event->key() != Qt::Key_Escape) {
        QDialog::keyPressEvent(event);
    }
}

void MagCalibDlg::onUpdateTimer()
{
    if (calibrating) {
        updateCalibration();
    }

    showHeadings();
    if (calibrating) {
        ui->label_mag_calib_quality->setText(tr("CALIBRATING"));
    } else if (calibrationPending) {
        ui->label_mag_calib_quality->setText(tr("CALIBRATION TO BE STORED"));
    } else {
        showHeadingState();
    }
}
