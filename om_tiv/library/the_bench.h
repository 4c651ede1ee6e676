/// @file
/// The one bench of a process, the one that om::Camera and om::TIVmcu see.
#pragma once

#include "bench/bench.h"

namespace om::bench {

/// At its first use it loads the bench file that the environment variable OM_TIV_BENCH names, or
/// else the default bench, and starts the control socket (control/control.h). It is never
/// destroyed. Any thread.
Bench& theBench();

} // namespace om::bench
