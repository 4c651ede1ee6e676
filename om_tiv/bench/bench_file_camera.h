/// @file
/// A camera in a bench file.
#pragma once

#include "base/json_object.h"
#include "world/config.h"
#include "world/ranges.h"

#include <string>

namespace om::bench {

/// Leaves the value if the object has no such key.
void readNumber(JsonObject& object, const std::string& key, double& value,
                const range::Range& range);

/// Reads a camera. Throws JsonMistake.
/// @param path   of the node, for mistakes
/// @param folder folder of the bench file, with a slash at its end: relative paths refer to it
CameraConfig readCamera(const JsonNode& node, const std::string& path, const std::string& folder);

} // namespace om::bench
