/// @file
/// JSON from outside, with a limit of its nesting.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstddef>
#include <string_view>

namespace om::bench {

/// Nested levels of objects and arrays. Copying, printing and destroying a JSON value is recursive,
/// with one call per level.
constexpr std::size_t deepestJson = 32;

enum class JsonText { SOUND, NO_JSON, TOO_DEEP };

/// Parses a text. The value is the parsed one if the result is SOUND, otherwise null. Too deep
/// levels are not built.
JsonText parseBounded(std::string_view text, nlohmann::json& value);

} // namespace om::bench
