// Bench files: the result of arbitrary text is a valid bench, or only one line with the reason.

#include "fuzz/require.h"

#include "library/the_bench.h"
#include "bench/bench_file.h"
#include "bench/virtual_camera.h"

#include <cmath>

using namespace om::bench;
using fuzz::require;

namespace {

const char fileName[] = "/no-such-folder/fuzz.json";

/// All values of a description are in the documented ranges, and the bench works with them.
void use(const BenchDescription& description)
{
    require(description.cameras.size() <= 64, "at most 64 cameras");
    require(description.field.strength >= 0.0 && description.field.strength <= 1000.0,
            "the field is in its range");
    Bench& bench = theBench();
    bench.reset();
    bench.clock().setManual(1000 * nsPerS);
    bench.setField(description.field);
    for (const CameraConfig& config : description.cameras) {
        require(bench.addCamera(config), "each serial number once");
    }
    bench.clock().advance(std::chrono::milliseconds(7));
    for (const CameraStatus& status : bench.status()) {
        const Truth truth = bench.truth(status.serialNumber);
        require(std::isfinite(truth.heading) && std::isfinite(truth.field.x) &&
                    std::isfinite(truth.specificForce.y) && std::isfinite(truth.angularVelocity.z),
                "true values are numbers");
    }
    bench.reset();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    BenchDescription description;
    description.field.strength = 12.5;
    std::string error;
    if (readBenchText(text, fileName, description, error)) {
        require(error.empty(), "no error of a sound file: " + error);
        use(description);
    } else {
        fuzz::requireOneLine(error);
        require(error.rfind(fileName, 0) == 0, "the error names the file: " + error);
        require(description.cameras.empty() && description.field.strength == 12.5,
                "a mistake leaves the description as it was");
    }
    return 0;
}
