/// @file
/// The dialog that calibrates a camera's magnetometer.
///
/// One source file per topic: magcalibdlg.cpp (construction, buttons, messages, update timer), and
/// magcalibdlg_*.cpp: sampling (the reading thread), fit (the calibration from the samples),
/// headings (headings and quality), mculink (device list, link and EEPROM) and calibcharts (the
/// scatter plots).
#pragma once

#include <QDialog>
#include <QSemaphore>
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

/// Modal; to be run with exec(). From construction until it is left by its exit button, by reject()
/// or by its deletion, it owns the camera's microcontroller. So the camera must be closed before
/// and may be opened again once exec() has returned.
///
/// The dialog's axes are those of calibration/axes.h: right, down, forward. Samples and offsets are
/// in microtesla, gains in 1 / microtesla.
///
/// Threads: everything except magDataGrabThread() and readHeading(), which it calls, runs on the
/// interface thread. Both threads share the flags and the headings as plain values. A lock guards
/// the raw samples: the thread takes it to append, the update timer for the fit and the plots of
/// its tick. The fit at the stop and the emptying by clear and reset use the samples without the
/// lock, while the thread may append. stopAcquisition() joins the thread only if it is in its loop:
/// not if it has given up.
class MagCalibDlg : public QDialog
{
    Q_OBJECT

public:
    /// Finds the camera, opens its link and starts reading. A failure is reported in a message box,
    /// which the user answers before the constructor returns; the dialog then opens without a
    /// camera.
    MagCalibDlg(int serialNumber, QWidget* parent);

    /// Closes the link if exit did not. Ends the process through std::terminate if the reading
    /// thread has ended on its own after a lost camera, because its handle is not joined anywhere.
    ~MagCalibDlg() override;

    /// Leaves the dialog without a question, for example on a system signal. Closes the link first,
    /// as the exit button does.
    void reject() override;

signals:
    /// Emitted on either thread; onCameraError() handles it on the interface thread.
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

    /// True if the reading thread runs or was started. Ends the process through std::terminate if a
    /// previous thread gave up.
    bool startAcquisition();
    /// Ends the stream first, then the timer and, if it is in its loop, the thread.
    void stopAcquisition();
    void closeLink();   ///< once; also ends the acquisition
    void updateForms(); ///< hook for displays of the calibration; currently empty
    void setOmStyleSheet();

    // Sampling and fit.
    void magDataGrabThread();
    /// Both headings, and outside a calibration their state and accuracy, from one pose record. On
    /// the reading thread.
    void readHeading();
    /// Fits all raw samples, stores the result and corrects the samples with it. Fewer than 6
    /// samples change nothing. Takes no lock: the update timer holds it, the start button does not.
    void calibrateData();

    // Link. initTivMcu() reports its failures through cameraError.
    void updateOmDevList();
    bool initTivMcu();
    bool loadCalibData();
    /// Writes, reads back and compares, up to ten times. After a failure the stream stays stopped.
    bool saveCalibData();

    // Charts.
    static const std::array<CurveRow, 12>& curveTable();
    void makeSymbols();
    void initPlots();
    void scalePlots();
    void setPlotsAutoscale(bool enable);
    void updatePlots();
    void updateEllipses();
    /// Drops all samples and the calibration. The plots show the previous points until the next
    /// sample.
    void clearPlots();

    std::array<CalibPlot*, 5> plots() const;

    void updateCalibration(); ///< fit and plots of a tick, under the lock
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
    int headingState = 4;                              // of the link; written by the thread
    float headingAccuracy = 0.0F;                      // 0 to 1; written by the thread
    double sampleRate = 0.0;                           // Hz, at most 60; used by the thread only
    QVector<double> rawX;                              // uT; written by the thread
    QVector<double> rawY;
    QVector<double> rawZ;
    QVector<double> calX; // corrected copy, on the unit sphere
    QVector<double> calY;
    QVector<double> calZ;

    // The plots own their curves, the curves their symbols.
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
    QSemaphore grabBegun; // released by each run, when it is about to read, or ends before
    std::mutex grabMutex; // guards rawX, rawY, rawZ

    bool mcuClosed = true;           // no open link is left to close
    bool grabRunning = false;        // the thread is in its loop
    bool grabStop = false;           // the thread must leave its loop
    bool calibrating = false;        // samples are stored
    bool calibrationPending = false; // computed, not stored

    QTimer updateTimer;
    std::shared_ptr<OrientCount> orientCount; // replaced by the thread at each start
};
