/// @file
/// Bench files: the cameras of a bench as JSON. docs/bench-file.md describes the format.
#pragma once

#include "world/config.h"

#include <cstddef>
#include <string>
#include <vector>

namespace om::bench {

struct ReadingProgress;

constexpr std::size_t mostCameras = 64; ///< on one bench

struct BenchDescription
{
    Field field;
    std::vector<CameraConfig> cameras;

    /// A recording that a camera plays, and its position in the bench file.
    struct Replay
    {
        std::size_t camera = 0; ///< position in the list
        int line = 0;
        std::string key;
    };
    std::vector<Replay> replays;
};

/// Reads a bench file without the recordings that it names. This is fast.
/// @param error one line, FILE:LINE: KEY: REASON, without line break; parts that do not apply are
///              left out
/// @return false on failure, with error set and without a change of the description
bool parseBenchFile(const std::string& path, BenchDescription& description, std::string& error);

/// The same for a text; name replaces the file's name in errors.
bool parseBenchText(const std::string& text, const std::string& name, BenchDescription& description,
                    std::string& error);

/// Reads the recordings that a description names. A recording that can't be played is a mistake in
/// the bench file.
/// @param name name of the bench file in errors
/// @param progress reports the progress and can cancel the reading; null for neither
/// @return false with error as above, or with an empty error if cancelled
bool readRecordings(BenchDescription& description, const std::string& name, std::string& error,
                    ReadingProgress* progress = nullptr);

/// Reads the bench file and then its recordings.
bool readBenchFile(const std::string& path, BenchDescription& description, std::string& error);
bool readBenchText(const std::string& text, const std::string& name, BenchDescription& description,
                   std::string& error);

/// The built-in bench, used without a bench file.
BenchDescription defaultBench();

/// The name of a motion in bench files, such as "tumble"; empty for an unknown one.
std::string motionName(MOTION motion);
/// False for an unknown name.
bool motionFromName(const std::string& name, MOTION& motion);
bool modelFromName(const std::string& name, MODEL& model); ///< "TIV_Q"

} // namespace om::bench
