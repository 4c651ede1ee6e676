/// @file
/// Bench files: the cameras of a bench as JSON. docs/bench-file.md tells the format.
#pragma once

#include "bench/config.h"

#include <cstddef>
#include <string>
#include <vector>

namespace om::bench {

constexpr std::size_t MOST_CAMERAS = 64; ///< on one bench

struct BenchDescription
{
    Field field;
    std::vector<CameraConfig> cameras;
};

/// @param error one line, FILE:LINE: KEY: REASON, without line break; what does not apply is left
///              out
/// @return false with error set and the description untouched
bool readBenchFile(const std::string& path, BenchDescription& description, std::string& error);

/// The same of a text; name stands for the file in errors.
bool readBenchText(const std::string& text, const std::string& name, BenchDescription& description,
                   std::string& error);

/// The bench that is there when nothing else is asked for.
BenchDescription defaultBench();

/// "tumble" and the like, as they stand in bench files; empty for an unknown one.
std::string motionName(MOTION motion);
/// False for an unknown name.
bool motionFromName(const std::string& name, MOTION& motion);
bool modelFromName(const std::string& name, MODEL& model); ///< "TIV_Q"

} // namespace om::bench
