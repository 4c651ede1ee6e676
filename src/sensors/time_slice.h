/// @file
/// The scheduler's time slice of a thread.
#pragma once

#include <chrono>
#include <optional>

namespace timeslice {

/// The shortest slice that Linux permits (sched_setattr(2)).
constexpr std::chrono::nanoseconds shortest = std::chrono::microseconds(100);

/// Requests the shortest slice for the calling thread. The scheduler then runs the thread as soon
/// as it wakes, and not only after a busy thread's slice of some milliseconds. Needs no privilege
/// and does not change the thread's total share. Any thread may call it.
/// @return false if the system refuses; the thread is then unchanged. Kernels before 6.12 return
/// true and change nothing.
bool requestShortest();

/// The slice of a thread of this process. Takes its kernel identifier, or 0 for the calling thread.
/// Kernels before 6.12 return 0. Empty if the system refuses.
std::optional<std::chrono::nanoseconds> of(int threadId);

} // namespace timeslice
