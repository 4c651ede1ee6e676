#include "control/new_camera.h"

#include "bench/bench.h"
#include "bench/loader.h"
#include "control/request_values.h"

namespace om::bench {

using nlohmann::json;

std::string withoutPlace(const std::string& error)
{
    const std::string place = "cameras[0]";
    const std::size_t at = error.find(place);
    return at == std::string::npos ? error : "camera" + error.substr(at + place.size());
}

BenchDescription describeCamera(const json& camera)
{
    BenchDescription description;
    std::string error;
    if (!parseBenchText(json{{"cameras", json::array({camera})}}.dump(), cameraSource, description,
                        error)) {
        throw Refusal(withoutPlace(error));
    }
    return description;
}

std::string duplicateSerialText(unsigned int serial)
{
    return "there is a camera with serial number " + std::to_string(serial) + " already";
}

void checkRoomFor(const CameraConfig& camera, Bench& bench)
{
    if (bench.serialNumbers().size() + bench.loader().camerasToCome() >= mostCameras) {
        throw Refusal("the bench is full: at most " + std::to_string(mostCameras) +
                      " cameras are possible");
    }
    if (bench.camera(camera.serialNumber) || bench.loader().isReading(camera.serialNumber)) {
        throw Refusal(duplicateSerialText(camera.serialNumber));
    }
    if (camera.id < 0) {
        return;
    }
    std::optional<unsigned int> other = bench.loader().cameraWithId(camera.id);
    for (const CameraStatus& there : bench.status()) {
        if (there.id == camera.id) {
            other = there.serialNumber;
        }
    }
    if (other) {
        throw Refusal("id " + std::to_string(camera.id) + " is already that of " +
                      std::to_string(*other) + "; choose another one or none");
    }
}

} // namespace om::bench
