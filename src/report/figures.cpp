#include "report/figures.h"

#include "report/figures_parts.h"

#include <algorithm>
#include <map>

namespace report {

Figure::Figure() = default;
Figure::Figure(Figure&& other) noexcept = default;
Figure& Figure::operator=(Figure&& other) noexcept = default;
Figure::~Figure() = default;

std::vector<Topic> topicsOf(const RecordingReport& report)
{
    std::vector<Topic> topics;
    topics.push_back(timeTopic(report));
    topics.push_back(intervalTopic(report));
    topics.push_back(allanTopic(report));
    topics.push_back(spectrumTopic(report));
    topics.push_back(gravityTopic(report));
    topics.push_back(temperatureTopic(report));
    topics.push_back(magnetometerTopic(report));
    topics.push_back(sixPositionsTopic(report));
    for (Topic& topic : topics) {
        for (Figure& figure : topic.figures) {
            figure.plot->updateAxes();
        }
    }
    return topics;
}

std::vector<QString> figureIdsOf(const std::vector<std::vector<Topic>>& recordings,
                                 std::size_t topic)
{
    std::vector<QString> ids;
    for (const std::vector<Topic>& topics : recordings) {
        for (const Figure& figure : topics[topic].figures) {
            if (std::find(ids.begin(), ids.end(), figure.id) == ids.end()) {
                ids.push_back(figure.id);
            }
        }
    }
    return ids;
}

Figure* findFigure(Topic& topic, const QString& id)
{
    const auto found = std::find_if(topic.figures.begin(), topic.figures.end(),
                                    [&id](const Figure& figure) { return figure.id == id; });
    return found == topic.figures.end() ? nullptr : &*found;
}

void alignAxes(std::vector<std::vector<Topic>>& recordings)
{
    struct Axes
    {
        QwtInterval x;
        QwtInterval y;
    };
    const auto each = [&](const auto& visit) {
        for (std::vector<Topic>& topics : recordings) {
            for (Topic& topic : topics) {
                for (Figure& figure : topic.figures) {
                    visit(figure);
                }
            }
        }
    };
    std::map<QString, Axes> axes;
    each([&](Figure& figure) {
        Axes& all = axes[figure.id];
        all.x |= figure.plot->axisInterval(QwtPlot::xBottom);
        all.y |= figure.plot->axisInterval(QwtPlot::yLeft);
    });
    each([&](Figure& figure) {
        if (figure.id == QLatin1String("interval-histogram")) {
            return; // with a common axis the bars of different rates would be too thin
        }
        const Axes& all = axes[figure.id];
        figure.plot->setAxisScale(QwtPlot::xBottom, all.x.minValue(), all.x.maxValue());
        figure.plot->setAxisScale(QwtPlot::yLeft, all.y.minValue(), all.y.maxValue());
        figure.plot->updateAxes();
    });
}

} // namespace report
