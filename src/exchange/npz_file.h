/// @file
/// NumPy's npz files: arrays in a zip archive.
#pragma once

#include "exchange/output_file.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace exchange {

/// Writes several arrays of known length at the same time. The place of each in the file is known
/// from the start, so that memory holds only a small buffer per array. The archive is not
/// compressed, and has 64-bit fields where needed.
///
/// Call add() for all arrays, then begin(), then append() in any order, then end(). The output file
/// reports disk errors.
class NpzFile
{
public:
    /// @param largest maximum value of a 32-bit field of the archive; tests use a smaller one
    explicit NpzFile(OutputFile& file, std::uint64_t largest = 0xFFFFFFFF);

    /// @param type  NumPy's: "<f8", "<i8", "|u1"
    /// @param width bytes of an element
    /// @param shape length of each dimension; empty for a single value
    /// @return the array's number
    std::size_t add(const std::string& name, const std::string& type, std::size_t width,
                    const std::vector<std::uint64_t>& shape);

    void begin();
    void append(std::size_t array, std::string_view bytes);

    /// @return false if an array received more or fewer elements than its length
    bool end();

private:
    struct Array
    {
        std::string entry;         ///< name in the archive
        std::string header;        ///< of the array
        std::uint64_t size = 0;    ///< header and elements
        std::uint64_t offset = 0;  ///< of the archive's own header of the entry
        std::uint64_t data = 0;    ///< offset of the array's header
        std::uint64_t done = 0;    ///< bytes of the received elements, including buffered ones
        std::uint64_t written = 0; ///< bytes of header and elements in the file
        std::uint32_t crc = 0;
        std::string waiting;
    };

    bool isLarge(std::uint64_t number) const { return number >= m_largest; }
    std::string localHeader(const Array& array) const;
    std::string centralHeader(const Array& array) const;
    std::string endOfDirectory(std::uint64_t begin, std::uint64_t size) const;
    void flush(Array& array);

    OutputFile& m_file;
    const std::uint64_t m_largest;
    std::vector<Array> m_arrays;
    std::uint64_t m_end = 0; ///< end of the last entry
};

} // namespace exchange
