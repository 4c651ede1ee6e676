/// @file
/// The calibration between the dialog's axes and the record of the EEPROM (axes.h).
#pragma once

#include "camera/camera_library.h"

#include <array>

namespace magrecord {

/// A calibration in the dialog's axes.
struct Calibration
{
    std::array<double, 3> offset; ///< uT
    std::array<double, 3> scale;  ///< 1 / uT
};

/// Fills the record except its first byte. Converts to float first and changes the sign afterwards:
/// an offset of 0.0 in X is stored as -0.0.
void fill(omlib::MagRecord& record, const Calibration& calibration);

/// From six floats in the record's order: scales, then offsets, of the sensor axes 1 to 3.
Calibration fromStored(const float* stored);

/// Exact comparison as floats: a NaN differs from itself, and 0.0 equals -0.0.
bool equal(const float* stored, const omlib::MagRecord& record);

} // namespace magrecord
