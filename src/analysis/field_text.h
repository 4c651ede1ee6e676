/// @file
/// Numbers and times in the fields of a recorded CSV file. A field ends with a comma.
#pragma once

#include "analysis/recording.h"

namespace analysis {

/// A number up to the comma. Up to 15 digits the quotient of two exact numbers is the double
/// nearest to the text; longer numbers use std::from_chars.
/// @param p is moved to the comma
/// @return false if there is no such number, or if its size is above 1e9
bool parseNumber(const char*& p, const char* end, double& value);

/// A whole number from 0 to 4294967295 up to the comma.
/// @param p is moved to the comma
/// @return false if there is no such number
bool parseIndex(const char*& p, const char* end, double& value);

/// Seconds with decimals as nanoseconds, rounded to whole microseconds: further digits are beyond
/// the resolution of a double of that size.
/// @param p is moved to the comma
/// @return false if there is no such time
bool parseTime(const char*& p, const char* end, Nanoseconds& time);

} // namespace analysis
