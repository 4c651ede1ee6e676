#include "bench/files.h"

#include <cerrno>
#include <utility>

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
