/// @file
/// A recording in the form of other programs: the verb "convert" of gravimon-log.
#pragma once

#include "exchange/samples.h"

#include <functional>
#include <optional>
#include <string>

namespace exchange {

enum class FORMAT {
    MCAP,  ///< messages of sensor_msgs for ROS 2
    EUROC, ///< a folder mav0 with a file for each sensor
    NPZ,   ///< arrays for NumPy
};

struct ConvertOptions
{
    std::string input;
    std::string output; ///< must not exist yet, except an empty folder for EUROC
    std::string source; ///< name of the recording in the output, in UTF-8; only MCAP has it
    FORMAT format = FORMAT::MCAP;
    std::optional<AXES> axes; ///< none: the robot's for MCAP and EUROC, the camera's for NPZ
};

struct ConvertResult
{
    bool done = false;
    std::string error; ///< one line if the conversion failed
    Counts counts;     ///< of the samples in the output
    analysis::ReadReport report;
};

/// Reads the recording row by row and writes at the same time, so that memory does not grow with
/// its length. A conversion that fails leaves no output behind.
/// @param progress is called from time to time with the finished share, 0 to 1; false ends the
/// conversion
ConvertResult convert(const ConvertOptions& options, const std::function<bool(double)>& progress);

} // namespace exchange
