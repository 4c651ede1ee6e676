#include "viewer/sensor_table.h"

#include <algorithm>

using W = MainWindow;

const std::array<MainWindow::SensorRow, 6> MainWindow::SensorRow::table{{
    {"Accelerometer",
     QT_TRANSLATE_NOOP("MainWindow", "Accelerometer @ "),
     QT_TRANSLATE_NOOP("MainWindow", "Accelerometer"),
     false,
     DataPlot::Accelerometer,
     {},
     {&W::accelRange},
     {},
     {{{&W::accX, DataPlot::AccX}, {&W::accY, DataPlot::AccY}, {&W::accZ, DataPlot::AccZ}}},
     {{{{QT_TRANSLATE_NOOP("MainWindow", "X %1 m/s²"), &W::accX},
        {QT_TRANSLATE_NOOP("MainWindow", "Y %1 m/s²"), &W::accY},
        {QT_TRANSLATE_NOOP("MainWindow", "Z %1 m/s²"), &W::accZ}}},
      5,
      3,
      &W::imuEffectiveRate,
      &W::imuRateHz}},
    {"Gyroscope",
     QT_TRANSLATE_NOOP("MainWindow", "Gyroscope @ "),
     QT_TRANSLATE_NOOP("MainWindow", "Gyroscope"),
     false,
     DataPlot::Gyroscope,
     {},
     {&W::gyroRange},
     {},
     {{{&W::gyroX, DataPlot::GyrX}, {&W::gyroY, DataPlot::GyrY}, {&W::gyroZ, DataPlot::GyrZ}}},
     {{{{QT_TRANSLATE_NOOP("MainWindow", "X %1 °/s"), &W::gyroX},
        {QT_TRANSLATE_NOOP("MainWindow", "Y %1 °/s"), &W::gyroY},
        {QT_TRANSLATE_NOOP("MainWindow", "Z %1 °/s"), &W::gyroZ}}},
      5,
      3,
      &W::imuEffectiveRate,
      &W::imuRateHz}},
    {"Magnetometer",
     QT_TRANSLATE_NOOP("MainWindow", "Magnetometer @ "),
     QT_TRANSLATE_NOOP("MainWindow", "Magnetometer [%1]"),
     true,
     DataPlot::Magnetometer,
     {},
     {&W::magRange},
     {&W::magNewTime, &W::magNewX, &W::magSamplesPerSec},
     {{{&W::magNewX, DataPlot::MagX},
       {&W::magNewY, DataPlot::MagY},
       {&W::magNewZ, DataPlot::MagZ}}},
     {{{{QT_TRANSLATE_NOOP("MainWindow", "X %1 µT"), &W::magX},
        {QT_TRANSLATE_NOOP("MainWindow", "Y %1 µT"), &W::magY},
        {QT_TRANSLATE_NOOP("MainWindow", "Z %1 µT"), &W::magZ}}},
      5,
      3,
      &W::magEffectiveRate,
      &W::magRateHz}},
    {"Orientation",
     QT_TRANSLATE_NOOP("MainWindow", "Orientation @ "),
     QT_TRANSLATE_NOOP("MainWindow", "Orientation"),
     false,
     DataPlot::Orientation,
     {},
     {&W::orientRange},
     {},
     {{{&W::orX, DataPlot::OrX}, {&W::orY, DataPlot::OrY}, {&W::orZ, DataPlot::OrZ}}},
     {{{{QT_TRANSLATE_NOOP("MainWindow", "X %1°"), &W::orX},
        {QT_TRANSLATE_NOOP("MainWindow", "Y %1°"), &W::orY},
        {QT_TRANSLATE_NOOP("MainWindow", "Z %1°"), &W::orZ}}},
      5,
      3,
      &W::imuEffectiveRate,
      &W::imuRateHz}},
    // The curve of the relative altitude shows the pressure, as in the title of the axis.
    {"Barometer",
     QT_TRANSLATE_NOOP("MainWindow", "Barometer @ "),
     QT_TRANSLATE_NOOP("MainWindow", "Barometer"),
     false,
     DataPlot::Barometer,
     {{&Style::singleAxisEditStyle, &Style::yAxisEditStyle, &Style::zAxisEditStyle}, 1},
     {&W::pressureMax, &W::pressureMin},
     {&W::baroNewTime, &W::baroNewPressure, &W::baroSamplesPerSec},
     {{{&W::baroNewPressure, DataPlot::RelAltitude}}},
     {{{{QT_TRANSLATE_NOOP("MainWindow", "Atmospheric Pressure %1 hPa"), &W::pressure}}},
      7,
      2,
      &W::baroEffectiveRate,
      &W::baroRateHz}},
    // The boxes are exchanged, as intended: location 2 is under the label "Right", location 3 under
    // "Left". Chart and CSV file are not exchanged.
    {"Camera Temperature",
     QT_TRANSLATE_NOOP("MainWindow", "Temperature @ "),
     QT_TRANSLATE_NOOP("MainWindow", "Temperature"),
     false,
     DataPlot::Temperature,
     {{&Style::yAxisEditStyle, &Style::zAxisEditStyle, &Style::zAxisEditStyle}, 2},
     {&W::temperatureMax, &W::temperatureMin},
     {&W::baroNewTime, &W::baroNewTime, &W::baroSamplesPerSec, &W::tempFallbackTime},
     {{{&W::baroNewTempLeft, DataPlot::TempLeft}, {&W::baroNewTempRight, DataPlot::TempRight}}},
     {{{{QT_TRANSLATE_NOOP("MainWindow", "Right %1°C"), &W::tempLeft},
        {QT_TRANSLATE_NOOP("MainWindow", "Left %1°C"), &W::tempRight}}},
      1,
      2,
      &W::baroEffectiveRate,
      &W::baroRateHz}},
}};

const MainWindow::SensorRow* MainWindow::SensorRow::find(const QString& sensor)
{
    const auto row = std::find_if(table.begin(), table.end(), [&](const SensorRow& each) {
        return sensor == QLatin1String(each.sensor);
    });
    return row == table.end() ? nullptr : &*row;
}

const MainWindow::SensorRow& MainWindow::SensorRow::shownFor(const QString& sensor)
{
    const SensorRow* const row = find(sensor);
    if (row == nullptr) {
        return table.front();
    }
    return *row;
}

chartfeed::AxisRange MainWindow::SensorRow::valueAxis(const MainWindow& window, double margin) const
{
    const float max = window.*limits.max;
    if (limits.min == nullptr) {
        return chartfeed::symmetricAxis(max, margin);
    }
    const float min = window.*limits.min;
    return {static_cast<double>(min), static_cast<double>(max)};
}
