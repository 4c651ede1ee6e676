// Recordings to judge: any text gives rows of finite numbers in their order, or one line that says
// why not.

#include "fuzz/require.h"

#include "analysis/recording.h"

#include <cmath>

using namespace analysis;
using fuzz::require;

namespace {

const char fileName[] = "fuzz.csv";

void checkVectors(const Vectors& vectors, std::size_t rows)
{
    for (const std::vector<double>& axis : vectors.axes) {
        require(axis.empty() || axis.size() == rows, "an axis has a value for each time");
        require(axis.size() == vectors.size(), "axes are of one length");
        for (const double value : axis) {
            require(std::abs(value) <= 1e9, "values are numbers");
        }
    }
}

void checkRows(const Recording& recording)
{
    require(recording.report.rows >= 2, "at least two rows");
    require(recording.numbers.size() == recording.times.size(), "each row has a number");
    for (std::size_t i = 1; i < recording.times.size(); ++i) {
        require(recording.times[i] > recording.times[i - 1], "time goes up");
    }
    checkVectors(recording.acceleration, recording.times.size());
    checkVectors(recording.angularVelocity, recording.times.size());
    checkVectors(recording.magneticField.values, recording.magneticField.times.size());
    for (const std::vector<double>& temperatures : recording.temperatures) {
        require(temperatures.size() == recording.temperatureTimes.size(),
                "each temperature has a time");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const char* const text = reinterpret_cast<const char*>(data);
    std::string error;
    const auto recording = parseRecording(text, text + size, fileName, error);
    if (!recording) {
        fuzz::requireOneLine(error);
        require(error.rfind(fileName, 0) == 0, "the message names the file: " + error);
        return 0;
    }
    checkRows(*recording);
    return 0;
}
