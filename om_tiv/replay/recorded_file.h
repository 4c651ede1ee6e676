/// @file
/// Recorded files, for InputType::setFromQVRFile(). docs/recorded-file.md describes the format.
#pragma once

#include "base/clock.h"

#include <om_tiv/types.h>

#include <string>
#include <vector>

namespace om::bench {

/// The content of a recorded file: the frames' times, not their pictures.
struct RecordedFile
{
    MODEL model = MODEL::TIV_Q;
    unsigned int serialNumber = 0;
    unsigned int firmwareVersion = 0;
    unsigned int width = 1280; ///< of one image, 1 to 16384
    unsigned int height = 720; ///< of one image, 1 to 16384
    double frameRate = 60.0;   ///< Hz, above 0 and up to 1000
    /// Of each frame, at least one; 0 means a frame without a time.
    std::vector<Nanoseconds> frameTimes;
};

/// @param error one line, FILE: byte N: REASON
/// @return false on failure, with error set and without a change of the recording
bool readRecordedFile(const std::string& path, RecordedFile& recording, std::string& error);

/// Replaces the file in one step. @param error one line
bool writeRecordedFile(const std::string& path, const RecordedFile& recording, std::string& error);

} // namespace om::bench
