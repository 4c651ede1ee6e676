/// @file
/// Reads recordings beside everything else and puts their cameras on the bench then.
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

/// A queue of descriptions, whose recordings are read one after the other on a thread of its own.
/// Any thread.
class Loader
{
public:
    /// Gets the description with its recordings, or an error as of readRecordings(), on the
    /// loader's thread. Not called for what was cancelled.
    /// @return empty, or why the cameras are not on the bench
    using Finish =
        std::function<std::string(const BenchDescription& description, const std::string& error)>;

    Loader() = default;
    ~Loader(); ///< as stop()
    Loader(const Loader&) = delete;
    Loader& operator=(const Loader&) = delete;

    /// @param name stands for the bench file in errors
    /// @return false after end(), when nothing is read any more
    bool start(BenchDescription description, const std::string& name, Finish finish);

    struct Status
    {
        bool reading = false;
        double part = 0.0; ///< of the bytes that have been read, 0 to 1
        std::string error; ///< what Finish has returned
    };
    /// Of the camera that was started last under the number; none where there is none. What has
    /// ended is reported once and then forgotten.
    std::optional<Status> takeStatus(unsigned int serial);
    bool isReading(unsigned int serial) const;
    std::size_t camerasToCome() const;
    std::optional<double> part() const; ///< of all that is being read; none where nothing is

    /// Ends the reading of the camera, which then does not come. False where it is not being read.
    bool cancel(unsigned int serial);
    /// Ends and forgets all, and waits for that.
    void stop();
    /// The same, for ever: for the end of the process.
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
    void stopThread(bool forEver);

    mutable std::mutex m_mutex; ///< guards what follows
    std::condition_variable m_changed;
    std::vector<JobPtr> m_jobs; ///< oldest first; those that have ended until they are asked for
    std::function<void()> m_hook;
    std::thread m_thread;
    bool m_stopping = false;
    bool m_atAnEnd = false;
};

} // namespace om::bench
