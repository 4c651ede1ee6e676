/// @file
/// One recording, from opening the camera to closing the file.
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

/// What to record, and where.
struct RecordOptions
{
    std::string path;
    std::optional<unsigned int> serial; ///< none: the first camera with sensors
    std::optional<double> seconds; ///< duration by the camera's clock; none: until requestEnd()
    RecOptions columns;            ///< the switches of the columns
    std::chrono::milliseconds patience{10000}; ///< longest wait for the camera to be there
};

/// Records on two threads: one only reads the camera, so that no sample is lost, and one writes.
/// The queue between them covers a disk that blocks for a minute.
///
/// Call start() first and finish() last, one after the other. In between any thread may call
/// isRunning(), state() and requestEnd(), and requestEnd() and waitsForCamera() already while
/// start() opens the camera.
class RecordingRun
{
public:
    explicit RecordingRun(const RecordOptions& options);
    ~RecordingRun(); ///< ends the recording
    RecordingRun(const RecordingRun&) = delete;
    RecordingRun& operator=(const RecordingRun&) = delete;

    /// Creates the file, opens the camera and starts to record. A failure leaves no file behind.
    /// @param error one line
    bool start(std::string& error);

    /// Whether start() has waited for more than a second because there is no camera.
    bool waitsForCamera() const { return m_camera.isAwaited(); }
    /// False if all rows are in the file, or if no more can be written.
    bool isRunning() const { return m_running; }
    /// Takes no lock and may be called at any time. Rows that were read before are still written.
    void requestEnd() { m_ends = true; }

    /// The counts of the rows that are in the file.
    StreamState state() const;
    /// Real time since the newest sample.
    std::chrono::duration<double> silence() const;

    /// Number of rows in the file; call it after finish().
    std::uint64_t rows() const { return m_file.rows(); }
    /// What an error has left of the rows, for the user; call it after finish().
    const char* remains() const { return m_file.remains(); }

    /// Waits for the end. A recording without a row leaves no file behind.
    /// @param error one line if the recording ended early, or without a row
    bool finish(std::string& error);

    const om::CameraInformation& camera() const { return m_camera.information(); }

    /// Maximum number of rows between the threads: more than a minute at 400 Hz.
    static constexpr std::size_t mostWaiting = 32768;

private:
    using Clock = std::chrono::steady_clock;

    void read();
    /// If the camera is silent when the end is requested, its missing samples are counted up to
    /// this end.
    void countSilence();
    /// Why the recording ends if there was no new row for a while; none if it goes on.
    /// @param begin when the first sample came
    std::optional<std::string> whySilent(Clock::time_point begin) const;
    void write();
    /// Writes the rows that are waiting.
    bool writeRows(const std::vector<TimedRow>& rows, std::string& error);
    void removeIfEmpty();
    bool isOver(std::uint64_t timeUs) const;
    /// The same by the machine's clock, for a camera whose time does not reach the end.
    bool isLate(Clock::time_point begin) const;
    std::uint64_t endUs() const; ///< the end that the options set
    void fail(const std::string& reason);

    const RecordOptions m_options;
    RowFile m_file;
    CameraStream m_camera;

    std::atomic<bool> m_ends{false};
    std::atomic<bool> m_running{false};
    std::atomic<Clock::rep> m_newest{0}; ///< real time of the newest sample
    // Used by the reading thread, and after its end by the writing one.
    std::optional<std::uint64_t> m_firstUs;
    std::uint64_t m_seenUs = 0;   ///< samples without a row count as missing up to this time
    std::uint64_t m_newestNs = 0; ///< when the newest sample was read, by the library's clock

    mutable std::mutex m_mutex; ///< guards the members below
    std::condition_variable m_readerEnded;
    std::vector<TimedRow> m_waiting;
    bool m_reads = false;
    StreamState m_state;
    std::string m_error;

    GapCounter m_counter; ///< used by the writing thread
    std::thread m_reader;
    std::thread m_writer;
};

} // namespace samplelog
