#include "tools/arguments.h"

#include "base/json_depth.h"

#include <charconv>
#include <cmath>

namespace om::bench {

namespace {

std::string unlike(const std::string& wanted, const std::string& text)
{
    return "must be " + wanted + ", not \"" + text + "\"";
}

} // namespace

CLI::Validator wholeNumber(std::uint64_t least, std::uint64_t most)
{
    return {[least, most](std::string& text) {
                std::uint64_t value = 0;
                const char* const end = text.data() + text.size();
                const auto result = std::from_chars(text.data(), end, value);
                if (result.ec != std::errc() || result.ptr != end || value < least ||
                    value > most) {
                    return unlike("a whole number from " + std::to_string(least) + " to " +
                                      std::to_string(most),
                                  text);
                }
                text = std::to_string(value);
                return std::string();
            },
            ""};
}

CLI::Validator serialNumber()
{
    return wholeNumber(0, UINT32_MAX);
}

CLI::Validator number()
{
    return {[](std::string& text) {
                double value = 0.0;
                const char* const begin = text.data() + (text.rfind('+', 0) == 0 ? 1 : 0);
                const char* const end = text.data() + text.size();
                const auto result = std::from_chars(begin, end, value);
                const bool sound =
                    result.ec == std::errc() && result.ptr == end && std::isfinite(value);
                return sound ? std::string() : unlike("a number", text);
            },
            ""};
}

CLI::Validator someText()
{
    return {[](std::string& text) {
                return text.empty() ? std::string("must not be empty") : std::string();
            },
            ""};
}

nlohmann::json faultValue(const std::string& text)
{
    if (text == "on" || text == "true") {
        return true;
    }
    if (text == "off" || text == "false") {
        return false;
    }
    nlohmann::json value;
    return parseBounded(text, value) == JsonText::SOUND ? value : nlohmann::json(text);
}

} // namespace om::bench
