/// @file
/// Lists the USB HID devices of the cameras' vendor as the real hidapi finds them: one line per
/// device, then a line with a full stop. Does so at start and again for every line on standard
/// input.

#include <hidapi/hidapi.h>

#include <cstdio>

namespace {

void printDevices()
{
    hid_device_info* devices = hid_enumerate(0x7C15, 0);
    for (const hid_device_info* device = devices; device != nullptr; device = device->next) {
        std::printf("%04X %04X %04X serial=%ls manufacturer=%ls product=%ls\n", device->vendor_id,
                    device->product_id, device->release_number, device->serial_number,
                    device->manufacturer_string, device->product_string);
    }
    hid_free_enumeration(devices);
    std::puts(".");
    std::fflush(stdout);
}

} // namespace

int main()
{
    if (hid_init() != 0) {
        return 1;
    }
    printDevices();
    for (int c = std::getchar(); c != EOF; c = std::getchar()) {
        if (c == '\n') {
            printDevices();
        }
    }
    hid_exit();
    return 7; // a status that the testbed must forward
}
