#include "calibration/magrecord.h"

namespace magrecord {

void fill(om::_mag_calib_data& record, const Calibration& calibration)
{
    record.scale[0] = static_cast<float>(calibration.scale[1]);
    record.scale[1] = static_cast<float>(calibration.scale[0]);
    record.scale[2] = static_cast<float>(calibration.scale[2]);
    record.offset[0] = static_cast<float>(calibration.offset[1]);
    record.offset[1] = -static_cast<float>(calibration.offset[0]);
    record.offset[2] = static_cast<float>(calibration.offset[2]);
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

bool equal(const float* stored, const om::_mag_calib_data& record)
{
    for (int i = 0; i < 3; ++i)
        if (!(stored[3 + i] == record.offset[i]))
            return false;
    for (int i = 0; i < 3; ++i)
        if (!(stored[i] == record.scale[i]))
            return false;
    return true;
}

} // namespace magrecord
