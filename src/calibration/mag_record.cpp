#include "calibration/mag_record.h"

#include "calibration/axes.h"

#include <algorithm>

namespace magrecord {

namespace {

axes::Triple<float> narrowed(const axes::Triple<double>& values)
{
    return {static_cast<float>(values[0]), static_cast<float>(values[1]),
            static_cast<float>(values[2])};
}

} // namespace

void fill(omlib::MagRecord& record, const Calibration& calibration)
{
    const axes::Triple<float> scale = axes::exchanged(narrowed(calibration.scale));
    const axes::Triple<float> offset = axes::toSensor(narrowed(calibration.offset));
    for (int axis = 0; axis < 3; ++axis) {
        omlib::setScale(record, axis, scale[static_cast<std::size_t>(axis)]);
        omlib::setOffset(record, axis, offset[static_cast<std::size_t>(axis)]);
    }
}

Calibration fromStored(const float* stored)
{
    const axes::Triple<float> scale = axes::exchanged<float>({stored[0], stored[1], stored[2]});
    const axes::Triple<float> offset = axes::toDialog<float>({stored[3], stored[4], stored[5]});
    Calibration calibration;
    std::copy(scale.begin(), scale.end(), calibration.scale.begin());
    std::copy(offset.begin(), offset.end(), calibration.offset.begin());
    return calibration;
}

bool equal(const float* stored, const omlib::MagRecord& record)
{
    for (int i = 0; i < 3; ++i) {
        if (!(stored[3 + i] == omlib::offsetOf(record, i))) {
            return false;
        }
    }
    for (int i = 0; i < 3; ++i) {
        if (!(stored[i] == omlib::scaleOf(record, i))) {
            return false;
        }
    }
    return true;
}

} // namespace magrecord
