#include "log/row_file.h"

#include "files/files.h"

#include <QTextStream>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace samplelog {

RowFile::RowFile(const RecOptions& columns)
{
    // Its copy constructor takes no const reference.
    // cppcheck-suppress useInitializationList
    m_columns = columns;
}

RowFile::~RowFile()
{
    if (m_descriptor >= 0) {
        ::close(m_descriptor);
    }
}

bool RowFile::create(const std::string& path, std::string& error)
{
    m_path = path;
    m_descriptor = files::createNew(path, error);
    if (m_descriptor < 0) {
        return false;
    }
    struct stat own = {};
    m_hasName = ::fstat(m_descriptor, &own) == 0;
    m_device = own.st_dev;
    m_inode = own.st_ino;
    QTextStream(&m_text, QIODevice::WriteOnly) << recorder::header(m_columns) << '\n';
    if (!write(error)) {
        remove();
        return false;
    }
    return true;
}

void RowFile::add(const recorder::Row& row)
{
    QTextStream stream(&m_text, QIODevice::WriteOnly | QIODevice::Append);
    recorder::writeRow(stream, m_columns, row);
}

bool RowFile::flush(std::string& error)
{
    struct stat file = {};
    if (::fstat(m_descriptor, &file) == 0 && file.st_nlink == 0) {
        m_hasName = false;
        return closeWithError("was removed while it was written", 0, error);
    }
    return m_text.isEmpty() || write(error);
}

bool RowFile::write(std::string& error)
{
    const auto size = static_cast<std::size_t>(m_text.size());
    const std::size_t written = files::writeAll(m_descriptor, m_text.constData(), size);
    if (written < size) {
        const int number = errno;
        // The complete lines that were written before the error stay.
        const QByteArray done = m_text.left(static_cast<int>(written));
        m_whole += done.lastIndexOf('\n') + 1;
        m_lines += static_cast<std::uint64_t>(done.count('\n'));
        cut();
        return closeWithError("cannot be written", number, error);
    }
    m_whole += m_text.size();
    m_lines += static_cast<std::uint64_t>(m_text.count('\n'));
    m_text.clear();
    return true;
}

void RowFile::cut()
{
    // Truncation needs no space. Its failure is not reported: the first error is already known.
    [[maybe_unused]] const int result = ::ftruncate(m_descriptor, m_whole);
}

bool RowFile::closeWithError(const std::string& what, int number, std::string& error)
{
    error = m_path + ": " + what +
            (number == 0 ? "" : std::string(": ") + std::generic_category().message(number));
    ::close(m_descriptor);
    m_descriptor = -1;
    m_text.clear();
    return false;
}

bool RowFile::finish(std::string& error)
{
    if (!flush(error)) {
        return false;
    }
    if (!files::flushToDisk(m_descriptor)) {
        m_isDoubtful = true;
        return closeWithError("cannot be written", errno, error);
    }
    const int descriptor = m_descriptor;
    m_descriptor = -1;
    if (::close(descriptor) != 0 && errno != EINTR) {
        m_isDoubtful = true;
        error = m_path + ": cannot be written: " + std::generic_category().message(errno);
        return false;
    }
    return true;
}

const char* RowFile::remains() const
{
    if (rows() == 0) {
        return "nothing was recorded";
    }
    if (!m_hasName) {
        return "the rows are lost";
    }
    return m_isDoubtful ? "rows at the end of the file may be missing"
                        : "the rows until then are in the file";
}

void RowFile::remove()
{
    struct stat named = {};
    if (m_hasName && ::lstat(m_path.c_str(), &named) == 0 && named.st_dev == m_device &&
        named.st_ino == m_inode) {
        ::unlink(m_path.c_str());
    }
    m_hasName = false;
}

} // namespace samplelog
