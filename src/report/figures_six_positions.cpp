#include "report/figures_parts.h"

#include <utility>

namespace report {

namespace {

constexpr QColor restColour(205, 232, 222);

} // namespace

Topic sixPositionsTopic(const RecordingReport& report)
{
    Topic topic{QStringLiteral("six-positions"), QStringLiteral("Six positions"), {}};
    if (!report.options.sixPositions || report.accelerationLength.seconds.empty()) {
        return topic;
    }
    auto plot = timePlot(report, report.accelerationLength, QStringLiteral("length in m/s²"), 0.0,
                         standardHeight);
    if (report.sixPositions && report.read.rows > 1) {
        const TimeUnit unit = timeUnit(report.timing.durationSeconds);
        // The rows are even enough for the place of a shade.
        const double perRow =
            report.timing.durationSeconds / static_cast<double>(report.read.rows - 1);
        for (const analysis::Rest& rest : report.sixPositions->rests) {
            addZone(*plot, static_cast<double>(rest.first) * perRow / unit.seconds,
                    static_cast<double>(rest.end) * perRow / unit.seconds, restColour);
        }
    }
    addFigure(topic, QStringLiteral("six-positions"),
              QStringLiteral("Length of the acceleration. The rests that were found are shaded."),
              std::move(plot));
    return topic;
}

} // namespace report
