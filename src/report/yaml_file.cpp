#include "report/yaml_file.h"

#include "report/number_text.h"
#include "report/verdicts.h"

#include <array>
#include <charconv>
#include <optional>

namespace report {

namespace {

using analysis::Coefficient;
using analysis::NoiseModel;

constexpr double radians = 3.14159265358979323846 / 180.0;

/// Whole numbers have a decimal point too, so that a reader does not take them for integers.
std::string yamlNumber(double value)
{
    std::array<char, 64> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), value,
                                      std::chars_format::scientific, 6);
    return {text.data(), result.ptr};
}

/// Texts from outside are printable already; this keeps the comment on one line.
std::string comment(const std::string& text)
{
    std::string line = "# ";
    for (const char c : text) {
        line += static_cast<unsigned char>(c) < 0x20 || c == 0x7f ? ' ' : c;
    }
    return line + "\n";
}

std::string entry(const RecordingReport& report, const std::optional<InertialReport>& sensor,
                  const char* name, const char* unit, double factor,
                  Coefficient NoiseModel::*member)
{
    if (!sensor) {
        return comment(std::string(name) + ": the recording has no such sensor");
    }
    const AxisReport* highest = nullptr;
    std::string axes;
    for (std::size_t i = 0; i < 3; ++i) {
        const AxisReport& axis = sensor->axes[i];
        const Coefficient& coefficient = axis.noise.model.*member;
        axes += i > 0 ? ", " : "";
        axes += coefficient.value ? number(factor * *coefficient.value, 3) : "not observable";
        if (coefficient.value &&
            (highest == nullptr || *coefficient.value > *(highest->noise.model.*member).value)) {
            highest = &axis;
        }
    }
    if (highest == nullptr) {
        return comment(std::string(name) + ": " +
                       reasonOf(report, sensor->axes[0].noise.model.*member));
    }
    return std::string(name) + ": " + yamlNumber(factor * *(highest->noise.model.*member).value) +
           "  # " + unit + "; x, y, z: " + axes + "\n";
}

} // namespace

std::string yamlText(const RecordingReport& report)
{
    std::string text = comment("IMU noise of " + report.path);
    if (!report.warning.empty()) {
        text += comment("WARNING: " + report.warning);
    }
    text += comment("Densities are those of the Allan deviation, the highest of the three axes. "
                    "They hold for a camera at rest.");
    text += entry(report, report.accelerometer, "accelerometer_noise_density", "m/s^2/sqrt(Hz)",
                  1.0, &NoiseModel::noiseDensity);
    text += entry(report, report.accelerometer, "accelerometer_random_walk", "m/s^3/sqrt(Hz)", 1.0,
                  &NoiseModel::randomWalk);
    text += entry(report, report.gyroscope, "gyroscope_noise_density", "rad/s/sqrt(Hz)", radians,
                  &NoiseModel::noiseDensity);
    text += entry(report, report.gyroscope, "gyroscope_random_walk", "rad/s^2/sqrt(Hz)", radians,
                  &NoiseModel::randomWalk);
    if (report.hasImu && report.timing.rateHz > 0.0) {
        text += "update_rate: " + yamlNumber(report.timing.rateHz) + "  # Hz, of the rows\n";
    } else {
        text += comment("update_rate: the recording has no times of the IMU");
    }
    return text;
}

} // namespace report
