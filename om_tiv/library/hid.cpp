#include "library/hid.h"

namespace om::bench {

unsigned short usbProductId(MODEL model)
{
    switch (model) {
    case MODEL::TIV_N:
        return 0xA141;
    case MODEL::TIV_P:
        return 0xA241;
    case MODEL::TIV_Q:
        return 0xA341;
    case MODEL::TIV:
    case MODEL::TIV_R:
    case MODEL::TIV_S:
    case MODEL::UNKNOWN:
        break;
    }
    return 0;
}

std::string hidPath(unsigned int serial)
{
    return "bench:" + std::to_string(serial);
}

} // namespace om::bench
