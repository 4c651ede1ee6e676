/// @file
/// One virtual camera, for the implementations of om::Camera and om::TIVmcu. Tests use bench.h.
///
/// A virtual camera exists as long as there is a pointer to it, even after it was removed from the
/// bench. It is then permanently unplugged.
///
/// Any thread may call any operation at any time.
#pragma once

#include "base/clock.h"
#include "bench/eeprom_store.h"
#include "bench/script.h"
#include "world/config.h"
#include "world/environment.h"
#include "world/motion.h"
#include "world/sensor_source.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace om::bench {

/// Values that a program received, in the body frame.
struct Reading
{
    Vector acceleration;         ///< m/s^2, with gravity
    Vector angularVelocity;      ///< degrees per second
    std::optional<Vector> field; ///< uT, uncalibrated; none without a magnetometer
};

class VirtualCamera
{
public:
    /// @param config includes the recording if it names a replay
    /// @param id     camera id, in place of the configuration's
    VirtualCamera(const CameraConfig& config, int id, Clock& clock, std::function<Field()> field,
                  std::shared_ptr<EepromStore> eeproms);
    VirtualCamera(const VirtualCamera&) = delete;
    VirtualCamera& operator=(const VirtualCamera&) = delete;

    Clock& clock() const { return m_clock; }

    /// The configuration, with the current motion, pose, presence, firmware version and faults.
    CameraConfig config() const;
    unsigned int serialNumber() const { return m_config.serialNumber; }
    unsigned int firmwareVersion() const { return m_firmwareVersion.load(); }
    void setFirmwareVersion(unsigned int version); ///< effective from the next open() on
    MODEL model() const { return m_config.model; }
    int id() const { return m_id; }

    // Faults.

    Faults faults() const;
    /// Changes several faults at once. change() runs under the camera's lock and must not call the
    /// camera.
    void changeFaults(const std::function<void(Faults&)>& change);
    /// Counts a refusal down and returns the code with which this open() is refused; SUCCESS if it
    /// is not refused.
    ERROR_CODE takeOpenRefusal();
    ERROR_CODE takeGrabFailure(); ///< the same for grab()
    /// Counts a fault down and returns whether this read of the EEPROM differs from the written
    /// data.
    bool takeReadbackDifference();

    // Presence and use.

    bool isPlugged() const { return m_plugged.load(); }
    Nanoseconds pluggedAt() const { return m_pluggedAt.load(); } ///< start of all sensor streams
    void plug();
    void unplug(); ///< ends the current use and calls its lost()

    /// Claims the camera for one user, so that om::Camera and om::TIVmcu exclude each other.
    /// @param owner the user; release() takes the same pointer
    /// @param lost  called once, under the camera's lock, when the camera is unplugged during this
    /// use; never after release() has returned. It must not call the camera.
    /// @return IN_USE if another user has the camera, NOT_DETECTED if it is not plugged in
    ERROR_CODE claim(const void* owner, std::function<void()> lost);
    void release(const void* owner); ///< does nothing if the owner has no claim
    bool isInUse() const;

    // Truth.

    /// The body at a time, now or up to 30 s ago. If a recording is played, the values of its
    /// newest row.
    BodyState bodyAt(Nanoseconds time) const;
    bool playsRecording() const { return m_config.recording != nullptr; }
    Field field() const { return m_environment->field(); }
    /// Reading of a magnetometer without errors, uT, body frame: the sum of field and disturbance.
    Vector fieldInBody(Nanoseconds time) const;
    double airTemperature() const; ///< degrees Celsius
    void setAirTemperature(double celsius);

    // Sensor samples.

    /// The samples of the sensors, from physics or a recording. Numbers start at 0 when the camera
    /// is plugged in. Within the last 30 s the same number always returns the same sample.
    std::shared_ptr<SensorSource> source() const;

    /// The timestamp of a sample: its own time, or the time that the timestamp faults set.
    Nanoseconds reportedTime(STREAM stream, std::uint64_t number) const;

