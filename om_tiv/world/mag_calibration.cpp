#include "world/mag_calibration.h"

#include <algorithm>
#include <cmath>

namespace om::bench {

bool MagCalibration::isNeutral() const
{
    // -0 equals 0.
    return std::all_of(scale.begin(), scale.end(), [](float s) { return s == 1.0F; }) &&
           std::all_of(offset.begin(), offset.end(), [](float o) { return o == 0.0F; });
}

bool MagCalibration::isUsable() const
{
    return std::all_of(scale.begin(), scale.end(),
                       [](float s) { return std::isfinite(s) && s > 0.0F; }) &&
           std::all_of(offset.begin(), offset.end(), [](float o) { return std::isfinite(o); });
}

} // namespace om::bench
