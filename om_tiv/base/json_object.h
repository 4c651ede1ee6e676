/// @file
/// A JSON object whose values have their line in the file, for error messages.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace om::bench {

/// A JSON value.
struct JsonNode
{
    enum class KIND { NOTHING, BOOLEAN, INTEGER, NUMBER, TEXT, ARRAY, OBJECT };

    KIND kind = KIND::NOTHING;
    int line = 0; ///< from 1
    bool boolean = false;
    std::int64_t integer = 0;
    double number = 0.0; ///< also of an integer
    std::string text;
    std::vector<std::pair<std::string, JsonNode>> members; ///< in the order of the file
    std::vector<JsonNode> elements;
};

/// A mistake with its place.
class JsonMistake : public std::runtime_error
{
public:
    /// @param line 0 if it is not known
    /// @param key  path.to.key; empty for the file as a whole
    JsonMistake(int line, const std::string& key, const std::string& reason)
        : std::runtime_error((key.empty() ? std::string() : key + ": ") + reason), m_line(line)
    {}

    int line() const { return m_line; }

private:
    int m_line;
};

/// Parses a text; // and /* */ comments are allowed. Throws JsonMistake for a syntax error, a key
/// that occurs twice, and too deep nesting.
JsonNode parseJson(const std::string& text);

/// Reads the members of an object by name; throws JsonMistake for a wrong type and a value out of
/// range. A missing member does not change the value. The node must outlive the object.
class JsonObject
{
public:
    /// Throws JsonMistake if the node is not an object.
    JsonObject(const JsonNode& node, std::string path);

    const JsonNode* find(const std::string& key);
    const JsonNode& require(const std::string& key);
    std::string path(const std::string& key) const;

    void read(const std::string& key, bool& value);
    void read(const std::string& key, double& value, double least, double most);
    void read(const std::string& key, std::string& value);
    /// Integers of any width.
    template <typename Integer>
    void readInteger(const std::string& key, Integer& value, std::int64_t least, std::int64_t most)
    {
        if (const JsonNode* node = find(key); node != nullptr) {
            value = static_cast<Integer>(integerOf(*node, path(key), least, most));
        }
    }
    /// An array of exactly that many numbers.
    void read(const std::string& key, double* values, std::size_t count, double least, double most);

    /// Throws for a member that was not read.
    void finish() const;

    static std::int64_t integerOf(const JsonNode& node, const std::string& path, std::int64_t least,
                                  std::int64_t most);
    static double numberOf(const JsonNode& node, const std::string& path, double least,
                           double most);
    static void numbersOf(const JsonNode& node, const std::string& path, double* values,
                          std::size_t count, double least, double most);

private:
    const JsonNode& m_node;
    std::string m_path;
    std::vector<std::string> m_known;
};

} // namespace om::bench
