/// @file
/// Messages of sensor_msgs as ROS 2 sends them: CDR, little-endian.
#pragma once

#include "exchange/samples.h"

#include <string>

namespace exchange::cdr {

/// A kind of message: its name and its definition with those of the types that it uses.
struct Schema
{
    const char* name; ///< "sensor_msgs/msg/Imu"
    const char* text;
};

extern const Schema imuSchema;
extern const Schema magneticFieldSchema;
extern const Schema fluidPressureSchema;
extern const Schema temperatureSchema;

/// Latest time that a message can hold.
constexpr Nanoseconds latest = Nanoseconds{0x7FFFFFFF} * 1'000'000'000;

// Covariances are 0, unknown; the first is -1 where the recording lacks the quantity. The text is
// replaced.

void imu(const ImuSample& sample, const Contents& contents, const std::string& frame,
         std::string& text);
void magneticField(const MagneticSample& sample, const std::string& frame, std::string& text);
void fluidPressure(const BarometerSample& sample, const std::string& frame, std::string& text);
void temperature(Nanoseconds time, double celsius, const std::string& frame, std::string& text);

} // namespace exchange::cdr
