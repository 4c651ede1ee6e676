/// @file
/// Numbers as text for readers, the same in every locale.
#pragma once

#include <cstdint>
#include <string>

namespace report {

/// With the given number of significant digits; with an exponent only below 1e-4 and from 1e6 on.
/// "-" if the value is not finite.
std::string number(double value, int digits = 4);

/// Without an exponent, with as many digits as needed: for limits.
std::string plainNumber(double value);

/// A count.
std::string number(std::uint64_t value);

/// 90 s, 12.5 min, 3.3 h.
std::string durationText(double seconds);

} // namespace report
