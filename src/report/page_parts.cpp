#include "report/page_parts.h"

#include "report/page.h"
#include "report/verdicts.h"

#include <array>

namespace report {

QString escaped(const std::string& utf8)
{
    return text(utf8).toHtmlEscaped();
}

const char* classOf(STATE state)
{
    switch (state) {
    case STATE::PASSED:
        return "passed";
    case STATE::WARNED:
        return "warned";
    case STATE::FAILED:
        return "failed";
    case STATE::UNKNOWN:
        break;
    }
    return "unknown";
}

QString stateText(STATE state)
{
    const std::array<const char*, 4> signs{"\u2713", "!", "\u2717", "\u2013"};
    return QString::fromUtf8(signs.at(static_cast<std::size_t>(state))) + " " + nameOf(state);
}

QString headsOf(const std::vector<RecordingReport>& reports)
{
    QString html;
    for (std::size_t i = 0; i < reports.size(); ++i) {
        html += "<th>" + QString::number(i + 1) + ": " +
                nameOfRecording(reports[i]).toHtmlEscaped() + "</th>";
    }
    return html;
}

} // namespace report
