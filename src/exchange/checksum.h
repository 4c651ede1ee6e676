/// @file
/// The checksum of MCAP and zip files.
#pragma once

#include <cstdint>
#include <string_view>

namespace exchange {

/// CRC-32 of IEEE 802.3 over what `crc` is the checksum of (0 at the start) and the bytes after it.
std::uint32_t crcOf(std::uint32_t crc, std::string_view bytes);

} // namespace exchange
