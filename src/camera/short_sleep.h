/// @file
/// A sleep that signals do not shorten.
#pragma once

#include <chrono>

/// Lets the calling thread sleep for the whole given time, below one second; a sleep that a signal
/// interrupts continues with the remaining time.
void sleepWhole(std::chrono::nanoseconds time);
