/// @file
/// Bench files: the cameras of a bench as JSON. docs/bench-file.md tells the format.
#pragma once

#include "world/config.h"

#include <cstddef>
#include <string>
#include <vector>

namespace om::bench {

struct ReadingProgress;

constexpr std::size_t MOST_CAMERAS = 64; ///< on one bench

struct BenchDescription
{
    Field field;
    std::vector<CameraConfig> cameras;

    /// A recording that a camera plays, and where the bench file names it.
    struct Replay
    {
        std::size_t camera = 0; ///< place in the list
        int line = 0;
        std::string key;
    };
    std::vector<Replay> replays;
};

/// Reads a bench file but for the recordings that it names: this is quick.
/// @param error one line, FILE:LINE: KEY: REASON, without line break; what does not apply is left
///              out
/// @return false with error set and the description untouched
bool parseBenchFile(const std::string& path, BenchDescription& description, std::string& error);

/// The same of a text; name stands for the file in errors.
bool parseBenchText(const std::string& text, const std::string& name, BenchDescription& description,
                    std::string& error);

/// Reads the recordings that a description names. One that can't be played at all is a mistake of
/// the bench file.
/// @param name     stands for the bench file in errors
/// @param progress where to report to, and what ends it; null for nobody
/// @return false with error as above, or empty when cancelled
bool readRecordings(BenchDescription& description, const std::string& name, std::string& error,
                    ReadingProgress* progress = nullptr);

/// Both, one after the other.
bool readBenchFile(const std::string& path, BenchDescription& description, std::string& error);
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
