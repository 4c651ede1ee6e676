#include "calibration/magcalibdlg.h"

#include "calibration/mag_record.h"
#include "camera/camera_library.h"

#include <hidapi/hidapi.h>

namespace {

constexpr unsigned short vendorId = 0x7C15;
constexpr unsigned short productTivN = 0xA141;
constexpr unsigned short productTivP = 0xA241;
constexpr unsigned short productTivQ = 0xA341;

/// Attempts of one store, each a write with a read-back, before it counts as failed.
constexpr int storeAttempts = 10;

/// The first digits of a serial number are the model.
constexpr int serialsPerModel = 10000000;

/// Empty for a device that cannot be opened; hidapi has a null pointer for it.
QString serialTextOf(const hid_device_info& device)
{
    static_assert(sizeof(wchar_t) == sizeof(char32_t), "hidapi's strings are UCS-4 here");
    return QString::fromUcs4(reinterpret_cast<const char32_t*>(device.serial_number));
}

/// Completes the list entry of a device without a usable product id: it gets the ids of its serial
/// number.
void completeIds(hid_device_info& device, unsigned int serial)
{
    if (device.product_id != 0) {
        return;
    }
    device.vendor_id = vendorId;
    switch ((serial / serialsPerModel) & 0xFF) {
    case 3:
        device.product_id = productTivQ;
        break;
    case 2:
        device.product_id = productTivP;
        break;
    case 1:
        device.product_id = productTivN;
        break;
    default:
        break;
    }
}

bool hasMagnetometer(unsigned short productId)
{
    return productId == productTivP || productId == productTivQ;
}

} // namespace

void MagCalibDlg::updateOmDevList()
{
    devProductIds.clear();
    devSerials.clear();
    devFirmware.clear();

    hid_device_info* const devices = hid_enumerate(vendorId, 0);
    for (hid_device_info* device = devices; device; device = device->next) {
        const QString serialText = serialTextOf(*device);
        completeIds(*device, serialText.toUInt(nullptr, 10));
        if (!hasMagnetometer(device->product_id)) {
            continue;
        }
        devProductIds.append(device->product_id);
        devSerials.append(serialText);
        devFirmware.append(
            tr("v%1.%2").arg(device->release_number >> 8).arg(device->release_number & 0xFF));
    }
    hid_free_enumeration(devices);
}

bool MagCalibDlg::initTivMcu()
{
    updateOmDevList();

    if (!devSerials.contains(tr("%1").arg(serialNumber, 0, 10))) {
        emit cameraError(tr("TIV_P/TIV_Q with serial number %1 not detected. Please verify the "
                            "connections and retry")
                             .arg(serialNumber));
        return false;
    }

    mcu.reset(); // the old link is destroyed before the new one is created
    mcu = std::make_shared<om::TIVmcu>(
        false, vendorId, static_cast<om::MODEL>(serialNumber / serialsPerModel), false, "");

    if (mcu->open(static_cast<unsigned int>(serialNumber), false, omlib::imuRate, nullptr, nullptr,
                  true, false) != 0) {
        // The link object stays: a later start uses it as it is.
        mcuClosed = true;
        emit cameraError(
            tr("Cannot open the TIV_P/TIV_Q camera. Please verify the connections and restart"));
        return false;
    }

    if (!loadCalibData()) {
        emit cameraError(tr("Cannot correctly load calibration parameters from TIV_P/TIV_Q. Please "
                            "verify the connection."));
        return false;
    }
    updateForms();
    mcuClosed = false;
    return true;
}

bool MagCalibDlg::loadCalibData()
{
    if (!mcu && !initTivMcu()) {
        return false;
    }

    const bool wasRunning = mcu->captureRunning;
    if (wasRunning) {
        mcu->stopCapture();
    }

    mcu->updateEepromMemory(true);
    const magrecord::Calibration stored = magrecord::fromStored(mcu->storedMagCalib);
    magOffset = stored.offset;
    magScale = stored.scale;

    if (wasRunning) {
        mcu->startCapture(0.0F);
    }
    return true;
}

bool MagCalibDlg::saveCalibData()
{
    if (!mcu) {
        // A new link loads what the camera holds, which is not what is to be stored.
        const auto offset = magOffset;
        const auto scale = magScale;
        if (!initTivMcu()) {
            return false;
        }
        magOffset = offset;
        magScale = scale;
    }

    // The thread continues to poll the link, and only counts failures or gets nothing new.
    const bool wasRunning = mcu->captureRunning;
    if (wasRunning) {
        mcu->stopCapture();
    }

    omlib::MagRecord record;
    magrecord::fill(record, {magOffset, magScale});

    for (int attempt = 1;; ++attempt) {
        if (mcu->writeMagCalibInEEprom(record) != 0) {
            return false;
        }
        mcu->updateEepromMemory(true);
        if (magrecord::equal(mcu->storedMagCalib, record)) {
            break;
        }
        if (attempt == storeAttempts) {
            return false;
        }
    }

    if (wasRunning) {
        mcu->startCapture(0.0F);
    }
    calibrationPending = false;
    return true;
}
