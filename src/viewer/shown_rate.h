/// @file
/// The sampling rate that the window shows.
#pragma once

/// The reported rate up to the nominal one, rounded up to a whole number, Hz. 0 for a rate that is
/// not a number or below all integers. The nominal rate is finite.
int shownRate(double reported, double nominal);
