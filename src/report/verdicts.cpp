#include "report/verdicts.h"

#include "report/number_text.h"
#include "report/verdicts_parts.h"

#include <algorithm>
#include <cctype>

namespace report {

std::size_t residualClass(double residualRms)
{
    std::size_t grade = 0;
    while (grade < residualLimits.size() && residualRms > residualLimits[grade]) {
        ++grade;
    }
    return grade;
}

const char* nameOf(STATE state)
{
    switch (state) {
    case STATE::PASSED:
        return "passed";
    case STATE::WARNED:
        return "warning";
    case STATE::FAILED:
        return "failed";
    case STATE::UNKNOWN:
        break;
    }
    return "not judged";
}

int rankOf(STATE state)
{
    switch (state) {
    case STATE::FAILED:
        return 0;
    case STATE::WARNED:
        return 1;
    case STATE::PASSED:
        return 2;
    case STATE::UNKNOWN:
        break;
    }
    return 3;
}

std::string reasonOf(const RecordingReport& report, const analysis::Coefficient& coefficient)
{
    return report.rest ? coefficient.reason : "not observable: " + report.restReason;
}

std::string sentence(const std::string& reason)
{
    std::string text = reason + ".";
    text[0] = static_cast<char>(std::toupper(text[0]));
    return text;
}

STATE within(double value, double good, double usual)
{
    return value <= good ? STATE::PASSED : value <= usual ? STATE::WARNED : STATE::FAILED;
}

void judge(RecordingReport& report)
{
    std::vector<Verdict>& verdicts = report.verdicts;
    verdicts.clear();
    if (report.decimated) {
        report.warning = "This file was decimated: its rows come at " +
                         number(report.timing.rateHz) + " Hz, the sensor's samples at " +
                         number(sensorRateOf(report)) + " Hz. Noise densities in it are up to " +
                         number(densityFactorOf(report), 3) + " times too high.";
    }
    judgeTiming(report, verdicts);
    judgeInertial(report, verdicts);
    judgeMagnetometer(report, verdicts);
    judgeTemperature(report, verdicts);
    judgeSixPositions(report, verdicts);
    // The worst are first, because a reader may stop after a few lines.
    std::stable_sort(verdicts.begin(), verdicts.end(), [&](const Verdict& a, const Verdict& b) {
        return rankOf(a.state) < rankOf(b.state);
    });
}

} // namespace report
