#include "exchange/npz_file.h"

#include "exchange/bytes.h"
#include "exchange/checksum.h"

#include <algorithm>

namespace exchange {

namespace {

constexpr std::size_t mostWaiting = 64 * 1024;
constexpr std::uint16_t withoutLargeFields = 20; ///< zip version that a reader must support
constexpr std::uint16_t withLargeFields = 45;
constexpr std::uint16_t firstOf1980 = 0x0021; ///< fixed, so that archives are reproducible
constexpr std::uint32_t none32 = 0xFFFFFFFF;
constexpr std::uint16_t none16 = 0xFFFF;

/// Magic, version 1.0, length, then a dictionary, padded so that elements start at a multiple
/// of 64.
std::string npyHeader(const std::string& type, const std::vector<std::uint64_t>& shape)
{
    std::string lengths;
    for (const std::uint64_t length : shape) {
        lengths += (lengths.empty() ? "" : ", ") + std::to_string(length);
    }
    if (shape.size() == 1) {
        lengths += ','; // a tuple of one element needs the comma
    }
    std::string dictionary =
        "{'descr': '" + type + "', 'fortran_order': False, 'shape': (" + lengths + "), }";
    constexpr std::size_t fixed = 10;
    constexpr std::size_t alignment = 64;
    const std::size_t unpadded = fixed + dictionary.size() + 1;
    dictionary.append((alignment - unpadded % alignment) % alignment, ' ');
    dictionary += '\n';
    Bytes bytes;
    bytes.raw({"\x93NUMPY\x01\x00", 8});
    bytes.u16(static_cast<std::uint16_t>(dictionary.size()));
    bytes.raw(dictionary);
    return bytes.text();
}

} // namespace

NpzFile::NpzFile(OutputFile& file, std::uint64_t largest) : m_file(file), m_largest(largest) {}

std::size_t NpzFile::add(const std::string& name, const std::string& type, std::size_t width,
                         const std::vector<std::uint64_t>& shape)
{
    Array array;
    array.entry = name + ".npy";
    array.header = npyHeader(type, shape);
    std::uint64_t size = width;
    for (const std::uint64_t length : shape) {
        size *= length;
    }
    array.size = array.header.size() + size;
    m_arrays.push_back(std::move(array));
    return m_arrays.size() - 1;
}

void NpzFile::begin()
{
    for (Array& array : m_arrays) {
        array.offset = m_end;
        array.data = m_end + localHeader(array).size();
        m_end = array.data + array.size;
        array.waiting = array.header;
    }
}

void NpzFile::append(std::size_t array, std::string_view bytes)
{
    Array& to = m_arrays[array];
    to.done += bytes.size();
    if (to.header.size() + to.done > to.size) {
        return; // end() reports it
    }
    to.waiting.append(bytes);
    if (to.waiting.size() >= mostWaiting) {
        flush(to);
    }
}

void NpzFile::flush(Array& array)
{
    array.crc = crcOf(array.crc, array.waiting);
    m_file.writeAt(array.data + array.written, array.waiting);
    array.written += array.waiting.size();
    array.waiting.clear();
}

std::string NpzFile::localHeader(const Array& array) const
{
    const bool large = isLarge(array.size);
    Bytes bytes;
    bytes.u32(0x04034B50);
    bytes.u16(large ? withLargeFields : withoutLargeFields);
    bytes.u16(0); // flags
    bytes.u16(0); // stored
    bytes.u16(0); // time
    bytes.u16(firstOf1980);
    bytes.u32(array.crc);
    bytes.u32(large ? none32 : static_cast<std::uint32_t>(array.size));
    bytes.u32(large ? none32 : static_cast<std::uint32_t>(array.size));
    bytes.u16(static_cast<std::uint16_t>(array.entry.size()));
    bytes.u16(large ? 20 : 0); // extra field
    bytes.raw(array.entry);
    if (large) {
        bytes.u16(1);
        bytes.u16(16);
        bytes.u64(array.size);
        bytes.u64(array.size);
    }
    return bytes.text();
}

std::string NpzFile::centralHeader(const Array& array) const
{
    const bool largeSize = isLarge(array.size);
    const bool largeOffset = isLarge(array.offset);
    Bytes extra;
    if (largeSize || largeOffset) {
        extra.u16(1);
        extra.u16(static_cast<std::uint16_t>((largeSize ? 16 : 0) + (largeOffset ? 8 : 0)));
        if (largeSize) {
            extra.u64(array.size);
            extra.u64(array.size);
        }
        if (largeOffset) {
            extra.u64(array.offset);
        }
    }
    const std::uint16_t version = extra.empty() ? withoutLargeFields : withLargeFields;
    constexpr std::uint16_t madeByUnix = 3 << 8;
    constexpr std::uint32_t regularFile = 0100644;
    Bytes bytes;
    bytes.u32(0x02014B50);
    bytes.u16(static_cast<std::uint16_t>(madeByUnix | version));
    bytes.u16(version);
    bytes.u16(0); // flags
    bytes.u16(0); // stored
    bytes.u16(0); // time
    bytes.u16(firstOf1980);
    bytes.u32(array.crc);
    bytes.u32(largeSize ? none32 : static_cast<std::uint32_t>(array.size));
    bytes.u32(largeSize ? none32 : static_cast<std::uint32_t>(array.size));
    bytes.u16(static_cast<std::uint16_t>(array.entry.size()));
    bytes.u16(static_cast<std::uint16_t>(extra.size()));
    bytes.u16(0); // comment
    bytes.u16(0); // disk
    bytes.u16(0); // internal attributes
    bytes.u32(regularFile << 16);
    bytes.u32(largeOffset ? none32 : static_cast<std::uint32_t>(array.offset));
    bytes.raw(array.entry);
    bytes.raw(extra.text());
    return bytes.text();
}

std::string NpzFile::endOfDirectory(std::uint64_t begin, std::uint64_t size) const
{
    const auto entries = static_cast<std::uint16_t>(m_arrays.size());
    const bool large = isLarge(begin) || isLarge(size);
    Bytes bytes;
    if (large) {
        bytes.u32(0x06064B50);
        bytes.u64(44); // bytes of this record that follow
        bytes.u16(withLargeFields);
        bytes.u16(withLargeFields);
        bytes.u32(0); // disk
        bytes.u32(0);
        bytes.u64(entries);
        bytes.u64(entries);
        bytes.u64(size);
        bytes.u64(begin);
        bytes.u32(0x07064B50);
        bytes.u32(0); // disk
        bytes.u64(begin + size);
        bytes.u32(1); // disks
    }
    bytes.u32(0x06054B50);
    bytes.u16(0); // disk
    bytes.u16(0);
    bytes.u16(large ? none16 : entries);
    bytes.u16(large ? none16 : entries);
    bytes.u32(large ? none32 : static_cast<std::uint32_t>(size));
    bytes.u32(large ? none32 : static_cast<std::uint32_t>(begin));
    bytes.u16(0); // comment
    return bytes.text();
}

bool NpzFile::end()
{
    std::string directory;
    for (Array& array : m_arrays) {
        if (array.header.size() + array.done != array.size) {
            return false;
        }
        flush(array);
        // The checksum is not known before.
        m_file.writeAt(array.offset, localHeader(array));
        directory += centralHeader(array);
    }
    m_file.writeAt(m_end, directory + endOfDirectory(m_end, directory.size()));
    return true;
}

} // namespace exchange
