/// @file
/// Bytes as text.
#pragma once

#include <string>

namespace om::bench {

/// Two lower-case hexadecimal digits per byte.
std::string toHex(const std::string& bytes);
/// The bytes of pairs of lower-case digits; ends at the first other text.
std::string fromHex(const std::string& hex);

} // namespace om::bench
