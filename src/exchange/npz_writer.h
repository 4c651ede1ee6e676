/// @file
/// A recording as arrays for NumPy.
#pragma once

#include "exchange/job.h"

namespace exchange {

/// Reads the recording twice: the first time it counts.
/// @return false with the error, and then without a file
bool writeNpz(const Job& job, Counts& counts, analysis::ReadReport& report, std::string& error);

} // namespace exchange
