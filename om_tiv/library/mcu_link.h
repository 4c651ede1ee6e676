/// @file
/// The implementation of om::TIVmcu: its use of a virtual camera and its records.
#pragma once

#include "bench/bench.h"
#include "bench/virtual_camera.h"
#include "world/heading.h"

#include <om_tiv/mcu.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>

namespace om {

class TIVmcu::Impl
{
public:
    /// One use of a camera, from open() to close().
    struct Session
    {
        std::shared_ptr<bench::VirtualCamera> camera;
        std::shared_ptr<bench::SensorSource> source;
        bench::Nanoseconds start = 0; ///< of the microcontroller's ticks: the opening
        bool poses = false;
        bench::Vector accelerationBias;    ///< sensor axes, m/s^2
        bench::Vector angularVelocityBias; ///< sensor axes, degrees per second
        std::atomic<bool> lost{false};

        bool answers() const { return !lost.load() && !camera->faults().mcuSilent; }
        bool hasMagnetometer() const
        {
            return source->has(bench::STREAM::MAGNETOMETER) && !camera->faults().magnetometerAbsent;
        }
    };

    Impl(bool verbose_, unsigned short vendorId_, bool bootloader_, std::string path_)
        : verbose(verbose_), vendorId(vendorId_), bootloader(bootloader_), path(std::move(path_))
    {}

    /// Claims the camera. SUCCESS with the session, or the reason of the failure.
    ERROR_CODE openSession(unsigned int serial, std::shared_ptr<Session>& opened) const;
    bool closeSession();         ///< whether there was one
    unsigned int serialNumber(); ///< of the open link, or 0
    ERROR_CODE writeCalibration(const bench::MagCalibration& calibration);
    /// The open link whose microcontroller answers, or null.
    std::shared_ptr<Session> answering();
    /// Like answering(), but only if capture runs. For the readers.
    std::shared_ptr<Session> streaming();

    /// The record of the sensors; one without data if capture was stopped in the meantime.
    IMUReaderData physicalRecord(const std::shared_ptr<Session>& of);
    /// Stores a delivered record for rememberedRecord().
    void remember(const std::shared_ptr<Session>& of, const IMUReaderData& data);
    /// The answer of an open link while capture is stopped: the last record, without new data. A
    /// record without data if there is none, or no answering link.
    IMUReaderData rememberedRecord();
    IMUPose physicalPose(const std::shared_ptr<Session>& of, int sensors);
    void remember(const std::shared_ptr<Session>& of, const IMUPose& pose);
    IMUPose rememberedPose(); ///< like rememberedRecord()
    /// Waits for the time of a USB transfer, if there is an open link with a microcontroller that
    /// answers.
    void transfer();
    /// Passes the past readings to the monitor, so that no pose record has to wait for that. Under
    /// the mutex.
    void catchUp();

    void log(bench::CallRecord record, bench::CALL call, unsigned int serial) const;
    void report(unsigned int serial, const char* what) const;

    const bool verbose;
    const unsigned short vendorId;
    const bool bootloader;
    const std::string path;

    std::mutex commands; ///< for operations that change the link or the EEPROM: one at a time
    bool writtenSinceRead = false; ///< guarded by commands
    unsigned int differences = 0;  ///< number of reads that were changed; guarded by commands

    std::mutex mutex;            ///< guards the following members; held briefly
    std::atomic<int> waiting{0}; ///< commands that wait for the mutex
    std::shared_ptr<Session> session;
    bool capturing = false;
    bench::Nanoseconds period = 0;
    IMUReaderData record;                         ///< the last one made
    IMUReaderData delivered;                      ///< the last one returned to the caller
    IMUPose deliveredPose;                        ///< likewise
    std::optional<bench::Nanoseconds> recordMade; ///< its time
    std::optional<std::uint64_t> recordImu;       ///< number of its IMU sample
    std::optional<std::uint64_t> deliveredMag;    ///< number of the last new reading
    bench::HeadingMonitor monitor;
    std::optional<std::uint64_t> monitoredMag; ///< number of the monitor's newest reading
    bool isJudged = false;                     ///< the quality belongs to this reading
    bench::HeadingQuality quality;
    std::uint64_t qualityVersion = 0; ///< of the calibration that the quality belongs to

    /// Locks the mutex for a command. A reader that polls without a pause lets it pass first.
    class CommandLock
    {
    public:
        explicit CommandLock(Impl& impl) : m_impl(impl)
        {
            ++m_impl.waiting;
            m_impl.mutex.lock();
            --m_impl.waiting;
        }
        ~CommandLock() { m_impl.mutex.unlock(); }
        CommandLock(const CommandLock&) = delete;
        CommandLock& operator=(const CommandLock&) = delete;

    private:
        Impl& m_impl;
    };

    /// Locks the mutex for a reader.
    std::unique_lock<std::mutex> readerLock()
    {
        while (waiting.load() > 0) {
            std::this_thread::yield();
        }
        return std::unique_lock<std::mutex>(mutex);
    }

private:
    /// Passes all readings up to the newest one to the monitor.
    void feedMonitor(const Session& of, std::uint64_t newest, bench::Nanoseconds now);
    /// The same, and returns its judgement of the active calibration.
    bench::HeadingQuality judge(const Session& of, std::uint64_t newest, bench::Nanoseconds now);
};

} // namespace om
