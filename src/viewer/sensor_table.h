/// @file
/// The table of the window's six sensors: the texts, boxes, chart and series of each.
#pragma once

#include "charts/DataPlot.h"
#include "look/Style.h"
#include "viewer/chart_feed_rules.h"
#include "viewer/mainwindow.h"

#include <QString>

#include <array>

/// One sensor. All texts are marked for translation in the window's context.
struct MainWindow::SensorRow
{
    using Series = QVector<double> MainWindow::*;

    /// A box with the newest value.
    struct Value
    {
        const char* text = nullptr; ///< "%1" is the value; null leaves the box as it is
        Series series = nullptr;
    };

    struct Values
    {
        std::array<Value, 3> boxes;
        int width = 5; ///< of a number, characters
        int precision = 3;
        Shared<double> MainWindow::*rate = nullptr; ///< Hz
        double MainWindow::*nominalRate = nullptr;  ///< Hz, the most that is shown
    };

    /// The boxes of the values: their style sheets, and the number of visible ones.
    struct Boxes
    {
        std::array<QString Style::*, 3> sheets = {&Style::xAxisEditStyle, &Style::yAxisEditStyle,
                                                  &Style::zAxisEditStyle};
        int shown = 3;
    };

    /// The value axis. Without a minimum it is symmetric about 0.
    struct Limits
    {
        Shared<float> MainWindow::*max = nullptr;
        Shared<float> MainWindow::*min = nullptr;
    };

    /// The window of a sensor with another rate than the IMU.
    struct Pace
    {
        Series time = nullptr; ///< null for a sensor of IMU pace
        Series counted = nullptr;
        int MainWindow::*samplesPerSec = nullptr;
        Series fallbackTime = nullptr; ///< at IMU pace, used if time is empty
    };

    struct Curve
    {
        Series values = nullptr;
        DataPlot::DataType curve = DataPlot::AccX;
    };

    const char* sensor; ///< as in currentSensor
    const char* label;
    const char* topLabel;
    bool isMagnetometer; ///< its title shows the calibration's state, and its button is visible
    DataPlot::SensorType mode;
    Boxes boxes;
    Limits limits;
    Pace pace;
    std::array<Curve, 3> curves;
    Values values;

    /// The value axis for the limits of the window, beyond them by the factor where it is
    /// symmetric.
    chartfeed::AxisRange valueAxis(const MainWindow& window, double margin) const;

    static const std::array<SensorRow, 6> table;

    /// Null for a name without a row, such as an empty one.
    static const SensorRow* find(const QString& sensor);
    /// The row of the name, or else that of the accelerometer.
    static const SensorRow& shownFor(const QString& sensor);
};
