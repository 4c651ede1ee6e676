#include "report/json_file.h"

#include "report/verdicts.h"

#include <cmath>
#include <utility>

namespace report {

namespace {

using analysis::AllanPoint;
using analysis::Coefficient;
using json = nlohmann::ordered_json;

constexpr std::array<const char*, 4> temperatureNames{"left_c", "right_c", "imu_c", "barometer_c"};

/// A JSON object that also has the reasons of its missing values.
class Object
{
public:
    void set(const char* name, json value) { m_object[name] = std::move(value); }
    void setMissing(const char* name, const std::string& reason)
    {
        m_object[name] = nullptr;
        m_reasons[name] = reason;
    }
    json take()
    {
        if (!m_reasons.empty()) {
            m_object["reason"] = std::move(m_reasons);
        }
        return std::move(m_object);
    }

private:
    json m_object = json::object();
    json m_reasons = json::object();
};

json arrayOf(const Eigen::Vector3d& vector)
{
    return {vector[0], vector[1], vector[2]};
}

json rowsOf(const Eigen::Matrix3d& matrix)
{
    json rows = json::array();
    for (Eigen::Index i = 0; i < 3; ++i) {
        rows.push_back(arrayOf(matrix.row(i).transpose()));
    }
    return rows;
}

json fileOf(const RecordingReport& report)
{
    const analysis::ReadReport& read = report.read;
    return {{"path", report.path},
            {"model", report.model},
            {"serial_number", report.serial},
            {"size_bytes", read.bytes},
            {"rows", read.rows},
            {"torn_rows", read.tornRows},
            {"invalid_rows", read.invalidRows},
            {"repeated_rows", read.repeatedRows},
            {"backward_rows", read.backwardRows},
            {"backward_magnetometer_samples", read.magnetometer.backward},
            {"backward_barometer_samples", read.barometer.backward}};
}

json timingOf(const RecordingReport& report)
{
    const analysis::Timing& timing = report.timing;
    json gaps = json::array();
    for (const analysis::Gap& gap : timing.gaps) {
        gaps.push_back({{"row", gap.row},
                        {"start_ns", gap.start},
                        {"end_ns", gap.end},
                        {"missing_samples", gap.missing}});
    }
    return {{"of", report.hasImu ? "imu" : "magnetometer"},
            {"duration_s", timing.durationSeconds},
            {"rate_hz", timing.rateHz},
            {"sensor_rate_hz", timing.sensorRateHz},
            {"samples_per_row", timing.samplesPerRow},
            {"jitter_us", 1e6 * timing.jitterSeconds},
            {"missing_samples", timing.missingSamples},
            {"gaps", report.gapCount},
            {"longest_gap_s", report.longestGapSeconds},
            {"gap_list", gaps},
            {"decimated", report.decimated}};
}

void setCoefficient(Object& axis, const char* name, const RecordingReport& report,
                    const Coefficient& coefficient, const char* unit)
{
    if (!coefficient.value) {
        axis.setMissing(name, reasonOf(report, coefficient));
        return;
    }
    axis.set(name, {{"value", *coefficient.value},
                    {"low", coefficient.low},
                    {"high", coefficient.high},
                    {"unit", unit}});
}

struct Units
{
    const char* sample;
    const char* density;
    const char* walk;
    const char* spectrum;
    const char* slope;
};

constexpr Units accelerometerUnits{"m/s²", "m/s²/√Hz", "m/s³/√Hz", "(m/s²)²/Hz", "m/s²/°C"};
constexpr Units gyroscopeUnits{"deg/s", "deg/s/√Hz", "deg/s²/√Hz", "(deg/s)²/Hz", "deg/s/°C"};

json allanOf(const std::vector<AllanPoint>& points, const char* unit)
{
    json allan = {{"unit", unit},
                  {"tau_s", json::array()},
                  {"deviation", json::array()},
                  {"low", json::array()},
                  {"high", json::array()}};
    for (const AllanPoint& point : points) {
        allan["tau_s"].push_back(point.tau);
        allan["deviation"].push_back(point.deviation);
        allan["low"].push_back(point.low);
        allan["high"].push_back(point.high);
    }
    return allan;
}

std::string whyNoSlope(const RecordingReport& report, const AxisReport& axis)
{
    if (!report.rest) {
        return report.restReason;
    }
    if (!report.temperatures) {
        return "the recording has no temperatures";
    }
    if (axis.temperature.size() < leastSlopePoints) {
        return "the rest is too short for a slope over the temperature";
    }
    return "the temperature of the IMU did not change by a degree while the camera was at rest";
}

json axisOf(const RecordingReport& report, const AxisReport& axis, const Units& units)
{
    Object object;
    const analysis::NoiseModel& model = axis.noise.model;
    setCoefficient(object, "noise_density", report, model.noiseDensity, units.density);
    setCoefficient(object, "bias_instability", report, model.biasInstability, units.sample);
    setCoefficient(object, "random_walk", report, model.randomWalk, units.walk);
    object.set("unit", units.sample);
    object.set("mean", axis.mean);
    object.set("standard_deviation", axis.deviation);
    object.set("minimum", axis.minimum);
    object.set("maximum", axis.maximum);
    object.set("longest_equal_s", axis.longestEqualSeconds);
    object.set("saturated_samples", axis.saturated);
    object.set("spikes", axis.spikes);
    if (axis.temperatureSlope) {
        object.set("temperature_slope", {{"value", *axis.temperatureSlope}, {"unit", units.slope}});
    } else {
        object.setMissing("temperature_slope", whyNoSlope(report, axis));
    }
    const bool cleaned = !axis.allanAsRecorded.empty();
    object.set("allan", allanOf(cleaned ? axis.allanAsRecorded : axis.noise.allan, units.sample));
    if (cleaned) {
        object.set("allan_of_noise", allanOf(axis.noise.allan, units.sample));
    }
    json lines = json::array();
    for (const analysis::SpectralLine& line : axis.lines) {
        lines.push_back({{"frequency_hz", line.frequencyHz},
                         {"low_hz", line.low},
                         {"high_hz", line.high},
                         {"amplitude", line.amplitude},
                         {"unit", units.sample}});
    }
    object.set("spectrum", {{"unit", units.spectrum},
                            {"resolution_hz", axis.spectrum.resolutionHz},
                            {"averages", axis.spectrum.averages},
                            {"density", axis.spectrum.density},
                            {"lines", lines}});
    return object.take();
}

json inertialOf(const RecordingReport& report, const InertialReport& sensor, const Units& units)
{
    json object = json::object();
    for (std::size_t i = 0; i < 3; ++i) {
        object[axisNames[i]] = axisOf(report, sensor.axes[i], units);
    }
    return object;
}

json fitOf(const analysis::EllipsoidFit& fit)
{
    return {{"offset_ut", arrayOf(fit.offset)},
            {"radii_ut", arrayOf(fit.radii)},
            {"shape_ut", rowsOf(fit.shape)},
            {"radius_ut", fit.radius},
            {"residual_rms_ut", fit.residualRms}};
}

json magnetometerOf(const MagnetometerPart& part)
{
    Object object;
    if (part.fit) {
        const analysis::EllipsoidFit& fit = part.fit->aligned;
        object.set("offset_ut", arrayOf(fit.offset));
        object.set("radii_ut", arrayOf(fit.radii));
        object.set("residual_rms_ut", fit.residualRms);
        object.set("radius_ut", fit.radius);
        object.set("residual_class", residualNames[residualClass(fit.residualRms)]);
        object.set("residual_rms_before_ut", part.fit->lengthRmsBefore);
        const analysis::SphereQuality& quality = part.fit->quality;
        // The first two keys are those of version 0.1.0: empty areas, and spread of the strength.
        object.set("gaps_percent", quality.gaps);
        object.set("variance_percent", quality.variance);
        object.set("wobble_percent", quality.wobble);
        object.set("fit_error_percent", quality.fitError);
        if (part.fit->full) {
            object.set("with_cross_terms", fitOf(*part.fit->full));
        } else {
            object.setMissing("with_cross_terms", "the readings do not hold nine parameters");
        }
    } else {
        for (const char* name :
             {"offset_ut", "radii_ut", "residual_rms_ut", "radius_ut", "residual_class",
              "residual_rms_before_ut", "gaps_percent", "variance_percent", "wobble_percent",
              "fit_error_percent", "with_cross_terms"}) {
            object.setMissing(name, part.reason);
        }
    }
    object.set("samples", part.samples);
    object.set("rate_hz", part.rateHz);
    return object.take();
}

json sixPositionsOf(const RecordingReport& report)
{
    const analysis::SixPositions& six = *report.sixPositions;
    json rests = json::array();
    for (const analysis::Rest& rest : six.rests) {
        rests.push_back({{"first_row", rest.first},
                         {"end_row", rest.end},
                         {"up", std::string(rest.side % 2 == 0 ? "+" : "-") +
                                    axisNames[static_cast<std::size_t>(rest.side / 2)]},
                         {"mean_mps2", arrayOf(rest.mean)}});
    }
    return {{"gravity_mps2", report.options.gravity},
            {"bias_mps2", arrayOf(six.bias)},
            {"bias_error_mps2", arrayOf(six.biasError)},
            {"scale", arrayOf(six.scale)},
            {"scale_error", arrayOf(six.scaleError)},
            {"misalignment_rad", rowsOf(six.misalignment)},
            {"misalignment_error_rad", six.misalignmentError},
            {"residual_rms_mps2", six.residualRms},
            {"rests", rests}};
}

json verdictsOf(const RecordingReport& report)
{
    json verdicts = json::array();
    for (const Verdict& verdict : report.verdicts) {
        verdicts.push_back({{"id", verdict.id},
                            {"what", verdict.what},
                            {"state", nameOf(verdict.state)},
                            {"value", verdict.value},
                            {"limit", verdict.limit},
                            {"why", verdict.why}});
    }
    return verdicts;
}

json temperaturesOf(const TemperatureReport& report)
{
    json temperatures = json::object();
    for (std::size_t i = 0; i < temperatureNames.size(); ++i) {
        temperatures[temperatureNames[i]] = {{"minimum", report.minimum[i]},
                                             {"maximum", report.maximum[i]}};
    }
    return temperatures;
}

} // namespace

nlohmann::ordered_json jsonOf(const RecordingReport& report)
{
    Object object;
    object.set("file", fileOf(report));
    object.set("warning", report.warning.empty() ? json(nullptr) : json(report.warning));
    object.set("overall", nameOf(report.overall()));
    object.set("verdicts", verdictsOf(report));
    object.set("timing", timingOf(report));
    if (report.rest) {
        object.set("rest", {{"start_s", report.rest->startSeconds},
                            {"duration_s", report.rest->seconds},
                            {"whole_recording", report.rest->whole}});
    } else {
        object.setMissing("rest", report.restReason);
    }
    if (report.accelerometer) {
        object.set("accelerometer", inertialOf(report, *report.accelerometer, accelerometerUnits));
    } else {
        object.setMissing("accelerometer", "the recording has no accelerometer");
    }
    if (report.gyroscope) {
        object.set("gyroscope", inertialOf(report, *report.gyroscope, gyroscopeUnits));
    } else {
        object.setMissing("gyroscope", "the recording has no gyroscope");
    }
    if (report.gravity) {
        object.set("gravity", {{"mean_mps2", report.gravity->mean},
                               {"standard_deviation_mps2", report.gravity->deviation}});
    } else {
        object.setMissing("gravity", report.accelerometer ? report.restReason
                                                          : "the recording has no accelerometer");
    }
    if (report.magnetometer) {
        object.set("magnetometer", magnetometerOf(*report.magnetometer));
    } else {
        object.setMissing("magnetometer", "the recording has no magnetometer");
    }
    if (report.temperatures) {
        object.set("temperatures", temperaturesOf(*report.temperatures));
    } else {
        object.setMissing("temperatures", "the recording has no temperatures");
    }
    if (report.options.sixPositions) {
        if (report.sixPositions) {
            object.set("six_positions", sixPositionsOf(report));
        } else {
            object.setMissing("six_positions", report.sixPositionsReason);
        }
    }
    return object.take();
}

std::string jsonText(const std::vector<RecordingReport>& reports)
{
    json object;
    if (reports.size() == 1) {
        object = jsonOf(reports.front());
    } else {
        object["recordings"] = json::array();
        for (const RecordingReport& report : reports) {
            object["recordings"].push_back(jsonOf(report));
        }
    }
    return object.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

} // namespace report
