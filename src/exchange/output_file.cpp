#include "exchange/output_file.h"

#include "files/files.h"

#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace exchange {

namespace {

constexpr std::size_t mostWaiting = 256 * 1024;

} // namespace

OutputFile::~OutputFile()
{
    if (m_descriptor >= 0) {
        ::close(m_descriptor);
        ::unlink(m_path.c_str());
    }
}

bool OutputFile::create(const std::string& path, std::string& error)
{
    m_path = path;
    m_descriptor = files::createNew(path, error);
    if (m_descriptor < 0) {
        return false;
    }
    m_waiting.reserve(mostWaiting);
    return true;
}

void OutputFile::append(std::string_view bytes)
{
    if (m_waiting.size() + bytes.size() > mostWaiting) {
        flush();
    }
    m_waiting.append(bytes);
}

void OutputFile::flush()
{
    writeAt(m_written, m_waiting);
    m_written += m_waiting.size();
    m_waiting.clear();
}

void OutputFile::writeAt(std::uint64_t offset, std::string_view bytes)
{
    while (!bytes.empty() && m_error.empty()) {
        const ssize_t written =
            ::pwrite(m_descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            fail(written == 0 ? EIO : errno);
            return;
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
        offset += static_cast<std::uint64_t>(written);
    }
}

void OutputFile::fail(int number)
{
    m_error = m_path + ": cannot be written: " + std::generic_category().message(number);
}

bool OutputFile::commit(std::string& error)
{
    flush();
    if (m_error.empty() && !files::flushToDisk(m_descriptor)) {
        fail(errno);
    }
    if (!m_error.empty()) {
        error = m_error;
        return false;
    }
    const int descriptor = m_descriptor;
    m_descriptor = -1;
    if (::close(descriptor) != 0 && errno != EINTR) {
        fail(errno);
        ::unlink(m_path.c_str());
        error = m_error;
        return false;
    }
    return true;
}

} // namespace exchange