    // Stored calibration.

    /// The active calibration, from the camera's EEPROM, in sensor axes.
    MagCalibration calibration() const;
    /// Changes with each change of the active calibration.
    std::uint64_t calibrationVersion() const { return m_calibrationVersion.load(); }
    /// Writes a calibration to the EEPROM image and activates it.
    /// @return false if the image can't be written; the previous calibration stays active
    bool storeCalibration(const MagCalibration& calibration);
    /// Why the calibration is not stored or can't be read, in one line; empty without a problem.
    std::string storageComplaint() const;
    /// Activates the calibration that is now in the EEPROM image (another process may have written
    /// it).
    void reloadCalibration();

    // Scripts.

    Script<SensorsEntry>& sensorsScript() { return m_sensorsScript; }
    Script<ERROR_CODE>& grabScript() { return m_grabScript; }
    Script<IMUReaderData>& readerScript() { return m_readerScript; } ///< TIVmcu::getIMUReaderData()
    Script<IMUPose>& poseScript() { return m_poseScript; }           ///< TIVmcu::getIMUPose()
    void clearScripts();                                             ///< back to physics

    // Motion.

    MOTION motion() const { return m_motion->motion(); }
    void setMotion(MOTION motion);
    /// @param spin rad/s in the body frame; the camera continues to turn from the pose at this rate
    void setPose(const Quaternion& pose, std::chrono::nanoseconds glide, const Vector& spin = {});

    // The IMU samples since the last open() of om::Camera.

    void startCounting(std::uint64_t firstNumber);
    void countDelivered(const Reading& reading); ///< counts a new sample, and keeps its reading
    std::optional<Reading> lastReading() const;  ///< none before the first
    std::uint64_t delivered() const { return m_delivered.load(); }
    std::uint64_t produced() const; ///< count up to now, or to the unplugging

private:
    std::shared_ptr<SensorSource> makeSource(Nanoseconds start, std::uint64_t plugCount) const;

    struct Claim
    {
        const void* owner = nullptr;
        std::function<void()> lost;
    };

    /// The current motion, pose, presence, firmware version and faults are in the members below.
    const CameraConfig m_config;
    std::atomic<unsigned int> m_firmwareVersion;
    const int m_id;
    Clock& m_clock;
    const std::shared_ptr<EepromStore> m_eeproms;
    const std::shared_ptr<Environment> m_environment;
    const std::shared_ptr<MotionTimeline> m_motion;

    mutable std::mutex m_mutex; ///< guards the faults, the claim and the source
    Faults m_faults;
    Nanoseconds m_frozenAt = 0;   ///< when the timestamps were frozen
    Nanoseconds m_repeatedAt = 0; ///< time since which timestamps are repeated
    Claim m_claim;
    std::shared_ptr<SensorSource> m_source;
    std::uint64_t m_plugCount = 0; ///< number of times that it was plugged in

    std::atomic<bool> m_plugged{false};
    std::atomic<Nanoseconds> m_pluggedAt{0};
    std::atomic<Nanoseconds> m_unpluggedAt{0};

    mutable std::mutex m_calibrationMutex;
    mutable std::optional<MagCalibration> m_calibration; ///< read at the first use
    std::atomic<std::uint64_t> m_calibrationVersion{0};

    Script<SensorsEntry> m_sensorsScript{[this] { m_clock.wake(); }};
    Script<ERROR_CODE> m_grabScript{[this] { m_clock.wake(); }};
    Script<IMUReaderData> m_readerScript;
    Script<IMUPose> m_poseScript;

    std::atomic<std::uint64_t> m_firstCounted{UINT64_MAX};
    std::atomic<std::uint64_t> m_delivered{0};
    mutable std::mutex m_readingMutex;
    std::optional<Reading> m_reading; ///< reading of the last counted sample
};

} // namespace om::bench
