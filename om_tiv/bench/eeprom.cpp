#include "bench/eeprom.h"

#include "base/files.h"
#include "base/one_line.h"

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace om::bench {

namespace {

constexpr char magic[4] = {'G', 'V', 'E', 'E'};
constexpr std::uint32_t formatVersion = 1;
constexpr std::size_t headerBytes = 12;
constexpr std::size_t contentBytes = 4 + 6 * 4;
constexpr std::size_t checksumAt = headerBytes + contentBytes;
constexpr std::size_t fileBytes = checksumAt + 4;

using FileImage = std::array<std::uint8_t, fileBytes>;

void put32(FileImage& image, std::size_t at, std::uint32_t value)
{
    for (std::size_t i = 0; i < 4; ++i) {
        image[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

std::uint32_t get32(const std::uint8_t* image)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        value |= static_cast<std::uint32_t>(image[i]) << (8 * i);
    }
    return value;
}

void putFloat(FileImage& image, std::size_t at, float value)
{
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    put32(image, at, bits);
}

float getFloat(const std::uint8_t* image)
{
    const std::uint32_t bits = get32(image);
    float value = 0.0F;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

FileImage encode(unsigned int serial, const MagCalibration& calibration)
{
    FileImage image{};
    std::memcpy(image.data(), magic, sizeof magic);
    put32(image, 4, formatVersion);
    put32(image, 8, contentBytes);
    put32(image, 12, serial);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        putFloat(image, 16 + 4 * axis, calibration.scale[axis]);
        putFloat(image, 28 + 4 * axis, calibration.offset[axis]);
    }
    put32(image, checksumAt, crc32(image.data(), checksumAt));
    return image;
}

std::string hex(std::uint32_t value)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", value);
    return text;
}

/// The content of a file, up to slightly more than the size of an image. @param problem why it
/// can't be read
std::string readBytes(const Descriptor& file, std::string& problem)
{
    std::string bytes(2 * fileBytes, '\0');
    std::size_t have = 0;
    ssize_t got = 0;
    do {
        got = ::read(file.get(), bytes.data() + have, bytes.size() - have);
        have += got > 0 ? static_cast<std::size_t>(got) : 0;
    } while ((got > 0 && have < bytes.size()) || (got < 0 && errno == EINTR));
    bytes.resize(have);
    if (got < 0) {
        problem = std::generic_category().message(errno);
    }
    return bytes;
}

const std::uint8_t* unsignedBytes(const std::string& bytes)
{
    return reinterpret_cast<const std::uint8_t*>(bytes.data());
}

/// Whether it is the name of a writer's temporary file.
bool isTemporary(std::string_view name)
{
    constexpr std::string_view middle = ".eeprom.";
    const std::size_t at = name.find(middle);
    if (at == std::string_view::npos) {
        return false;
    }
    const std::string_view end = name.substr(at + middle.size());
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    const auto isAlphanumeric = [&](char c) {
        return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    };
    return at > 0 && std::all_of(name.begin(), name.begin() + at, isDigit) && end.size() == 6 &&
           std::all_of(end.begin(), end.end(), isAlphanumeric);
}

/// A new locked file beside the image; invalid with errno on failure.
Descriptor makeTemporary(const std::string& name, std::string& temporary)
{
    for (;;) {
        temporary = name + ".XXXXXX";
        Descriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
        if (!file.valid()) {
            return file;
        }
        struct stat status = {};
        const bool locked = ::flock(file.get(), LOCK_EX | LOCK_NB) == 0;
        // Until the new file is locked, another process may remove it as a leftover. On a file
        // system without locks leftovers are not removed.
        const bool taken = locked ? ::fstat(file.get(), &status) == 0 && status.st_nlink == 0
                                  : errno == EWOULDBLOCK;
        if (!taken) {
            return file;
        }
    }
}

[[noreturn]] void fail(const std::string& path)
{
    throw std::runtime_error(path + ": " + std::generic_category().message(errno));
}

} // namespace

std::uint32_t crc32(const std::uint8_t* data, std::size_t length)
{
    std::uint32_t crc = 0xFFFFFFFFU;
    for (std::size_t i = 0; i < length; ++i) {
        crc ^= data[i];
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1U) != 0U ? 0xEDB88320U : 0U);
        }
    }
    return ~crc;
}

std::string imageDamage(const std::string& image, unsigned int serial)
{
    const std::uint8_t* const bytes = unsignedBytes(image);
    if (image.size() < headerBytes) {
        return "byte " + std::to_string(image.size()) + ": the file ends within its header";
    }
    if (std::memcmp(bytes, magic, sizeof magic) != 0) {
        return "byte 0: not an EEPROM image";
    }
    if (get32(bytes + 4) != formatVersion) {
        return "byte 4: format version " + std::to_string(get32(bytes + 4)) + ", expected " +
               std::to_string(formatVersion);
    }
    if (get32(bytes + 8) != contentBytes) {
        return "byte 8: content length " + std::to_string(get32(bytes + 8)) + ", expected " +
               std::to_string(contentBytes);
    }
    if (image.size() != fileBytes) {
        return "byte " + std::to_string(std::min(image.size(), fileBytes)) + ": the file has " +
               std::to_string(image.size()) + " bytes, expected " + std::to_string(fileBytes);
    }
    const std::uint32_t stored = get32(bytes + checksumAt);
    const std::uint32_t computed = crc32(bytes, checksumAt);
    if (stored != computed) {
        return "byte " + std::to_string(checksumAt) + ": checksum " + hex(stored) +
               " does not match the content, " + hex(computed);
    }
    if (get32(bytes + 12) != serial) {
        return "byte 12: the image of serial number " + std::to_string(get32(bytes + 12));
    }
    return {};
}

