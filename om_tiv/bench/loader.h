/// @file
/// Reads recordings in the background and then adds their cameras to the bench.
#pragma once

#include "bench/bench_file.h"
#include "replay/sensor_recording.h"

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace om::bench {

/// A queue of descriptions, whose recordings are read one after another on a separate thread. Any
/// thread.
class Loader
{
public:
    /// Receives the description with its recordings, or an error as in readRecordings(), on the
    /// loader's thread. Not called for a cancelled description.
    /// @return empty, or the reason why the cameras are not on the bench
    using Finish =
        std::function<std::string(const BenchDescription& description, const std::string& error)>;

    Loader() = default;
    ~Loader(); ///< like stop()
    Loader(const Loader&) = delete;
    Loader& operator=(const Loader&) = delete;

    /// @param name name of the bench file in errors
    /// @return false after end(), after which nothing is read any more
    bool start(BenchDescription description, const std::string& name, Finish finish);

    struct Status
    {
        bool reading = false;
        double part = 0.0; ///< part of the bytes that has been read, 0 to 1
        std::string error; ///< result of Finish
    };
    /// Status of the camera that was started last with this number; none if there is none. An ended
    /// one is reported once and then removed.
    std::optional<Status> takeStatus(unsigned int serial);
    bool isReading(unsigned int serial) const;
    /// Serial number of the camera that is being read and has this id in its description.
    std::optional<unsigned int> cameraWithId(int id) const;
    std::size_t camerasToCome() const;
    std::optional<double> part() const; ///< of everything that is being read; none if nothing is

    /// Ends the reading of a camera that was started alone, which then does not appear. False if it
    /// is not being read, or together with others.
    bool cancel(unsigned int serial);
    /// Ends and removes all jobs, and waits for that.
    void stop();
    /// The same permanently, for the end of the process.
    void end();

    /// Called on the loader's thread before each description is read; it may block.
    void setHook(std::function<void()> hook);

private:
    struct Job
    {
        BenchDescription description;
        std::string name;
        Finish finish;
        ReadingProgress progress;
        // Guarded by the loader's mutex:
        bool finishing = false; ///< it is too late to cancel
        bool ended = false;
        std::string error;

        bool has(unsigned int serial) const;
        double part() const;
    };
    using JobPtr = std::shared_ptr<Job>;

    void run();

    mutable std::mutex m_mutex; ///< guards the following members
    std::condition_variable m_changed;
    std::vector<JobPtr> m_jobs; ///< oldest first; ended ones stay until their status is read
    std::function<void()> m_hook;
    std::thread m_thread;
    bool m_stopping = false;
    bool m_atAnEnd = false;
};

} // namespace om::bench
