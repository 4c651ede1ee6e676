/// @file
/// File descriptors and folders.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

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

/// Reads until there are count bytes or the file ends, also if a signal interrupts the read.
/// @return the bytes read, fewer than count only at the end of the file; none with errno
std::optional<std::size_t> readFully(const Descriptor& file, void* to, std::size_t count);

/// The first bytes of a regular file.
/// @param most   maximum number of bytes
/// @param reason set on failure, as by openRegularFile(), with errno
std::optional<std::string> readFile(const std::string& path, std::size_t most, std::string& reason);

/// Writes all bytes, also if a signal interrupts the write.
/// @return false with errno; the file may then have a part of them
bool writeAll(const Descriptor& file, std::string_view bytes);

/// Writes the bytes to a new file and gives it the path as its name in one step: a crash leaves the
/// former file or the new one. File and folder are forced to the disk.
/// @param file      the new file, open for writing and empty; it stays open
/// @param temporary its name, in the folder of the path; it is removed where this fails
/// @return false with errno, the former file still there
bool putInPlace(const Descriptor& file, const std::string& temporary, const std::string& path,
                std::string_view bytes);

/// Replaces the content of a file, or creates the file, in one step: a failure leaves the
/// former content. A symbolic link stays one, also to a file that is not there yet, and the file
/// keeps its owner and its mode; other hard links keep the former content. A file that can't be
/// replaced, in a folder without the right to write for example, is overwritten instead; a failure
/// can then leave a part of the new content. What is not a regular file, a FIFO for example, is
/// written as it is; the write may wait.
/// @return false with errno
bool replaceContent(const std::string& path, std::string_view bytes);

/// Creates all missing folders of the path, mode 0700.
/// @return empty, or the part of the path that can't be created or is not a folder, with the
///         reason in errno
std::string makeFolders(const std::string& folder);

} // namespace om::bench