std::string eepromFolder()
{
    if (const char* folder = std::getenv("OM_TIV_STATE_DIR"); folder != nullptr && *folder != 0) {
        return folder;
    }
    // The XDG base directory rules require to ignore a relative path.
    if (const char* state = std::getenv("XDG_STATE_HOME"); state != nullptr && *state == '/') {
        return std::string(state) + "/gravimon/eeprom";
    }
    const char* home = std::getenv("HOME");
    std::array<char, 16384> strings;
    passwd entry;
    if (home == nullptr || *home == 0) {
        passwd* user = nullptr;
        ::getpwuid_r(::getuid(), &entry, strings.data(), strings.size(), &user);
        home = user != nullptr ? user->pw_dir : nullptr;
    }
    return home != nullptr ? std::string(home) + "/.local/state/gravimon/eeprom" : std::string();
}

EepromStore::EepromStore(std::string folder, Report report)
    : m_folder(std::move(folder)), m_report(std::move(report))
{
    while (m_folder.size() > 1 && m_folder.back() == '/') {
        m_folder.pop_back();
    }
    if (!m_report) {
        m_report = [](const std::string& line) {
            std::fprintf(stderr, "om_tiv: %s\n", oneLine(line).c_str());
        };
    }
}

std::string EepromStore::path(unsigned int serial) const
{
    return m_folder + "/" + std::to_string(serial) + ".eeprom";
}

MagCalibration EepromStore::read(unsigned int serial)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    removeLeftovers();
    const auto [image, isNew] = m_images.try_emplace(serial);
    return isNew ? load(serial, image->second) : image->second.calibration;
}

MagCalibration EepromStore::reload(unsigned int serial)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    removeLeftovers();
    return load(serial, m_images[serial]);
}

MagCalibration EepromStore::load(unsigned int serial, Image& image)
{
    image.calibration = MagCalibration();
    if (m_folder.empty()) {
        return image.calibration;
    }
    std::string damage;
    std::string bytes;
    if (const Descriptor file = openRegularFile(path(serial), damage); file.valid()) {
        bytes = readBytes(file, damage);
    } else if (errno == ENOENT || errno == ENOTDIR) {
        return image.calibration;
    }
    if (damage.empty()) {
        damage = imageDamage(bytes, serial);
    }
    if (damage.empty()) {
        image.reported.clear();
        for (std::size_t axis = 0; axis < 3; ++axis) {
            image.calibration.scale[axis] = getFloat(unsignedBytes(bytes) + 16 + 4 * axis);
            image.calibration.offset[axis] = getFloat(unsignedBytes(bytes) + 28 + 4 * axis);
        }
    } else if (image.reported != damage) {
        image.reported = damage;
        m_report(path(serial) + ": " + damage +
                 "; the camera counts as not calibrated until a calibration is stored");
    }
    return image.calibration;
}

bool EepromStore::write(unsigned int serial, const MagCalibration& calibration)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    removeLeftovers();
    try {
        save(serial, calibration);
    } catch (const std::runtime_error& error) {
        if (!m_unwritableReported) {
            m_unwritableReported = true;
            m_report(std::string(error.what()) + "; the calibration was not stored");
        }
        return false;
    }
    m_unwritableReported = false;
    m_images[serial] = {calibration, {}};
    return true;
}

std::string EepromStore::image(unsigned int serial, std::string& problem) const
{
    problem.clear();
    std::string bytes;
    if (const Descriptor file = openRegularFile(path(serial), problem); file.valid()) {
        bytes = readBytes(file, problem);
    } else if (errno == ENOENT || errno == ENOTDIR) {
        problem = "no image is kept for " + std::to_string(serial) + " (" + path(serial) + ")";
        return {};
    }
    if (problem.empty()) {
        problem = imageDamage(bytes, serial);
    }
    if (!problem.empty()) {
        problem.insert(0, path(serial) + ": ");
        bytes.clear();
    }
    return bytes;
}

void EepromStore::removeLeftovers()
{
    if (std::exchange(m_tidied, true) || m_folder.empty()) {
        return;
    }
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(m_folder.c_str()), &::closedir);
    while (const dirent* const entry = folder ? ::readdir(folder.get()) : nullptr) {
        if (isTemporary(entry->d_name)) {
            const std::string name = m_folder + "/" + entry->d_name;
            std::string ignored;
            const Descriptor file = openRegularFile(name, ignored);
            if (file.valid() && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0) {
                ::unlink(name.c_str());
            }
        }
    }
}

void EepromStore::save(unsigned int serial, const MagCalibration& calibration) const
{
    if (m_folder.empty()) {
        throw std::runtime_error("no folder for the EEPROM images (set OM_TIV_STATE_DIR)");
    }
    if (const std::string part = makeFolders(m_folder); !part.empty()) {
        fail(part);
    }
    const std::string name = path(serial);
    std::string temporary;
    const Descriptor file = makeTemporary(name, temporary);
    if (!file.valid()) {
        fail(m_folder);
    }
    const FileImage image = encode(serial, calibration);
    std::size_t written = 0;
    while (written < image.size()) {
        const ssize_t got = ::write(file.get(), image.data() + written, image.size() - written);
        if (got < 0 && errno != EINTR) {
            break;
        }
        written += got > 0 ? static_cast<std::size_t>(got) : 0;
    }
    // Closing would release the lock.
    if (written < image.size() || ::fsync(file.get()) != 0 ||
        ::rename(temporary.c_str(), name.c_str()) != 0) {
        const int reason = errno;
        ::unlink(temporary.c_str());
        errno = reason;
        fail(name);
    }
    // The new name must reach the disk too. If a file system can't sync a folder, nothing more can
    // be done.
    const Descriptor folder(::open(m_folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.get() >= 0) {
        ::fsync(folder.get());
    }
}

} // namespace om::bench
