#include "report/verdicts_parts.h"

#include "report/number_text.h"

#include <algorithm>
#include <cmath>

namespace report {

namespace {

constexpr double mostCoverageGaps = 20.0; // percent

} // namespace

void judgeMagnetometer(const RecordingReport& report, std::vector<Verdict>& verdicts)
{
    if (!report.magnetometer) {
        return;
    }
    Verdict residual{"magnetometer.residual",
                     "Magnetometer: residual of the fit",
                     STATE::UNKNOWN,
                     "-",
                     plainNumber(residualLimits[1]) + " µT; " + plainNumber(residualLimits[2]) +
                         " µT at most (ours; the steps are " + plainNumber(residualLimits[0]) +
                         ", " + plainNumber(residualLimits[1]) + ", " +
                         plainNumber(residualLimits[2]) + " and " + plainNumber(residualLimits[3]) +
                         " µT)",
                     ""};
    Verdict coverage{"magnetometer.coverage",
                     "Magnetometer: coverage of the sphere",
                     STATE::UNKNOWN,
                     "-",
                     "at most " + plainNumber(mostCoverageGaps) + " of 100 areas empty (ours)",
                     "Turn the camera through all orientations for a reliable fit."};
    const MagnetometerPart& part = *report.magnetometer;
    if (part.fit) {
        const double rms = part.fit->aligned.residualRms;
        const double gaps = part.fit->quality.gaps;
        const std::size_t grade = residualClass(rms);
        const double inDegrees = std::asin(std::min(1.0, rms / part.fit->aligned.radius)) * 57.3;
        residual.value = number(rms, 3) + " µT: " + residualNames[grade];
        residual.state = within(rms, residualLimits[1], residualLimits[2]);
        residual.why = "For offset and one radius per axis, as a camera stores them; it changes "
                       "the direction of the field by about " +
                       number(inDegrees, 2) + "°.";
        coverage.value = number(gaps, 3) + " areas empty";
        // Missing coverage is not a fault of the sensor: it never fails.
        coverage.state = gaps <= mostCoverageGaps ? STATE::PASSED : STATE::WARNED;
    } else {
        residual.why = sentence(part.reason);
        coverage.why = residual.why;
    }
    verdicts.push_back(residual);
    verdicts.push_back(coverage);
}

} // namespace report
