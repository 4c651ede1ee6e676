/// @file
/// Messages that contain text from outside.
#pragma once

#include <string>

namespace om::bench {

/// The text on one line, safe to print on a terminal. Control characters (of ASCII, DEL, U+0080 to
/// U+009F), line and paragraph separators and marks of writing direction are replaced by blanks,
/// each byte that is not UTF-8 by a question mark.
std::string oneLine(const std::string& text);

} // namespace om::bench
