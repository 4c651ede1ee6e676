/// @file
/// Checks of what stands on the command line.
#pragma once

#include <CLI/CLI.hpp>

#include <charconv>
#include <cmath>
#include <cstdint>
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

/// Digits and nothing else: what is empty is no 0, and what begins with 0 is not octal.
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

/// More than nothing, and at most some thirty years.
inline CLI::Validator duration()
{
    return {[](std::string& text) {
                constexpr double most = 1e9;
                double value = 0.0;
                const char* const end = text.data() + text.size();
                const auto result = std::from_chars(text.data(), end, value);
                const bool sound = result.ec == std::errc() && result.ptr == end &&
                                   std::isfinite(value) && value > 0.0 && value <= most;
                return sound ? std::string() : unlike("a number of seconds above 0", text);
            },
            ""};
}

} // namespace samplelog
