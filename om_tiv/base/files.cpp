#include "base/files.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace om::bench {

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

FilePtr openRegularStream(const std::string& path, std::string& reason)
{
    Descriptor file = openRegularFile(path, reason);
    FilePtr stream(file.valid() ? ::fdopen(file.get(), "rb") : nullptr, &std::fclose);
    if (stream) {
        file.release();
    } else if (file.valid()) {
        reason = std::generic_category().message(errno);
    }
    return stream;
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
