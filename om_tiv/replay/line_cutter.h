/// @file
/// Lines of a text that arrives in pieces.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace om::bench {

struct Line
{
    std::string_view text;
    std::size_t number = 0; ///< from 1
    bool whole = false;     ///< its end was read
    bool tooLong = false;
};

/// Divides bytes that arrive in pieces into lines.
class LineCutter
{
public:
    explicit LineCutter(std::size_t longest) : m_longest(longest) {} ///< bytes of a line

    /// Calls take(const Line&) for each line that ends within the bytes.
    template <typename Take>
    void feed(std::string_view bytes, const Take& take)
    {
        for (;;) {
            const std::size_t end = bytes.find('\n');
            if (end == std::string_view::npos) {
                keep(bytes);
                return;
            }
            if (m_begun.empty()) {
                take(line(bytes.substr(0, end), true));
            } else {
                keep(bytes.substr(0, end));
                take(line(m_begun, true));
                m_begun.clear();
            }
            bytes.remove_prefix(end + 1);
        }
    }

    /// Calls take() for the last line if it has no end.
    template <typename Take>
    void finish(const Take& take)
    {
        if (!m_begun.empty()) {
            take(line(m_begun, false));
        }
    }

private:
    /// Keeps at most one byte more than a line may have, which marks a line that is too long.
    void keep(std::string_view piece)
    {
        m_begun += piece.substr(0, m_longest + 1 - m_begun.size());
    }

    Line line(std::string_view text, bool whole)
    {
        const bool tooLong = text.size() > m_longest;
        if (!text.empty() && text.back() == '\r') {
            text.remove_suffix(1);
        }
        return {text, ++m_number, whole, tooLong};
    }

    const std::size_t m_longest;
    std::string m_begun;
    std::size_t m_number = 0;
};

} // namespace om::bench
