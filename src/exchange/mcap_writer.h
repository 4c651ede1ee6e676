/// @file
/// A recording as an MCAP file.
#pragma once

#include "exchange/job.h"

namespace exchange {

/// Writes the topics /camera/imu, /camera/magnetic_field, /camera/pressure and
/// /camera/temperature/..., as far as the recording has these sensors.
/// @return false with the error if it fails; the file is then removed
bool writeMcap(const Job& job, Counts& counts, analysis::ReadReport& report, std::string& error);

} // namespace exchange
