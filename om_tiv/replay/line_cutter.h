/// @file
/// Lines of a text that comes piece by piece.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace om::bench {

struct Line
{
    std::string_view text;
    std::size_t number = 0; ///< from 1
    bool whole = false;     ///< it has its end
    bool tooLong = false;
};

/// Cuts bytes that come piece by piece into lines.
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

    /// The line that has no end.
    template <typename Take>
    void finish(const Take& take)
    {
        if (!m_begun.empty()) {
            take(line(m_begun, false));
        }
    }

private:
    /// Of a line that is too long one byte more is kept than one may have.
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
