#include "base/hex.h"

namespace om::bench {

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

} // namespace om::bench
