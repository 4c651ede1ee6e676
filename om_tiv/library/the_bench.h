/// @file
/// The bench of the process, which om::Camera and om::TIVmcu use.
#pragma once

#include "bench/bench.h"

namespace om::bench {

/// At its first use it loads the bench file that the environment variable OM_TIV_BENCH names,
/// otherwise the default bench, and starts the control socket (control/control.h). It is never
/// destroyed. Any thread.
Bench& theBench();

} // namespace om::bench
