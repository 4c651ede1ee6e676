#include "exchange/mcap_file.h"

#include "exchange/checksum.h"

#include <algorithm>

namespace exchange {

enum McapFile::OPCODE : std::uint8_t {
    HEADER = 0x01,
    FOOTER = 0x02,
    SCHEMA = 0x03,
    CHANNEL = 0x04,
    MESSAGE = 0x05,
    CHUNK = 0x06,
    MESSAGE_INDEX = 0x07,
    CHUNK_INDEX = 0x08,
    STATISTICS = 0x0B,
    METADATA = 0x0C,
    METADATA_INDEX = 0x0D,
    SUMMARY_OFFSET = 0x0E,
    DATA_END = 0x0F,
};

namespace {

constexpr std::string_view magic{"\x89MCAP0\r\n", 8};

std::uint32_t length32(std::size_t size)
{
    return static_cast<std::uint32_t>(size);
}

} // namespace

void McapFile::Span::take(std::uint64_t time)
{
    first = std::min(first, time);
    last = std::max(last, time);
}

McapFile::McapFile(OutputFile& file) : m_file(file) {}

void McapFile::record(Bytes& to, OPCODE opcode, std::string_view content)
{
    to.u8(opcode);
    to.u64(content.size());
    to.raw(content);
}

Bytes McapFile::mapOf(const Metadata& metadata)
{
    Bytes pairs;
    for (const auto& [key, value] : metadata) {
        pairs.counted(key);
        pairs.counted(value);
    }
    Bytes map;
    map.counted(pairs.text());
    return map;
}

void McapFile::write(std::string_view bytes)
{
    m_crc = crcOf(m_crc, bytes);
    m_file.append(bytes);
}

void McapFile::writeRecord(OPCODE opcode, std::string_view content)
{
    Bytes bytes;
    record(bytes, opcode, content);
    write(bytes.text());
}

void McapFile::begin(std::string_view profile, std::string_view library)
{
    write(magic);
    Bytes header;
    header.counted(profile);
    header.counted(library);
    writeRecord(HEADER, header.text());
}

std::uint16_t McapFile::addSchema(std::string_view name, std::string_view encoding,
                                  std::string_view text)
{
    const auto number = static_cast<std::uint16_t>(m_schemas.size() + 1); // 0 means none
    Bytes schema;
    schema.u16(number);
    schema.counted(name);
    schema.counted(encoding);
    schema.counted(text);
    m_schemas.push_back(schema.text());
    writeRecord(SCHEMA, schema.text());
    return number;
}

std::uint16_t McapFile::addChannel(std::uint16_t schema, std::string_view topic,
                                   std::string_view encoding, const Metadata& metadata)
{
    const auto number = static_cast<std::uint16_t>(m_channels.size());
    Bytes channel;
    channel.u16(number);
    channel.u16(schema);
    channel.counted(topic);
    channel.counted(encoding);
    channel.raw(mapOf(metadata).text());
    m_channels.emplace_back();
    m_channelRecords.push_back(channel.text());
    writeRecord(CHANNEL, channel.text());
    return number;
}

void McapFile::addMetadata(std::string_view name, const Metadata& metadata)
{
    Bytes content;
    content.counted(name);
    content.raw(mapOf(metadata).text());
    const std::uint64_t offset = m_file.size();
    writeRecord(METADATA, content.text());
    Bytes index;
    index.u64(offset);
    index.u64(m_file.size() - offset);
    index.counted(name);
    m_metadataIndexes.push_back(index.text());
}

void McapFile::addMessage(std::uint16_t channel, std::uint64_t time, std::string_view message)
{
    Channel& of = m_channels[channel];
    of.index.emplace_back(time, m_messages.size());
    constexpr std::uint64_t fixed = 2 + 4 + 8 + 8;
    m_messages.u8(MESSAGE);
    m_messages.u64(fixed + message.size());
    m_messages.u16(channel);
    m_messages.u32(static_cast<std::uint32_t>(of.messages));
    m_messages.u64(time);
    m_messages.u64(time);
    m_messages.raw(message);
    ++of.messages;
    m_span.take(time);
    m_all.take(time);
    if (m_messages.size() >= chunkSize) {
        endChunk();
    }
}

void McapFile::endChunk()
{
    if (m_messages.empty()) {
        return;
    }
    Chunk chunk;
    chunk.span = m_span;
    chunk.offset = m_file.size();
    chunk.size = m_messages.size();
    Bytes content;
    content.u64(m_span.begin());
    content.u64(m_span.last);
    content.u64(chunk.size);
    content.u32(crcOf(0, m_messages.text()));
    content.counted(""); // not compressed
    content.u64(chunk.size);
    content.raw(m_messages.text());
    writeRecord(CHUNK, content.text());
    chunk.length = m_file.size() - chunk.offset;

    const std::uint64_t indexBegin = m_file.size();
    for (std::size_t i = 0; i < m_channels.size(); ++i) {
        auto& index = m_channels[i].index;
        if (index.empty()) {
            continue;
        }
        Bytes entries;
        for (const auto& [time, place] : index) {
            entries.u64(time);
            entries.u64(place);
        }
        index.clear();
        const auto channel = static_cast<std::uint16_t>(i);
        chunk.indexes.emplace_back(channel, m_file.size());
        Bytes bytes;
        bytes.u16(channel);
        bytes.counted(entries.text());
        writeRecord(MESSAGE_INDEX, bytes.text());
    }
    chunk.indexLength = m_file.size() - indexBegin;
    m_chunks.push_back(std::move(chunk));
    m_messages.clear();
    m_span = Span();
}

Bytes McapFile::chunkIndex(const Chunk& chunk) const
{
    constexpr std::size_t pair = 2 + 8;
    Bytes index;
    index.u64(chunk.span.begin());
    index.u64(chunk.span.last);
    index.u64(chunk.offset);
    index.u64(chunk.length);
    index.u32(length32(chunk.indexes.size() * pair));
    for (const auto& [channel, place] : chunk.indexes) {
        index.u16(channel);
        index.u64(place);
    }
    index.u64(chunk.indexLength);
    index.counted(""); // not compressed
    index.u64(chunk.size);
    index.u64(chunk.size);
    return index;
}

Bytes McapFile::statistics() const
{
    constexpr std::size_t pair = 2 + 8;
    std::uint64_t messages = 0;
    for (const Channel& channel : m_channels) {
        messages += channel.messages;
    }
    Bytes bytes;
    bytes.u64(messages);
    bytes.u16(static_cast<std::uint16_t>(m_schemas.size()));
    bytes.u32(length32(m_channels.size()));
    bytes.u32(0); // attachments
    bytes.u32(length32(m_metadataIndexes.size()));
    bytes.u32(length32(m_chunks.size()));
    bytes.u64(m_all.begin());
    bytes.u64(m_all.last);
    bytes.u32(length32(m_channels.size() * pair));
    for (std::size_t i = 0; i < m_channels.size(); ++i) {
        bytes.u16(static_cast<std::uint16_t>(i));
        bytes.u64(m_channels[i].messages);
    }
    return bytes;
}

/// All records of the summary, then the offset of each group of them, then the footer.
std::string McapFile::summary(std::uint64_t begin) const
{
    Bytes bytes;
    Bytes offsets;
    const auto group = [&](OPCODE opcode, const auto& add) {
        const std::size_t start = bytes.size();
        add();
        if (bytes.size() > start) {
            Bytes offset;
            offset.u8(opcode);
            offset.u64(begin + start);
            offset.u64(bytes.size() - start);
            record(offsets, SUMMARY_OFFSET, offset.text());
        }
    };
    const auto all = [&](OPCODE opcode, const std::vector<std::string>& contents) {
        group(opcode, [&] {
            for (const std::string& content : contents) {
                record(bytes, opcode, content);
            }
        });
    };
    all(SCHEMA, m_schemas);
    all(CHANNEL, m_channelRecords);
    group(STATISTICS, [&] { record(bytes, STATISTICS, statistics().text()); });
    group(CHUNK_INDEX, [&] {
        for (const Chunk& chunk : m_chunks) {
            record(bytes, CHUNK_INDEX, chunkIndex(chunk).text());
        }
    });
    all(METADATA_INDEX, m_metadataIndexes);

    const std::uint64_t offsetsBegin = begin + bytes.size();
    bytes.raw(offsets.text());
    // The checksum covers the footer up to the checksum.
    constexpr std::uint64_t footerSize = 8 + 8 + 4;
    bytes.u8(FOOTER);
    bytes.u64(footerSize);
    bytes.u64(begin);
    bytes.u64(offsetsBegin);
    bytes.u32(crcOf(0, bytes.text()));
    return bytes.text();
}

void McapFile::end()
{
    endChunk();
    Bytes dataEnd;
    dataEnd.u32(m_crc);
    writeRecord(DATA_END, dataEnd.text());
    m_file.append(summary(m_file.size()));
    m_file.append(magic);
}

} // namespace exchange
