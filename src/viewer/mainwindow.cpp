#include "viewer/mainwindow.h"

#include "camera/InputThreadModul.h"
#include "gpu/own_surface.h"
#include "look/Style.h"
#include "look/dressing.h"
#include "recording/line_file.h"
#include "ui_mainwindow.h"
#include "viewer/live_text.h"

#include <QCloseEvent>
#include <QMutexLocker>
#include <QOpenGLContext>
#include <QPixmap>
#include <QThread>
#include <QTimer>

#include <initializer_list>

const std::array<QVector<double> MainWindow::*, MainWindow::seriesCount> MainWindow::allSeries = {
    &MainWindow::accX,
    &MainWindow::accY,
    &MainWindow::accZ,
    &MainWindow::gyroX,
    &MainWindow::gyroY,
    &MainWindow::gyroZ,
    &MainWindow::magX,
    &MainWindow::magY,
    &MainWindow::magZ,
    &MainWindow::orX,
    &MainWindow::orY,
    &MainWindow::orZ,
    &MainWindow::pressure,
    &MainWindow::relAltitude,
    &MainWindow::movingState,
    &MainWindow::tempLeft,
    &MainWindow::tempRight,
    &MainWindow::imuRates,
    &MainWindow::baroRates,
    &MainWindow::magRates,
    &MainWindow::tempFallbackTime,
    &MainWindow::magNewX,
    &MainWindow::magNewY,
    &MainWindow::magNewZ,
    &MainWindow::magNewTime,
    &MainWindow::spareSeries,
    &MainWindow::baroNewPressure,
    &MainWindow::baroNewTempRight,
    &MainWindow::baroNewTempLeft,
    &MainWindow::baroNewTime,
    &MainWindow::imuTime,
    &MainWindow::magTime,
    &MainWindow::baroTime,
    &MainWindow::chartTime,
    &MainWindow::chartY0,
    &MainWindow::chartY1,
    &MainWindow::chartY2,
};

namespace {

/// Names what has no text of its own. On Linux a combo box has its value as its name.
void nameForAssistivePrograms(const Ui_MainWindow& form)
{
    const auto name = [](QWidget* widget, const QString& text, const QString& description = {}) {
        widget->setAccessibleName(text);
        widget->setAccessibleDescription(description);
    };
    using Window = MainWindow;
    name(form.LogoTitle, Window::tr("The maker's logo"));
    name(form.label_logo, Window::tr("The camera family's logo"));
    name(form.comboBox_camera_list, Window::tr("Camera"), Window::tr("The camera that is shown"));
    name(form.pushButton_refresh_list, Window::tr("Refresh the list of cameras"));
    name(form.widget_3d_view, Window::tr("3D view"),
         Window::tr("Turns as the camera does. Arrow keys move the view, R resets it"));
    const QString ofSensor = Window::tr("Of the selected sensor");
    name(form.lineEdit_value_0, Window::tr("First value"), ofSensor);
    name(form.lineEdit_value_1, Window::tr("Second value"), ofSensor);
    name(form.lineEdit_value_2, Window::tr("Third value"), ofSensor);
    name(form.comboBox_time_range, Window::tr("Time range"),
         Window::tr("The time that the chart shows"));
    form.toolButton_save->setAccessibleDescription(Window::tr("Starts and stops a recording"));
    name(form.pushButton_rec_option, Window::tr("Recording options"));
    name(form.widget_chart, Window::tr("Chart"), Window::tr("The selected sensor over the time"));
}

} // namespace

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent), ui(new Ui_MainWindow)
{
    ui->setupUi(this);
    recDir = QDir(recOptions.saveFolder);

    ui->LogoTitle->setScaledContents(true);
    ui->LogoTitle->setPixmap(QPixmap(QStringLiteral(":/images/OM_white.png")));
    ui->statusbar->hide();

    style = new Style;
    using dressing::dress;
    dress(ui->comboBox_camera_list, style->comboDarkStyle, style->fontMonoCaps9);
    dress(ui->comboBox_time_range, style->comboDarkStyle, style->fontMonoCaps9);
    ui->frame_data_options->setStyleSheet(style->comboDarkStyle);
    dress(ui->toolButton_save, style->saveButtonStyle, style->fontMonoCaps9);
    const QFont buttonFont = dressing::largeButtonFont(*style);
    for (QPushButton* button :
         {ui->pushButton_accel, ui->pushButton_gyro, ui->pushButton_baro, ui->pushButton_mag,
          ui->pushButton_orient, ui->pushButton_temper, ui->pushButton_calib_mag}) {
        dress(button, style->sensorButtonStyle, buttonFont);
    }
    // Only one sensor is selected at a time.
    for (QPushButton* button : {ui->pushButton_accel, ui->pushButton_gyro, ui->pushButton_orient,
                                ui->pushButton_baro, ui->pushButton_mag, ui->pushButton_temper}) {
        button->setAutoExclusive(true);
    }
    ui->frame_ogl->setStyleSheet(style->frameRoundedStyle);
    ui->frame_left->setStyleSheet(style->sideFrameStyle);
    ui->frame_camera_sel->setStyleSheet(style->frameFlatStyle);
    for (QLabel* label :
         {ui->label_sensor_type, ui->label_sensor_rate, ui->label_sensor_type_top}) {
        dress(label, style->labelBaseStyle, style->fontMonoCaps9);
    }

    dressing::showLogo(*ui->label_logo);
    dressing::fillBackground(*this);
    nameForAssistivePrograms(*ui);
    new OwnSurface(ui->widget_3d_view); // deleted with the view
    valueTexts = {new LiveText(ui->lineEdit_value_0), new LiveText(ui->lineEdit_value_1),
                  new LiveText(ui->lineEdit_value_2)};

    initCharts();
    startDetectTimer();
}

