/// @file
/// Recordings without a running program: the samples of a virtual camera, written as fast as they
/// can be computed.
#pragma once

#include "world/config.h"

#include <cstdint>
#include <functional>
#include <string>

namespace om::bench {

/// A recording that was made.
struct Generated
{
    unsigned int serialNumber = 0; ///< of the camera
    std::uint64_t rows = 0;
    double seconds = 0.0; ///< of the camera's time, from its plugging in
};

/// The time at which a generated recording begins, s since 1970: 2026-01-01 UTC, in every
/// one.
constexpr std::uint64_t generatedStartSeconds = 1'767'225'600;

/// Writes every sample of a camera into a CSV file as Gravimon records it, with all columns: the
/// camera is plugged in, opened and read at once, at generatedStartSeconds. The first IMU sample
/// only starts the program's clock and has no row. Uses a few MiB whatever the length. The faults
/// of sensors and timestamps act; those of opening, grabbing and the microcontroller do not.
///
/// A camera without an IMU, one that plays a recording, and frozen timestamps are errors.
///
/// @param path     of a file that does not exist yet. It is removed again where it can't be written
///                 whole.
/// @param proceed  is called from time to time with the finished share, 0 to 1; false ends the work
/// @param error    one line: what, why, what to do
/// @return false with error set
bool generateRecording(const CameraConfig& camera, const Field& field, double seconds,
                       const std::string& path, const std::function<bool(double)>& proceed,
                       Generated& generated, std::string& error);

} // namespace om::bench
