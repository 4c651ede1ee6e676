/// @file
/// How the window shows the free space of the recordings' folder. The text is in the application's
/// language, its number has a decimal point in every language.
#pragma once

#include <QString>

namespace freespace {

/// "Disk Free Space: %1 Gb  on %2", the number (of 2^30 bytes) with one digit after the point.
QString text(double gigabytes, const QString& path);

/// Style sheet of that text: red below 10 GiB. A warning only; no recording is refused for it.
QString style(double gigabytes);

} // namespace freespace
