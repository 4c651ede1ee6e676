#include "bench/bench_file_error_models.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace om::bench {

namespace {

/// Three rows of three numbers.
bool isMatrix(const JsonNode& node)
{
    const auto isRow = [](const JsonNode& e) { return e.kind == JsonNode::KIND::ARRAY; };
    return node.kind == JsonNode::KIND::ARRAY && node.elements.size() == 3 &&
           std::any_of(node.elements.begin(), node.elements.end(), isRow);
}

Matrix3 matrixOf(const JsonNode& node, const std::string& path, double most)
{
    Matrix3 value{};
    for (std::size_t i = 0; i < 3; ++i) {
        JsonObject::numbersOf(node.elements[i], path + "[" + std::to_string(i) + "]",
                              value[i].data(), 3, -most, most);
    }
    return value;
}

bool isNumber(const JsonNode& node)
{
    return node.kind == JsonNode::KIND::INTEGER || node.kind == JsonNode::KIND::NUMBER;
}

/// One number for all axes, or one for each.
/// @param three whether the sensor has three axes; otherwise only one number is allowed
void readAxes(JsonObject& object, const std::string& key, Vector& value, double least, double most,
              bool three = true)
{
    const JsonNode* const node = object.find(key);
    if (node == nullptr) {
        return;
    }
    if (isNumber(*node) || !three) {
        const double all = JsonObject::numberOf(*node, object.path(key), least, most);
        value = {all, all, all};
        return;
    }
    if (node->kind != JsonNode::KIND::ARRAY) {
        throw JsonMistake(node->line, object.path(key),
                          "must be a number or an array of 3 numbers");
    }
    std::array<double, 3> numbers{};
    JsonObject::numbersOf(*node, object.path(key), numbers.data(), numbers.size(), least, most);
    value = {numbers[0], numbers[1], numbers[2]};
}

/// One number for all pairs of axes, or rows whose diagonal is 0.
void readMisalignment(JsonObject& object, Matrix3& value)
{
    constexpr double most = 50.0;
    const JsonNode* const node = object.find("axesMisalignment");
    if (node == nullptr) {
        return;
    }
    const std::string path = object.path("axesMisalignment");
    if (isNumber(*node)) {
        const double all = JsonObject::numberOf(*node, path, -most, most);
        value = {{{0.0, all, all}, {all, 0.0, all}, {all, all, 0.0}}};
        return;
    }
    if (!isMatrix(*node)) {
        throw JsonMistake(node->line, path, "must be a number or 3 rows of 3 numbers");
    }
    value = matrixOf(*node, path, most);
    for (std::size_t i = 0; i < 3; ++i) {
        if (value[i][i] != 0.0) {
            const std::string place = "[" + std::to_string(i) + "]";
            throw JsonMistake(node->line, std::string(path).append(place).append(place),
                              "must be 0: an axis with itself is scaleFactor");
        }
    }
}

/// The differences between the error models of the sensors.
struct SensorKind
{
    const char* key;
    const char* noiseKey; ///< key of the white noise of one sample, which is not part of the model
    double most;          ///< maximum of the values in the sensor's unit
    double mostRange;     ///< maximum of the measurement range; 0: it can't be set
    bool inertial;        ///< has scale, misalignment and vibration
    bool threeAxes;
};

constexpr SensorKind accelerometerKind = {
    "accelerometer", "accelerationNoise", 100.0, 2000.0, true, true};
constexpr SensorKind gyroscopeKind = {"gyroscope", "angularVelocityNoise", 1000.0, 10000.0, true,
                                      true};
constexpr SensorKind magnetometerKind = {"magnetometer", "magneticNoise", 1000.0,
                                         2047.9375,      false,           true};
constexpr SensorKind barometerKind = {"barometer", "pressureNoise", 10000.0, 0.0, false, false};

void readVibration(JsonObject& sensor, ErrorModel& model, double most)
{
    if (const JsonNode* const node = sensor.find("vibration"); node != nullptr) {
        JsonObject object(*node, sensor.path("vibration"));
        object.require("frequency");
        object.require("amplitude");
        object.read("frequency", model.vibrationFrequency, 0.01, 10000.0);
        readAxes(object, "amplitude", model.vibrationAmplitude, -most, most);
        object.finish();
    }
}

void readSpikes(JsonObject& sensor, ErrorModel& model, double most)
{
    if (const JsonNode* const node = sensor.find("spikes"); node != nullptr) {
        JsonObject object(*node, sensor.path("spikes"));
        object.require("share");
        object.require("amplitude");
        object.read("share", model.spikeShare, 0.0, 100.0);
        object.read("amplitude", model.spikeAmplitude, 0.0, most);
        object.finish();
    }
}

/// @param noise white noise of one sample; a noise density replaces it
void readErrorModel(JsonObject& errors, const SensorKind& kind, ErrorModel& model, double& noise)
{
    const JsonNode* const node = errors.find(kind.key);
    if (node == nullptr) {
        return;
    }
    JsonObject object(*node, errors.path(kind.key));
    if (const JsonNode* const density = object.find("noiseDensity"); density != nullptr) {
        if (errors.find(kind.noiseKey) != nullptr) {
            throw JsonMistake(density->line, object.path("noiseDensity"),
                              "sets the same value as " + errors.path(kind.noiseKey) +
                                  ": leave one of them out");
        }
        noise = 0.0;
    }
    readAxes(object, "noiseDensity", model.noiseDensity, 0.0, kind.most, kind.threeAxes);
    readAxes(object, "biasInstability", model.biasInstability, 0.0, kind.most, kind.threeAxes);
    object.read("biasCorrelationTime", model.biasCorrelationTime, 0.1, 1e6);
    readAxes(object, "randomWalk", model.randomWalk, 0.0, kind.most, kind.threeAxes);
    readAxes(object, "turnOnSpread", model.turnOnSpread, 0.0, kind.most, kind.threeAxes);
    readAxes(object, "temperatureBias", model.temperatureBias, -kind.most, kind.most,
             kind.threeAxes);
    if (kind.threeAxes) { // the barometer has no scale
        readAxes(object, "temperatureScaleFactor", model.temperatureScaleFactor, -100.0, 100.0);
    }
    object.read("resolution", model.resolution, 0.0, kind.most);
    if (kind.mostRange > 0.0) {
        object.read("measurementRange", model.measurementRange, 1.0, kind.mostRange);
    }
    if (kind.inertial) {
        readAxes(object, "scaleFactor", model.scaleFactor, -10.0, 10.0);
        readMisalignment(object, model.axesMisalignment);
        readVibration(object, model, kind.most);
    }
    if (&kind == &gyroscopeKind) {
        readMatrix(object, "gSensitivity", model.gSensitivity, 100.0);
    }
    readSpikes(object, model, kind.most);
    object.finish();
}

} // namespace