MainWindow::~MainWindow()
{
    // A window that was closed by its close button has no surface any more: the 3D view would
    // switch from the current context to its own one to delete its objects, and could not switch
    // back.
    if (QOpenGLContext* const context = QOpenGLContext::currentContext(); context != nullptr) {
        context->doneCurrent();
    }
    delete ui;
    delete inputThread.load();
    // std::terminate if a sensor thread that lost its camera was never replaced.
    delete dataThread;
    detectionThread.wait();
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    disconnectSignals();
    stopTimer(plotTimer);
    stopTimer(displayTimer);
    stopTimer(imageTimer);
    stopTimer(detectTimer);
    QThread::msleep(100);
    joinSensorThread();
    delete inputThread.load();
    inputThread = nullptr;
    delete style;
    style = nullptr;
    // Presses that wait behind the close would find nothing left to work with.
    ui->CentralWidget->setEnabled(false);
    QMainWindow::closeEvent(event);
}

void MainWindow::connectSignals()
{
    InputThreadModul* const input = inputThread;
    if (input == nullptr) {
        return;
    }
    connect(input, &InputThreadModul::sendContext, this, &MainWindow::setContext);
    connect(input, &InputThreadModul::DetectTIVDisconnect, this, &MainWindow::cameraDisconnected);
    connect(input, &InputThreadModul::sendInit, ui->widget_3d_view, &OGL3DWidget::InitProcess);
}

void MainWindow::disconnectSignals()
{
    const QMutexLocker lock(&inputThreadMutex);
    InputThreadModul* const input = inputThread;
    if (input == nullptr) {
        return;
    }
    disconnect(input, &InputThreadModul::sendContext, this, &MainWindow::setContext);
    disconnect(input, &InputThreadModul::DetectTIVDisconnect, this,
               &MainWindow::cameraDisconnected);
    disconnect(input, &InputThreadModul::sendInit, ui->widget_3d_view, &OGL3DWidget::InitProcess);
}

void MainWindow::stopTimer(QTimer*& timer)
{
    if (timer != nullptr) {
        timer->stop();
        delete timer;
        timer = nullptr;
    }
}
