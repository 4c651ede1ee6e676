/// @file
/// The wall clock of a test program, which the test stops and moves. Steady clocks continue.
#pragma once

#include <chrono>

namespace wallclock {

/// Stops the clock at its present time; only advance() moves it.
void hold();
/// Lets the clock continue from the time that it shows.
void release();
/// Also back, with a negative duration.
void advance(std::chrono::nanoseconds duration);

/// Called, while set, after each reading of the clock, on the reading thread. Null for none.
void onRead(void (*hook)());

} // namespace wallclock
