#include "report/figure_rows.h"

#include <algorithm>

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
    std::vector<QString> ids;
    for (const std::vector<Topic>& topics : recordings) {
        for (const Figure& figure : topics[topic].figures) {
            if (std::find(ids.begin(), ids.end(), figure.id) == ids.end()) {
                ids.push_back(figure.id);
            }
        }
    }
    for (const QString& id : ids) {
        std::vector<Figure*> same;
        for (std::vector<Topic>& topics : recordings) {
            std::vector<Figure>& figures = topics[topic].figures;
            const auto found =
                std::find_if(figures.begin(), figures.end(),
                             [&id](const Figure& figure) { return figure.id == id; });
            same.push_back(found == figures.end() ? nullptr : &*found);
        }
        addPairs(same, rows);
    }
    return rows;
}

} // namespace report
