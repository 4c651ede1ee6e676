/// @file
/// The virtual cameras as USB HID devices.
#pragma once

#include <om_tiv/types.h>

#include <string>

namespace om::bench {

constexpr unsigned short usbVendorId = 0x7C15;

/// USB product id of the model's microcontroller; 0 for a model without one on USB.
unsigned short usbProductId(MODEL model);

/// The system path of a virtual camera, the same in the library's device list and in hid_enumerate.
std::string hidPath(unsigned int serial);

} // namespace om::bench
