#include "base/one_line.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace om::bench {

namespace {

struct Range
{
    std::uint32_t first;
    std::uint32_t last;
};

constexpr std::array<Range, 7> actedUponRanges = {
    {{0x00, 0x1F},
     {0x7F, 0x9F},
     {0x61C, 0x61C},     // Arabic letter mark
     {0x200E, 0x200F},   // left-to-right and right-to-left mark
     {0x2028, 0x202E},   // separators, embeddings, overrides
     {0x2066, 0x2069},   // isolates
     {0xFFF9, 0xFFFB}}}; // interlinear annotation

struct Character
{
    std::uint32_t code = 0;
    std::size_t bytes = 0; ///< 0 if it is not UTF-8
};

/// The first character of a text that is not empty.
Character firstOf(std::string_view text)
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) {
        return {lead, 1};
    }
    const std::size_t bytes = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC0 || lead > 0xF4 || text.size() < bytes) {
        return {};
    }
    std::uint32_t code = lead & (0x7FU >> bytes);
    for (std::size_t i = 1; i < bytes; ++i) {
        if ((byte(i) & 0xC0U) != 0x80U) {
            return {};
        }
        code = code << 6 | (byte(i) & 0x3FU);
    }
    // An overlong form can hide a control character from one reader but not from another.
    constexpr std::array<std::uint32_t, 5> least = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    return code < least[bytes] || code > 0x10FFFF || surrogate ? Character()
                                                               : Character{code, bytes};
}

} // namespace

std::string oneLine(const std::string& text)
{
    std::string line;
    line.reserve(text.size());
    for (std::string_view rest = text; !rest.empty();) {
        const Character character = firstOf(rest);
        bool actedUpon = false;
        for (const Range& range : actedUponRanges) {
            actedUpon =
                actedUpon || (character.code >= range.first && character.code <= range.last);
        }
        if (character.bytes == 0) {
            line += '?';
            rest.remove_prefix(1);
            continue;
        }
        if (actedUpon) {
            line += ' ';
        } else {
            line += rest.substr(0, character.bytes);
        }
        rest.remove_prefix(character.bytes);
    }
    return line;
}

} // namespace om::bench
