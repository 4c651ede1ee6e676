#include "base/bytes.h"

#include <cstring>

namespace om::bench {

void putLittle(std::uint8_t* at, std::uint64_t value, std::size_t bytes)
{
    for (std::size_t i = 0; i < bytes; ++i) {
        at[i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

std::uint64_t getLittle(const std::uint8_t* at, std::size_t bytes)
{
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
        value |= std::uint64_t{at[i]} << (8 * i);
    }
    return value;
}

void putFloat(std::uint8_t* at, float value)
{
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    putLittle(at, bits, sizeof bits);
}

float getFloat(const std::uint8_t* at)
{
    const auto bits = static_cast<std::uint32_t>(getLittle(at, 4));
    float value = 0.0F;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

std::string fromHex(const std::string& hex)
{
    const auto digit = [](char c) {
        if (c >= '0' && c <= '9') {
            return c - '0';
        }
        return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
    };
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        const int high = digit(hex[i]);
        const int low = digit(hex[i + 1]);
        if (high < 0 || low < 0) {
            break;
        }
        bytes += static_cast<char>(high * 16 + low);
    }
    return bytes;
}

std::string toHex(const std::string& bytes)
{
    constexpr char digits[] = "0123456789abcdef";
    std::string hex;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        hex += digits[value / 16];
        hex += digits[value % 16];
    }
    return hex;
}

std::uint32_t crc32(const std::uint8_t* data, std::size_t length)
{
    std::uint32_t crc = 0xFFFFFFFFU;
    for (std::size_t i = 0; i < length; ++i) {
        crc ^= data[i];
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1U) != 0U ? 0xEDB88320U : 0U);
        }
    }
    return ~crc;
}

} // namespace om::bench
