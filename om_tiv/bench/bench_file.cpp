#include "bench/bench_file.h"

#include "base/files.h"
#include "base/json_lines.h"
#include "base/one_line.h"
#include "replay/sensor_recording.h"
#include "world/faults.h"
#include "world/ranges.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>
#include <variant>

namespace om::bench {

namespace {

constexpr std::size_t MOST_BYTES = 4 * 1024 * 1024;

struct MotionName
{
    const char* name;
    MOTION motion;
};

constexpr std::array<MotionName, 5> MOTION_NAMES = {{{"at rest", MOTION::AT_REST},
                                                     {"hand-held", MOTION::HAND_HELD},
                                                     {"tumble", MOTION::TUMBLE},
                                                     {"fall", MOTION::FALL},
                                                     {"posed", MOTION::POSED}}};

constexpr std::array<MODEL, 6> MODELS = {MODEL::TIV,   MODEL::TIV_N, MODEL::TIV_P,
                                         MODEL::TIV_Q, MODEL::TIV_R, MODEL::TIV_S};

double radians(double degrees)
{
    return degrees * PI / 180.0;
}

void readNumber(JsonObject& object, const std::string& key, double& value,
                const range::Range& range)
{
    object.read(key, value, range.least, range.most);
}

void readVector(JsonObject& object, const std::string& key, Vector& value, double most)
{
    std::array<double, 3> numbers = {value.x, value.y, value.z};
    object.read(key, numbers.data(), numbers.size(), -most, most);
    value = {numbers[0], numbers[1], numbers[2]};
}

/// Three numbers are the diagonal, three rows of three numbers the whole matrix.
void readSoftIron(JsonObject& object, Matrix3& value)
{
    const JsonNode* const node = object.find("softIron");
    if (node == nullptr) {
        return;
    }
    const std::string path = object.path("softIron");
    const auto isRow = [](const JsonNode& e) { return e.kind == JsonNode::KIND::ARRAY; };
    if (node->kind != JsonNode::KIND::ARRAY || node->elements.size() != 3 ||
        !std::any_of(node->elements.begin(), node->elements.end(), isRow)) {
        std::array<double, 3> diagonal{};
        JsonObject::numbersOf(*node, path, diagonal.data(), 3, -10.0, 10.0);
        for (std::size_t i = 0; i < 3; ++i) {
            value[i] = {};
            value[i][i] = diagonal[i];
        }
        return;
    }
    for (std::size_t i = 0; i < 3; ++i) {
        JsonObject::numbersOf(node->elements[i], path + "[" + std::to_string(i) + "]",
                              value[i].data(), 3, -10.0, 10.0);
    }
}

/// "1.3" to 0x0103.
void readRelease(JsonObject& object, std::uint16_t& value)
{
    const JsonNode* const node = object.find("usbRelease");
    std::string text;
    object.read("usbRelease", text);
    if (node == nullptr) {
        return;
    }
    unsigned int major = 0;
    unsigned int minor = 0;
    int end = 0;
    if (text.empty() || text.find_first_not_of("0123456789.") != std::string::npos ||
        text.size() > 7 || std::sscanf(text.c_str(), "%u.%u%n", &major, &minor, &end) != 2 ||
        static_cast<std::size_t>(end) != text.size() || major > 255 || minor > 255) {
        throw JsonMistake(node->line, object.path("usbRelease"),
                          "must be two numbers from 0 to 255 with a dot, as \"1.3\"");
    }
    value = static_cast<std::uint16_t>(major << 8 | minor);
}

void readPose(JsonObject& camera, Quaternion& pose)
{
    const JsonNode* const node = camera.find("pose");
    if (node == nullptr) {
        return;
    }
    JsonObject object(*node, camera.path("pose"));
    double heading = 0.0;
    double pitch = 0.0;
    double roll = 0.0;
    readNumber(object, "heading", heading, range::heading);
    readNumber(object, "pitch", pitch, range::pitch);
    readNumber(object, "roll", roll, range::roll);
    object.finish();
    pose = fromHeading(radians(heading), radians(pitch), radians(roll));
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
    object.finish();
}

void readFault(JsonObject& object, const FaultKey& fault, bool& value)
{
    object.read(fault.key, value);
}

void readFault(JsonObject& object, const FaultKey& fault, double& value)
{
    object.read(fault.key, value, fault.least, fault.most);
}

void readFault(JsonObject& object, const FaultKey& fault, std::chrono::milliseconds& value)
{
    std::int64_t count = value.count();
    object.readInteger(fault.key, count, fault.least, fault.most);
    value = std::chrono::milliseconds(count);
}

/// Of a count or a code.
template <typename Integer>
void readFault(JsonObject& object, const FaultKey& fault, Integer& value)
{
    object.readInteger(fault.key, value, fault.least, fault.most);
}

void readFaults(JsonObject& camera, Faults& faults)
{
    const JsonNode* const node = camera.find("faults");
    if (node == nullptr) {
        return;
    }
    JsonObject object(*node, camera.path("faults"));
    for (const FaultKey& fault : faultKeys) {
        std::visit([&](auto place) { readFault(object, fault, faults.*place); }, fault.place);
    }
    object.finish();
}

void readReplay(JsonObject& object, const std::string& folder, CameraConfig& config)
{
    object.read("replay", config.replay);
    object.read("replayLoop", config.replayLoop);
    if (!config.replay.empty() && config.replay.front() != '/') {
        config.replay.insert(0, folder);
    }
}

CameraConfig readCamera(const JsonNode& node, const std::string& path, const std::string& folder)
{
    JsonObject object(node, path);
    CameraConfig config;

    const JsonNode& model = object.require("model");
    std::string name;
    object.read("model", name);
    if (!modelFromName(name, config.model)) {
        throw JsonMistake(model.line, object.path("model"),
                          "must be one of \"TIV\", \"TIV_N\", \"TIV_P\", \"TIV_Q\", \"TIV_R\", "
                          "\"TIV_S\"");
    }
    config.serialNumber = static_cast<unsigned int>(JsonObject::integerOf(
        object.require("serialNumber"), object.path("serialNumber"), 0, UINT32_MAX));

    object.readInteger("id", config.id, 0, 255);
    object.readInteger("firmware", config.firmwareVersion,
                       static_cast<std::int64_t>(range::firmware.least),
                       static_cast<std::int64_t>(range::firmware.most));
    readRelease(object, config.usbRelease);
    object.readInteger("usbProductId", config.usbProductId, 0, 65535);
    object.read("plugged", config.plugged);
    if (const JsonNode* const motion = object.find("motion"); motion != nullptr) {
        std::string motionText;
        object.read("motion", motionText);
        if (!motionFromName(motionText, config.motion)) {
            throw JsonMistake(motion->line, object.path("motion"),
                              "must be one of \"at rest\", \"hand-held\", \"tumble\", \"fall\", "
                              "\"posed\"");
        }
    }
    readPose(object, config.pose);
    object.readInteger("seed", config.seed, 0, INT64_MAX);
    readVector(object, "hardIron", config.hardIron, 3000.0);
    readSoftIron(object, config.softIron);
    object.read("altitude", config.altitude, -500.0, 9000.0);
    object.read("startTemperatures", config.startTemperatures.data(),
                config.startTemperatures.size(), -40.0, 125.0);
    readReplay(object, folder, config);
    readErrors(object, config.errors);
    readFaults(object, config.faults);
    object.finish();
    return config;
}

BenchDescription readBench(const JsonNode& root, const std::string& folder)
{
    JsonObject object(root, "");
    BenchDescription bench;
    if (const JsonNode* const node = object.find("field"); node != nullptr) {
        JsonObject field(*node, "field");
        readNumber(field, "strength", bench.field.strength, range::fieldStrength);
        readNumber(field, "inclination", bench.field.inclination, range::fieldInclination);
        readNumber(field, "declination", bench.field.declination, range::fieldDeclination);
        field.finish();
    }
    const JsonNode& cameras = object.require("cameras");
    if (cameras.kind != JsonNode::KIND::ARRAY) {
        throw JsonMistake(cameras.line, "cameras", "must be an array of cameras");
    }
    if (cameras.elements.size() > MOST_CAMERAS) {
        throw JsonMistake(cameras.line, "cameras",
                          "holds " + std::to_string(cameras.elements.size()) +
                              " cameras, at most " + std::to_string(MOST_CAMERAS) +
                              " are possible");
    }
    for (std::size_t i = 0; i < cameras.elements.size(); ++i) {
        const std::string path = "cameras[" + std::to_string(i) + "]";
        const CameraConfig config = readCamera(cameras.elements[i], path, folder);
        for (std::size_t former = 0; former < bench.cameras.size(); ++former) {
            if (bench.cameras[former].serialNumber == config.serialNumber) {
                JsonObject camera(cameras.elements[i], path);
                throw JsonMistake(camera.require("serialNumber").line, path + ".serialNumber",
                                  std::to_string(config.serialNumber) +
                                      " is already that of cameras[" + std::to_string(former) +
                                      "]");
            }
        }
        if (!config.replay.empty()) {
            JsonObject camera(cameras.elements[i], path);
            bench.replays.push_back({i, camera.require("replay").line, camera.path("replay")});
        }
        bench.cameras.push_back(config);
    }
    object.finish();
    return bench;
}

/// FILE:LINE: REASON on one line, whatever keys and values hold.
std::string errorLine(const std::string& name, int line, const std::string& reason)
{
    return oneLine(name + (line > 0 ? ":" + std::to_string(line) : "") + ": " + reason);
}

} // namespace

std::string motionName(MOTION motion)
{
    for (const MotionName& entry : MOTION_NAMES) {
        if (entry.motion == motion) {
            return entry.name;
        }
    }
    return {};
}

bool motionFromName(const std::string& name, MOTION& motion)
{
    for (const MotionName& entry : MOTION_NAMES) {
        if (name == entry.name) {
            motion = entry.motion;
            return true;
        }
    }
    return false;
}

bool modelFromName(const std::string& name, MODEL& model)
{
    for (const MODEL known : MODELS) {
        if (name == toString(known).c_str()) {
            model = known;
            return true;
        }
    }
    return false;
}

bool parseBenchText(const std::string& text, const std::string& name, BenchDescription& description,
                    std::string& error)
{
    try {
        // Files that it names are looked for beside it.
        const std::size_t slash = name.rfind('/');
        const std::string folder = slash == std::string::npos ? "" : name.substr(0, slash + 1);
        description = readBench(parseJson(text), folder);
        return true;
    } catch (const JsonMistake& mistake) {
        error = errorLine(name, mistake.line(), mistake.what());
        return false;
    }
}

bool parseBenchFile(const std::string& path, BenchDescription& description, std::string& error)
{
    std::string reason;
    const auto text = readFile(path, MOST_BYTES + 1, reason);
    if (!text) {
        error = errorLine(path, 0, "can't be read: " + reason);
        return false;
    }
    if (text->size() > MOST_BYTES) {
        error = errorLine(path, 0, "larger than a bench file may be (4 MiB)");
        return false;
    }
    return parseBenchText(*text, path, description, error);
}

bool readRecordings(BenchDescription& description, const std::string& name, std::string& error,
                    ReadingProgress* progress)
{
    if (progress != nullptr) {
        for (const BenchDescription::Replay& replay : description.replays) {
            std::error_code none;
            const auto bytes =
                std::filesystem::file_size(description.cameras[replay.camera].replay, none);
            progress->bytes.fetch_add(none ? 0 : bytes);
        }
    }
    for (const BenchDescription::Replay& replay : description.replays) {
        CameraConfig& camera = description.cameras[replay.camera];
        std::string report;
        camera.recording = SensorRecording::read(camera.replay, report, progress);
        if (!camera.recording) {
            error =
                report.empty() ? report : errorLine(name, replay.line, replay.key + ": " + report);
            return false;
        }
    }
    return true;
}

bool readBenchFile(const std::string& path, BenchDescription& description, std::string& error)
{
    BenchDescription read;
    if (!parseBenchFile(path, read, error) || !readRecordings(read, path, error)) {
        return false;
    }
    description = std::move(read);
    return true;
}

bool readBenchText(const std::string& text, const std::string& name, BenchDescription& description,
                   std::string& error)
{
    BenchDescription read;
    if (!parseBenchText(text, name, read, error) || !readRecordings(read, name, error)) {
        return false;
    }
    description = std::move(read);
    return true;
}

BenchDescription defaultBench()
{
    BenchDescription bench;
    CameraConfig config;
    config.model = MODEL::TIV_Q;
    config.serialNumber = 31415926;
    bench.cameras.push_back(config);
    config.model = MODEL::TIV_P;
    config.serialNumber = 27182818;
    config.hardIron = {-12.0, 31.5, -7.0};
    config.softIron = {{{0.95, 0.0, 0.0}, {0.0, 1.04, 0.0}, {0.0, 0.0, 0.90}}};
    bench.cameras.push_back(config);
    config.model = MODEL::TIV_N;
    config.serialNumber = 14142135;
    bench.cameras.push_back(config);
    return bench;
}

} // namespace om::bench
