/// @file
/// The share of a processor that a thread asks for at a time.
#pragma once

#include <chrono>
#include <optional>

namespace timeslice {

/// The shortest that Linux grants (sched_setattr(2)).
constexpr std::chrono::nanoseconds shortest = std::chrono::microseconds(100);

/// The calling thread computes little and must be there in time: with a short slice the scheduler
/// lets it run as soon as it wakes, instead of when a busy thread's slice of some milliseconds is
/// over. Needs no privilege and leaves its total share as it is. Any thread may call it for itself.
/// @return false where the system refuses; the thread then goes on as it was. Kernels before 6.12
/// say true and change nothing.
bool askForShortest();

/// The slice of a thread of this process by its kernel identifier, 0 for the calling one. Kernels
/// before 6.12 say 0. Empty where the system refuses.
std::optional<std::chrono::nanoseconds> of(int threadId);

} // namespace timeslice
