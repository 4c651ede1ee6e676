/// @file
/// Reads the error models of a camera's sensors from a bench file (its key `errors`).
#pragma once

#include "base/json_object.h"
#include "world/config.h"

#include <string>

namespace om::bench {

// Each throws JsonMistake, and leaves the value if the object has no such key.

/// Three numbers from -most to most.
void readVector(JsonObject& object, const std::string& key, Vector& value, double most);
/// Three numbers are the diagonal, three rows of three numbers the whole matrix.
void readMatrix(JsonObject& object, const std::string& key, Matrix3& value, double most);
void readErrors(JsonObject& camera, SensorErrors& errors);

} // namespace om::bench
