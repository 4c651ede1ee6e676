/// @file
/// The command generate of om-bench.
#pragma once

#include "tools/command_line.h"
#include "tools/generate.h"

#include <string>

namespace om::bench {

/// Reads the bench file and generates the recording of the camera that the command names. On a
/// terminal the share that is done is shown on standard error. SIGINT, SIGTERM and SIGHUP end the
/// work; it then fails as if the file could not be written. Once in a process.
/// @param problem one line
/// @return false with problem set
bool generateFromFile(const Command::Generate& command, Generated& generated, std::string& problem);

} // namespace om::bench
