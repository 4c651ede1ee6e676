/// @file
/// Lines of gravimon-log on the terminal.
#pragma once

#include <string>

namespace terminal {

/// A text from outside, safe on a line of a terminal or of a YAML file. A line or paragraph
/// separator, and a character that Qt does not count as printable (control, line feed, mark of
/// writing direction, private use, unassigned), becomes a blank, invalid UTF-8 a replacement
/// character. All above U+FFFF stay.
std::string printable(const std::string& text);

/// Writes one line with the program's name to standard error.
void printError(const std::string& text);

} // namespace terminal
