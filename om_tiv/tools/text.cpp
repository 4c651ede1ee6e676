#include "tools/text.h"

#include <array>
#include <cstdio>

namespace om::bench {

using nlohmann::json;

std::uint64_t count(const json& object, const char* key)
{
    return object.at(key).get_ref<const json::number_unsigned_t&>();
}

const json::array_t& elements(const json& object, const char* key)
{
    return object.at(key).get_ref<const json::array_t&>();
}

const json::object_t& members(const json& object, const char* key)
{
    return object.at(key).get_ref<const json::object_t&>();
}

std::string fixed(double value, int width, int precision)
{
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%*.*f", width, precision, value);
    return text.data();
}

std::string padded(const std::string& text, std::size_t width)
{
    return text + std::string(text.size() < width ? width - text.size() : 0, ' ');
}

std::string triple(const json& values, int width, int precision)
{
    std::string text;
    for (std::size_t i = 0; i < 3; ++i) {
        text += i == 0 ? "" : " ";
        text += values.is_array() ? fixed(values.at(i), width, precision)
                                  : std::string(static_cast<std::size_t>(width) - 1, ' ') + "-";
    }
    return text;
}

} // namespace om::bench
