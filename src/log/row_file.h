/// @file
/// The CSV file of a recording in progress.
#pragma once

#include "recording/recoptions.h"
#include "recording/recorder.h"

#include <QByteArray>

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace samplelog {

/// A new file that contains complete lines only, even after a disk error. An error is one line with
/// the path and the reason. One thread at a time.
class RowFile
{
public:
    /// @param columns only its seven switches are used
    explicit RowFile(const RecOptions& columns);
    ~RowFile();
    RowFile(const RowFile&) = delete;
    RowFile& operator=(const RowFile&) = delete;

    /// Creates the file and writes the header. Fails if anything with this name exists, and does
    /// not change it.
    bool create(const std::string& path, std::string& error);

    /// Adds a row for the next flush().
    void add(const recorder::Row& row);

    /// Writes the added rows. If a write fails, truncates the file after its last complete line and
    /// closes it.
    bool flush(std::string& error);

    /// Waits until all data are on the disk, and closes the file.
    bool finish(std::string& error);

    /// Number of complete rows that were written to the file.
    std::uint64_t rows() const { return m_lines > 0 ? m_lines - 1 : 0; }

    /// What an error has left of the rows, for the user.
    const char* remains() const;

    /// Removes the file of a recording without a row. Another file with its name is not changed.
    void remove();

private:
    bool write(std::string& error);
    void cut();
    bool closeWithError(const std::string& what, int number, std::string& error);

    RecOptions m_columns;
    std::string m_path;
    int m_descriptor = -1;
    bool m_hasName = false; ///< this file was created and not removed
    dev_t m_device = 0;     ///< with m_inode: which file it is, whatever has its name
    ino_t m_inode = 0;
    bool m_isDoubtful = false; ///< the system reported an error after the write
    off_t m_whole = 0;         ///< bytes of complete lines in the file
    std::uint64_t m_lines = 0; ///< complete lines in the file, including the header
    QByteArray m_text;         ///< not yet written
};

} // namespace samplelog
