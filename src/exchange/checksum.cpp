#include "exchange/checksum.h"

#include <zlib.h>

namespace exchange {

std::uint32_t crcOf(std::uint32_t crc, std::string_view bytes)
{
    return static_cast<std::uint32_t>(
        crc32_z(crc, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

} // namespace exchange
