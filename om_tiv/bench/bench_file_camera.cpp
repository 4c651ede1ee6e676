#include "bench/bench_file_camera.h"

#include "bench/bench_file.h"
#include "bench/bench_file_error_models.h"
#include "world/degrees.h"
#include "world/faults.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <variant>

namespace om::bench {

namespace {

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
    pose = fromHeading(toRadians(heading), toRadians(pitch), toRadians(roll));
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

/// Reads a number that is a count or a code.
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

} // namespace

void readNumber(JsonObject& object, const std::string& key, double& value,
                const range::Range& range)
{
    object.read(key, value, range.least, range.most);
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
    readMatrix(object, "softIron", config.softIron, 10.0);
    object.read("altitude", config.altitude, -500.0, 9000.0);
    object.read("startTemperatures", config.startTemperatures.data(),
                config.startTemperatures.size(), -40.0, 125.0);
    readReplay(object, folder, config);
    readErrors(object, config.errors);
    readFaults(object, config.faults);
    object.finish();
    return config;
}

} // namespace om::bench
