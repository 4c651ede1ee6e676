/// @file
/// JSON from a stranger, whose nesting has a bound.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstddef>
#include <string_view>

namespace om::bench {

/// Levels of objects and arrays, one within the other. What copies, prints and ends a JSON value
/// calls itself once a level.
constexpr std::size_t DEEPEST_JSON = 32;

enum class JSON_TEXT { SOUND, NO_JSON, TOO_DEEP };

/// Parses a text. The value is what it holds where it is SOUND, and null else; what lies too deep
/// is not even built.
JSON_TEXT parseBounded(std::string_view text, nlohmann::json& value);

} // namespace om::bench
