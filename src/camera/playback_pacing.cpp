#include "camera/playback_pacing.h"

unsigned long playbackDelayUs(std::uint64_t timestamp, std::uint64_t lastTimestamp, int elapsedMs)
{
    if (timestamp == 0) {
        return 0;
    }
    const double gap = static_cast<double>(timestamp - lastTimestamp) / 1000.0 / 1000.0;
    const auto elapsed = static_cast<double>(elapsedMs);
    if (gap >= 10000.0 || elapsed >= gap) {
        return 0;
    }
    const double rest = gap - elapsed;
    return rest < 1000.0 ? static_cast<unsigned long>(rest * 1000.0) : 0;
}
