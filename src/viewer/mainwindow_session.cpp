// The session of the open camera: from a row of the list to streaming, and its end.

#include "viewer/mainwindow.h"

#include "calibration/magcalibdlg.h"
#include "camera/InputThreadModul.h"
#include "camera/ProgramStates.h"
#include "look/Style.h"
#include "look/dressing.h"
#include "ui_mainwindow.h"

#include <QCoreApplication>
#include <QEvent>
#include <QMutexLocker>
#include <QThread>
#include <QTimer>

namespace {

constexpr int imagePeriodMs = 40;
constexpr unsigned int oldestFirmware = 1142;

/// The initial attributes of a session. The rates are the requested one until the first
/// measurement.
void initProgramStates(int requestedResolution, int requestedFps)
{
    using P = ProgramStates;
    P::resetStates();
    P::qstringAttr(P::applicationTitle) = QStringLiteral("Sensor Data Viewer");
    P::setIntAttr(P::requestedResolution, requestedResolution);
    P::setIntAttr(P::requestedFps, requestedFps);
    P::setIntAttr(P::measuredFps, requestedFps);
    P::setIntAttr(P::cameraFps, requestedFps);
    P::setIntAttr(P::imageView, 0);
    P::setIntAttr(P::depthMode, 1);
    P::setIntAttr(P::depthMinimumCm, 100);
    P::setIntAttr(P::depthMaximumMm, 25000);
    P::setIntAttr(P::confidenceThreshold, 95);
    P::setBoolAttr(P::depthStabilization, true);
}

} // namespace

void MainWindow::createLiveInput()
{
    setCursor(Qt::BusyCursor);
    reset();

    ui->comboBox_time_range->addItems(
        {tr("Last 5 sec"), tr("Last 10 sec"), tr("Last 30 sec"), tr("Last 60 sec")});
    ui->comboBox_time_range->setCurrentIndex(1);
    initProgramStates(requestedResolution, requestedFps);

    startSessionTimers();

    inputThread = new InputThreadModul;
    connectSignals();
    inputThread->enableToStart(true);

    if (openCamera() != 0) {
        reset();
        startDetectTimer();
        unsetCursor();
        return;
    }
    // After a refused open the poll continues while the user can choose from the list: its next
    // tick would open the first row instead of this camera.
    stopTimer(detectTimer);
    if (!inputThread->CreateMemories()) {
        // Before the first stream and after a loss, the next tick of the display repeats the open
        // behind this message. That attempt is the last one until the message is answered: more
        // would follow without an end, and each keeps a scene of the 3D view.
        memoryMessageWaits = !showMessage(
            QMessageBox::Critical, tr("Error"),
            tr("Not enough GPU memory. Try a lower video resolution and/or a lower depth "
               "quality settings."));
        unsetCursor();
        return;
    }
    warnOfOldFirmware();
    if (inputThread == nullptr) {
        unsetCursor();
        return;
    }
    inputThread->startGrabbing();
    // Before the sensor thread begins, which may report a loss at its first poll.
    cameraLost = false;
    startStreaming(inputThread->cameraInfo.cameraModel);
    unsetCursor();
}

void MainWindow::startSessionTimers()
{
    imageTimer = new QTimer(this);
    connect(imageTimer, &QTimer::timeout, this, &MainWindow::updateImages);
    imageTimer->start(imagePeriodMs);
    plotTimer = new QTimer(this);
    connect(plotTimer, &QTimer::timeout, this, &MainWindow::updatePlot);
    plotTimer->start(plotPeriodMs);
    displayTimer = new QTimer(this);
    connect(displayTimer, &QTimer::timeout, this, &MainWindow::updateDataDisplay);
    displayTimer->start(displayPeriodMs);
}

void MainWindow::warnOfOldFirmware()
{
    const om::CameraInformation camera =
        inputThread->camera.getCameraInformation(om::Resolution{0, 0});
    if (camera.firmwareVersion >= oldestFirmware) {
        return;
    }
    // The timers run while the box is open. At the first open of the process cameraLost is still
    // set, so that the next tick of the display closes this camera and opens it again; the caller
    // then continues with the input thread of that open.
    showMessage(QMessageBox::Warning, tr("Warning"),
                tr("Your firmware needs to be updated. Please update it in TIV Atlas."));
}

int MainWindow::openCamera()
{
    const int row = qMax(0, ui->comboBox_camera_list->currentIndex());
    // The row of an empty list has no model and is refused below.
    cameraId = deviceIds.value(row);
    cameraSerial = deviceSerials.value(row);
    cameraModel = deviceModels.value(row, omlib::noModel);

    // The library's list must not be read while a camera opens.
    const QMutexLocker lock(&detectionThread.mutex);
    switch (cameraModel) {
    case omlib::tivN:
    case omlib::tivP:
    case omlib::tivQ:
        return inputThread->live(cameraSerial);
    case omlib::tivR:
    case omlib::tivS:
        return inputThread->gmsl(static_cast<unsigned int>(cameraId));
    default:
        return -1; // a failure like any other
    }
}

