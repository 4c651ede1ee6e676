// The recorder in the main window: the button, the rows that the sensor thread writes, and the free
// space of the target folder.

#include "viewer/mainwindow.h"

#include "camera/InputThreadModul.h"
#include "recording/line_file.h"
#include "recording/recoptiondlg.h"
#include "recording/recorder.h"
#include "sensors/sensor_math.h"
#include "ui_mainwindow.h"
#include "viewer/free_space.h"

#include <QByteArray>
#include <QDateTime>
#include <QStorageInfo>
#include <QTextStream>

#include <chrono>
#include <memory>
#include <utility>

void MainWindow::on_toolButton_save_clicked(bool checked)
{
    if (!checked) {
        stopRecording();
        return;
    }
    InputThreadModul* const input = inputThread;
    if (input == nullptr || !input->isRunning()) {
        return; // the button stays checked; nothing is recording
    }
    // Copied at once: the sensor thread deletes the object when it detects the loss of the camera.
    const om::CameraInformation camera = input->cameraInfo;
    QString folder = recOptions.saveFolder;
    if (folder.isEmpty()) {
        ui->toolButton_save->setChecked(false);
        return;
    }
    folder = recorder::folderWithSlash(folder);
    recDir = QDir(folder);
    printDiskFreeSpace();

    const QString name = recorder::fileName(
        QDateTime::currentDateTime(), QString::fromUtf8(om::toString(camera.cameraModel).c_str()),
        camera.serialNumber);

    // Set before the file is open: a row in between is left out.
    recording = true;
    recFile.setFileName(folder + name);
    std::unique_ptr<recorder::LineFile> lines;
    if (recorder::opensAtOnce(recFile.fileName()) &&
        recFile.open(QIODevice::WriteOnly | QIODevice::Text)) {
        lines = recorder::LineFile::on(recFile.handle());
        if (lines == nullptr) {
            recFile.close();
        }
    }
    if (lines == nullptr) {
        showMessage(QMessageBox::Warning, tr("File error"),
                    tr("Error while opening file for writing"));
        // recording stays set: without an open file no row is written, and the next start or stop
        // corrects it.
        ui->toolButton_save->setChecked(false);
        return;
    }
    QByteArray line;
    QTextStream(&line, QIODevice::WriteOnly) << recorder::header(recOptions) << '\n';
    lines->write(line);

    recPeriodSec = recorder::periodSec(recOptions.sampleFreq);
    recording = true;
    // From now on the lines belong to the sensor thread: start and stop take no lock against it.
    recLines.provide(std::move(lines));
    ui->pushButton_rec_option->setEnabled(false);
    ui->toolButton_save->setText(tr("Recording..."));
}

void MainWindow::saveValues(int index)
{
    // For the whole process: a later recording writes its first row at its first sample.
    static auto last_save_time = std::chrono::system_clock::now();
    if (inputThread == nullptr || !recFile.isOpen() || !inputThread->isRunning()) {
        return;
    }
    const auto now = std::chrono::system_clock::now();
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::milliseconds>(now - last_save_time);
    if (recPeriodSec > static_cast<double>(elapsed.count()) / 1000.0) {
        return;
    }
    std::unique_ptr<recorder::LineFile> lines = recLines.take();
    if (lines == nullptr) {
        return; // the recording is just being started or ended
    }
    last_save_time = now;

    recorder::Row row;
    row.index = index;
    row.imuTime = imuTime.at(index);
    row.magTime = magTime.at(index);
    row.baroTime = baroTime.at(index);
    row.acceleration = {accX.at(index), accY.at(index), accZ.at(index)};
    row.angularVelocity = {gyroX.at(index), gyroY.at(index), gyroZ.at(index)};
    row.magneticField = {magX.at(index), magY.at(index), magZ.at(index)};
    row.orientation = {orX.at(index), orY.at(index), orZ.at(index)};
    row.pressure = pressure.at(index);
    row.relativeAltitude = relAltitude.at(index);
    row.movingState = movingState.at(index);
    row.tempLeft = tempLeft.at(index);
    row.tempRight = tempRight.at(index);
    if (recOptions.temperatures) {
        const auto inside = sensormath::sensorTemperatures(sensorsData);
        row.tempImu = inside.imu;
        row.tempBarometer = inside.barometer;
    }
    QByteArray line;
    {
        QTextStream stream(&line, QIODevice::WriteOnly);
        recorder::writeRow(stream, recOptions, row);
    }
    lines->write(line);
    recLines.giveBack(std::move(lines));
}

void MainWindow::stopRecording()
{
    if (recFile.isOpen()) {
        // A row that is being written is still completed, on its own descriptor.
        recLines.provide(nullptr);
        recFile.close();
        ui->pushButton_rec_option->setEnabled(true);
        ui->toolButton_save->setText(tr("Record"));
        ui->toolButton_save->setChecked(false);
    }
    recording = false;
}

void MainWindow::printDiskFreeSpace()
{
    const QStorageInfo storage(recOptions.saveFolder);
    constexpr double bytesPerGigabyte = 1024.0 * 1024.0 * 1024.0;
    setFreeSpace(static_cast<double>(storage.bytesFree()) / bytesPerGigabyte,
                 recOptions.saveFolder);
}

void MainWindow::setFreeSpace(double gigabytes, const QString& path)
{
    freeSpaceLabel.setStyleSheet(freespace::style(gigabytes));
    freeSpaceLabel.setText(freespace::text(gigabytes, path));
}

void MainWindow::on_pushButton_rec_option_clicked()
{
    RecOptionDlg dialog(nullptr);
    // Not when exec() has returned: a press of the record button that waits behind that of OK, as
    // while a camera opens, is handled before, and the recording would change its columns.
    connect(&dialog, &QDialog::accepted, this, [this, &dialog] {
        recOptions = dialog.options;
        printDiskFreeSpace();
    });
    dialog.exec();
}
