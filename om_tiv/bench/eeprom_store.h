/// @file
/// The EEPROM images of the virtual cameras: the stored magnetometer calibration of each serial
/// number, kept in a file between runs.
///
/// The file is SERIAL.eeprom with the bytes of an image (world/eeprom_image.h).
///
/// A write creates a file beside it, SERIAL.eeprom.XXXXXX with letters and digits for the X, and
/// renames it. File and folder are synced to the disk, so that a crash leaves the old image or the
/// new one. The writer of such a file holds a lock on it (flock()); a file without a lock is a
/// leftover of a killed process.
#pragma once

#include "world/mag_calibration.h"

#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace om::bench {

/// The folder of the images: OM_TIV_STATE_DIR, else gravimon/eeprom in XDG_STATE_HOME, else
/// ~/.local/state/gravimon/eeprom. Empty if there is no home folder either.
std::string eepromFolder();

/// The images in one folder. All operations may run on any thread. The first one removes leftovers
/// of killed writers.
class EepromStore
{
public:
    /// Receives one line without a line break.
    using Report = std::function<void(const std::string& line)>;

    /// @param folder created at the first write
    /// @param report receives each problem once; null prints it to standard error
    explicit EepromStore(std::string folder = eepromFolder(), Report report = nullptr);

    /// The calibration of a camera. The first call for a serial number reads its file, later ones
    /// return what this store has read or written. No file means neutral. A damaged file is
    /// reported, counts as neutral and is not changed until a write.
    MagCalibration read(unsigned int serial);

    /// Like read(), but reads the file again, so that a write of another process is detected.
    MagCalibration reload(unsigned int serial);

    /// Stores a calibration. If the file can't be written, the previous calibration stays;
    /// consecutive failures are reported once.
    /// @return whether it is on the disk
    bool write(unsigned int serial, const MagCalibration& calibration);

    /// The bytes of the stored image; on failure empty, with the problem in one line.
    std::string image(unsigned int serial, std::string& problem) const;

    /// Why the calibration of a camera was not stored or its image can't be used, in one line with
    /// what to do; empty without a problem. Does not wait for a write.
    std::string complaint(unsigned int serial) const;

    const std::string& folder() const { return m_folder; }
    std::string path(unsigned int serial) const;

private:
    struct Image
    {
        MagCalibration calibration;
        std::string reported; ///< the damage reported last
    };

    struct Complaint
    {
        std::string damage;    ///< of the image
        std::string notStored; ///< reason of the last failed write
    };

    MagCalibration load(unsigned int serial, Image& image);
    void removeLeftovers();
    void save(unsigned int serial, const MagCalibration& calibration) const;

    std::string m_folder;
    Report m_report;
    std::mutex m_mutex; ///< guards the following members and the order of the writes
    std::map<unsigned int, Image> m_images;
    bool m_unwritableReported = false;
    bool m_tidied = false; ///< leftovers of killed writers have been removed

    mutable std::mutex m_complaintMutex; ///< guards the complaints; never held during a write
    std::map<unsigned int, Complaint> m_complaints;
};

} // namespace om::bench
