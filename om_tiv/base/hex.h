/// @file
/// Bytes as text.
#pragma once

#include <string>

namespace om::bench {

/// Two lower-case hexadecimal digits a byte.
std::string toHex(const std::string& bytes);
/// Bytes of pairs of lower-case digits; what is not a pair ends it.
std::string fromHex(const std::string& hex);

} // namespace om::bench
