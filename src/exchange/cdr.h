/// @file
/// Messages of sensor_msgs in the encoding of ROS 2: CDR, little-endian.
#pragma once

#include "exchange/samples.h"

#include <string>

namespace exchange::cdr {

/// A message type: its name, and its definition followed by those of the types that it uses.
struct Schema
{
    const char* name; ///< "sensor_msgs/msg/Imu"
    const char* text;
};

extern const Schema imuSchema;
extern const Schema magneticFieldSchema;
extern const Schema fluidPressureSchema;
extern const Schema temperatureSchema;

/// Latest time that a message can contain.
constexpr Nanoseconds latest = Nanoseconds{0x7FFFFFFF} * 1'000'000'000;

// Each function replaces the text by one message. Covariances are 0, which means unknown; the first
// is -1 if the recording does not have the quantity.

void imu(const ImuSample& sample, const Contents& contents, const std::string& frame,
         std::string& text);
void magneticField(const MagneticSample& sample, const std::string& frame, std::string& text);
void fluidPressure(const BarometerSample& sample, const std::string& frame, std::string& text);
void temperature(Nanoseconds time, double celsius, const std::string& frame, std::string& text);

} // namespace exchange::cdr
