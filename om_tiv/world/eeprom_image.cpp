#include "world/eeprom_image.h"

#include "base/bytes.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace om::bench {

namespace {

constexpr char magic[4] = {'G', 'V', 'E', 'E'};
constexpr std::uint32_t formatVersion = 1;
constexpr std::size_t headerBytes = 12;
constexpr std::size_t contentBytes = 4 + 6 * 4;
constexpr std::size_t scaleAt = 16;
constexpr std::size_t offsetAt = 28;
constexpr std::size_t checksumAt = headerBytes + contentBytes;
static_assert(checksumAt + 4 == imageBytes);

std::string hex(std::uint32_t value)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", value);
    return text;
}

} // namespace

std::string imageOf(unsigned int serial, const MagCalibration& calibration)
{
    std::array<std::uint8_t, imageBytes> image{};
    std::memcpy(image.data(), magic, sizeof magic);
    putLittle(&image[4], formatVersion, 4);
    putLittle(&image[8], contentBytes, 4);
    putLittle(&image[12], serial, 4);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        putFloat(&image[scaleAt + 4 * axis], calibration.scale[axis]);
        putFloat(&image[offsetAt + 4 * axis], calibration.offset[axis]);
    }
    putLittle(&image[checksumAt], crc32(image.data(), checksumAt), 4);
    return std::string(image.begin(), image.end());
}

std::string imageDamage(const std::string& image, unsigned int serial)
{
    const std::uint8_t* const bytes = bytesOf(image);
    if (image.size() < headerBytes) {
        return "byte " + std::to_string(image.size()) + ": the file ends within its header";
    }
    if (std::memcmp(bytes, magic, sizeof magic) != 0) {
        return "byte 0: not an EEPROM image";
    }
    if (getLittle(bytes + 4, 4) != formatVersion) {
        return "byte 4: format version " + std::to_string(getLittle(bytes + 4, 4)) + ", expected " +
               std::to_string(formatVersion);
    }
    if (getLittle(bytes + 8, 4) != contentBytes) {
        return "byte 8: content length " + std::to_string(getLittle(bytes + 8, 4)) + ", expected " +
               std::to_string(contentBytes);
    }
    if (image.size() != imageBytes) {
        return "byte " + std::to_string(std::min(image.size(), imageBytes)) + ": the file has " +
               std::to_string(image.size()) + " bytes, expected " + std::to_string(imageBytes);
    }
    const auto stored = static_cast<std::uint32_t>(getLittle(bytes + checksumAt, 4));
    const std::uint32_t computed = crc32(bytes, checksumAt);
    if (stored != computed) {
        return "byte " + std::to_string(checksumAt) + ": checksum " + hex(stored) +
               " does not match the content, " + hex(computed);
    }
    if (getLittle(bytes + 12, 4) != serial) {
        return "byte 12: the image of serial number " + std::to_string(getLittle(bytes + 12, 4));
    }
    return {};
}

MagCalibration calibrationOf(const std::string& image)
{
    const std::uint8_t* const bytes = bytesOf(image);
    MagCalibration calibration;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        calibration.scale[axis] = getFloat(bytes + scaleAt + 4 * axis);
        calibration.offset[axis] = getFloat(bytes + offsetAt + 4 * axis);
    }
    return calibration;
}

} // namespace om::bench
