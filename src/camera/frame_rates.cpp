#include "camera/frame_rates.h"

#include <algorithm>

namespace {

template <typename T>
int halved(T sum)
{
    return static_cast<int>(static_cast<float>(sum) * 0.5F);
}

} // namespace

int meanRate(const RateReadings<unsigned int>& readings)
{
    return halved(readings.older + readings.newer);
}

int meanRate(const RateReadings<int>& readings)
{
    return halved(readings.older + readings.newer);
}

int publishedRate(const RateReadings<unsigned int>& readings, bool liveCamera, int requestedFps)
{
    const int rate = meanRate(readings);
    return liveCamera ? std::min(rate, requestedFps) : rate;
}

double expectedPeriodMs(int fps)
{
    return 1.0 / fps * 1000.0;
}

FrameDrops afterFrame(FrameDrops drops, std::uint64_t timestamp, double expectedPeriod)
{
    if (timestamp == 0) {
        return drops;
    }
    if (drops.lastImageTime == 0) {
        drops.lastImageTime = timestamp;
        return drops;
    }
    const double gap = static_cast<double>(timestamp - drops.lastImageTime) / 1e6;
    drops.frameRate = (1000.0 / gap + drops.frameRate) * 0.5;
    if (expectedPeriod == 0.0) {
        return drops;
    }
    if (gap / expectedPeriod >= 1.8) {
        ++drops.droppedFrames;
    }
    drops.lastImageTime = timestamp;
    return drops;
}
