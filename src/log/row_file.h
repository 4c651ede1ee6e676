/// @file
/// The CSV file of a recording while it is written.
#pragma once

#include "recording/recoptions.h"
#include "recording/recorder.h"

#include <QByteArray>

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace samplelog {

/// A new file that holds whole lines only, whatever happens to the disk. Errors are
/// one line with the path and the reason. One thread at a time.
class RowFile
{
public:
    /// @param columns which of the seven switches are on; the rest of the options is not used
    explicit RowFile(const RecOptions& columns);
    ~RowFile();
    RowFile(const RowFile&) = delete;
    RowFile& operator=(const RowFile&) = delete;

    /// Makes the file and writes the header. A file, folder or FIFO of this name is left alone.
    bool create(const std::string& path, std::string& error);

    /// Takes a row for the next flush().
    void add(const recorder::Row& row);

    /// Writes what was added. Where the system refuses it, the file is cut behind its last whole
    /// line, and the file is closed.
    bool flush(std::string& error);

    /// Waits until the disk has everything, and closes.
    bool finish(std::string& error);

    /// Rows that stand in the file as a whole.
    std::uint64_t rows() const { return m_lines > 0 ? m_lines - 1 : 0; }

    /// Takes the file away again: nothing was recorded.
    void remove();

private:
    bool write(std::string& error);
    void cut();
    bool refused(const std::string& what, int number, std::string& error);

    RecOptions m_columns;
    std::string m_path;
    int m_descriptor = -1;
    off_t m_whole = 0;         ///< bytes of whole lines in the file
    std::uint64_t m_lines = 0; ///< whole lines in the file, the header included
    QByteArray m_text;         ///< to be written
};

} // namespace samplelog
