/// @file
/// A recording as a folder of the EuRoC layout.
#pragma once

#include "exchange/job.h"

namespace exchange {

/// Writes mav0/ with imu0, mag0 and baro0, as far as the recording has these sensors, each with
/// data.csv and sensor.yaml. The recording must have accelerometer and gyroscope.
/// @return false with the error if it fails; the folder is then removed
bool writeEuroc(const Job& job, Counts& counts, analysis::ReadReport& report, std::string& error);

} // namespace exchange
