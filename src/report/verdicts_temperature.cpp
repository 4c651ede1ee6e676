#include "report/verdicts_parts.h"

#include "report/number_text.h"

namespace report {

namespace {

constexpr double coldest = -40.0; // degrees Celsius
constexpr double hottest = 85.0;
constexpr double mostTemperatureChange = 5.0;

} // namespace

void judgeTemperature(const RecordingReport& report, std::vector<Verdict>& verdicts)
{
    if (!report.temperatures) {
        return;
    }
    const double low = report.temperatures->minimum[analysis::imuTemperature];
    const double high = report.temperatures->maximum[analysis::imuTemperature];
    Verdict verdict{
        "temperature",
        "Temperature of the IMU",
        STATE::PASSED,
        number(low, 3) + " to " + number(high, 3) + " °C",
        plainNumber(coldest) + " to " + plainNumber(hottest) +
            " °C (the industrial range); a change of " + plainNumber(mostTemperatureChange) +
            " °C at most (ours)",
        "The biases change with the temperature. The linear part of their change is left out of "
        "the noise."};
    if (low < coldest || high > hottest) {
        verdict.state = STATE::FAILED;
    } else if (high - low > mostTemperatureChange) {
        verdict.state = STATE::WARNED;
        verdict.why += " Let the camera warm up first.";
    }
    verdicts.push_back(verdict);
}

} // namespace report
