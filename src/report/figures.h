/// @file
/// The plots of a report. They need a QApplication; no display.
#pragma once

#include "report/model.h"

#include <QString>

#include <memory>
#include <vector>

class QwtPlot;

namespace report {

struct Figure
{
    QString id;      ///< the same for the same plot of another recording; letters, digits and "-"
    QString caption; ///< plain text
    std::unique_ptr<QwtPlot> plot;

    Figure();
    Figure(Figure&& other) noexcept;
    Figure& operator=(Figure&& other) noexcept;
    ~Figure();
};

/// Plots of one subject.
struct Topic
{
    QString id;
    QString title;
    std::vector<Figure> figures; ///< without those that the recording has no data for
};

/// The plots of a recording, in the order in which a report shows them: topics "time", "interval",
/// "allan", "spectrum", "gravity", "temperature", "magnetometer", "six-positions". Each is there,
/// be it without figures.
std::vector<Topic> topicsOf(const RecordingReport& report);

/// Gives plots of the same id the same axes, so that recordings can be compared by eye.
void alignAxes(std::vector<std::vector<Topic>>& recordings);

} // namespace report
