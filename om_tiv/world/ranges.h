/// @file
/// Ranges of the values in bench files and requests.
#pragma once

namespace om::bench::range {

struct Range
{
    double least;
    double most;
};

inline constexpr Range fieldStrength{0.0, 1000.0};      ///< uT
inline constexpr Range fieldInclination{-90.0, 90.0};   ///< degrees
inline constexpr Range fieldDeclination{-180.0, 180.0}; ///< degrees
inline constexpr Range heading{-360.0, 360.0};          ///< degrees; the same for pitch and roll
inline constexpr Range pitch{-90.0, 90.0};
inline constexpr Range roll{-180.0, 180.0};
inline constexpr Range airTemperature{-40.0, 85.0}; ///< degrees Celsius
inline constexpr Range firmware{0.0, 65535.0};

} // namespace om::bench::range
