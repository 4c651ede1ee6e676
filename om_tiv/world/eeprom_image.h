/// @file
/// The bytes of a camera's EEPROM: its stored magnetometer calibration.
///
/// Little-endian, 44 bytes:
///
///     offset  bytes  content
///          0      4  the letters "GVEE"
///          4      4  version of the format, 1
///          8      4  length of the content that follows up to the checksum, 28
///         12      4  serial number of the camera
///         16     12  float32 scale of the sensor axes 1 to 3, 1/uT
///         28     12  float32 offset of the sensor axes 1 to 3, uT
///         40      4  CRC-32 (that of IEEE 802.3) of the 40 bytes before it
#pragma once

#include "world/mag_calibration.h"

#include <cstddef>
#include <string>

namespace om::bench {

constexpr std::size_t imageBytes = 44;

/// The image of a camera with this calibration.
std::string imageOf(unsigned int serial, const MagCalibration& calibration);

/// The mistake in the bytes of an image of this camera, with its offset; empty for a valid image.
std::string imageDamage(const std::string& image, unsigned int serial);

/// The calibration in a valid image.
MagCalibration calibrationOf(const std::string& image);

} // namespace om::bench