void readVector(JsonObject& object, const std::string& key, Vector& value, double most)
{
    std::array<double, 3> numbers = {value.x, value.y, value.z};
    object.read(key, numbers.data(), numbers.size(), -most, most);
    value = {numbers[0], numbers[1], numbers[2]};
}

void readMatrix(JsonObject& object, const std::string& key, Matrix3& value, double most)
{
    const JsonNode* const node = object.find(key);
    if (node == nullptr) {
        return;
    }
    const std::string path = object.path(key);
    if (isMatrix(*node)) {
        value = matrixOf(*node, path, most);
        return;
    }
    std::array<double, 3> diagonal{};
    JsonObject::numbersOf(*node, path, diagonal.data(), 3, -most, most);
    for (std::size_t i = 0; i < 3; ++i) {
        value[i] = {};
        value[i][i] = diagonal[i];
    }
}

void readErrors(JsonObject& camera, SensorErrors& errors)
{
    const JsonNode* const node = camera.find("errors");
    if (node == nullptr) {
        return;
    }
    JsonObject object(*node, camera.path("errors"));
    object.read("accelerationNoise", errors.accelerationNoise, 0.0, 100.0);
    readVector(object, "accelerationBias", errors.accelerationBias, 100.0);
    object.read("angularVelocityNoise", errors.angularVelocityNoise, 0.0, 1000.0);
    readVector(object, "angularVelocityBias", errors.angularVelocityBias, 1000.0);
    object.read("magneticNoise", errors.magneticNoise, 0.0, 1000.0);
    object.read("pressureNoise", errors.pressureNoise, 0.0, 10000.0);
    object.read("pressureBias", errors.pressureBias, -10000.0, 10000.0);
    object.read("pressureDrift", errors.pressureDrift, 0.0, 10000.0);
    object.read("temperatureNoise", errors.temperatureNoise, 0.0, 100.0);
    readErrorModel(object, accelerometerKind, errors.accelerometer, errors.accelerationNoise);
    readErrorModel(object, gyroscopeKind, errors.gyroscope, errors.angularVelocityNoise);
    readErrorModel(object, magnetometerKind, errors.magnetometer, errors.magneticNoise);
    readErrorModel(object, barometerKind, errors.barometer, errors.pressureNoise);
    object.read("clockDrift", errors.clockDrift, -50000.0, 50000.0);
    object.read("droppedSamples", errors.droppedSamples, 0.0, 50.0);
    object.readInteger("droppedTogether", errors.droppedTogether, 1, 1000);
    object.finish();
}

} // namespace om::bench
