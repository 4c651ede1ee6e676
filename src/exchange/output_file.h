/// @file
/// A file that is made whole or not at all.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace exchange {

/// Always a new file: what exists already is left alone. Until commit() the destructor takes it
/// away. The first refusal of the system stays, and what is written after it is dropped.
class OutputFile
{
public:
    OutputFile() = default;
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// @param error one line with the path and the reason
    bool create(const std::string& path, std::string& error);

    /// At the end. Small pieces wait in memory.
    void append(std::string_view bytes);
    /// Bytes that were appended.
    std::uint64_t size() const { return m_written + m_waiting.size(); }

    /// Anywhere, at once; behind the end the file grows. Not beside append().
    void writeAt(std::uint64_t offset, std::string_view bytes);

    bool hasFailed() const { return !m_error.empty(); }
    const std::string& error() const { return m_error; }

    /// Waits until the disk has everything, and keeps the file.
    bool commit(std::string& error);

private:
    void flush();
    void fail(int number);

    std::string m_path;
    std::string m_error;
    int m_descriptor = -1;
    std::uint64_t m_written = 0;
    std::string m_waiting;
};

/// Creates a file for writing; nothing may have its name yet.
/// @return its descriptor, or -1 with one line of path, reason and what to do
int createNew(const std::string& path, std::string& error);

/// Waits until the disk has what was written, on a file system that can do this.
/// @return false with errno if the disk refuses it
bool isOnDisk(int descriptor);

/// One line of path and reason for a name that can't be created.
/// @param number errno
std::string whyNotMade(const std::string& path, int number);

} // namespace exchange
