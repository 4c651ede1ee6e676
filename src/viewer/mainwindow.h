/// @file
/// The main window: the open camera's session, the samples of its sensors, and their display.
///
/// One source file per topic: mainwindow.cpp (construction, destruction, signals), and
/// mainwindow_*.cpp: session (from a listed camera to a streaming one and back), devicelist,
/// sensorthread, valuedisplay, chartfeed and recording.
///
/// Every slot runs on the interface thread, except saveValues(). Only dataThreadFunc() and what it
/// calls run on the sensor thread.
#pragma once

#include "camera/DetectionThread.h"
#include "camera/camera_library.h"
#include "recording/recoptions.h"
#include "viewer/disposal.h"
#include "viewer/handover.h"
#include "viewer/series_growth.h"
#include "viewer/shared.h"

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QMainWindow>
#include <QMessageBox>
#include <QMutex>
#include <QSemaphore>
#include <QString>
#include <QVector>

#include <array>
#include <cstdint>
#include <thread>

class InputThreadModul;
class LiveText;
class QTimer;
class Style;
class Ui_MainWindow;

namespace recorder {
class LineFile;
} // namespace recorder
namespace sensorsample {
struct Sample;
} // namespace sensorsample

class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    /// Opens no camera: a tick of detectTimer does, the second one at the earliest.
    explicit MainWindow(QWidget* parent = nullptr);

    /// Ends the process through std::terminate if a sensor thread that lost its camera was never
    /// replaced by a later one, because its handle is not joined anywhere.
    ~MainWindow() override;

