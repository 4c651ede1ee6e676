/// @file
/// A recording as an MCAP file.
#pragma once

#include "exchange/job.h"

namespace exchange {

/// Writes /camera/imu, /camera/magnetic_field, /camera/pressure and /camera/temperature/... as far
/// as the recording has them.
/// @return false with the error, and then without a file
bool writeMcap(const Job& job, Counts& counts, analysis::ReadReport& report, std::string& error);

} // namespace exchange
