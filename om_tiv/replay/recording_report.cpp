#include "replay/recording_report.h"

#include "base/one_line.h"

#include <utility>

namespace om::bench {

RecordingReport::RecordingReport(std::string name) : m_name(std::move(name)) {}

void RecordingReport::leftOut(std::size_t line, const std::string& why)
{
    if (m_leftOut++ == 0) {
        m_first = "line " + std::to_string(line) + " " + why;
    }
}

void RecordingReport::jump(std::size_t line)
{
    if (m_jumps++ == 0) {
        m_firstJump = line;
    }
}

void RecordingReport::lacks(const std::string& what)
{
    m_lacking += (m_lacking.empty() ? "" : ", ") + what;
}

std::string RecordingReport::text() const
{
    std::string line;
    const auto add = [&](const std::string& part) { line += (line.empty() ? "" : "; ") + part; };
    if (m_leftOut > 0) {
        add(std::to_string(m_leftOut) + (m_leftOut == 1 ? " row" : " rows") +
            " left out, the first: " + m_first);
    }
    if (m_jumps > 0) {
        add(std::to_string(m_jumps) + (m_jumps == 1 ? " jump" : " jumps") +
            " of the time closed, the first at line " + std::to_string(m_firstJump));
    }
    if (!m_lacking.empty()) {
        add("not recorded, so not available: " + m_lacking);
    }
    return line.empty() ? line : oneLine(m_name + ": " + line);
}

std::string RecordingReport::failure(const std::string& why) const
{
    const std::string rest = text();
    return oneLine(m_name + ": " + why) +
           (rest.empty() ? "" : " (" + rest.substr(m_name.size() + 2) + ")");
}

} // namespace om::bench
