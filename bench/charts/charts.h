/// @file
/// The charts that bench_chart compares, each set up for speed in its own way, and all for the same
/// picture: three curves two pixels wide, a value axis, a time axis, a dark canvas.
#pragma once

#include <QVector>

#include <array>
#include <memory>

class QWidget;

namespace benchchart {

constexpr int width = 900;
constexpr int height = 310;
constexpr int curveCount = 3;
constexpr double valueRange = 15.0;

/// The data of one frame.
struct Frame
{
    QVector<double> time;
    std::array<QVector<double>, curveCount> values;
    double left; // ends of the time axis
    double right;
};

class Chart
{
public:
    Chart() = default;
    Chart(const Chart&) = delete;
    Chart& operator=(const Chart&) = delete;
    virtual ~Chart() = default;

    virtual QWidget* widget() = 0;
    /// The widget in whose paint event the curves are painted.
    virtual QWidget* canvas() = 0;
    /// Sets data and axes and requests a paint event.
    virtual void update(const Frame& frame) = 0;
};

std::unique_ptr<Chart> makeDataPlot();      ///< this project's chart
std::unique_ptr<Chart> makePlainDataPlot(); ///< the same with curves drawn by Qwt
std::unique_ptr<Chart> makeEmptyDataPlot(); ///< the same without curves
std::unique_ptr<Chart> makeQCustomPlot();
std::unique_ptr<Chart> makeQtChart();

extern const std::array<const char*, curveCount> colours;

} // namespace benchchart
