#include "base/files.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace om::bench {

namespace {

/// A new file, open for writing, with a name beside that of the target.
Descriptor createBeside(const std::string& target, std::string& name)
{
    constexpr int mostNames = 100; // a process that was killed may have left a file
    Descriptor file;
    errno = EEXIST;
    for (int i = 0; !file.valid() && errno == EEXIST && i < mostNames; ++i) {
        name = target + "." + std::to_string(::getpid()) + "." + std::to_string(i);
        file = Descriptor(::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    }
    return file;
}

/// Gives a new file the owner and the mode of another one. @return false with errno
bool makeLike(const struct stat& other, const Descriptor& file)
{
    struct stat status = {};
    if (::fstat(file.get(), &status) != 0) {
        return false;
    }
    if ((status.st_uid != other.st_uid || status.st_gid != other.st_gid) &&
        ::fchown(file.get(), other.st_uid, other.st_gid) != 0) {
        errno = EPERM; // also for a user that a container does not know
        return false;
    }
    return ::fchmod(file.get(), other.st_mode & 07777) == 0;
}

/// Puts a new file with the bytes in the place of the former one. @return false with errno
bool replaceWhole(const struct stat& former, const std::string& target, std::string_view bytes)
{
    std::string temporary;
    const Descriptor file = createBeside(target, temporary);
    if (!file.valid()) {
        return false;
    }
    if (!makeLike(former, file)) {
        const int why = errno;
        ::unlink(temporary.c_str());
        errno = why;
        return false;
    }
    return putInPlace(file, temporary, target, bytes);
}

/// Whether the error says that a file can't be replaced by another one, whatever its content: a
/// folder without the right to write, another user's file, a mount point, a name that is too long.
bool takesNoOther(int error)
{
    return error == EACCES || error == EPERM || error == EROFS || error == EBUSY ||
           error == ENAMETOOLONG;
}

/// Shortens the file at the end, so that the bytes need as little new room as possible.
bool overwrite(const Descriptor& file, std::string_view bytes)
{
    return writeAll(file, bytes) &&
           ::ftruncate(file.get(), static_cast<off_t>(bytes.size())) == 0 &&
           ::fsync(file.get()) == 0;
}

} // namespace

Descriptor::~Descriptor()
{
    close();
}

Descriptor::Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept
{
    std::swap(m_fd, other.m_fd);
    return *this;
}

bool Descriptor::close()
{
    const int fd = std::exchange(m_fd, -1);
    return fd < 0 || ::close(fd) == 0;
}

int Descriptor::release()
{
    return std::exchange(m_fd, -1);
}

Descriptor openRegularFile(const std::string& path, std::string& reason)
{
    struct stat status = {};
    const auto isRegular = [&](int result) {
        if (result == 0 && S_ISREG(status.st_mode)) {
            return true;
        }
        if (result == 0) {
            errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        }
        const int why = errno;
        reason = why == EINVAL ? "not a regular file" : std::generic_category().message(why);
        errno = why;
        return false;
    };
    // Checked first, because opening a device can already have effects; and again after the open,
    // because the path can have got another file in between.
    if (!isRegular(::stat(path.c_str(), &status))) {
        return Descriptor();
    }
    Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!isRegular(file.valid() ? ::fstat(file.get(), &status) : -1)) {
        return Descriptor();
    }
    return file;
}

std::optional<std::size_t> readFully(const Descriptor& file, void* to, std::size_t count)
{
    std::size_t have = 0;
    while (have < count) {
        const ssize_t got = ::read(file.get(), static_cast<char*>(to) + have, count - have);
        if (got < 0 && errno != EINTR) {
            return std::nullopt;
        }
        if (got == 0) {
            break;
        }
        have += got > 0 ? static_cast<std::size_t>(got) : 0;
    }
    return have;
}

std::optional<std::string> readFile(const std::string& path, std::size_t most, std::string& reason)
{
    const Descriptor file = openRegularFile(path, reason);
    if (!file.valid()) {
        return std::nullopt;
    }
    std::string bytes(most, '\0');
    const auto have = readFully(file, bytes.data(), bytes.size());
    if (!have) {
        const int why = errno;
        reason = std::generic_category().message(why);
        errno = why;
        return std::nullopt;
    }
    bytes.resize(*have);
    return bytes;
}

bool writeAll(const Descriptor& file, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(file.get(), bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        bytes.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
    return true;
}

bool putInPlace(const Descriptor& file, const std::string& temporary, const std::string& path,
                std::string_view bytes)
{
    if (!writeAll(file, bytes) || ::fsync(file.get()) != 0 ||
        ::rename(temporary.c_str(), path.c_str()) != 0) {
        const int why = errno;
        ::unlink(temporary.c_str());
        errno = why;
        return false;
    }
    // The new name must reach the disk too. If a file system can't sync a folder, nothing more can
    // be done.
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const Descriptor open(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (open.valid()) {
        ::fsync(open.get());
    }
    return true;
}

bool replaceContent(const std::string& path, std::string_view bytes)
{
    // Without the right to write the former file is not replaced either.
    constexpr int flags = O_WRONLY | O_NOCTTY | O_CLOEXEC;
    Descriptor former(::open(path.c_str(), flags));
    const bool isNew = !former.valid() && errno == ENOENT;
    if (isNew) {
        former = Descriptor(::open(path.c_str(), flags | O_CREAT, 0666)); // also through a link
    }
    struct stat status = {};
    if (!former.valid() || ::fstat(former.get(), &status) != 0) {
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        return writeAll(former, bytes) && former.close();
    }
    std::error_code none;
    const std::string target = std::filesystem::canonical(path, none).string();
    if (none) {
        errno = none.value();
        return false;
    }
    const bool done = replaceWhole(status, target, bytes) ||
                      (takesNoOther(errno) && overwrite(former, bytes) && former.close());
    if (!done && isNew) {
        const int why = errno;
        ::unlink(target.c_str());
        errno = why;
    }
    return done;
}

std::string makeFolders(const std::string& folder)
{
    for (std::size_t end = folder.find('/', 1);; end = folder.find('/', end + 1)) {
        std::string part = folder.substr(0, end);
        struct stat status = {};
        if (::mkdir(part.c_str(), 0700) != 0 &&
            (errno != EEXIST || ::stat(part.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))) {
            return part;
        }
        if (end == std::string::npos) {
            return {};
        }
    }
}

} // namespace om::bench
