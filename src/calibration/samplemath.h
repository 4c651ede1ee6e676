/// @file
/// From the microcontroller's records to samples, times, rates and pauses.
#pragma once

#include "camera/camera_library.h"

#include <cstdint>

namespace samplemath {

/// One magnetometer sample in the dialog's axes, uT.
struct Sample
{
    double x;
    double y;
    double z;
};

/// Neither a dead link nor a record without magnetometer data.
inline bool isGood(const omlib::McuRecord& record)
{
    return omlib::isLinkValid(record) && omlib::magStateOf(record) != 0;
}

/// The sensor's axes 1 and 2 change places and axis 2 its sign; magrecord.h undoes it. The sign is
/// changed on the integer, so that a count of 0 gives 0.0 and not -0.0.
inline Sample sampleOf(const omlib::McuRecord& record)
{
    constexpr double perCount = 0.0625;
    return {-omlib::magCount(record, 1) * perCount, omlib::magCount(record, 0) * perCount,
            omlib::magCount(record, 2) * perCount};
}

/// Milliseconds of a timestamp in ticks of 39 us.
inline double millisecondsOf(std::uint64_t ticks)
{
    return static_cast<double>(ticks) * 39.0 / 1000.0;
}

/// Hz, at most 60. The first reading of a run compares with 0.0 and gives a meaningless small rate.
inline double rateBetween(double previousMs, double nowMs)
{
    const double rate = 1000.0 / (nowMs - previousMs);
    return rate < 60.0 ? rate : 60.0;
}

/// Pause after a reading. The period is in seconds and is counted in milliseconds: a rate above
/// 1 Hz gives no pause at all, and the pace is left to the link.
inline std::int64_t pauseMs(double rateHz)
{
    return static_cast<std::int64_t>(1.0 / rateHz);
}

constexpr double degreesPerRadian = 57.295779513;

} // namespace samplemath
