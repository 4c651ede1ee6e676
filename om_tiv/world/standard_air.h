/// @file
/// The international standard atmosphere's troposphere.
#pragma once

#include <cmath>

namespace om::bench {

/// Pa from metres above sea level.
inline double standardPressure(double altitude)
{
    return 101325.0 * std::pow(1.0 - 2.25577e-5 * altitude, 5.25588);
}

/// Metres above sea level from Pa; the inverse of standardPressure().
inline double standardAltitude(double pressure)
{
    return 44330.77 * (1.0 - std::pow(pressure / 101325.0, 0.190263));
}

/// Height of one pressure above another, m.
inline double heightAbove(double ground, double pressure)
{
    return standardAltitude(pressure) - standardAltitude(ground);
}

} // namespace om::bench
