/// @file
/// The time chart.
#pragma once

#include <QVector>

#include <qwt_plot.h>
#include <qwt_text.h>

#include <array>

class DataCurve;

/// The time chart of one sensor at a time: 15 fixed curves over a time axis in seconds, of which
/// the curves of the chosen mode are visible.
///
/// Interface thread only. The plot never redraws by itself: the caller requests it, with the
/// `replot` argument or with replot(), which returns before the canvas is painted.
class DataPlot : public QwtPlot
{
    Q_OBJECT

public:
    /// A curve.
    enum DataType : int {
        AccX,
        AccY,
        AccZ,
        GyrX,
        GyrY,
        GyrZ,
        MagX,
        MagY,
        MagZ,
        OrX,
        OrY,
        OrZ,
        RelAltitude,
        TempLeft,
        TempRight
    };
    static constexpr int curveCount = 15;

    /// A mode: the visible curves and the title of the value axis.
    enum SensorType : int {
        Accelerometer,
        Gyroscope,
        Magnetometer,
        Orientation,
        Barometer,
        Temperature
    };

    /// Starts in the accelerometer's mode, without samples, with a time axis from 0 to 10 s.
    explicit DataPlot(QWidget* parent);
    ~DataPlot() override;

    /// Builds and attaches the curves. Only the constructor calls it: a second call would attach
    /// the same curves once more and leave the first ones without further samples.
    void createCurves();

    /// Shows only the curves of this mode and replots. A value that is not a mode hides all curves
    /// and keeps the title of the value axis.
    void setSensorType(SensorType type);

    /// Sets the samples of a curve, AccX to the last DataType: times in seconds, ascending, and
    /// values in the unit of the value axis. The vectors are shared, not copied. If their lengths
    /// differ, the shorter one counts.
    void updateData(DataType curve, QVector<double> x, QVector<double> y, bool replot);

    /// Range of the value axis.
    void setValRange(double min, double max, bool replot);

    /// Range of the time axis, in seconds of the clock that the samples' times come from.
    void setTimeRange(double min, double max, bool replot);

    void showCurve(QwtPlotItem* item, bool visible, bool replot);

private:
    void setRange(int axis, double min, double max, bool replot);

    std::array<DataCurve*, curveCount> curves{}; // owned, by DataType
    QwtText valueTitle;
    QwtText timeTitle;
};
