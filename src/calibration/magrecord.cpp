#include "calibration/magrecord.h"

namespace magrecord {

void fill(omlib::MagRecord& record, const Calibration& calibration)
{
    omlib::setScale(record, 0, static_cast<float>(calibration.scale[1]));
    omlib::setScale(record, 1, static_cast<float>(calibration.scale[0]));
    omlib::setScale(record, 2, static_cast<float>(calibration.scale[2]));
    omlib::setOffset(record, 0, static_cast<float>(calibration.offset[1]));
    omlib::setOffset(record, 1, -static_cast<float>(calibration.offset[0]));
    omlib::setOffset(record, 2, static_cast<float>(calibration.offset[2]));
}

Calibration fromStored(const float* stored)
{
    const float* const scale = stored;
    const float* const offset = stored + 3;
    Calibration calibration;
    calibration.scale = {static_cast<double>(scale[1]), static_cast<double>(scale[0]),
                         static_cast<double>(scale[2])};
    calibration.offset = {static_cast<double>(-offset[1]), static_cast<double>(offset[0]),
                          static_cast<double>(offset[2])};
    return calibration;
}

bool equal(const float* stored, const omlib::MagRecord& record)
{
    for (int i = 0; i < 3; ++i)
        if (!(stored[3 + i] == omlib::offsetOf(record, i)))
            return false;
    for (int i = 0; i < 3; ++i)
        if (!(stored[i] == omlib::scaleOf(record, i)))
            return false;
    return true;
}

} // namespace magrecord
