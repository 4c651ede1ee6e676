/// @file
/// Messages that hold pieces of what somebody has sent.
#pragma once

#include <string>

namespace om::bench {

/// The text on one line, without anything that a terminal would act upon. Blanks take the place of
/// control characters (those of ASCII, DEL, U+0080 to U+009F), of line and paragraph separators and
/// of marks that turn the direction of writing; a question mark that of each byte that is no UTF-8.
std::string oneLine(const std::string& text);

} // namespace om::bench
