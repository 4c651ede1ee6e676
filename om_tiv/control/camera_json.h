/// @file
/// A camera as the control's answers have it.
#pragma once

#include "bench/bench.h"
#include "world/faults.h"

#include <nlohmann/json.hpp>

namespace om::bench {

/// All faults, by the keys of bench files.
nlohmann::json allFaultsAsJson(const Faults& faults);

/// The faults that differ from their default, likewise.
nlohmann::json changedFaultsAsJson(const Faults& faults);

/// An entry of the list.
nlohmann::json cameraAsJson(const Bench& bench, const CameraStatus& status,
                            const VirtualCamera& device);

/// The counts of samples of all cameras in use.
nlohmann::json samplesAsJson(const Bench& bench);

} // namespace om::bench
