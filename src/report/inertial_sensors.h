/// @file
/// The names and units of accelerometer and gyroscope in a report. All texts are UTF-8.
#pragma once

#include "report/model.h"

#include <array>
#include <optional>

namespace report {

struct InertialSensor
{
    const char* id; ///< first part of the ids of its verdicts; also in those of its figures
    const char* name;
    const char* unit;     ///< of a sample
    const char* walkUnit; ///< of the random walk K
    std::optional<InertialReport> RecordingReport::*report;
};

constexpr std::array<InertialSensor, 2> inertialSensors{
    {{"accelerometer", "Accelerometer", "m/s²", "m/s³/√Hz", &RecordingReport::accelerometer},
     {"gyroscope", "Gyroscope", "°/s", "°/s²/√Hz", &RecordingReport::gyroscope}}};

} // namespace report
