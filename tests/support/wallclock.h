/// @file
/// The wall clock of a test program, which the test holds and moves. Steady clocks go on.
#pragma once

#include <chrono>

namespace wallclock {

/// Stops the clock at its present time; advance() alone moves it on.
void hold();
/// The clock goes on from the time that it shows.
void release();
/// Also back, with a negative duration.
void advance(std::chrono::nanoseconds duration);

/// Called, while set, after each reading of the clock, on the reading thread. Null for none.
void onRead(void (*hook)());

} // namespace wallclock
