/// @file
/// File descriptors and folders.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace om::bench {

/// Owns a file descriptor and closes it at the end of its life. Movable, not copyable.
class Descriptor
{
public:
    explicit Descriptor(int fd = -1) : m_fd(fd) {} ///< negative for none
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;

    int get() const { return m_fd; }
    bool valid() const { return m_fd >= 0; }
    /// Closes now; false with errno on failure.
    bool close();
    /// Passes the descriptor to the caller, who closes it.
    int release();

private:
    int m_fd;
};

/// Opens a regular file for reading. Anything else at the path is refused without waiting, a FIFO
/// for example. A symbolic link is followed.
/// @param reason set if the result is invalid, without the path ("Permission denied", "not a
///               regular file"); errno is then that of the failure, EINVAL if it is not a regular
///               file
Descriptor openRegularFile(const std::string& path, std::string& reason);

/// Owns a stdio stream.
using FilePtr = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

/// The same as a stdio stream; null with the reason on failure.
FilePtr openRegularStream(const std::string& path, std::string& reason);

/// Creates all missing folders of the path, mode 0700.
/// @return empty, or the part of the path that can't be created or is not a folder, with the
///         reason in errno
std::string makeFolders(const std::string& folder);

} // namespace om::bench
