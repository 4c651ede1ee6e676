/// @file
/// One recording, from the opening of the camera to the closed file.
#pragma once

#include "log/camera_stream.h"
#include "log/gap_counter.h"
#include "log/row_file.h"
#include "log/row_maker.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace samplelog {

/// What to record, and where to.
struct RecordOptions
{
    std::string path;
    std::optional<unsigned int> serial; ///< none: the first camera with sensors
    std::optional<double> seconds;      ///< of the camera's clock; none: until requestEnd()
    RecOptions columns;                 ///< its switches
};

/// Records on threads of its own: one that does nothing but read the camera, so that no sample is
/// lost, and one that writes. Between them is room for a disk that stands still for a minute.
///
/// start(), then any thread may look at isRunning() and state() and call requestEnd(), then
/// finish() on the thread of start().
class RecordingRun
{
public:
    explicit RecordingRun(const RecordOptions& options);
    ~RecordingRun(); ///< ends the recording
    RecordingRun(const RecordingRun&) = delete;
    RecordingRun& operator=(const RecordingRun&) = delete;

    /// Makes the file, opens the camera and begins. Where that fails no file stays behind.
    /// @param error one line
    bool start(std::string& error);

    /// False once everything is in the file, or nothing more can be.
    bool isRunning() const { return m_running; }
    /// Takes no lock and may be called at any time; the rows that came until then are written.
    void requestEnd() { m_ends = true; }

    /// Of the rows that are in the file.
    StreamState state() const;
    /// Real time since the newest sample.
    std::chrono::duration<double> silence() const;

    /// Rows in the file; after finish().
    std::uint64_t rows() const { return m_file.rows(); }

    /// Waits for the end.
    /// @param error one line where the recording ended before it was to
    bool finish(std::string& error);

    const om::CameraInformation& camera() const { return m_camera.information(); }

    /// Rows between the threads, at most: a minute and more at 400 Hz.
    static constexpr std::size_t mostWaiting = 32768;

private:
    using Clock = std::chrono::steady_clock;

    void read();
    void write();
    /// The share of one round of writing.
    bool writeRows(const std::vector<TimedRow>& rows, std::string& error);
    bool isOver(std::uint64_t timeUs) const;
    void fail(const std::string& reason);

    const RecordOptions m_options;
    RowFile m_file;
    CameraStream m_camera;

    std::atomic<bool> m_ends{false};
    std::atomic<bool> m_running{false};
    std::atomic<Clock::rep> m_newest{0};    ///< when the newest sample came
    std::optional<std::uint64_t> m_firstUs; ///< of the reading thread

    mutable std::mutex m_mutex; ///< guards what follows
    std::condition_variable m_readerEnded;
    std::vector<TimedRow> m_waiting;
    bool m_reads = false;
    StreamState m_state;
    std::string m_error;

    GapCounter m_counter; ///< of the writing thread
    std::thread m_reader;
    std::thread m_writer;
};

} // namespace samplelog
