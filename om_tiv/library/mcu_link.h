/// @file
/// The inside of om::TIVmcu: its use of a virtual camera and the records it makes.
#pragma once

#include "bench/bench.h"
#include "world/heading.h"
#include "bench/virtual_camera.h"

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

    /// Claims the camera. SUCCESS with the session, or why not.
    ERROR_CODE openSession(unsigned int serial, std::shared_ptr<Session>& opened) const;
    bool closeSession();         ///< whether there was one
    unsigned int serialNumber(); ///< of the open link, or 0
    ERROR_CODE writeCalibration(const bench::MagCalibration& calibration);
    /// The open link whose microcontroller answers, or null.
    std::shared_ptr<Session> answering();
    /// As answering(), and capture runs. For the readers.
    std::shared_ptr<Session> streaming();

    /// The records of the sensors; those of no data when capture was stopped meanwhile.
    IMUReaderData physicalRecord(const std::shared_ptr<Session>& of);
    /// Keeps a delivered record for rememberedRecord().
    void remember(const std::shared_ptr<Session>& of, const IMUReaderData& data);
    /// What an open link answers while capture is stopped: the last one, with nothing new in it.
    /// A record of no data where there is none, or no answering link.
    IMUReaderData rememberedRecord();
    IMUPose physicalPose(const std::shared_ptr<Session>& of, int sensors);
    void remember(const std::shared_ptr<Session>& of, const IMUPose& pose);
    IMUPose rememberedPose(); ///< as rememberedRecord()
    /// Takes the time of a USB transfer where an open link has something to transfer from.
    void transfer();
    /// Feeds the monitor with the past, so that no pose record has to wait for that. Under the
    /// mutex.
    void catchUp();

    void log(bench::CallRecord record, bench::CALL call, unsigned int serial) const;
    void tell(unsigned int serial, const char* what) const;

    const bool verbose;
    const unsigned short vendorId;
    const bool bootloader;
    const std::string path;

    std::mutex commands; ///< one operation at a time of those that change the link or the EEPROM
    bool writtenSinceRead = false; ///< guarded by commands
    unsigned int differences = 0;  ///< reads that were made to differ; guarded by commands

    std::mutex mutex;            ///< guards what follows; held briefly
    std::atomic<int> waiting{0}; ///< commands that wait for the mutex
    std::shared_ptr<Session> session;
    bool capturing = false;
    bench::Nanoseconds period = 0;
    IMUReaderData record;                         ///< the last one made
    IMUReaderData delivered;                      ///< the last one given to the caller
    IMUPose deliveredPose;                        ///< likewise
    std::optional<bench::Nanoseconds> recordMade; ///< when
    std::optional<std::uint64_t> recordImu;       ///< number of its IMU sample
    std::optional<std::uint64_t> deliveredMag;    ///< number of the last new reading
    bench::HeadingMonitor monitor;
    std::optional<std::uint64_t> monitoredMag; ///< number of the monitor's newest reading
    bool isJudged = false;                     ///< the quality is that of this reading
    bench::HeadingQuality quality;
    std::uint64_t qualityVersion = 0; ///< of the calibration that the quality belongs to

    /// Locks the mutex for a command. A reader that polls without pause gives way to it.
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
    /// Feeds the monitor up to the newest reading.
    void feedMonitor(const Session& of, std::uint64_t newest, bench::Nanoseconds now);
    /// The same, and lets it judge the calibration in force.
    bench::HeadingQuality judge(const Session& of, std::uint64_t newest, bench::Nanoseconds now);
};

} // namespace om
