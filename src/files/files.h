/// @file
/// What those who write files share.
#pragma once

#include <cstddef>
#include <string>

namespace files {

/// Creates a file for writing. Its name must not exist yet.
/// @return its descriptor, which the caller closes, or -1 and one line with the path, the reason
/// and what to do
int createNew(const std::string& path, std::string& error);

/// One line with the path of a file that can't be created, and the reason.
/// @param number errno
std::string whyNotMade(const std::string& path, int number);

/// Writes at the descriptor's position, also if signals interrupt it.
/// @return number of bytes that the system accepted; errno is set if they are fewer than `size`
std::size_t writeAll(int descriptor, const char* data, std::size_t size);

/// Waits until all written data are on the disk, if the file system supports this.
/// @return false, with errno set, if this fails
bool flushToDisk(int descriptor);

} // namespace files
