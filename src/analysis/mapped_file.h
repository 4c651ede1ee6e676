/// @file
/// Reads a file through memory that is mapped to it.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace analysis {

/// A regular file that is mapped into memory for reading. Use it on the thread that constructed it.
///
/// What can't be read any more, because the file was cut or its disk failed, is replaced by zeros:
/// ask remainedWhole() when the reading has ended. The first file that is mapped installs a handler
/// of SIGBUS; a SIGBUS of anything else has the effect that it had before.
class MappedFile
{
public:
    /// @param error one line if the file can't be mapped
    MappedFile(const std::string& path, std::string& error);
    ~MappedFile();
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    bool valid() const { return m_mapping != nullptr; }
    const char* begin() const;
    const char* end() const;

    /// Releases the memory of the part that has been read: a share from the start of the file, 0 to
    /// 1. Released parts are read from the file again when needed.
    void release(double share);

    /// Whether everything that was read until now is from the file, and the file is not shorter
    /// than at the start. Once false, it stays false.
    /// @param error one line with the path and the reason if not
    bool remainedWhole(std::string& error);

private:
    class Mapping;

    std::string lossUntilNow() const;

    std::string m_path;
    std::string m_loss;         ///< why the file did not remain whole; empty if it did
    std::size_t m_released = 0; ///< bytes
    std::unique_ptr<Mapping> m_mapping;
};

} // namespace analysis
