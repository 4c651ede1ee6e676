/// @file
/// File descriptors and folders.
#pragma once

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
    /// Closes now; false with errno where that fails.
    bool close();

private:
    int m_fd;
};

/// Makes every folder of the path that is missing, mode 0700.
/// @return empty, or the part of the path that can't be a folder, with the reason in errno
std::string makeFolders(const std::string& folder);

} // namespace om::bench
