#include "control/camera_json.h"

#include "bench/bench_file.h"
#include "bench/virtual_camera.h"
#include "world/degrees.h"

#include <chrono>
#include <optional>
#include <variant>

namespace om::bench {

using nlohmann::json;

namespace {

json asJson(ERROR_CODE code)
{
    return static_cast<int>(code);
}

json asJson(std::chrono::milliseconds time)
{
    return time.count();
}

template <typename Value>
json asJson(Value value)
{
    return value;
}

json triple(const Vector& v, double scale = 1.0)
{
    return {scale * v.x, scale * v.y, scale * v.z};
}

/// The values that the program has last received, by the keys of the truth; null before it has read
/// anything.
json readingAsJson(const std::optional<Reading>& reading)
{
    if (!reading) {
        return nullptr;
    }
    return {{"field", reading->field ? triple(*reading->field) : json()},
            {"specificForce", triple(reading->acceleration)},
            {"angularVelocity", triple(reading->angularVelocity)}};
}

} // namespace

json allFaultsAsJson(const Faults& faults)
{
    json object = json::object();
    for (const FaultKey& fault : faultKeys) {
        std::visit([&](auto place) { object[fault.key] = asJson(faults.*place); }, fault.place);
    }
    return object;
}

json changedFaultsAsJson(const Faults& faults)
{
    const Faults none;
    json object = json::object();
    for (const FaultKey& fault : faultKeys) {
        std::visit(
            [&](auto place) {
                if (faults.*place != none.*place) {
                    object[fault.key] = asJson(faults.*place);
                }
            },
            fault.place);
    }
    return object;
}

json cameraAsJson(const Bench& bench, const CameraStatus& status, const VirtualCamera& device)
{
    const ImuCounters counters = bench.imuCounters(status.serialNumber);
    const Truth truth = bench.truth(status.serialNumber);
    return {{"serialNumber", status.serialNumber},
            {"model", toString(status.model).c_str()},
            {"id", status.id},
            {"state", !status.plugged          ? "unplugged"
                      : !status.inUse          ? "plugged"
                      : counters.delivered > 0 ? "streaming"
                                               : "open"},
            {"motion", motionName(status.motion)},
            {"firmware", device.firmwareVersion()},
            {"temperature", device.airTemperature()},
            {"samplesProduced", counters.produced},
            {"samplesRead", counters.delivered},
            {"faults", changedFaultsAsJson(bench.faults(status.serialNumber))},
            {"reading", readingAsJson(device.lastReading())},
            {"truth",
             {{"heading", truth.heading * degreesPerRadian},
              {"pose", {truth.pose.x, truth.pose.y, truth.pose.z, truth.pose.w}},
              {"field", triple(truth.field)},
              {"specificForce", triple(truth.specificForce)},
              {"angularVelocity", triple(truth.angularVelocity, degreesPerRadian)},
              {"movingState", truth.movingState}}}};
}

json samplesAsJson(const Bench& bench)
{
    json cameras = json::array();
    for (const CameraStatus& status : bench.status()) {
        if (status.inUse) {
            const ImuCounters counters = bench.imuCounters(status.serialNumber);
            cameras.push_back({{"serialNumber", status.serialNumber},
                               {"samplesProduced", counters.produced},
                               {"samplesRead", counters.delivered}});
        }
    }
    return cameras;
}

} // namespace om::bench
