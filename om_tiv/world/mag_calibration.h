/// @file
/// The magnetometer calibration that a camera stores.
#pragma once

#include <array>

namespace om::bench {

/// A magnetometer calibration in sensor axes: a raw reading r in uT is corrected to
/// scale * (r - offset).
struct MagCalibration
{
    std::array<float, 3> scale{1.0F, 1.0F, 1.0F};  ///< 1/uT
    std::array<float, 3> offset{0.0F, 0.0F, 0.0F}; ///< uT

    /// All scales 1, all offsets 0 or -0.
    bool isNeutral() const;
    /// All values finite and all scales positive, so that a heading can be computed.
    bool isUsable() const;
};

} // namespace om::bench
