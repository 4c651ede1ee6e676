/// @file
/// Checks of the arguments on the command line.
#pragma once

#include <CLI/CLI.hpp>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>

namespace samplelog {

inline std::string unlike(const std::string& wanted, const std::string& text)
{
    return "must be " + wanted + ", not \"" + text + "\"";
}

inline CLI::Validator someText()
{
    return {[](std::string& text) {
                return text.empty() ? std::string("must not be empty") : std::string();
            },
            ""};
}

/// Digits only: an empty text is not 0, and a leading 0 does not mean octal.
inline CLI::Validator serialNumber()
{
    return {[](std::string& text) {
                std::uint32_t value = 0;
                const char* const end = text.data() + text.size();
                const auto result = std::from_chars(text.data(), end, value);
                if (result.ec != std::errc() || result.ptr != end) {
                    return unlike("a whole number from 0 to 4294967295", text);
                }
                text = std::to_string(value);
                return std::string();
            },
            ""};
}

/// The whole text as a number, with a decimal point in every locale; none if it is not a number.
inline std::optional<double> finiteNumber(const std::string& text)
{
    double value = 0.0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    const bool sound = result.ec == std::errc() && result.ptr == end && std::isfinite(value);
    return sound ? std::make_optional(value) : std::nullopt;
}

/// A positive number of seconds, at most about thirty years.
inline CLI::Validator duration()
{
    return {[](std::string& text) {
                constexpr double most = 1e9;
                const std::optional<double> value = finiteNumber(text);
                const bool sound = value && *value > 0.0 && *value <= most;
                return sound ? std::string() : unlike("a number of seconds above 0", text);
            },
            ""};
}

/// @param range the limits as the message shows them
inline CLI::Validator numberBetween(double least, double most, const std::string& range)
{
    return {[=](std::string& text) {
                const std::optional<double> value = finiteNumber(text);
                const bool sound = value && *value >= least && *value <= most;
                return sound ? std::string() : unlike("a number " + range, text);
            },
            ""};
}

} // namespace samplelog
