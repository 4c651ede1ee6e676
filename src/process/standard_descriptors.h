/// @file
/// Descriptors 0, 1 and 2.
#pragma once

/// Opens /dev/null as each of standard input, output and error that is closed. No file of the
/// program gets its number then, and no text that the program prints goes into that file. To read
/// or write there fails, as before. main() calls it first.
void occupyStandardDescriptors();
