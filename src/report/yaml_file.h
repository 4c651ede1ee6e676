/// @file
/// The noise of the IMU in the YAML format of camera-IMU calibration tools.
#pragma once

#include "report/model.h"

#include <string>

namespace report {

/// accelerometer_noise_density (m/s^2/sqrt(Hz)), accelerometer_random_walk (m/s^3/sqrt(Hz)),
/// gyroscope_noise_density (rad/s/sqrt(Hz)), gyroscope_random_walk (rad/s^2/sqrt(Hz)) and
/// update_rate (Hz). Such a file has one value for all three axes: the highest, so that no axis is
/// trusted too much. A value that is not observable on any axis is left out, and a comment has the
/// reason.
std::string yamlText(const RecordingReport& report);

} // namespace report
