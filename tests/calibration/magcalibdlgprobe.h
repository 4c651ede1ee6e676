/// @file
/// The tests' access to the fields and private operations of a MagCalibDlg.
#pragma once

#include "calibration/calibplot.h"
#include "calibration/magcalibdlg.h"
#include "calibration/orientcount.h"
#include "ui_magcalibdlg.h"

#include <om_tiv/mcu.h>

#include <qwt_plot_curve.h>
#include <qwt_symbol.h>

/// Created for a dialog that outlives it: MagCalibDlgProbe probe{dialog}. Every field has its own
/// name.
struct MagCalibDlgProbe
{
    MagCalibDlg& dialog;

    Ui_MagCalibDlg*& ui = dialog.ui;
    decltype(MagCalibDlg::style)& style = dialog.style;
    decltype(MagCalibDlg::lastFitCount)& lastFitCount = dialog.lastFitCount;
    decltype(MagCalibDlg::serialNumber)& serialNumber = dialog.serialNumber;
    decltype(MagCalibDlg::magOffset)& magOffset = dialog.magOffset;
    decltype(MagCalibDlg::magScale)& magScale = dialog.magScale;
    decltype(MagCalibDlg::headingUncalib)& headingUncalib = dialog.headingUncalib;
    decltype(MagCalibDlg::headingCalib)& headingCalib = dialog.headingCalib;
    decltype(MagCalibDlg::headingState)& headingState = dialog.headingState;
    decltype(MagCalibDlg::headingAccuracy)& headingAccuracy = dialog.headingAccuracy;
    decltype(MagCalibDlg::sampleRate)& sampleRate = dialog.sampleRate;
    decltype(MagCalibDlg::rawX)& rawX = dialog.rawX;
    decltype(MagCalibDlg::rawY)& rawY = dialog.rawY;
    decltype(MagCalibDlg::rawZ)& rawZ = dialog.rawZ;
    decltype(MagCalibDlg::calX)& calX = dialog.calX;
    decltype(MagCalibDlg::calY)& calY = dialog.calY;
    decltype(MagCalibDlg::calZ)& calZ = dialog.calZ;
    decltype(MagCalibDlg::mcu)& mcu = dialog.mcu;
    decltype(MagCalibDlg::devProductIds)& devProductIds = dialog.devProductIds;
    decltype(MagCalibDlg::devSerials)& devSerials = dialog.devSerials;
    decltype(MagCalibDlg::devFirmware)& devFirmware = dialog.devFirmware;
    decltype(MagCalibDlg::grabThread)& grabThread = dialog.grabThread;
    decltype(MagCalibDlg::grabMutex)& grabMutex = dialog.grabMutex;
    decltype(MagCalibDlg::mcuClosed)& mcuClosed = dialog.mcuClosed;
    decltype(MagCalibDlg::grabStop)& grabStop = dialog.grabStop;
    const bool& calibrating = dialog.calibrating; // setCalibrating() writes it
    decltype(MagCalibDlg::calibrationPending)& calibrationPending = dialog.calibrationPending;
    decltype(MagCalibDlg::updateTimer)& updateTimer = dialog.updateTimer;
    decltype(MagCalibDlg::orientCount)& orientCount = dialog.orientCount;

    QwtPlotCurve* curveMixedRawXY() const { return dialog.curveMixedRawXY; }
    QwtPlotCurve* curveMixedRawXZ() const { return dialog.curveMixedRawXZ; }
    QwtPlotCurve* curveMixedRawYZ() const { return dialog.curveMixedRawYZ; }
    QwtPlotCurve* curveCalXY() const { return dialog.curveCalXY; }
    QwtPlotCurve* curveCalXZ() const { return dialog.curveCalXZ; }
    QwtPlotCurve* curveCalYZ() const { return dialog.curveCalYZ; }
    QwtPlotCurve* curveRawXY() const { return dialog.curveRawXY; }
    QwtPlotCurve* curveRawXZ() const { return dialog.curveRawXZ; }
    QwtPlotCurve* curveRawYZ() const { return dialog.curveRawYZ; }
    QwtPlotCurve* curveLastXY() const { return dialog.curveLastXY; }
    QwtPlotCurve* curveLastXZ() const { return dialog.curveLastXZ; }
    QwtPlotCurve* curveLastYZ() const { return dialog.curveLastYZ; }

    bool startAcquisition() const { return dialog.startAcquisition(); }
    void stopAcquisition() const { dialog.stopAcquisition(); }
    /// Only the reading thread, without the other steps of startAcquisition().
    void startThread() const
    {
        dialog.grabThread = std::thread(&MagCalibDlg::magDataGrabThread, &dialog);
    }
    void calibrateData() const { dialog.calibrateData(); }
    void updateOmDevList() const { dialog.updateOmDevList(); }
    bool initTivMcu() const { return dialog.initTivMcu(); }
    bool loadCalibData() const { return dialog.loadCalibData(); }
    bool saveCalibData() const { return dialog.saveCalibData(); }
    void scalePlots() const { dialog.scalePlots(); }
    void setPlotsAutoscale(bool enable) const { dialog.setPlotsAutoscale(enable); }
    void updatePlots() const { dialog.updatePlots(); }
    void updateEllipses() const { dialog.updateEllipses(); }
    void clearPlots() const { dialog.clearPlots(); }
    void onUpdateTimer() const { dialog.onUpdateTimer(); }
    std::array<CalibPlot*, 5> plots() const { return dialog.plots(); }

    // Flags that the thread writes or reads at the same time. Never inlined: ThreadSanitizer's
    // suppressions know them by name.
    [[gnu::noinline]] bool running() const { return dialog.grabRunning; }
    [[gnu::noinline]] void setCalibrating(bool on) const { dialog.calibrating = on; }

    /// Samples gathered so far. Takes the lock.
    int samples() const
    {
        const std::lock_guard<std::mutex> lock(dialog.grabMutex);
        return dialog.rawX.size();
    }
};
