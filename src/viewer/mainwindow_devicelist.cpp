// The list of cameras: its rows, the poll that fills it, and the user's choice in it.

#include "viewer/mainwindow.h"

#include "camera/InputThreadModul.h"
#include "ui_mainwindow.h"

#include <QTimer>

int MainWindow::updateDeviceList(bool keepCurrent)
{
    deviceIds.clear();
    deviceSerials.clear();
    deviceModels.clear();
    // Clearing and refilling changes the current row, which is not a choice of the user.
    deviceListBusy = true;
    ui->comboBox_camera_list->clear();

    int count = 0;
    const auto addRow = [&](int id, int serial, om::MODEL model, const QString& name) {
        deviceIds.append(id);
        deviceSerials.append(serial);
        deviceModels.append(model);
        ui->comboBox_camera_list->addItem(tr("%1 - %3").arg(name).arg(serial));
        ++count;
    };
    if (keepCurrent) {
        addRow(cameraId, cameraSerial, cameraModel, cameraName);
    }
    // The list of the previous pass; the next call shows that of the pass started here.
    const std::vector<om::DeviceProperties> devices = detectionThread.devices;
    detectionThread.start(QThread::InheritPriority);
    for (const om::DeviceProperties& device : devices) {
        const int serial = static_cast<int>(device.serialNumber);
        if (device.cameraModel == omlib::tiv || serial <= 0) {
            continue;
        }
        addRow(device.id, serial, device.cameraModel,
               QString::fromUtf8(om::toString(device.cameraModel).c_str()));
    }
    deviceListBusy = false;
    if (keepCurrent) {
        ui->comboBox_camera_list->setCurrentIndex(0);
    }
    return count;
}

bool MainWindow::detectMultipleDevice()
{
    const int count = updateDeviceList(false);
    deviceListBusy = true;
    const bool found = count > 0;
    if (found) {
        ui->comboBox_camera_list->setCurrentIndex(0);
        ui->comboBox_camera_list->setEnabled(true);
        if (detectTimer != nullptr) {
            disconnect(detectTimer, SIGNAL(timeout())); // finds no connection in this direction
            stopTimer(detectTimer);
        }
        createLiveInput();
    } else {
        ui->comboBox_camera_list->addItem(tr("No cameras"));
        ui->comboBox_camera_list->setEnabled(false);
    }
    deviceListBusy = false;
    return found;
}

void MainWindow::on_comboBox_camera_list_currentIndexChanged(int /*index*/)
{
    if (deviceListBusy) {
        return;
    }
    reset();
    createLiveInput();
}

void MainWindow::on_pushButton_refresh_list_clicked()
{
    InputThreadModul* const input = inputThread;
    if (input == nullptr || !input->camera.isOpened()) {
        cameraDisconnected();
        return;
    }
    updateDeviceList(true);
}
