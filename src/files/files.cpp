#include "files/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace files {

namespace {

constexpr char taken[] = "exists already: choose another name or remove it";

/// What already has the name of the new file, and what to do.
std::string whatIsThere(const std::string& path)
{
    struct stat there = {};
    if (::stat(path.c_str(), &there) == 0) {
        if (S_ISDIR(there.st_mode)) {
            return "is a folder: give the name of a file in it";
        }
        if (!S_ISREG(there.st_mode)) {
            return "is not a regular file: choose another name";
        }
    }
    return taken;
}

} // namespace

int createNew(const std::string& path, std::string& error)
{
    constexpr mode_t everybody = 0666; // restricted by the umask
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, everybody);
    if (descriptor < 0) {
        error = errno == EEXIST ? path + ": " + whatIsThere(path) : whyNotMade(path, errno);
    }
    return descriptor;
}

std::string whyNotMade(const std::string& path, int number)
{
    return path + ": " +
           (number == EEXIST
                ? taken
                : std::string("cannot be written: ") + std::generic_category().message(number));
}

std::size_t writeAll(int descriptor, const char* data, std::size_t size)
{
    std::size_t done = 0;
    while (done < size) {
        const ssize_t written = ::write(descriptor, data + done, size - done);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            errno = written == 0 ? EIO : errno;
            break;
        }
        done += static_cast<std::size_t>(written);
    }
    return done;
}

bool flushToDisk(int descriptor)
{
    // Some file systems don't support it. They keep the data all the same.
    return ::fsync(descriptor) == 0 || errno == EINVAL || errno == EROFS || errno == ENOTSUP;
}

} // namespace files
