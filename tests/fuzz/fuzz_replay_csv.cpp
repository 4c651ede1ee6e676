// Recordings to replay: the valid rows of arbitrary text are played, one line reports the rest.

#include "fuzz/require.h"

#include "replay/replay.h"

#include <cmath>

using namespace om;
using namespace om::bench;
using fuzz::require;

namespace {

const char fileName[] = "fuzz.csv";

template <typename Values>
bool areNumbers(const Values& values)
{
    for (const auto& value : values) {
        if (!std::isfinite(value)) {
            return false;
        }
    }
    return true;
}

void checkRows(const SensorRecording& recording)
{
    require(recording.size() >= 2, "at least two rows");
    require(recording.time(0) == 0.0, "time begins with the first row");
    for (std::size_t i = 0; i < recording.size(); ++i) {
        const SensorRecording::Row row = recording.row(i);
        require(std::isfinite(row.time) && std::isfinite(row.pressure) &&
                    std::isfinite(row.relativeAltitude) && areNumbers(row.acceleration) &&
                    areNumbers(row.angularVelocity) && areNumbers(row.magneticField) &&
                    areNumbers(row.eulerAngles) && areNumbers(row.temperatures),
                "values are numbers");
        if (i > 0) {
            const double step = row.time - recording.time(i - 1);
            require(step > 0.0, "time goes up");
            require(step <= SensorRecording::mostGap + 1e-3, "gaps are closed");
        }
    }
}

/// Reads samples at some moments of the first rounds.
void play(const ReplaySource& source, const SensorRecording& recording, Nanoseconds start)
{
    const double length = recording.time(recording.size() - 1);
    for (const double share : {0.0, 0.3, 1.0, 1.01, 2.5, 40.0}) {
        const auto time = start + static_cast<Nanoseconds>(share * length * 1e9) + 1;
        for (const STREAM stream : {STREAM::IMU, STREAM::MAGNETOMETER, STREAM::BAROMETER}) {
            const auto number = source.newest(stream, time);
            require(source.has(stream) || !number, "no samples of a stream that is not there");
            if (!number) {
                continue;
            }
            require(source.timeOf(stream, *number) <= time, "the newest sample is not to come");
            require(source.timeOf(stream, *number + 1) > time, "and there is no newer one");
        }
        if (const auto number = source.newest(STREAM::IMU, time)) {
            SensorsData data;
            const ImuSample sample = source.imu(*number);
            require(std::isfinite(sample.pose.w), "a pose is made of numbers");
            data.barometer.isAvailable = recording.hasBarometer;
            source.complete(*number, data);
            require(std::isfinite(data.barometer.pressure), "a pressure is a number");
        }
        if (const auto number = source.newest(STREAM::MAGNETOMETER, time)) {
            require(std::isfinite(source.magnetometer(*number).body().x), "a field is a number");
        }
        source.temperatures(time);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::string report;
    const auto recording = SensorRecording::parse(text, fileName, report);
    if (!recording || !report.empty()) {
        fuzz::requireOneLine(report);
        require(report.rfind(fileName, 0) == 0, "the report names the file: " + report);
        require(report.size() < 1000, "the report is short: " + report);
    }
    if (recording) {
        checkRows(*recording);
        constexpr Nanoseconds start = 1000 * nsPerS;
        play(ReplaySource(recording, true, start), *recording, start);
        play(ReplaySource(recording, false, start), *recording, start);
    }
    return 0;
}
