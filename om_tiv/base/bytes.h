/// @file
/// Bytes as numbers, as text and with their checksum.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace om::bench {

/// Little-endian numbers of 1 to 8 bytes.
void putLittle(std::uint8_t* at, std::uint64_t value, std::size_t bytes);
std::uint64_t getLittle(const std::uint8_t* at, std::size_t bytes);

/// A float as its four bytes, IEEE 754, little-endian.
void putFloat(std::uint8_t* at, float value);
float getFloat(const std::uint8_t* at);

/// The characters as bytes.
inline const std::uint8_t* bytesOf(std::string_view text)
{
    return reinterpret_cast<const std::uint8_t*>(text.data());
}

/// Two lower-case hexadecimal digits per byte.
std::string toHex(const std::string& bytes);
/// The bytes of pairs of lower-case digits, up to the first that is not a pair.
std::string fromHex(const std::string& hex);

/// The CRC-32 of IEEE 802.3 (reflected, polynomial 0xEDB88320, start and final inversion).
std::uint32_t crc32(const std::uint8_t* data, std::size_t length);

} // namespace om::bench
