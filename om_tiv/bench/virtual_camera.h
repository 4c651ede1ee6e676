/// @file
/// One virtual camera, as the implementations of om::Camera and om::TIVmcu see it. Tests use
/// bench.h.
///
/// A virtual camera lives as long as somebody holds it, also after it was taken off the bench; it
/// is then unplugged for ever.
///
/// Threads: all operations may run on any thread, beside each other.
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

/// What a program was given, in the body frame.
struct Reading
{
    Vector acceleration;         ///< m/s^2, with gravity
    Vector angularVelocity;      ///< degrees per second
    std::optional<Vector> field; ///< uT, uncalibrated; none without a magnetometer
};

class VirtualCamera
{
public:
    /// @param config   with the recording where it names a replay
    /// @param position place on the bench, the camera id where the configuration has none
    VirtualCamera(const CameraConfig& config, int position, Clock& clock,
                  std::function<Field()> field, std::shared_ptr<EepromStore> eeproms);
    VirtualCamera(const VirtualCamera&) = delete;
    VirtualCamera& operator=(const VirtualCamera&) = delete;

    Clock& clock() const { return m_clock; }

    /// As configured; motion, pose, plugged, firmware and faults as they are now.
    CameraConfig config() const;
    unsigned int serialNumber() const { return m_config.serialNumber; }
    unsigned int firmwareVersion() const { return m_firmwareVersion.load(); }
    void setFirmwareVersion(unsigned int version); ///< seen at the next open()
    MODEL model() const { return m_config.model; }
    int id() const { return m_id; }

    // ---- Faults -------------------------------------------------------------------------------

    Faults faults() const;
    /// Changes the faults in one go; what change() leaves alone stays as it is. change() runs under
    /// the camera's lock and must not call back.
    void changeFaults(const std::function<void(Faults&)>& change);
    /// Counts one down: the code with which this open() is refused, SUCCESS where it is not.
    ERROR_CODE takeOpenRefusal();
    ERROR_CODE takeGrabFailure(); ///< the same for grab()
    /// Counts one down: whether this read of the EEPROM differs from what was written.
    bool takeReadbackDifference();

    // ---- Presence and use ---------------------------------------------------------------------

    bool isPlugged() const { return m_plugged.load(); }
    Nanoseconds pluggedAt() const { return m_pluggedAt.load(); } ///< start of all sensor streams
    void plug();
    void unplug(); ///< ends the use in force and calls its lost()

    /// Takes the camera for one user; om::Camera and om::TIVmcu exclude each other by it.
    /// @param owner the user, as a name for release()
    /// @param lost  called once, under the camera's lock, when the camera is unplugged in this use;
    ///              not called any more once release() has returned. It must not call back.
    /// @return IN_USE when another user has the camera, NOT_DETECTED when it is not plugged in
    ERROR_CODE claim(const void* owner, std::function<void()> lost);
    void release(const void* owner); ///< nothing where the owner has no claim
    bool isInUse() const;

    // ---- Truth --------------------------------------------------------------------------------

    /// The body at a time, today or up to 30 s ago. Of a recording that is played, its newest row.
    BodyState bodyAt(Nanoseconds time) const;
    bool playsRecording() const { return m_config.recording != nullptr; }
    Field field() const { return m_environment->field(); }
    /// What a magnetometer without errors would read, uT, body frame: field and disturbance, turned
    /// into the body.
    Vector fieldInBody(Nanoseconds time) const;
    double airTemperature() const; ///< degrees Celsius
    void setAirTemperature(double celsius);

    // ---- Sensor samples -----------------------------------------------------------------------

    /// The samples of the sensors: physics or a recording. Numbers count from 0 at plugging in, and
    /// the same number always returns the same sample.
    std::shared_ptr<SensorSource> source() const;

    /// The time that a sample's timestamp shows: its own, or that of the timestamp faults.
    Nanoseconds reportedTime(STREAM stream, std::uint64_t number) const;

    // ---- Stored calibration -------------------------------------------------------------------

    /// The calibration in force, of the camera's EEPROM, sensor axes.
    MagCalibration calibration() const;
    /// Changes with every change of the calibration in force.
    std::uint64_t calibrationVersion() const { return m_calibrationVersion.load(); }
    /// Puts a calibration into the EEPROM image and in force.
    /// @return false, with the former one still in force, where the image can't be written
    bool storeCalibration(const MagCalibration& calibration);
    /// Puts in force what the EEPROM image holds now (another process may have written it).
    void reloadCalibration();

    // ---- Scripts ------------------------------------------------------------------------------

    Script<SensorsEntry>& sensorsScript() { return m_sensorsScript; }
    Script<ERROR_CODE>& grabScript() { return m_grabScript; }
    Script<IMUReaderData>& readerScript() { return m_readerScript; } ///< TIVmcu::getIMUReaderData()
    Script<IMUPose>& poseScript() { return m_poseScript; }           ///< TIVmcu::getIMUPose()
    void clearScripts();                                             ///< back to physics

    // ---- Motion -------------------------------------------------------------------------------

    MOTION motion() const { return m_motion->motion(); }
    void setMotion(MOTION motion);
    /// @param spin rad/s in the body frame, at which it turns on from the pose
    void setPose(const Quaternion& pose, std::chrono::nanoseconds glide, const Vector& spin = {});

    // ---- The IMU samples since the last open() of om::Camera ------------------------------------

    void startCounting(std::uint64_t firstNumber);
    void countDelivered(const Reading& reading); ///< a new one, and what was read with it
    std::optional<Reading> lastReading() const;  ///< none before the first
    std::uint64_t delivered() const { return m_delivered.load(); }
    std::uint64_t produced() const; ///< up to now or to the unplugging

private:
    std::shared_ptr<SensorSource> makeSource(Nanoseconds start, std::uint64_t turn) const;

    struct Claim
    {
        const void* owner = nullptr;
        std::function<void()> lost;
    };

    /// Motion, pose, plugged, firmware and faults stand in the members below.
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
    Nanoseconds m_repeatedAt = 0; ///< since when timestamps are repeated
    Claim m_claim;
    std::shared_ptr<SensorSource> m_source;
    std::uint64_t m_turns = 0; ///< how often it was plugged in

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
    std::optional<Reading> m_reading; ///< of the sample counted last
};

} // namespace om::bench
