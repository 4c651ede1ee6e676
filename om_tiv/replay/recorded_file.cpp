#include "replay/recorded_file.h"

#include "base/bytes.h"
#include "base/files.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>

namespace om::bench {

namespace {

constexpr std::array<std::uint8_t, 8> magic = {'O', 'M', 'Q', 'V', 'R', '\r', '\n', 0x1A};
constexpr std::uint32_t version = 1;
constexpr std::size_t headerBytes = 48;
constexpr std::size_t mostFrames = 10'000'000;
constexpr unsigned int mostPixels = 16384;
constexpr double highestRate = 1000.0;

/// Offsets of the header's fields.
enum OFFSET : std::size_t {
    AT_VERSION = 8,
    AT_HEADER_BYTES = 12,
    AT_FRAMES = 16,
    AT_FRAME_RATE = 20, // in 1/1000 Hz
    AT_WIDTH = 24,
    AT_HEIGHT = 28,
    AT_MODEL = 32,
    AT_SERIAL = 36,
    AT_FIRMWARE = 40,
    AT_RESERVED = 44,
};

std::uint32_t get32(const std::uint8_t* bytes)
{
    return static_cast<std::uint32_t>(getLittle(bytes, 4));
}

std::string atByte(std::size_t offset)
{
    return "byte " + std::to_string(offset) + ": ";
}

/// Empty, or the mistake in the header.
std::string parseHeader(const std::uint8_t* header, RecordedFile& recording, std::size_t& frames)
{
    if (std::memcmp(header, magic.data(), magic.size()) != 0) {
        return atByte(0) + "not a recorded file";
    }
    if (get32(header + AT_VERSION) != version) {
        return atByte(AT_VERSION) + "format version " + std::to_string(get32(header + AT_VERSION)) +
               ", expected " + std::to_string(version);
    }
    if (get32(header + AT_HEADER_BYTES) != headerBytes) {
        return atByte(AT_HEADER_BYTES) + "header of " +
               std::to_string(get32(header + AT_HEADER_BYTES)) + " bytes, expected " +
               std::to_string(headerBytes);
    }
    frames = get32(header + AT_FRAMES);
    if (frames == 0 || frames > mostFrames) {
        return atByte(AT_FRAMES) + std::to_string(frames) + " frames, expected 1 to " +
               std::to_string(mostFrames);
    }
    recording.frameRate = get32(header + AT_FRAME_RATE) / 1000.0;
    if (recording.frameRate <= 0.0 || recording.frameRate > highestRate) {
        return atByte(AT_FRAME_RATE) + "frame rate out of range";
    }
    recording.width = get32(header + AT_WIDTH);
    recording.height = get32(header + AT_HEIGHT);
    if (recording.width == 0 || recording.width > mostPixels || recording.height == 0 ||
        recording.height > mostPixels) {
        return atByte(AT_WIDTH) + "image size " + std::to_string(recording.width) + " x " +
               std::to_string(recording.height) + " out of range";
    }
    if (get32(header + AT_MODEL) > static_cast<std::uint32_t>(MODEL::TIV_S)) {
        return atByte(AT_MODEL) + "model " + std::to_string(get32(header + AT_MODEL)) +
               ", expected 0 to 5";
    }
    if (get32(header + AT_RESERVED) != 0) {
        return atByte(AT_RESERVED) + "reserved bytes are not 0";
    }
    recording.model = static_cast<MODEL>(get32(header + AT_MODEL));
    recording.serialNumber = get32(header + AT_SERIAL);
    recording.firmwareVersion = get32(header + AT_FIRMWARE);
    return {};
}

std::string unreadable()
{
    return "cannot be read: " + std::generic_category().message(errno);
}

/// Empty, or what is wrong with the frames, which follow the header.
std::string readFrames(const Descriptor& file, std::size_t frames, std::vector<Nanoseconds>& times)
{
    // In pieces: the number of frames is not reliable until the bytes have been read.
    std::array<std::uint8_t, 8 * 1024> piece{};
    while (times.size() < frames) {
        const std::size_t wanted = std::min<std::size_t>(piece.size(), 8 * (frames - times.size()));
        const auto bytes = readFully(file, piece.data(), wanted);
        if (!bytes) {
            return unreadable();
        }
        for (std::size_t at = 0; at + 8 <= *bytes; at += 8) {
            times.push_back(getLittle(piece.data() + at, 8));
        }
        if (*bytes < wanted) {
            return atByte(headerBytes + 8 * times.size()) + "the file ends after " +
                   std::to_string(times.size()) + " of " + std::to_string(frames) + " frames";
        }
    }
    const auto more = readFully(file, piece.data(), 1);
    if (!more) {
        return unreadable();
    }
    if (*more > 0) {
        return atByte(headerBytes + 8 * frames) + "bytes after the last frame";
    }
    Nanoseconds last = 0;
    for (std::size_t i = 0; i < frames; ++i) {
        if (times[i] != 0 && times[i] < last) {
            return atByte(headerBytes + 8 * i) + "the time of frame " + std::to_string(i) +
                   " lies before that of a former frame";
        }
        last = std::max(last, times[i]);
    }
    return {};
}

/// Empty, or what is wrong with the file.
std::string readWhole(const std::string& path, RecordedFile& recording)
{
    std::string reason;
    const Descriptor file = openRegularFile(path, reason);
    if (!file.valid()) {
        return "cannot be read: " + reason;
    }
    std::array<std::uint8_t, headerBytes> header{};
    const auto got = readFully(file, header.data(), header.size());
    if (!got) {
        return unreadable();
    }
    if (*got < header.size()) {
        return atByte(*got) + "the file ends within its header";
    }
    std::size_t frames = 0;
    if (std::string wrong = parseHeader(header.data(), recording, frames); !wrong.empty()) {
        return wrong;
    }
    return readFrames(file, frames, recording.frameTimes);
}

} // namespace

bool readRecordedFile(const std::string& path, RecordedFile& recording, std::string& error)
{
    RecordedFile read;
    if (const std::string wrong = readWhole(path, read); !wrong.empty()) {
        error = path + ": " + wrong;
        return false;
    }
    recording = std::move(read);
    return true;
}

bool writeRecordedFile(const std::string& path, const RecordedFile& recording, std::string& error)
{
    std::vector<std::uint8_t> bytes(headerBytes + 8 * recording.frameTimes.size());
    const auto put = [&bytes](std::size_t at, std::uint64_t value, std::size_t width) {
        putLittle(&bytes[at], value, width);
    };
    std::memcpy(bytes.data(), magic.data(), magic.size());
    put(AT_VERSION, version, 4);
    put(AT_HEADER_BYTES, headerBytes, 4);
    put(AT_FRAMES, recording.frameTimes.size(), 4);
    put(AT_FRAME_RATE, static_cast<std::uint64_t>(std::llround(recording.frameRate * 1000.0)), 4);
    put(AT_WIDTH, recording.width, 4);
    put(AT_HEIGHT, recording.height, 4);
    put(AT_MODEL, static_cast<std::uint32_t>(recording.model), 4);
    put(AT_SERIAL, recording.serialNumber, 4);
    put(AT_FIRMWARE, recording.firmwareVersion, 4);
    put(AT_RESERVED, 0, 4);
    for (std::size_t i = 0; i < recording.frameTimes.size(); ++i) {
        put(headerBytes + 8 * i, recording.frameTimes[i], 8);
    }

    const std::string temporary = path + ".part";
    const Descriptor file(
        ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    const std::string_view content(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (!file.valid() || !putInPlace(file, temporary, path, content)) {
        error = path + ": cannot be written: " + std::generic_category().message(errno);
        return false;
    }
    return true;
}

} // namespace om::bench
