/// @file
/// The way of a recording's lines into its file.
#pragma once

#include <QByteArray>

#include <cstdint>
#include <deque>
#include <memory>

class QString;

namespace recorder {

/// Whether a file of this name can be opened for writing without anybody's help: there is none yet,
/// or a regular one. The open of a FIFO would wait for a reader, and what goes into a device is
/// gone.
bool opensAtOnce(const QString& path);

/// Writes lines at the end of an open file: each one whole, once, in order. A line goes to the
/// system with the call that brings it. What the system does not take, as on a full disk, waits in
/// memory without bound and goes first with a later line.
///
/// Used by one thread at a time.
class LineFile
{
public:
    /// Writes into the file of an open descriptor, which may be closed before: a duplicate is used.
    /// Null when the process has no descriptor left.
    static std::unique_ptr<LineFile> on(int descriptor);

    /// Writes what waits, which takes as long as the disk needs for it. Where the system refuses
    /// it, the rest is lost, and the file is cut behind its last whole line. A file that somebody
    /// has begun anew meanwhile gets neither.
    ~LineFile();
    LineFile(const LineFile&) = delete;
    LineFile& operator=(const LineFile&) = delete;

    /// @param line ends in a line feed
    void write(const QByteArray& line);

private:
    explicit LineFile(int descriptor);
    void writeWaiting(std::size_t blocks);
    void cutTornLine();

    std::int64_t size() const;

    const int m_descriptor;           ///< owned
    std::deque<QByteArray> m_waiting; ///< whole lines, some to a block
    int m_written = 0;                ///< bytes of the first block that are in the file
    std::int64_t m_end = 0;           ///< of the file, behind the own last write
};

} // namespace recorder
