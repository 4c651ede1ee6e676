#include "report/figure_rows.h"

namespace report {

namespace {

void addPairs(const std::vector<Figure*>& figures, std::vector<FigureRow>& rows)
{
    for (std::size_t i = 0; i < figures.size(); i += 2) {
        rows.push_back({figures[i], i + 1 < figures.size() ? figures[i + 1] : nullptr});
    }
}

} // namespace

std::vector<FigureRow> figureRows(std::vector<std::vector<Topic>>& recordings, std::size_t topic)
{
    std::vector<FigureRow> rows;
    if (recordings.size() == 1) {
        std::vector<Figure*> figures;
        for (Figure& figure : recordings.front()[topic].figures) {
            figures.push_back(&figure);
        }
        addPairs(figures, rows);
        return rows;
    }
    for (const QString& id : figureIdsOf(recordings, topic)) {
        std::vector<Figure*> same;
        same.reserve(recordings.size());
        for (std::vector<Topic>& topics : recordings) {
            same.push_back(findFigure(topics[topic], id));
        }
        addPairs(same, rows);
    }
    return rows;
}

} // namespace report
