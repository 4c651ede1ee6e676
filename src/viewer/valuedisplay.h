/// @file
/// The arithmetic of the value display.
#pragma once

namespace valuedisplay {

/// The reported rate up to the nominal one, rounded up to a whole number, Hz.
int shownRate(double reported, double nominal);

} // namespace valuedisplay
