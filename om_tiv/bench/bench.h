/// @file
/// The virtual bench's control within the process: cameras, clock, faults, scripts, call log.
///
/// The library uses one bench, theBench() (library/the_bench.h). A test starts with reset() and
/// adds its cameras:
///
///     auto& bench = om::bench::theBench();
///     bench.reset();
///     bench.clock().setManual(1'000 * om::bench::nsPerS);
///     om::bench::CameraConfig config;
///     config.model = om::MODEL::TIV_P;
///     config.serialNumber = 20000001;
///     bench.addCamera(config);
///
/// Threads: all operations may run on any thread, at the same time as each other and as those of
/// the library. An operation on an unknown serial number does nothing and returns false, 0 or an
/// empty value.
#pragma once

#include "base/clock.h"
#include "bench/call_log.h"
#include "world/config.h"
#include "world/geometry.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace om::bench {

class VirtualCamera;
class EepromStore;
class Loader;
struct MagCalibration;

/// The current state of a camera.
struct CameraStatus
{
    unsigned int serialNumber = 0;
    int id = -1;
    MODEL model = MODEL::UNKNOWN;
    bool plugged = false;
    bool inUse = false; ///< open in om::Camera or om::TIVmcu
    MOTION motion = MOTION::AT_REST;
};

/// The body of a camera, without the errors of its sensors.
struct Truth
{
    Quaternion pose;        ///< body to world (see geometry.h)
    double heading = 0.0;   ///< radians clockwise from magnetic north, [0, 2 pi)
    Vector field;           ///< uT, body frame
    Vector angularVelocity; ///< rad/s, body frame
    Vector specificForce;   ///< m/s^2, body frame
    int movingState = 0;    ///< 0 static, 1 moving, 2 falling
};

/// IMU samples since the last open() of om::Camera.
struct ImuCounters
{
    std::uint64_t produced = 0;  ///< by the sensor, until now or until the loss of the camera
    std::uint64_t delivered = 0; ///< returned by getSensorsData(), each counted once
};

class Bench
{
public:
    Bench();
    ~Bench();
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    // The bench as a whole.

    /// Resets to an empty bench with the real clock and the default field. The log is cleared and
    /// on, all hooks and other log settings are reset, and no recording is read any more. Cameras
    /// of the bench are unplugged for their users. EEPROM images are read again, from the folder
    /// that the environment then names.
    void reset();

    /// Replaces the cameras on the bench by those of a bench file (docs/bench-file.md). After a
    /// mistake the bench has no cameras and error is one line, FILE:LINE: KEY: REASON.
    bool loadFile(const std::string& path, std::string& error);
    /// The same without waiting for recordings that the file names: they are read in the
    /// background, and all cameras of the file appear afterwards. Mistakes are reported to standard
    /// error and by problem().
    void startLoading(const std::string& path);
    /// The mistake in the bench file, as in loadFile(); empty without a mistake.
    std::string problem() const;
    /// Reads recordings in the background.
    Loader& loader();
    /// The default bench: 31415926 (TIV_Q), 27182818 (TIV_P), 14142135 (TIV_N), in this order.
    void loadDefault();

    Clock& clock();
    CallLog& log(); ///< off before the first reset()

    Field field() const;
    void setField(const Field& field);

    // Cameras.

    /// Appends a camera. If it names a replay without the recording, the recording is read first,
    /// which may take long. False if the serial number is already on the bench, or the recording
    /// can't be played (with one line on standard error). An id is taken as it is, also one of
    /// another camera.
    bool addCamera(const CameraConfig& config);
    bool removeCamera(unsigned int serial); ///< unplugs it first
    bool plug(unsigned int serial);
    bool unplug(unsigned int serial);

    std::vector<unsigned int> serialNumbers() const; ///< in the bench's order, plugged or not
    std::vector<CameraStatus> status() const;
    CameraConfig config(unsigned int serial) const; ///< with the current motion, plugged and faults
    Truth truth(unsigned int serial) const;         ///< now
    Truth truthAt(unsigned int serial, Nanoseconds time) const; ///< up to 30 s ago
    ImuCounters imuCounters(unsigned int serial) const;

    bool setMotion(unsigned int serial, MOTION motion);
    /// Turns the body to the pose and holds it there. The turn takes the glide's time on the
    /// bench's clock, so that the angular velocity stays finite; 0 sets the pose at once.
    bool setPose(unsigned int serial, const Quaternion& pose,
                 std::chrono::nanoseconds glide = std::chrono::milliseconds(400));

    Faults faults(unsigned int serial) const;
    bool setFaults(unsigned int serial, const Faults& faults);
    /// Changes the faults in one step: [](Faults& f) { f.grabFailures = 3; }. change() must not
    /// call back.
    bool changeFaults(unsigned int serial, const std::function<void(Faults&)>& change);

    MagCalibration calibration(unsigned int serial) const;
    /// Stores a calibration in the EEPROM image and activates it (MagCalibration:
    /// world/mag_calibration.h).
    /// @return false if the image can't be written; the previous calibration then stays active
    bool storeCalibration(unsigned int serial, const MagCalibration& calibration);

    /// The camera itself; null if it is not on the bench. Its script members define exact sequences
    /// for getSensorsData(), grab(), getIMUReaderData() and getIMUPose(); their types are in
    /// bench/virtual_camera.h:
    ///     bench.camera(serial)->grabScript().set(
    ///         {ERROR_CODE::SUCCESS, ERROR_CODE::CAMERA_GONE}, AFTER::REPEAT_LAST);
    std::shared_ptr<VirtualCamera> camera(unsigned int serial) const;
    std::vector<std::shared_ptr<VirtualCamera>> cameras() const;

    // Hooks.

    /// Called in om::Camera::getDeviceList(), before the list is created, on the caller's thread
    /// and without a lock: it may block.
    void setDeviceListHook(std::function<void()> hook);
    /// Called in om::Camera::open(), at its start, on the caller's thread and without a lock.
    void setOpenHook(std::function<void(const InitParameters&)> hook);
    /// Number of getDeviceList() calls during an open() since reset(); it must stay 0.
    int listsDuringOpen() const;

    // For the library.

    /// Marks an open() in progress and runs its hook.
    class OpenScope
    {
    public:
        OpenScope(Bench& bench, const InitParameters& parameters);
        ~OpenScope();
        OpenScope(const OpenScope&) = delete;
        OpenScope& operator=(const OpenScope&) = delete;

    private:
        Bench& m_bench;
    };

    /// Marks a getDeviceList() in progress and runs its hook.
    class ListScope
    {
    public:
        explicit ListScope(Bench& bench);
        ~ListScope();
        ListScope(const ListScope&) = delete;
        ListScope& operator=(const ListScope&) = delete;

    private:
        Bench& m_bench;
    };

    /// Whether an open camera has the fault of too little GPU memory.
    bool isGpuMemoryShort() const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace om::bench
