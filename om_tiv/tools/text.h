/// @file
/// The output of om-bench, made from the answers of a bench.
///
/// Missing or wrong members of an answer cause an exception of the JSON library. So the whole text
/// is built before any of it is printed.
#pragma once

#include "base/one_line.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <string>

namespace om::bench {

class Text
{
public:
    void add(const std::string& line) { m_text += oneLine(line) + "\n"; }
    void add(const Text& lines) { m_text += lines.m_text; }
    /// JSON in ASCII only: control characters that JSON allows are escaped too.
    void addJson(const nlohmann::json& value, int indent)
    {
        m_text += value.dump(indent, ' ', true, nlohmann::json::error_handler_t::replace) + "\n";
    }
    const std::string& text() const { return m_text; }

private:
    std::string m_text;
};

std::uint64_t count(const nlohmann::json& object, const char* key);

// With an explicit type, because the library's loops treat a single value as a list of one.
const nlohmann::json::array_t& elements(const nlohmann::json& object, const char* key);
const nlohmann::json::object_t& members(const nlohmann::json& object, const char* key);

std::string fixed(double value, int width, int precision);
std::string padded(const std::string& text, std::size_t width);
/// Three numbers, or dashes if there is no such sensor.
std::string triple(const nlohmann::json& values, int width, int precision);

} // namespace om::bench
