/// @file
/// A recording as arrays for NumPy.
#pragma once

#include "exchange/job.h"

namespace exchange {

/// Reads the recording twice: first to count the samples, then to write them.
/// @return false with the error if it fails; the file is then removed
bool writeNpz(const Job& job, Counts& counts, analysis::ReadReport& report, std::string& error);

} // namespace exchange
