/// @file
/// The plots of a report. They need a QApplication, but no display.
#pragma once

#include "report/model.h"

#include <QString>

#include <cstddef>
#include <memory>
#include <vector>

class QwtPlot;

namespace report {

struct Figure
{
    QString id;      ///< the same plot has the same id in every recording; letters, digits and "-"
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
    std::vector<Figure> figures; ///< only those for which the recording has data
};

/// The plots of a recording, in the order in which a report shows them: topics "time", "interval",
/// "allan", "spectrum", "gravity", "temperature", "magnetometer", "six-positions". All topics are
/// present, some possibly without figures.
std::vector<Topic> topicsOf(const RecordingReport& report);

/// The ids of the topic's figures in all recordings, each once, in the order of their first
/// appearance.
std::vector<QString> figureIdsOf(const std::vector<std::vector<Topic>>& recordings,
                                 std::size_t topic);

/// @return null if the topic has no such figure
Figure* findFigure(Topic& topic, const QString& id);

/// Sets the same axes for plots with the same id, so that recordings can be compared by eye; not
/// for the histogram of the intervals, whose bars would be too thin.
void alignAxes(std::vector<std::vector<Topic>>& recordings);

} // namespace report
