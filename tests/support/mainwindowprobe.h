/// @file
/// The tests' access to the fields and private operations of a MainWindow.
#pragma once

#include "viewer/mainwindow.h"

#include <array>

/// Created for a window that outlives it: MainWindowProbe probe{window}. Every field has its own
/// name.
struct MainWindowProbe
{
    MainWindow& window;

    decltype(MainWindow::ui)& ui = window.ui;
    decltype(MainWindow::deviceIds)& deviceIds = window.deviceIds;
    decltype(MainWindow::deviceSerials)& deviceSerials = window.deviceSerials;
    decltype(MainWindow::deviceModels)& deviceModels = window.deviceModels;
    decltype(MainWindow::cameraId)& cameraId = window.cameraId;
    decltype(MainWindow::cameraSerial)& cameraSerial = window.cameraSerial;
    decltype(MainWindow::cameraName)& cameraName = window.cameraName;
    decltype(MainWindow::cameraModel)& cameraModel = window.cameraModel;
    decltype(MainWindow::imageTimer)& imageTimer = window.imageTimer;
    decltype(MainWindow::detectTimer)& detectTimer = window.detectTimer;
    decltype(MainWindow::plotTimer)& plotTimer = window.plotTimer;
    decltype(MainWindow::displayTimer)& displayTimer = window.displayTimer;
    decltype(MainWindow::plotPeriodMs)& plotPeriodMs = window.plotPeriodMs;
    decltype(MainWindow::displayPeriodMs)& displayPeriodMs = window.displayPeriodMs;
    decltype(MainWindow::dataMutex)& dataMutex = window.dataMutex;
    decltype(MainWindow::inputThread)& inputThread = window.inputThread;
    decltype(MainWindow::inputThreadMutex)& inputThreadMutex = window.inputThreadMutex;
    decltype(MainWindow::imageTicks)& imageTicks = window.imageTicks;
    decltype(MainWindow::accX)& accX = window.accX;
    decltype(MainWindow::accY)& accY = window.accY;
    decltype(MainWindow::accZ)& accZ = window.accZ;
    decltype(MainWindow::gyroX)& gyroX = window.gyroX;
    decltype(MainWindow::gyroY)& gyroY = window.gyroY;
    decltype(MainWindow::gyroZ)& gyroZ = window.gyroZ;
    decltype(MainWindow::magX)& magX = window.magX;
    decltype(MainWindow::magY)& magY = window.magY;
    decltype(MainWindow::magZ)& magZ = window.magZ;
    decltype(MainWindow::orX)& orX = window.orX;
    decltype(MainWindow::orY)& orY = window.orY;
    decltype(MainWindow::orZ)& orZ = window.orZ;
    decltype(MainWindow::pressure)& pressure = window.pressure;
    decltype(MainWindow::relAltitude)& relAltitude = window.relAltitude;
    decltype(MainWindow::movingState)& movingState = window.movingState;
    decltype(MainWindow::tempLeft)& tempLeft = window.tempLeft;
    decltype(MainWindow::tempRight)& tempRight = window.tempRight;
    decltype(MainWindow::imuRates)& imuRates = window.imuRates;
    decltype(MainWindow::baroRates)& baroRates = window.baroRates;
    decltype(MainWindow::magRates)& magRates = window.magRates;
    decltype(MainWindow::tempFallbackTime)& tempFallbackTime = window.tempFallbackTime;
    decltype(MainWindow::magNewX)& magNewX = window.magNewX;
    decltype(MainWindow::magNewY)& magNewY = window.magNewY;
    decltype(MainWindow::magNewZ)& magNewZ = window.magNewZ;
    decltype(MainWindow::magNewTime)& magNewTime = window.magNewTime;
    decltype(MainWindow::spareSeries)& spareSeries = window.spareSeries;
    decltype(MainWindow::baroNewPressure)& baroNewPressure = window.baroNewPressure;
    decltype(MainWindow::baroNewTempRight)& baroNewTempRight = window.baroNewTempRight;
    decltype(MainWindow::baroNewTempLeft)& baroNewTempLeft = window.baroNewTempLeft;
    decltype(MainWindow::baroNewTime)& baroNewTime = window.baroNewTime;
    decltype(MainWindow::imuTime)& imuTime = window.imuTime;
    decltype(MainWindow::magTime)& magTime = window.magTime;
    decltype(MainWindow::baroTime)& baroTime = window.baroTime;
    decltype(MainWindow::chartTime)& chartTime = window.chartTime;
    decltype(MainWindow::chartY0)& chartY0 = window.chartY0;
    decltype(MainWindow::chartY1)& chartY1 = window.chartY1;
    decltype(MainWindow::chartY2)& chartY2 = window.chartY2;
    decltype(MainWindow::accelRange)& accelRange = window.accelRange;
    decltype(MainWindow::gyroRange)& gyroRange = window.gyroRange;
    decltype(MainWindow::magRange)& magRange = window.magRange;
    decltype(MainWindow::orientRange)& orientRange = window.orientRange;
    decltype(MainWindow::pressureMax)& pressureMax = window.pressureMax;
    decltype(MainWindow::pressureMin)& pressureMin = window.pressureMin;
    decltype(MainWindow::altitudeMax)& altitudeMax = window.altitudeMax;
    decltype(MainWindow::altitudeMin)& altitudeMin = window.altitudeMin;
    decltype(MainWindow::temperatureMax)& temperatureMax = window.temperatureMax;
    decltype(MainWindow::temperatureMin)& temperatureMin = window.temperatureMin;
    decltype(MainWindow::sensorsData)& sensorsData = window.sensorsData;
    decltype(MainWindow::imuStartTime)& imuStartTime = window.imuStartTime;
    decltype(MainWindow::baroStartTime)& baroStartTime = window.baroStartTime;
    decltype(MainWindow::magStartTime)& magStartTime = window.magStartTime;
    decltype(MainWindow::elapsedSec)& elapsedSec = window.elapsedSec;
    decltype(MainWindow::chartWindowSec)& chartWindowSec = window.chartWindowSec;
    decltype(MainWindow::imuRateHz)& imuRateHz = window.imuRateHz;
    decltype(MainWindow::magRateHz)& magRateHz = window.magRateHz;
    decltype(MainWindow::baroRateHz)& baroRateHz = window.baroRateHz;
    decltype(MainWindow::imuSamplesPerSec)& imuSamplesPerSec = window.imuSamplesPerSec;
    decltype(MainWindow::magSamplesPerSec)& magSamplesPerSec = window.magSamplesPerSec;
    decltype(MainWindow::baroSamplesPerSec)& baroSamplesPerSec = window.baroSamplesPerSec;
    decltype(MainWindow::dataThread)& dataThread = window.dataThread;
    decltype(MainWindow::stopDataThread)& stopDataThread = window.stopDataThread;
    decltype(MainWindow::dataThreadRunning)& dataThreadRunning = window.dataThreadRunning;
    decltype(MainWindow::cameraLost)& cameraLost = window.cameraLost;
    decltype(MainWindow::deviceListBusy)& deviceListBusy = window.deviceListBusy;
    decltype(MainWindow::imuEffectiveRate)& imuEffectiveRate = window.imuEffectiveRate;
    decltype(MainWindow::baroEffectiveRate)& baroEffectiveRate = window.baroEffectiveRate;
    decltype(MainWindow::magEffectiveRate)& magEffectiveRate = window.magEffectiveRate;
    decltype(MainWindow::magCalibrated)& magCalibrated = window.magCalibrated;
    decltype(MainWindow::style)& style = window.style;
    decltype(MainWindow::freeSpaceLabel)& freeSpaceLabel = window.freeSpaceLabel;
    decltype(MainWindow::recording)& recording = window.recording;
    decltype(MainWindow::recFile)& recFile = window.recFile;
    decltype(MainWindow::recLines)& recLines = window.recLines;
    decltype(MainWindow::recPeriodSec)& recPeriodSec = window.recPeriodSec;
    decltype(MainWindow::recDir)& recDir = window.recDir;
    decltype(MainWindow::currentSensor)& currentSensor = window.currentSensor;
    decltype(MainWindow::requestedFps)& requestedFps = window.requestedFps;
    decltype(MainWindow::requestedResolution)& requestedResolution = window.requestedResolution;
    decltype(MainWindow::recOptions)& recOptions = window.recOptions;
    decltype(MainWindow::detectionThread)& detectionThread = window.detectionThread;

    decltype(MainWindow::growth)& growth = window.growth;
    decltype(MainWindow::disposal)& disposal = window.disposal;

    static constexpr int seriesCount = MainWindow::seriesCount;
    QVector<double>& series(int i) const
    {
        return window.*MainWindow::allSeries[static_cast<std::size_t>(i)];
    }

    void connectSignals() const { window.connectSignals(); }
    void disconnectSignals() const { window.disconnectSignals(); }
    void displayDefaultValues() const { window.displayDefaultValues(); }
    void initCharts() const { window.initCharts(); }
    void changeSensor(const QString& sensor) const { window.changeSensor(sensor); }
    int updateDeviceList(bool keepCurrent) const { return window.updateDeviceList(keepCurrent); }
    void setFreeSpace(double gigabytes, const QString& path) const
    {
        window.setFreeSpace(gigabytes, path);
    }
    void printDiskFreeSpace() const { window.printDiskFreeSpace(); }
    void stopRecording() const { window.stopRecording(); }
    void dataThreadFunc() const { window.dataThreadFunc(); }
    void joinSensorThread() const { window.joinSensorThread(); }
    void appendToSeries(const sensorsample::Sample& sample) const { window.appendToSeries(sample); }
    void growSeries() const { window.growSeries(); }
};
