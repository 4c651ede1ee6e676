/// @file
/// The arguments of om-bench: what each may be.
#pragma once

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>

namespace om::bench {

/// Only digits. An empty text is not 0, and a leading 0 does not mean octal.
CLI::Validator wholeNumber(std::uint64_t least, std::uint64_t most);

CLI::Validator serialNumber();

/// A finite number; the bench checks its range.
CLI::Validator number();

CLI::Validator someText();

/// A fault's value on the command line: on, off, or a JSON value.
nlohmann::json faultValue(const std::string& text);

} // namespace om::bench
