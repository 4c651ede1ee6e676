/// @file
/// Arithmetic of the playback speed of a recorded file. No state, any thread.
#pragma once

#include <cstdint>

/// Delay of a frame of a recorded file in whole µs, so that the interval to the frame before it is
/// the recorded one.
///
/// @param timestamp time stamp of the frame, ns; 0 means that there is none
/// @param lastTimestamp time stamp of the frame before, ns
/// @param elapsedMs real time since the frame before
///
/// 0 for a gap of 10 s or more in the file, and for a remaining time of 1 s or more. A step
/// backward in the file counts as a gap.
unsigned long playbackDelayUs(std::uint64_t timestamp, std::uint64_t lastTimestamp, int elapsedMs);
