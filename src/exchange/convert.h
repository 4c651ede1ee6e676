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
    std::string output; ///< must not be there yet; for EUROC an empty folder may
    FORMAT format = FORMAT::MCAP;
    std::optional<AXES> axes; ///< none: the robot's for MCAP and EUROC, the camera's for NPZ
};

struct ConvertResult
{
    bool done = false;
    std::string error; ///< one line where it is not done
    Counts counts;     ///< of what is in the output
    analysis::ReadReport report;
};

/// Reads the recording row by row and writes while it reads, so that memory does not grow with its
/// length. What is not done leaves nothing behind.
/// @param progress is called now and then with the share that is done; false ends the conversion
ConvertResult convert(const ConvertOptions& options, const std::function<bool(double)>& progress);

} // namespace exchange
