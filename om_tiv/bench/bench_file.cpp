#include "bench/bench_file.h"

#include "base/files.h"
#include "base/json_object.h"
#include "base/one_line.h"
#include "bench/bench_file_camera.h"
#include "replay/sensor_recording.h"
#include "world/ranges.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <system_error>
#include <utility>

namespace om::bench {

namespace {

constexpr std::size_t mostBytes = 4 * 1024 * 1024;

struct MotionName
{
    const char* name;
    MOTION motion;
};

constexpr std::array<MotionName, 5> motionNames = {{{"at rest", MOTION::AT_REST},
                                                    {"hand-held", MOTION::HAND_HELD},
                                                    {"tumble", MOTION::TUMBLE},
                                                    {"fall", MOTION::FALL},
                                                    {"posed", MOTION::POSED}}};

constexpr std::array<MODEL, 6> models = {MODEL::TIV,   MODEL::TIV_N, MODEL::TIV_P,
                                         MODEL::TIV_Q, MODEL::TIV_R, MODEL::TIV_S};

/// Refuses a serial number or an id that a former camera has.
void checkUnique(const CameraConfig& config, const JsonNode& node, const std::string& path,
                 const std::vector<CameraConfig>& former)
{
    const auto refuse = [&](const char* key, std::uint64_t value, std::size_t other) {
        JsonObject camera(node, path);
        throw JsonMistake(camera.require(key).line, path + "." + key,
                          std::to_string(value) + " is already that of cameras[" +
                              std::to_string(other) + "]");
    };
    for (std::size_t i = 0; i < former.size(); ++i) {
        if (former[i].serialNumber == config.serialNumber) {
            refuse("serialNumber", config.serialNumber, i);
        }
        if (config.id >= 0 && former[i].id == config.id) {
            refuse("id", static_cast<std::uint64_t>(config.id), i);
        }
    }
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
    if (cameras.elements.size() > mostCameras) {
        throw JsonMistake(cameras.line, "cameras",
                          "has " + std::to_string(cameras.elements.size()) + " cameras; at most " +
                              std::to_string(mostCameras) + " are possible");
    }
    for (std::size_t i = 0; i < cameras.elements.size(); ++i) {
        const std::string path = "cameras[" + std::to_string(i) + "]";
        const CameraConfig config = readCamera(cameras.elements[i], path, folder);
        checkUnique(config, cameras.elements[i], path, bench.cameras);
        if (!config.replay.empty()) {
            JsonObject camera(cameras.elements[i], path);
            bench.replays.push_back({i, camera.require("replay").line, camera.path("replay")});
        }
        bench.cameras.push_back(config);
    }
    object.finish();
    return bench;
}

/// FILE:LINE: REASON on one line, whatever keys and values contain.
std::string errorLine(const std::string& name, int line, const std::string& reason)
{
    return oneLine(name + (line > 0 ? ":" + std::to_string(line) : "") + ": " + reason);
}

} // namespace

std::string motionName(MOTION motion)
{
    for (const MotionName& entry : motionNames) {
        if (entry.motion == motion) {
            return entry.name;
        }
    }
    return {};
}

bool motionFromName(const std::string& name, MOTION& motion)
{
    for (const MotionName& entry : motionNames) {
        if (name == entry.name) {
            motion = entry.motion;
            return true;
        }
    }
    return false;
}

bool modelFromName(const std::string& name, MODEL& model)
{
    for (const MODEL known : models) {
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
        // Relative paths in a bench file refer to its folder.
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
    const auto text = readFile(path, mostBytes + 1, reason);
    if (!text) {
        error = errorLine(path, 0, "cannot be read: " + reason);
        return false;
    }
    if (text->size() > mostBytes) {
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
