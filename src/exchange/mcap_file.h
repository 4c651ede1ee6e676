/// @file
/// MCAP files: messages of several channels with their schemas, in chunks with an index.
#pragma once

#include "exchange/bytes.h"
#include "exchange/output_file.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace exchange {

/// Writes one file from begin() to end(). Memory grows only with the number of chunks, by about 200
/// bytes each. The output file reports disk errors.
class McapFile
{
public:
    using Metadata = std::map<std::string, std::string>;

    /// Approximate number of message bytes in a chunk.
    static constexpr std::size_t chunkSize = 1024 * 1024;

    explicit McapFile(OutputFile& file);

    void begin(std::string_view profile, std::string_view library);

    /// Call it before the first message. @return the schema's number
    std::uint16_t addSchema(std::string_view name, std::string_view encoding,
                            std::string_view text);
    /// Call it before the first message. @return the channel's number
    std::uint16_t addChannel(std::uint16_t schema, std::string_view topic,
                             std::string_view encoding, const Metadata& metadata);
    /// Before the first message.
    void addMetadata(std::string_view name, const Metadata& metadata);

    /// @param time ns since 1970; used as the log time and as the publish time
    void addMessage(std::uint16_t channel, std::uint64_t time, std::string_view message);

    /// Writes the last chunk, the summary and its index.
    void end();

private:
    enum OPCODE : std::uint8_t;

    struct Span
    {
        std::uint64_t first = UINT64_MAX;
        std::uint64_t last = 0;
        void take(std::uint64_t time);
        std::uint64_t begin() const { return first == UINT64_MAX ? 0 : first; }
    };
    struct Channel
    {
        std::uint64_t messages = 0;
        std::vector<std::pair<std::uint64_t, std::uint64_t>> index; ///< time, offset in the chunk
    };
    struct Chunk
    {
        Span span;
        std::uint64_t offset = 0;
        std::uint64_t length = 0;
        std::uint64_t size = 0; ///< of its messages
        std::vector<std::pair<std::uint16_t, std::uint64_t>>
            indexes; ///< channel, offset in the file
        std::uint64_t indexLength = 0;
    };

    static void record(Bytes& to, OPCODE opcode, std::string_view content);
    static Bytes mapOf(const Metadata& metadata);
    void write(std::string_view bytes);
    void writeRecord(OPCODE opcode, std::string_view content);
    void endChunk();
    std::string summary(std::uint64_t begin) const;
    Bytes chunkIndex(const Chunk& chunk) const;
    Bytes statistics() const;

    OutputFile& m_file;
    std::uint32_t m_crc = 0;            ///< of the bytes written so far
    std::vector<std::string> m_schemas; ///< records, for the summary
    std::vector<std::string> m_channelRecords;
    std::vector<std::string> m_metadataIndexes;
    std::vector<Channel> m_channels;
    Bytes m_messages; ///< of the chunk
    Span m_span;      ///< of the chunk
    Span m_all;
    std::vector<Chunk> m_chunks;
};

} // namespace exchange
