#include "base/json_object.h"

#include "base/json_depth.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <limits>

namespace om::bench {

namespace {

/// The position of the parser.
struct Place
{
    /// Line of the last character read. A line break belongs to the line that it ends: the parser
    /// reads one character after a number.
    int line = 1;
    bool broken = false; ///< the last character read was a line break
};

/// Passes the text character by character and counts the lines.
class CountingIterator
{
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingIterator(const char* at, Place* place) : m_at(at), m_place(place) {}

    reference operator*() const { return *m_at; }
    CountingIterator& operator++()
    {
        if (m_place->broken) {
            ++m_place->line;
        }
        m_place->broken = *m_at == '\n';
        ++m_at;
        return *this;
    }
    CountingIterator operator++(int)
    {
        CountingIterator before = *this;
        ++*this;
        return before;
    }
    bool operator==(const CountingIterator& other) const { return m_at == other.m_at; }
    bool operator!=(const CountingIterator& other) const { return m_at != other.m_at; }

private:
    const char* m_at;
    Place* m_place;
};

class TreeBuilder : public nlohmann::json_sax<nlohmann::json>
{
public:
    TreeBuilder(const Place& place, JsonNode& root) : m_place(place), m_root(root) {}

    bool null() override { return add(JsonNode::KIND::NOTHING) != nullptr; }
    bool boolean(bool value) override
    {
        add(JsonNode::KIND::BOOLEAN)->boolean = value;
        return true;
    }
    bool number_integer(number_integer_t value) override
    {
        JsonNode* const node = add(JsonNode::KIND::INTEGER);
        node->integer = value;
        node->number = static_cast<double>(value);
        return true;
    }
    bool number_unsigned(number_unsigned_t value) override
    {
        if (value > static_cast<number_unsigned_t>(std::numeric_limits<std::int64_t>::max())) {
            add(JsonNode::KIND::NUMBER)->number = static_cast<double>(value);
            return true;
        }
        return number_integer(static_cast<number_integer_t>(value));
    }
    bool number_float(number_float_t value, const string_t&) override
    {
        add(JsonNode::KIND::NUMBER)->number = value;
        return true;
    }
    bool string(string_t& value) override
    {
        add(JsonNode::KIND::TEXT)->text = value;
        return true;
    }
    bool binary(binary_t&) override { return false; }
    bool start_object(std::size_t) override { return open(JsonNode::KIND::OBJECT); }
    bool start_array(std::size_t) override { return open(JsonNode::KIND::ARRAY); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool key(string_t& name) override
    {
        const auto& members = m_open.back()->members;
        if (std::any_of(members.begin(), members.end(),
                        [&](const auto& member) { return member.first == name; })) {
            throw JsonMistake(m_place.line, name, "given twice");
        }
        m_key = name;
        return true;
    }
    bool parse_error(std::size_t, const std::string&,
                     const nlohmann::detail::exception& error) override
    {
        // "[json.exception.parse_error.101] parse error at line 3, column 5: syntax error ..."
        // "[json.exception.out_of_range.406] number overflow parsing '1e999'"
        std::string reason = error.what();
        reason.erase(0, reason.rfind('[', 0) == 0 ? reason.find("] ") + 2 : 0);
        const std::size_t column = reason.find("column ");
        const std::size_t colon = reason.find(": ", column == std::string::npos ? 0 : column);
        if (colon != std::string::npos) {
            reason.erase(0, colon + 2);
        }
        throw JsonMistake(m_place.line, "", reason);
    }

private:
    JsonNode* add(JsonNode::KIND kind)
    {
        JsonNode* node = &m_root;
        if (!m_open.empty()) {
            JsonNode& parent = *m_open.back();
            if (parent.kind == JsonNode::KIND::OBJECT) {
                node = &parent.members.emplace_back(m_key, JsonNode()).second;
            } else {
                node = &parent.elements.emplace_back();
            }
        }
        node->kind = kind;
        node->line = m_place.line;
        return node;
    }
    bool open(JsonNode::KIND kind)
    {
        if (m_open.size() == deepestJson) {
            throw JsonMistake(m_place.line, "", "nested too deeply");
        }
        // A parent's vector grows only after the child was closed, so the pointers stay valid.
        m_open.push_back(add(kind));
        return true;
    }
    bool close()
    {
        m_open.pop_back();
        return true;
    }

    const Place& m_place;
    JsonNode& m_root;
    std::vector<JsonNode*> m_open;
    std::string m_key;
};

const char* kindName(JsonNode::KIND kind)
{
    switch (kind) {
    case JsonNode::KIND::NOTHING:
        return "null";
    case JsonNode::KIND::BOOLEAN:
        return "a boolean";
    case JsonNode::KIND::INTEGER:
        return "an integer";
    case JsonNode::KIND::NUMBER:
        return "a number";
    case JsonNode::KIND::TEXT:
        return "a string";
    case JsonNode::KIND::ARRAY:
        return "an array";
    case JsonNode::KIND::OBJECT:
        break;
    }
    return "an object";
}

[[noreturn]] void wrongType(const JsonNode& node, const std::string& path, const char* wanted)
{
    throw JsonMistake(node.line, path,
                      std::string("must be ") + wanted + ", not " + kindName(node.kind));
}

std::string shortNumber(double value)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.10g", value);
    return text;
}

} // namespace

JsonNode parseJson(const std::string& text)
{
    Place place;
    JsonNode root;
    TreeBuilder builder(place, root);
    const char* const begin = text.data();
    nlohmann::json::sax_parse(CountingIterator(begin, &place),
                              CountingIterator(begin + text.size(), &place), &builder,
                              nlohmann::json::input_format_t::json, true, true);
    return root;
}

JsonObject::JsonObject(const JsonNode& node, std::string path)
    : m_node(node), m_path(std::move(path))
{
    if (node.kind != JsonNode::KIND::OBJECT) {
        wrongType(node, m_path, "an object");
    }
}

const JsonNode* JsonObject::find(const std::string& key)
{
    m_known.push_back(key);
    const auto found = std::find_if(m_node.members.begin(), m_node.members.end(),
                                    [&](const auto& member) { return member.first == key; });
    return found != m_node.members.end() ? &found->second : nullptr;
}

const JsonNode& JsonObject::require(const std::string& key)
{
    const JsonNode* const node = find(key);
    if (node == nullptr) {
        throw JsonMistake(m_node.line, path(key), "missing");
    }
    return *node;
}

std::string JsonObject::path(const std::string& key) const
{
    return m_path.empty() ? key : m_path + "." + key;
}

void JsonObject::read(const std::string& key, bool& value)
{
    if (const JsonNode* const node = find(key); node != nullptr) {
        if (node->kind != JsonNode::KIND::BOOLEAN) {
            wrongType(*node, path(key), "a boolean");
        }
        value = node->boolean;
    }
}

void JsonObject::read(const std::string& key, double& value, double least, double most)
{
    if (const JsonNode* const node = find(key); node != nullptr) {
        value = numberOf(*node, path(key), least, most);
    }
}

void JsonObject::read(const std::string& key, std::string& value)
{
    if (const JsonNode* const node = find(key); node != nullptr) {
        if (node->kind != JsonNode::KIND::TEXT) {
            wrongType(*node, path(key), "a string");
        }
        value = node->text;
    }
}

void JsonObject::read(const std::string& key, double* values, std::size_t count, double least,
                      double most)
{
    if (const JsonNode* const node = find(key); node != nullptr) {
        numbersOf(*node, path(key), values, count, least, most);
    }
}

void JsonObject::finish() const
{
    for (const auto& [key, value] : m_node.members) {
        if (std::find(m_known.begin(), m_known.end(), key) == m_known.end()) {
            throw JsonMistake(value.line, path(key), "unknown key");
        }
    }
}

std::int64_t JsonObject::integerOf(const JsonNode& node, const std::string& path,
                                   std::int64_t least, std::int64_t most)
{
    if (node.kind != JsonNode::KIND::INTEGER) {
        wrongType(node, path, "an integer");
    }
    if (node.integer < least || node.integer > most) {
        throw JsonMistake(node.line, path,
                          "must be from " + std::to_string(least) + " to " + std::to_string(most) +
                              ", not " + std::to_string(node.integer));
    }
    return node.integer;
}

double JsonObject::numberOf(const JsonNode& node, const std::string& path, double least,
                            double most)
{
    if (node.kind != JsonNode::KIND::INTEGER && node.kind != JsonNode::KIND::NUMBER) {
        wrongType(node, path, "a number");
    }
    if (!(node.number >= least && node.number <= most)) {
        throw JsonMistake(node.line, path,
                          "must be from " + shortNumber(least) + " to " + shortNumber(most) +
                              ", not " + shortNumber(node.number));
    }
    return node.number;
}

void JsonObject::numbersOf(const JsonNode& node, const std::string& path, double* values,
                           std::size_t count, double least, double most)
{
    if (node.kind != JsonNode::KIND::ARRAY || node.elements.size() != count) {
        wrongType(node, path, ("an array of " + std::to_string(count) + " numbers").c_str());
    }
    for (std::size_t i = 0; i < count; ++i) {
        values[i] = numberOf(node.elements[i], path + "[" + std::to_string(i) + "]", least, most);
    }
}

} // namespace om::bench
