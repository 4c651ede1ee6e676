/// @file
/// The virtual cameras in hidapi's list, after the real devices of the machine.
///
/// The linker redirects every call of hid_enumerate here (--wrap). The entries are allocated as
/// hidapi allocates its own, so that hid_free_enumeration frees all of them.

#include "bench/virtual_camera.h"
#include "library/hid.h"
#include "library/the_bench.h"

#include <hidapi/hidapi.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the linker makes these names
hid_device_info* __real_hid_enumerate(unsigned short vendor, unsigned short product);
hid_device_info* __wrap_hid_enumerate(unsigned short vendor, unsigned short product);
// NOLINTEND(bugprone-reserved-identifier)
}

namespace {

wchar_t* wideCopy(const char* text)
{
    const std::wstring wide(text, text + std::strlen(text)); // ASCII
    return ::wcsdup(wide.c_str());
}

/// Null without memory.
hid_device_info* makeEntry(const om::bench::CameraConfig& camera, unsigned short product)
{
    auto* entry = static_cast<hid_device_info*>(std::calloc(1, sizeof(hid_device_info)));
    if (entry == nullptr) {
        return nullptr;
    }
    entry->path = ::strdup(om::bench::hidPath(camera.serialNumber).c_str());
    entry->vendor_id = om::bench::usbVendorId;
    entry->product_id = product;
    entry->serial_number = wideCopy(std::to_string(camera.serialNumber).c_str());
    entry->release_number = camera.usbRelease;
    entry->manufacturer_string = wideCopy("Ombrelux");
    entry->product_string = wideCopy(om::toString(camera.model).c_str());
    entry->interface_number = 0;
    entry->bus_type = HID_API_BUS_USB;
    return entry;
}

} // namespace

hid_device_info* __wrap_hid_enumerate(unsigned short vendor, unsigned short product)
{
    hid_device_info* devices = __real_hid_enumerate(vendor, product);
    if (vendor != 0 && vendor != om::bench::usbVendorId) {
        return devices;
    }
    hid_device_info** end = &devices;
    while (*end != nullptr) {
        end = &(*end)->next;
    }
    for (const auto& device : om::bench::theBench().cameras()) {
        const om::bench::CameraConfig camera = device->config();
        const unsigned short ownId = om::bench::usbProductId(camera.model);
        if (!camera.plugged || ownId == 0) {
            continue;
        }
        const auto id =
            camera.usbProductId >= 0 ? static_cast<unsigned short>(camera.usbProductId) : ownId;
        if (product != 0 && product != id) {
            continue;
        }
        *end = makeEntry(camera, id);
        if (*end == nullptr) {
            break;
        }
        end = &(*end)->next;
    }
    return devices;
}
