/// @file
/// Little-endian bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace exchange {

/// Appends numbers and texts, each number with its lowest byte first.
class Bytes
{
public:
    void u8(std::uint8_t value) { m_text.push_back(static_cast<char>(value)); }
    void u16(std::uint16_t value) { add(value, 2); }
    void u32(std::uint32_t value) { add(value, 4); }
    void u64(std::uint64_t value) { add(value, 8); }
    void i32(std::int32_t value) { u32(static_cast<std::uint32_t>(value)); }
    void f64(double value)
    {
        std::uint64_t bits = 0;
        static_assert(sizeof(bits) == sizeof(value), "IEEE 754 double precision");
        std::memcpy(&bits, &value, sizeof(bits));
        u64(bits);
    }
    void raw(std::string_view text) { m_text.append(text); }
    /// Length in four bytes, then the text.
    void counted(std::string_view text)
    {
        u32(static_cast<std::uint32_t>(text.size()));
        raw(text);
    }
    void zeros(std::size_t count) { m_text.append(count, '\0'); }

    const std::string& text() const { return m_text; }
    std::size_t size() const { return m_text.size(); }
    bool empty() const { return m_text.empty(); }
    void clear() { m_text.clear(); }

private:
    void add(std::uint64_t value, int bytes)
    {
        char packed[8];
        for (int i = 0; i < bytes; ++i) {
            packed[i] = static_cast<char>((value >> (8 * i)) & 0xFF);
        }
        m_text.append(packed, static_cast<std::size_t>(bytes));
    }

    std::string m_text;
};

} // namespace exchange
