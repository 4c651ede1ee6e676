#include "recording/line_file.h"

#include "files/files.h"

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace recorder {

namespace {

/// A block of waiting lines, bytes.
constexpr int blockSize = 64 * 1024;
/// Maximum written with one line, so that a long queue does not block the caller.
constexpr std::size_t blocksPerLine = 4;

} // namespace

bool opensAtOnce(const QString& path)
{
    struct stat file = {};
    return ::stat(QFile::encodeName(path).constData(), &file) != 0 || S_ISREG(file.st_mode);
}

std::unique_ptr<LineFile> LineFile::on(int descriptor)
{
    const int duplicate = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    if (duplicate < 0) {
        return nullptr;
    }
    // Without it, the last line of a recording that has just ended would leave a hole in the next
    // one of the same name.
    ::fcntl(duplicate, F_SETFL, ::fcntl(duplicate, F_GETFL) | O_APPEND);
    return std::unique_ptr<LineFile>(new LineFile(duplicate));
}

LineFile::LineFile(int descriptor) : m_descriptor(descriptor) {}

LineFile::~LineFile()
{
    if (size() >= m_end) {
        writeWaiting(m_waiting.size());
        cutTornLine();
    }
    ::close(m_descriptor);
}

void LineFile::write(const QByteArray& line)
{
    if (m_waiting.empty() || m_waiting.back().size() + line.size() > blockSize) {
        m_waiting.push_back(line);
    } else {
        m_waiting.back() += line;
    }
    writeWaiting(blocksPerLine);
}

void LineFile::writeWaiting(std::size_t blocks)
{
    for (; blocks > 0 && !m_waiting.empty(); --blocks) {
        const QByteArray& block = m_waiting.front();
        m_written +=
            static_cast<int>(files::writeAll(m_descriptor, block.constData() + m_written,
                                             static_cast<std::size_t>(block.size() - m_written)));
        m_end = ::lseek(m_descriptor, 0, SEEK_CUR);
        if (m_written < block.size()) {
            return;
        }
        m_waiting.pop_front();
        m_written = 0;
    }
}

void LineFile::cutTornLine()
{
    if (m_written == 0) {
        return;
    }
    const int torn = m_written - (m_waiting.front().lastIndexOf('\n', m_written - 1) + 1);
    // Data of others after the last own write must not be cut.
    if (size() == m_end) {
        // Truncating needs no space, and no caller could handle a failure.
        [[maybe_unused]] const int result = ::ftruncate(m_descriptor, m_end - torn);
    }
}

std::int64_t LineFile::size() const
{
    struct stat file = {};
    return ::fstat(m_descriptor, &file) == 0 ? file.st_size : -1;
}

} // namespace recorder
