#include "calibration/magcalibdlg.h"

#include "calibration/orientcount.h"
#include "calibration/sample_math.h"
#include "camera/camera_library.h"

#include <chrono>
#include <cstdint>

namespace {

/// Number of consecutive failed reads after which the camera counts as lost.
constexpr int failuresTolerated = 100;

} // namespace

void MagCalibDlg::magDataGrabThread()
{
    grabStop = false;
    if (!mcu->captureRunning) {
        mcu->startCapture(0.0F);
    }
    orientCount = std::make_shared<OrientCount>();
    if (grabStop) {
        grabRunning = false;
        grabBegun.release();
        return;
    }

    double previousMs = 0.0;
    std::uint16_t failures = 0;
    grabRunning = true;
    grabBegun.release();
    do {
        grabRunning = true;
        const omlib::McuRecord record = mcu->getIMUReaderData();
        if (!samplemath::isGood(record)) {
            failures = static_cast<std::uint16_t>((failures + 1) & 0xFFFF);
            if (failures > failuresTolerated) {
                // The thread ends here and stays unjoined; see the destructor.
                grabRunning = false;
                emit cameraError(tr("Error retrieving sensors data"));
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            continue;
        }
        // Nothing new: the link is polled again at once, as fast as it answers.
        if (omlib::magStateOf(record) == 1) {
            continue;
        }
        const double nowMs = samplemath::millisecondsOf(omlib::ticksOf(record));
        if (nowMs == previousMs) {
            continue;
        }

        const samplemath::Sample sample = samplemath::sampleOf(record);
        sampleRate = samplemath::rateBetween(previousMs, nowMs);
        if (calibrating) {
            const std::lock_guard<std::mutex> lock(grabMutex);
            rawX.append(sample.x);
            rawY.append(sample.y);
            rawZ.append(sample.z);
        }

        readHeading();

        const std::int64_t pause = samplemath::pauseMs(sampleRate);
        if (pause > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(pause));
        }
        previousMs = nowMs;
        failures = 0;
    } while (!grabStop);
    grabRunning = false;
}
