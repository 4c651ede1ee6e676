/// @file
/// Converts the microcontroller's records to samples, times, rates and pauses.
#pragma once

#include "calibration/axes.h"
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

/// True for a record of a working link with magnetometer data.
inline bool isGood(const omlib::McuRecord& record)
{
    return omlib::isLinkValid(record) && omlib::magStateOf(record) != 0;
}

/// The sign of an axis is changed on the integer, so that a count of 0 becomes 0.0 and not -0.0.
inline Sample sampleOf(const omlib::McuRecord& record)
{
    constexpr double perCount = 0.0625;
    const axes::Triple<int> counts = axes::toDialog<int>(
        {omlib::magCount(record, 0), omlib::magCount(record, 1), omlib::magCount(record, 2)});
    return {counts[0] * perCount, counts[1] * perCount, counts[2] * perCount};
}

/// Milliseconds of a timestamp in ticks of 39 us.
inline double millisecondsOf(std::uint64_t ticks)
{
    return static_cast<double>(ticks) * 39.0 / 1000.0;
}

/// Hz, at most 60. The first reading of a run is compared with 0.0, which results in a small rate
/// without meaning.
inline double rateBetween(double previousMs, double nowMs)
{
    const double rate = 1000.0 / (nowMs - previousMs);
    return rate < 60.0 ? rate : 60.0;
}

/// Pause after a reading. The period in seconds is used as milliseconds: above 1 Hz there is no
/// pause, and the link determines the rate.
inline std::int64_t pauseMs(double rateHz)
{
    return static_cast<std::int64_t>(1.0 / rateHz);
}

constexpr double degreesPerRadian = 57.295779513;

} // namespace samplemath
