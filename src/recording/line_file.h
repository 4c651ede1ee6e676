/// @file
/// Writes the lines of a recording into its file.
#pragma once

#include <QByteArray>

#include <cstdint>
#include <deque>
#include <memory>

class QString;

namespace recorder {

/// Whether a file of this name can be opened for writing at once: it does not exist, or it is a
/// regular file. To open a FIFO would wait for a reader, and data written to a device are lost.
bool opensAtOnce(const QString& path);

/// Appends lines to an open file: each line complete, once, in order. Each call passes its line to
/// the system. Data that the system does not accept, as on a full disk, wait in memory without a
/// limit and are written before the next line.
///
/// Used by one thread at a time.
class LineFile
{
public:
    /// Writes to the file of an open descriptor. The caller may close the descriptor: the object
    /// uses a duplicate. Null if the process has no descriptor left.
    static std::unique_ptr<LineFile> on(int descriptor);

    /// Writes the waiting data, which takes as long as the disk needs. If the system refuses them,
    /// the rest is lost, and the file is truncated after its last complete line. Neither happens to
    /// a file that was created again in the meantime and is still shorter.
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
    std::deque<QByteArray> m_waiting; ///< complete lines, several per block
    int m_written = 0;                ///< bytes of the first block that are in the file
    std::int64_t m_end = 0;           ///< position in the file after the last write of this object
};

} // namespace recorder
