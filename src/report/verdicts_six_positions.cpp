#include "report/verdicts_parts.h"

#include "report/number_text.h"

namespace report {

void judgeSixPositions(const RecordingReport& report, std::vector<Verdict>& verdicts)
{
    constexpr double goodBias = 0.2;
    constexpr double mostBias = 0.5;
    constexpr double goodScale = 0.01;
    constexpr double mostScale = 0.03;
    if (!report.options.sixPositions) {
        return;
    }
    Verdict bias{"six_positions.bias",
                 "Six positions: bias",
                 STATE::UNKNOWN,
                 "-",
                 plainNumber(goodBias) + " m/s²; " + plainNumber(mostBias) + " m/s² at most (ours)",
                 ""};
    Verdict scale{"six_positions.scale",
                  "Six positions: scale",
                  STATE::UNKNOWN,
                  "-",
                  "1 ± " + plainNumber(goodScale) + "; ± " + plainNumber(mostScale) +
                      " at most (ours)",
                  ""};
    if (report.sixPositions) {
        const analysis::SixPositions& six = *report.sixPositions;
        bias.value = number(six.bias[0], 3) + " / " + number(six.bias[1], 3) + " / " +
                     number(six.bias[2], 3) + " m/s²";
        bias.state = within(six.bias.cwiseAbs().maxCoeff(), goodBias, mostBias);
        bias.why = "From " + number(std::uint64_t{six.rests.size()}) + " rests on the six sides.";
        scale.value = number(six.scale[0], 5) + " / " + number(six.scale[1], 5) + " / " +
                      number(six.scale[2], 5);
        scale.state = within((six.scale.array() - 1.0).abs().maxCoeff(), goodScale, mostScale);
        scale.why = bias.why;
    } else {
        bias.why = sentence(report.sixPositionsReason);
        scale.why = bias.why;
    }
    verdicts.push_back(bias);
    verdicts.push_back(scale);
}

} // namespace report
