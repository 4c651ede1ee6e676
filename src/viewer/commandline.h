/// @file
/// What the program's command line and environment settle before there is a window.
#pragma once

#include <iosfwd>
#include <optional>

namespace commandline {

/// Exit statuses beside that of the window's loop.
enum Exit { NO_DISPLAY = 1, USAGE = 2 };

/// Answers --help and --version on `out`, and says in one line on `err` where there is no display
/// to open a window on. Arguments that it does not know are left to Qt.
/// @return the status to exit with, or nothing when the window is to come
std::optional<int> settle(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

/// Says in one line on `err` which argument nobody knew. Needs the application, which has taken out
/// those of Qt.
/// @return false when there was one
bool allKnown(std::ostream& err);

} // namespace commandline
