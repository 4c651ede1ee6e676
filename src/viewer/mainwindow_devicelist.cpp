// The list of cameras: its rows, the poll that fills it, and the user's choice in it.

#include "viewer/mainwindow.h"

#include "camera/InputThreadModul.h"
#include "ui_mainwindow.h"

#include <QComboBox>
#include <QString>
#include <QTimer>

namespace {

constexpr int detectPeriodMs = 200;

/// While it lives, the box is not painted. At its end it is, if it then shows something else than
/// at the beginning. The poll refills the list five times a second, and where the 3D view has no
/// native window of its own (gpu/own_surface.h), each paint composes the whole window again.
class QuietRefill
{
public:
    explicit QuietRefill(QComboBox& box)
        : m_box(box), m_wasDisabled(box.testAttribute(Qt::WA_UpdatesDisabled)), m_before(box)
    {
        // Not setUpdatesEnabled(): that paints whenever it enables.
        m_box.setAttribute(Qt::WA_UpdatesDisabled);
    }

    ~QuietRefill()
    {
        m_box.setAttribute(Qt::WA_UpdatesDisabled, m_wasDisabled);
        if (!(Content(m_box) == m_before)) {
            m_box.update();
        }
    }

    QuietRefill(const QuietRefill&) = delete;
    QuietRefill& operator=(const QuietRefill&) = delete;

private:
    struct Content
    {
        explicit Content(const QComboBox& box) : text(box.currentText()), isEnabled(box.isEnabled())
        {}

        bool operator==(const Content& other) const
        {
            return text == other.text && isEnabled == other.isEnabled;
        }

        QString text; // of the rows only the current one is visible; the open list paints itself
        bool isEnabled;
    };

    QComboBox& m_box;
    const bool m_wasDisabled;
    const Content m_before;
};

} // namespace

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

void MainWindow::startDetectTimer()
{
    delete detectTimer;
    detectTimer = new QTimer(this);
    connect(detectTimer, &QTimer::timeout, this, &MainWindow::detectMultipleDevice);
    detectTimer->start(detectPeriodMs);
}

bool MainWindow::detectMultipleDevice()
{
    bool found = false;
    {
        const QuietRefill quiet(*ui->comboBox_camera_list);
        found = updateDeviceList(false) > 0;
        deviceListBusy = true;
        if (found) {
            ui->comboBox_camera_list->setCurrentIndex(0);
        } else {
            ui->comboBox_camera_list->addItem(tr("No cameras"));
        }
        ui->comboBox_camera_list->setEnabled(found);
    }
    if (found) {
        if (detectTimer != nullptr) {
            disconnect(detectTimer, SIGNAL(timeout())); // finds no connection in this direction
            stopTimer(detectTimer);
        }
        createLiveInput();
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
    const QuietRefill quiet(*ui->comboBox_camera_list);
    updateDeviceList(true);
}
