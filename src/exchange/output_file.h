/// @file
/// A file that is written completely or not at all.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace exchange {

/// Always creates a new file and never changes an existing one. Without commit() the destructor
/// removes the file. The first error is kept, and later writes are dropped.
class OutputFile
{
public:
    OutputFile() = default;
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// @param error one line with the path and the reason
    bool create(const std::string& path, std::string& error);

    /// Appends to the file. Small pieces are buffered in memory.
    void append(std::string_view bytes);
    /// Number of appended bytes.
    std::uint64_t size() const { return m_written + m_waiting.size(); }

    /// Writes at any offset without a buffer; beyond the end the file grows. Do not combine it with
    /// append().
    void writeAt(std::uint64_t offset, std::string_view bytes);

    bool hasFailed() const { return !m_error.empty(); }
    const std::string& error() const { return m_error; }

    /// Waits until all data are on the disk, and keeps the file.
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

} // namespace exchange
