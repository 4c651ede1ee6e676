/// @file
/// The numbers of reports as JSON. The unit is in the name of each key, or in a key `unit` beside
/// it. Where a value is null, the object `reason` beside it holds the reason under the same name;
/// only `warning` is null without a reason.
#pragma once

#include "report/model.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace report {

nlohmann::ordered_json jsonOf(const RecordingReport& report);

/// The object of one recording, or an object with the array `recordings` for several. Ends with a
/// line feed. Valid UTF-8, whatever the file names are.
std::string jsonText(const std::vector<RecordingReport>& reports);

} // namespace report
