#include "bench/eeprom_store.h"

#include "base/files.h"
#include "base/one_line.h"
#include "world/eeprom_image.h"

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
#include <memory>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace om::bench {

namespace {

/// Of a file that is longer than an image, the length is wrong.
constexpr std::size_t mostBytes = 2 * imageBytes;

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
    const auto bytes = readFile(path(serial), mostBytes, damage);
    if (bytes) {
        damage = imageDamage(*bytes, serial);
    } else if (errno == ENOENT || errno == ENOTDIR) {
        damage.clear();
    }
    std::string line;
    if (damage.empty()) {
        image.calibration = bytes ? calibrationOf(*bytes) : MagCalibration();
    } else {
        line = path(serial) + ": " + damage +
               "; the camera counts as not calibrated until a calibration is stored";
        if (image.reported != damage) {
            m_report(line);
        }
    }
    image.reported = damage;
    const std::lock_guard<std::mutex> complaintLock(m_complaintMutex);
    m_complaints[serial].damage = line;
    return image.calibration;
}

bool EepromStore::write(unsigned int serial, const MagCalibration& calibration)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    removeLeftovers();
    try {
        save(serial, calibration);
    } catch (const std::runtime_error& error) {
        const std::string line = std::string(error.what()) +
                                 "; the calibration was not stored: make the folder writable or "
                                 "set OM_TIV_STATE_DIR, and store it again";
        if (!m_unwritableReported) {
            m_unwritableReported = true;
            m_report(line);
        }
        const std::lock_guard<std::mutex> complaintLock(m_complaintMutex);
        m_complaints[serial].notStored = line;
        return false;
    }
    m_unwritableReported = false;
    m_images[serial] = {calibration, {}};
    const std::lock_guard<std::mutex> complaintLock(m_complaintMutex);
    m_complaints.erase(serial);
    return true;
}

std::string EepromStore::complaint(unsigned int serial) const
{
    const std::lock_guard<std::mutex> lock(m_complaintMutex);
    const auto found = m_complaints.find(serial);
    if (found == m_complaints.end()) {
        return {};
    }
    const Complaint& complaint = found->second;
    return complaint.notStored.empty() ? complaint.damage : complaint.notStored;
}

std::string EepromStore::image(unsigned int serial, std::string& problem) const
{
    problem.clear();
    const auto bytes = readFile(path(serial), mostBytes, problem);
    if (bytes) {
        problem = imageDamage(*bytes, serial);
    } else if (errno == ENOENT || errno == ENOTDIR) {
        problem = "no image is kept for " + std::to_string(serial) + " (" + path(serial) + ")";
        return {};
    }
    if (!problem.empty()) {
        problem.insert(0, path(serial) + ": ");
        return {};
    }
    return *bytes;
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
    if (!putInPlace(file, temporary, name, imageOf(serial, calibration))) {
        fail(name);
    }
}

} // namespace om::bench
