/// @file
/// A sleep that signals don't cut short.
#pragma once

#include <chrono>

/// Puts the calling thread to sleep for the whole time given, below one second; a sleep interrupted
/// by a signal goes on with the rest.
void sleepWhole(std::chrono::nanoseconds time);
