/// @file
/// Lines of gravimon-log on the terminal.
#pragma once

#include <string>

namespace terminal {

/// A text from outside on one line, safe to print on a terminal: invalid UTF-8 is replaced by a
/// replacement character, control characters and marks of writing direction by blanks.
std::string oneLine(const std::string& text);

/// Writes one line with the program's name to standard error.
void printError(const std::string& text);

} // namespace terminal
