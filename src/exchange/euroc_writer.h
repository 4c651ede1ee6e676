/// @file
/// A recording as a folder of the EuRoC layout.
#pragma once

#include "exchange/job.h"

namespace exchange {

/// Writes mav0/ with imu0, mag0 and baro0 as far as the recording has them, each with data.csv and
/// sensor.yaml. Accelerometer and gyroscope are needed.
/// @return false with the error, and then without the folder
bool writeEuroc(const Job& job, Counts& counts, analysis::ReadReport& report, std::string& error);

} // namespace exchange
