/// @file
/// Descriptors 0, 1 and 2.
#pragma once

namespace samplelog {

/// Opens /dev/null as each of standard input, output and error that is closed. No file of the
/// program gets its number then, and no message goes into that file. To read or write there fails,
/// as before. Call it before any file is opened.
void occupyStandardDescriptors();

} // namespace samplelog
