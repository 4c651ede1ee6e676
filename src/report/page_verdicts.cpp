#include "report/page.h"
#include "report/page_parts.h"
#include "report/verdicts.h"

#include <algorithm>
#include <vector>

namespace report {

namespace {

QString stateCell(STATE state)
{
    return QStringLiteral("<td class=\"state %1\">%2</td>").arg(classOf(state), stateText(state));
}

QString cell(const char* label, const QString& escapedText, const char* kind = "")
{
    return QStringLiteral("<td class=\"%1\" data-label=\"%2\">%3</td>")
        .arg(kind, label, escapedText);
}

QString verdictsOfOne(const RecordingReport& report)
{
    QString html =
        "<table class=\"stack\" border=\"1\" cellspacing=\"0\" cellpadding=\"4\"><thead><tr>"
        "<th>Verdict</th><th>What</th><th>Value</th><th>Limit</th><th>Why</th></tr></"
        "thead><tbody>\n";
    for (const Verdict& verdict : report.verdicts) {
        html += "<tr>" + stateCell(verdict.state) + cell("What", escaped(verdict.what), "what") +
                cell("Value", escaped(verdict.value)) + cell("Limit", escaped(verdict.limit)) +
                cell("Why", escaped(verdict.why)) + "</tr>\n";
    }
    return html + "</tbody></table>\n";
}

/// One row for each verdict that any recording has.
QString verdictsOfSeveral(const std::vector<RecordingReport>& reports)
{
    std::vector<const Verdict*> rows;
    const auto find = [](const std::vector<Verdict>& verdicts, const std::string& id) {
        for (const Verdict& verdict : verdicts) {
            if (verdict.id == id) {
                return &verdict;
            }
        }
        return static_cast<const Verdict*>(nullptr);
    };
    for (const RecordingReport& report : reports) {
        for (const Verdict& verdict : report.verdicts) {
            bool known = false;
            for (const Verdict* const row : rows) {
                known = known || row->id == verdict.id;
            }
            if (!known) {
                rows.push_back(&verdict);
            }
        }
    }
    // The row with the worst verdict of any recording is first.
    const auto rank = [&](const std::string& id) {
        int worst = rankOf(STATE::UNKNOWN);
        for (const RecordingReport& report : reports) {
            if (const Verdict* const verdict = find(report.verdicts, id)) {
                worst = std::min(worst, rankOf(verdict->state));
            }
        }
        return worst;
    };
    std::stable_sort(rows.begin(), rows.end(),
                     [&](const Verdict* a, const Verdict* b) { return rank(a->id) < rank(b->id); });
    QString html = "<div class=\"wide\"><table border=\"1\" cellspacing=\"0\" "
                   "cellpadding=\"4\"><thead><tr><th>What</th>" +
                   headsOf(reports) + "<th>Limit</th></tr></thead><tbody>\n";
    for (const Verdict* const row : rows) {
        html += "<tr><td>" + escaped(row->what) + "</td>";
        for (const RecordingReport& report : reports) {
            if (const Verdict* const verdict = find(report.verdicts, row->id)) {
                html += QStringLiteral("<td><span class=\"state %1\">%2</span><br>%3</td>")
                            .arg(classOf(verdict->state), stateText(verdict->state),
                                 escaped(verdict->value));
            } else {
                html += "<td>-</td>";
            }
        }
        html += "<td>" + escaped(row->limit) + "</td></tr>\n";
    }
    return html + "</tbody></table></div>\n";
}

} // namespace

QString warningsHtml(const std::vector<RecordingReport>& reports)
{
    QString html;
    for (const RecordingReport& report : reports) {
        if (!report.warning.empty()) {
            const QString name =
                reports.size() > 1 ? nameOfRecording(report).toHtmlEscaped() + ": " : QString();
            html += "<p class=\"warning\"><strong>Warning.</strong> " + name +
                    escaped(report.warning) + "</p>\n";
        }
    }
    return html;
}

QString verdictsHtml(const std::vector<RecordingReport>& reports)
{
    return reports.size() == 1 ? verdictsOfOne(reports.front()) : verdictsOfSeveral(reports);
}

} // namespace report
