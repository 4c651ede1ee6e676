/// @file
/// Arithmetic of the pace at which a recorded file plays. No state, any thread.
#pragma once

#include <cstdint>

/// How long a frame of a recorded file is to be held back, in whole µs, so that it follows the
/// frame before it at the distance at which both were recorded.
///
/// @param timestamp time stamp of the frame, ns; 0 means that there is none
/// @param lastTimestamp time stamp of the frame before, ns
/// @param elapsedMs real time since the frame before
///
/// A gap of 10 s or more in the file is not waited for, and neither is a rest of 1 s or more. A
/// step backward in the file counts as a gap.
unsigned long playbackDelayUs(std::uint64_t timestamp, std::uint64_t lastTimestamp, int elapsedMs);
