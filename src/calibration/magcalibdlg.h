/// @file
/// The dialog that calibrates a camera's magnetometer.
///
/// One source file a topic: magcalibdlg.cpp (construction, buttons, messages, update timer), and
/// magcalibdlg_*.cpp: sampling (the reading thread and the fit), mculink (device list, link and
/// EEPROM) and calibcharts (the scatter plots).
#pragma once

#include <QDialog>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QVector>

#include <array>
#include <memory>
#include <mutex>
#include <thread>

class CalibPlot;
class OrientCount;
class QwtPlotCurve;
class QwtSymbol;
class Style;
class Ui_MagCalibDlg;

namespace om {
class TIVmcu;
}

/// Modal; to be run with exec(). From construction until it is left, by its exit button, by
/// reject() or by its deletion, it owns the camera's microcontroller, so the camera must be closed
/// before and may be opened again once exec() has returned.
///
/// The dialog's axes are X = -(sensor axis 2), Y = sensor axis 1, Z = sensor axis 3; samples and
/// offsets are in microtesla, gains in 1 / microtesla.
///
/// Threads: everything runs on the interface thread but magDataGrabThread(). The flags and the
/// headings are shared between the two as plain values. The raw samples have a lock, which the
/// thread takes to append and the update timer for its tick; the stop's fit and the emptying by
/// clear and reset work on them without it, beside a thread that may be appending.
/// stopAcquisition() joins the thread only where it finds it in its loop: not one that has just
/// been started, nor one that has given up.
class MagCalibDlg : public QDialog
{
    Q_OBJECT

public:
    /// Finds the camera, opens its link and starts reading. A failure is reported in a message box
    /// that is answered before the constructor returns; the dialog then opens without a camera.
    MagCalibDlg(int serialNumber, QWidget* parent);

    /// Closes the link if exit did not. Ends the process through std::terminate when the reading
    /// thread has ended on its own after a lost camera: its handle is not joined anywhere.
    ~MagCalibDlg() override;

    /// Leaves the dialog without a question, as a signal of the system does. Closes the link first,
    /// as the exit button does.
    void reject() override;

signals:
    /// Emitted on either thread; onCameraError() answers it on the interface thread.
    void cameraError(QString errStr);

protected:
    /// Escape does not close the dialog.
    void keyPressEvent(QKeyEvent* event) override;

private slots:
    void onCameraError(QString errStr);
    void onUpdateTimer();
    void on_pushButton_start_clicked(bool checked);
    void on_pushButton_clear_data_clicked();
    void on_pushButton_save_calib_clicked();
    void on_pushButton_reset_clicked();
    void on_pushButton_exit_clicked();

private:
    friend struct MagCalibDlgProbe; // the tests' access

    struct CurveRow;

    /// True when the reading thread runs or was started. Ends the process through std::terminate
    /// when a former thread gave up.
    bool startAcquisition();
    /// Ends the stream first, then the timer and, while it is in its loop, the thread.
    void stopAcquisition();
    void closeLink();   ///< once; with it the acquisition ends
    void updateForms(); ///< hook for displays of the calibration; there are none
    void setOmStyleSheet();

    // Sampling and fit.
    void magDataGrabThread();
    /// Fits all raw samples, takes over the result and corrects the samples by it. Fewer than 6
    /// samples change nothing. Takes no lock: the update timer holds it, the start button does not.
    void calibrateData();

    // Link. initTivMcu() reports its failures through cameraError.
    void updateOmDevList();
    bool initTivMcu();
    bool loadCalibData();
    /// Writes, reads back and compares, up to ten times. On failure the stream stays stopped.
    bool saveCalibData();

    // Charts.
    static const std::array<CurveRow, 12>& curveTable();
    void makeSymbols();
    void initPlots();
    void scalePlots();
    void setPlotsAutoscale(bool enable);
    void updatePlots();
    void updateEllipses();
    /// Drops all samples and the calibration. The plots go on showing the former points until the
    /// next sample.
    void clearPlots();

    std::array<CalibPlot*, 5> plots() const;

    void updateCalibration(); ///< a tick's fit and plots, under the lock
    void askCoverage();
    void showHeadings();
    void showHeadingState();

    Ui_MagCalibDlg* ui; // owned
    std::shared_ptr<Style> style;

    int lastFitCount = 0; // raw samples at the last periodic fit
    int serialNumber;
    std::array<double, 3> magOffset = {0.0, 0.0, 0.0}; // uT
    std::array<double, 3> magScale = {1.0, 1.0, 1.0};  // 1 / uT
    double headingUncalib = 0.0;                       // degrees; written by the thread
    double headingCalib = 0.0;                         // degrees; written by the thread
    int headingState = 4;                              // as the link reports it
    float headingAccuracy = 0.0F;                      // 0 to 1, as the link reports it
    double sampleRate = 0.0;                           // Hz, at most 60
    QVector<double> rawX;                              // uT; written by the thread
    QVector<double> rawY;
    QVector<double> rawZ;
    QVector<double> calX; // corrected copy, on the unit sphere
    QVector<double> calY;
    QVector<double> calZ;

    // Curves belong to their plots, symbols to their curves.
    QwtPlotCurve* curveMixedRawXY = nullptr;
    QwtPlotCurve* curveMixedRawXZ = nullptr;
    QwtPlotCurve* curveMixedRawYZ = nullptr;
    QwtPlotCurve* curveCalXY = nullptr;
    QwtPlotCurve* curveCalXZ = nullptr;
    QwtPlotCurve* curveCalYZ = nullptr;
    QwtSymbol* symbolMixedRawXY = nullptr;
    QwtSymbol* symbolMixedRawXZ = nullptr;
    QwtSymbol* symbolMixedRawYZ = nullptr;
    QwtSymbol* symbolCalXY = nullptr;
    QwtSymbol* symbolCalXZ = nullptr;
    QwtSymbol* symbolCalYZ = nullptr;
    QwtPlotCurve* curveRawXY = nullptr;
    QwtPlotCurve* curveRawXZ = nullptr;
    QwtPlotCurve* curveRawYZ = nullptr;
    QwtPlotCurve* curveLastXY = nullptr;
    QwtPlotCurve* curveLastXZ = nullptr;
    QwtPlotCurve* curveLastYZ = nullptr;
    QwtSymbol* symbolRawXY = nullptr;
    QwtSymbol* symbolRawXZ = nullptr;
    QwtSymbol* symbolRawYZ = nullptr;
    QwtSymbol* symbolLastXY = nullptr;
    QwtSymbol* symbolLastXZ = nullptr;
    QwtSymbol* symbolLastYZ = nullptr;

    std::shared_ptr<om::TIVmcu> mcu; // null until the camera was found
    // The devices found, in parallel; only the serial numbers are read.
    QVector<unsigned short> devProductIds;
    QStringList devSerials;
    QStringList devFirmware;

    std::thread grabThread;
    std::mutex grabMutex; // guards rawX, rawY, rawZ

    bool mcuClosed = true;           // no open link is left to close
    bool grabRunning = false;        // the thread is in its loop
    bool grabStop = false;           // asks the thread to leave
    bool calibrating = false;        // samples are kept
    bool calibrationPending = false; // computed, not stored

    QTimer updateTimer;
    std::shared_ptr<OrientCount> orientCount; // replaced by the thread at each start
};