void MainWindow::startStreaming(om::MODEL model)
{
    const bool hasSensors = model != omlib::tiv;
    ui->comboBox_time_range->setEnabled(hasSensors);
    ui->frame_data_options->setEnabled(hasSensors);

    if (!hasSensors) {
        initCharts();
        ui->widget_chart->updateData(DataPlot::AccX, chartTime, accX, false);
        ui->widget_chart->updateData(DataPlot::AccY, chartTime, accY, false);
        ui->widget_chart->updateData(DataPlot::AccZ, chartTime, accZ, false);
        const double range = static_cast<double>(accelRange);
        ui->widget_chart->setValRange(-range, range, false);
        ui->widget_chart->setTimeRange(0.0, 10.0, false);
        ui->widget_chart->replot();
        return;
    }
    // TIV_N, TIV_R and TIV_S have neither barometer nor magnetometer, TIV_N no temperature either.
    const bool isTivN = model == omlib::tivN;
    const bool isSerial = model == omlib::tivR || model == omlib::tivS;
    ui->pushButton_baro->setVisible(!isTivN && !isSerial);
    ui->pushButton_mag->setVisible(!isTivN && !isSerial);
    ui->pushButton_temper->setVisible(!isTivN);
    startSensorThread();
}

void MainWindow::startSensorThread()
{
    // One producer of samples at a time: an open that was overtaken during its message box finds
    // the thread of the later one running.
    if (dataThreadRunning) {
        return;
    }
    // A thread that ended by itself stays as it is, neither joined nor deleted.
    dataThread = new std::thread(&MainWindow::dataThreadFunc, this);
    // A busy machine may let it begin only after more than the pause of reset(), which then would
    // not join it and would delete the input thread that it uses.
    dataThreadBegun.acquire();
}

void MainWindow::joinSensorThread()
{
    if (dataThreadRunning && dataThread != nullptr && dataThread->joinable()) {
        stopDataThread = true;
        dataThread->join();
        delete dataThread;
        dataThread = nullptr;
    }
}

bool MainWindow::showMessage(QMessageBox::Icon icon, const QString& title, const QString& text)
{
    // An open that runs while the same message of an earlier one still waits for its answer would
    // show one box after another, faster than the user can close them.
    for (const QMessageBox* const open : findChildren<QMessageBox*>()) {
        if (open->isVisible() && open->text() == text) {
            return false;
        }
    }
    QMessageBox box(this);
    box.setWindowTitle(title);
    box.setIcon(icon);
    box.setText(text);
    dressing::dressBox(box, *style);
    dressing::addButton(box, tr("Ok"), style->statusOnStyle, *style);
    box.exec();
    return true;
}

void MainWindow::reset()
{
    disconnectSignals();
    stopTimer(imageTimer);
    stopTimer(plotTimer);
    stopTimer(displayTimer);
    QThread::msleep(100);
    joinSensorThread();
    delete inputThread.load();
    inputThread = nullptr;

    using P = ProgramStates;
    for (const int attribute : {P::imageWidth, P::imageHeight, P::image2Width, P::image2Height,
                                P::cameraFps, P::measuredFps}) {
        P::setIntAttr(attribute, 0);
    }
    ui->comboBox_time_range->clear();
    on_pushButton_accel_clicked(true);
    ui->pushButton_accel->setChecked(true);
}

void MainWindow::cameraDisconnected()
{
    // After the window was closed there is nothing left to reset for a loss that arrives late.
    if (style == nullptr) {
        return;
    }
    cameraLost = true;
    if (recording) {
        stopRecording();
    }
    disconnectSignals();
    // The timers' connections are from the timers to the window: the two calls in this direction
    // find none, and only deletion ends the timers.
    if (plotTimer != nullptr) {
        disconnect(plotTimer, SIGNAL(timeout()));
        stopTimer(plotTimer);
    }
    stopTimer(displayTimer);
    if (imageTimer != nullptr) {
        disconnect(imageTimer, SIGNAL(timeout()));
        stopTimer(imageTimer);
    }
    stopTimer(detectTimer);

    reset();
    displayDefaultValues();
    initCharts();
    if (detectMultipleDevice()) {
        return;
    }
    startDetectTimer();
}

void MainWindow::on_pushButton_calib_mag_clicked()
{
    const int row = ui->comboBox_camera_list->currentIndex();
    // The poll, a running detection and a loss that is already posted would each access a camera
    // while the dialog is open.
    stopTimer(detectTimer);
    reset();
    detectionThread.wait();
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
    displayDefaultValues();
    initCharts();
    // The dialog uses its own link to the camera and has exclusive access until exec() returns.
    MagCalibDlg dialog(cameraSerial, this);
    dialog.exec();
    // At the end of a login session all windows close at once, this one before exec() returns.
    if (style == nullptr) {
        return;
    }
    ui->comboBox_camera_list->setCurrentIndex(row);
    createLiveInput();
}

void MainWindow::setContext()
{
    ui->widget_3d_view->cudaContext = inputThread->cudaContext;
}

void MainWindow::updateImages()
{
    ++imageTicks;
    // The sensor thread may already have deleted the input thread, while the loss is not yet
    // handled here.
    InputThreadModul* const input = inputThread;
    if (input != nullptr && input->cameraInfo.cameraModel == omlib::tiv) {
        // Without sensors there is no sensor thread: the images update the time.
        static bool firstTivImage = true;
        const std::uint64_t us = input->camera.getTimestamp(omlib::lastImage) / 1000;
        if (firstTivImage) {
            firstTivImage = false;
            imuStartTime = us;
            elapsedSec = 0.0;
        } else {
            elapsedSec = static_cast<double>(us - imuStartTime) / 1'000'000;
        }
    }
    ui->widget_3d_view->update();
}
