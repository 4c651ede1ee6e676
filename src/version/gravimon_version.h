/// @file
/// The version of the programs.
#pragma once

/// "0.1.0" for a release, "0.1.0+12.gabc1234" for the twelfth commit after it.
extern const char* const gravimonVersion;