public slots:
    /// Opens the camera of the current row and starts streaming. Blocks during the whole open, and
    /// while one of its message boxes is shown. There is no message for a refused open; detection
    /// continues.
    void createLiveInput();
    /// Passes the camera's CUDA context to the 3D view. Only while inputThread is set.
    void setContext();
    /// Resets everything after a loss of the camera, clears the charts and polls again. Nothing
    /// after the window was closed.
    void cameraDisconnected();
    /// Closes the camera and ends its threads and every timer except detectTimer. Blocks at least
    /// 100 ms. The samples stay. A running detection and the disposal continue.
    void reset();
    /// One tick of the poll. True if a row was built; createLiveInput() has then run.
    bool detectMultipleDevice();
    /// One tick of imageTimer: repaints the 3D view. For a camera without sensors it also updates
    /// the time, which starts with the first such image of the process.
    void updateImages();
    /// Sets the width of the chart, chartWindowSec, from the text of comboBox_time_range. An empty
    /// text changes nothing.
    void updateChartTimeSize();
    /// One tick of plotTimer, whose period it adapts to the amount of data: passes the newest
    /// samples of the current sensor to the chart. Holds dataMutex all the time.
    void updatePlot();
    /// One tick of displayTimer: calls cameraDisconnected() if cameraLost is set and
    /// memoryMessageWaits is not; otherwise shows the newest values of the current sensor, at most
    /// once per displayPeriodMs. Holds dataMutex for the values.
    void updateDataDisplay();
    /// Writes the CSV row of the sample at this index if the recording's period has passed. Called
    /// by the sensor thread with dataMutex held.
    void saveValues(int index);

    void on_comboBox_camera_list_currentIndexChanged(int index);
    void on_comboBox_time_range_currentIndexChanged(const QString& text);
    void on_toolButton_save_clicked(bool checked);
    void on_pushButton_accel_clicked(bool checked);
    void on_pushButton_gyro_clicked(bool checked);
    void on_pushButton_mag_clicked(bool checked);
    void on_pushButton_orient_clicked(bool checked);
    void on_pushButton_baro_clicked(bool checked);
    void on_pushButton_temper_clicked(bool checked);
    void on_pushButton_refresh_list_clicked();
    void on_pushButton_rec_option_clicked();
    void on_pushButton_calib_mag_clicked();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    friend struct MainWindowProbe; // the tests' access

    struct SensorRow; // viewer/sensor_table.h

    void startSessionTimers(); ///< imageTimer, plotTimer and displayTimer, new ones
    /// Blocks while its message box is shown. inputThread is null afterwards if the session has
    /// ended meanwhile.
    void warnOfOldFirmware();
    /// Connects the three signals of inputThread; disconnectSignals() removes exactly these. Both
    /// do nothing without an input thread.
    void connectSignals();
    void disconnectSignals();
    /// "---" in the boxes of the values and of the rate.
    void displayDefaultValues();
    /// Clears all series and the chart's curves, and leaves no sensor selected. Only while no
    /// sensor thread runs: takes no lock.
    void initCharts();
    /// Makes a sensor the current one, with its boxes, chart mode and value axis. A name without a
    /// row, such as the empty one, keeps mode and axis.
    void changeSensor(const QString& sensor);
    /// Rebuilds the list of cameras from the search before, and starts the next search.
    /// @param keepCurrent whether the camera in use comes first
    /// @return rows with a camera
    int updateDeviceList(bool keepCurrent);
    /// Sets the text and the colour of freeSpaceLabel.
    /// @param gigabytes of 2^30 bytes
    void setFreeSpace(double gigabytes, const QString& path);
    void printDiskFreeSpace(); ///< of the folder in recOptions
    /// Closes the file, if one is open, and ends the recording. Takes no lock against the sensor
    /// thread: a row that is being written is finished.
    void stopRecording();
    /// Body of the sensor thread. Ends on stopDataThread, without an open camera, or with the loss
    /// of the camera; then it deletes the input thread and sets cameraLost.
    void dataThreadFunc();

    /// Replaces detectTimer by a new one that runs.
    void startDetectTimer();
    void stopTimer(QTimer*& timer); ///< deletes it and clears the pointer; null is left alone
    /// Opens the camera of the current row through inputThread, with the detection's mutex held.
    /// @return 0, or the code of the failure
    int openCamera();
    /// A modal box with the button "Ok".
    /// @return at once and false while one with the same text is open, else true after its answer
    bool showMessage(QMessageBox::Icon icon, const QString& title, const QString& text);
    /// Sets up the controls for an open camera of this model and starts its sensor thread, if it
    /// has sensors.
    void startStreaming(om::MODEL model);
    /// Does nothing while a sensor thread runs.
    void startSensorThread();
    /// Ends a running sensor thread and waits for it. One that ended by itself stays as it is.
    void joinSensorThread();
    /// Sensor thread: pose, acceleration and motion state into the 3D view, without a signal.
    void showInView(const sensorsample::Sample& sample);
    /// Sensor thread: appends to the series, and writes a row of a running recording. Takes
    /// dataMutex.
    void storeSample(const sensorsample::Sample& sample);
    /// The series' share of it. With dataMutex held.
    void appendToSeries(const sensorsample::Sample& sample);
    /// Prepares the series for further samples. After each sample, with dataMutex held.
    void growSeries();
    /// The newest values and the rate of a sensor. With dataMutex held and accX not empty.
    void showValues(const QString& sensor);
    /// A press of a sensor's button: its titles, and changeSensor(). Nothing when not checked.
    /// @param sensor a name with a row
    void selectSensor(bool checked, const char* sensor);
    /// Passes the window of a sensor's series to the chart, with both axes. With dataMutex held.
    /// @param imuStart index of the first sample of the window in the series of IMU pace
    void feedChart(const SensorRow& row, int imuStart);

    Ui_MainWindow* ui; // owned

    // Row i of comboBox_camera_list is element i of these three.
    QVector<int> deviceIds;
    QVector<int> deviceSerials;
    QVector<om::MODEL> deviceModels;

    // The camera in use.
    int cameraId = 0;
    int cameraSerial = 0;
    QString cameraName; // never assigned: the row of a kept camera shows only its serial number
    om::MODEL cameraModel = omlib::noModel;

    // Created again for every camera.
    QTimer* imageTimer = nullptr;
    QTimer* detectTimer = nullptr;
    QTimer* plotTimer = nullptr;
    QTimer* displayTimer = nullptr;
    int plotPeriodMs = 15;
    int displayPeriodMs = 25;

    QMutex dataMutex; // guards the series

    // Owned. Set between createLiveInput() and the next reset() or a loss of the camera; the sensor
    // thread that detects the loss clears the pointer and deletes the object.
    Published<InputThreadModul*> inputThread = nullptr;
    // Held by disconnectSignals(), and by the sensor thread while it clears the pointer: the loss
    // reaches both threads at once.
    QMutex inputThreadMutex;
    int imageTicks = 0; // counted and never read

    // The series. Those of IMU pace are index-aligned: element i of each belongs to one sample.
    // Times are absolute seconds of the library's clock. Only initCharts() clears them.
    QVector<double> accX; // m/s^2, IMU pace
    QVector<double> accY;
    QVector<double> accZ;
    QVector<double> gyroX; // degrees per second, IMU pace
    QVector<double> gyroY;
    QVector<double> gyroZ;
    QVector<double> magX; // uT, IMU pace
    QVector<double> magY;
    QVector<double> magZ;
    QVector<double> orX; // degrees, IMU pace
    QVector<double> orY;
    QVector<double> orZ;
    QVector<double> pressure;         // hPa, IMU pace
    QVector<double> relAltitude;      // m, IMU pace
    QVector<double> movingState;      // 0 static, 1 moving, 2 falling; IMU pace
    QVector<double> tempLeft;         // degrees Celsius, IMU pace
    QVector<double> tempRight;        // degrees Celsius, IMU pace
    QVector<double> imuRates;         // Hz, IMU pace; a log
    QVector<double> baroRates;        // Hz, new barometer samples; a log
    QVector<double> magRates;         // Hz, new magnetometer samples; a log
    QVector<double> tempFallbackTime; // s, IMU pace while the fallback is in use
    QVector<double> magNewX;          // uT, new magnetometer samples
    QVector<double> magNewY;
    QVector<double> magNewZ;
    QVector<double> magNewTime;       // s
    QVector<double> spareSeries;      // never filled
    QVector<double> baroNewPressure;  // hPa, new barometer samples
    QVector<double> baroNewTempRight; // degrees Celsius, new barometer samples, or IMU pace in the
    QVector<double> baroNewTempLeft;  // temperature fallback
    QVector<double> baroNewTime;      // s
    QVector<double> imuTime;          // s, IMU pace
    QVector<double> magTime;          // s, IMU pace; 0.0 without magnetometer
    QVector<double> baroTime;         // s, IMU pace; 0.0 without barometer
    QVector<double> chartTime;        // the window last passed to the chart
    QVector<double> chartY0;
    QVector<double> chartY1;
    QVector<double> chartY2;

    // Chart limits. They only widen during the life of the window.
    Shared<float> accelRange = 15.0F;     // m/s^2
    Shared<float> gyroRange = 15.0F;      // degrees per second
    Shared<float> magRange = 6.5F;        // uT
    Shared<float> orientRange = 45.0F;    // degrees
    Shared<float> pressureMax = 1050.0F;  // hPa
    Shared<float> pressureMin = 1000.0F;  // hPa
    Shared<float> altitudeMax = 5.0F;     // m
    Shared<float> altitudeMin = 0.0F;     // m
    Shared<float> temperatureMax = 45.0F; // degrees Celsius
    Shared<float> temperatureMin = 45.0F; // degrees Celsius

    om::SensorsData sensorsData; // the sensor thread's own
    std::uint64_t imuStartTime = 0;
    std::uint64_t baroStartTime = 0;
    std::uint64_t magStartTime = 0; // us, first time stamp of a run of the sensor thread
    double elapsedSec = 0.0;
    int chartWindowSec = 0;

    // Upper bounds of the rates shown, Hz.
    double imuRateHz = 400.0;
    double magRateHz = 50.0;
    double baroRateHz = 25.0;
    // Samples per second that the chart feed assumes.
    int imuSamplesPerSec = 400;
    int magSamplesPerSec = 50;
    int baroSamplesPerSec = 25;

    std::thread* dataThread = nullptr; // owned
    Shared<bool> stopDataThread = true;
    Published<bool> dataThreadRunning = false;
    QSemaphore dataThreadBegun; // released by each run, after it has set dataThreadRunning
    // No camera has streamed since the start or since the last cameraDisconnected(). While it is
    // set, each tick of displayTimer calls that, also while an open waits behind its message box,
    // but not while memoryMessageWaits.
    Shared<bool> cameraLost = true;
    bool memoryMessageWaits = false;       // an open behind the message failed for the same reason
    bool deviceListBusy = false;           // the program changes the row of comboBox_camera_list
    Shared<double> imuEffectiveRate = 0.0; // Hz, as the library reports it
    Shared<double> baroEffectiveRate = 0.0;
    Shared<double> magEffectiveRate = 0.0;
    Shared<bool> magCalibrated = false;

    Style* style = nullptr;                // owned, deleted by closeEvent()
    QLabel freeSpaceLabel;                 // in no layout
    bool recording = false;                // read by the sensor thread without a lock
    QFile recFile;                         // likewise
    Handover<recorder::LineFile> recLines; // of recFile, used by the sensor thread
    double recPeriodSec = 0.0;             // s; read by the sensor thread without a lock
    QDir recDir;                           // set and never read

    QString currentSensor = QStringLiteral("Accelerometer"); // empty counts as the accelerometer
    int requestedFps = 100;
    int requestedResolution = 6;
    RecOptions recOptions;
    DetectionThread detectionThread;

    static constexpr int seriesCount = 37;
    /// The first ones: those with samples. The others are the chart's working copies.
    static constexpr int sampleSeriesCount = 33;
    /// All series in the order of their declaration.
    static const std::array<QVector<double> MainWindow::*, seriesCount> allSeries;

    std::array<LiveText*, 3> valueTexts{};  // of the value boxes, which own them
    SeriesGrowth growth{sampleSeriesCount}; // of the series with samples
    Disposal<OldSeries> disposal;           // of replaced and cleared series
};
