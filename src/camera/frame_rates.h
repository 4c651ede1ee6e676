/// @file
/// Arithmetic of the frame rates that the input thread measures and publishes. No state, any
/// thread.
#pragma once

#include <cstdint>

/// The last two readings of a rate, Hz. Both start at 10; two readings replace them.
template <typename T>
struct RateReadings
{
    T older = 10;
    T newer = 10;

    void shift(T reading)
    {
        older = newer;
        newer = reading;
    }
};

/// Half the sum of the readings, in float, truncated.
int meanRate(const RateReadings<unsigned int>& readings);
int meanRate(const RateReadings<int>& readings);

/// The measured rate as it is published: limited to the requested rate for a live camera, not
/// limited for a recorded file.
int publishedRate(const RateReadings<unsigned int>& readings, bool liveCamera, int requestedFps);

/// The state of the detection of dropped frames.
struct FrameDrops
{
    std::uint64_t lastImageTime = 0; ///< ns; 0 before the first frame
    unsigned int droppedFrames = 0;
    double frameRate = 0.0; ///< Hz, smoothed: the mean of the last value and the newest rate
};

/// ms between two frames at the given rate; infinite for 0.
double expectedPeriodMs(int fps);

/// The state after a frame with the given time stamp in ns. A time stamp of 0 counts as none. A gap
/// of at least 1.8 periods counts as one dropped frame. With a period of 0.0 only the rate is
/// updated.
/// @param expectedPeriod ms
FrameDrops afterFrame(FrameDrops drops, std::uint64_t timestamp, double expectedPeriod);
