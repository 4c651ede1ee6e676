/// @file
/// The wall clock of a test program, which the test stops and moves, also for Qt's date and time.
/// Steady clocks continue.
#pragma once

#include <chrono>

namespace wallclock {

/// Stops the clock at its present time; only advance() moves it.
void hold();
/// Lets the clock continue from the time that it shows.
void release();
/// Also back, with a negative duration.
void advance(std::chrono::nanoseconds duration);

/// Holds the clock for the life of the object, first at the beginning of a second.
class Held
{
public:
    Held();
    ~Held() { release(); }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
};

/// Called, while set, after each reading of the clock, on the reading thread. Null for none.
void onRead(void (*hook)());

} // namespace wallclock
