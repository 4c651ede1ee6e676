#include "log/recording_run.h"

#include "sensors/time_slice.h"

#include <algorithm>

namespace samplelog {

namespace {

/// Interval at which rows are written to the file. A reader of the growing file lags by this much.
constexpr std::chrono::milliseconds writingPeriod{100};
/// If the camera sends no samples for this long, the duration is measured by the machine's clock,
/// and what is missing before a requested end is counted.
constexpr std::chrono::seconds longSilence{1};
/// Time limit for the first sample.
constexpr std::chrono::seconds firstSampleLimit{5};

} // namespace

// RecOptions copies no constant object: only m_file has the caller's columns, and m_options.columns
// is not used.
RecordingRun::RecordingRun(const RecordOptions& options)
    : m_options{options.path, options.serial, options.seconds, RecOptions(), options.patience},
      m_file(options.columns)
{}

RecordingRun::~RecordingRun()
{
    requestEnd();
    std::string error;
    finish(error);
}

bool RecordingRun::start(std::string& error)
{
    if (!m_file.create(m_options.path, error)) {
        return false;
    }
    m_waiting.reserve(mostWaiting);
    if (!m_camera.open(m_options.serial, m_options.patience, m_ends, error)) {
        m_file.remove();
        return false;
    }
    if (m_ends) {
        m_file.remove();
        error = "ended before the camera was open";
        return false;
    }
    m_newest = Clock::now().time_since_epoch().count();
    m_reads = true;
    m_running = true;
    m_reader = std::thread(&RecordingRun::read, this);
    m_writer = std::thread(&RecordingRun::write, this);
    return true;
}

std::chrono::duration<double> RecordingRun::silence() const
{
    return Clock::now().time_since_epoch() - Clock::duration(m_newest);
}

bool RecordingRun::isOver(std::uint64_t timeUs) const
{
    return m_options.seconds && timeUs > *m_firstUs &&
           static_cast<double>(timeUs - *m_firstUs) * 1e-6 >= *m_options.seconds;
}

bool RecordingRun::isLate(Clock::time_point begin) const
{
    const std::chrono::duration<double> elapsed = Clock::now() - begin;
    return m_options.seconds && elapsed.count() > *m_options.seconds + 1.0;
}

std::uint64_t RecordingRun::endUs() const
{
    return *m_firstUs + static_cast<std::uint64_t>(*m_options.seconds * 1e6);
}

std::optional<std::string> RecordingRun::whySilent(Clock::time_point begin) const
{
    if (silence() < longSilence) {
        return std::nullopt;
    }
    if (!m_firstUs) {
        return silence() > firstSampleLimit
                   ? std::optional<std::string>("the camera sends no samples")
                   : std::nullopt;
    }
    return isLate(begin) ? std::optional<std::string>("the camera sends no more samples")
                         : std::nullopt;
}

void RecordingRun::read()
{
    timeslice::requestShortest();
    auto begin = Clock::now();
    auto advanced = begin; // when the latest time came
    RowMaker maker;
    om::SensorsData record;
    while (!m_ends) {
        if (!m_camera.next(record)) {
            fail("the camera was lost");
            break;
        }
        const std::optional<TimedRow> made = maker.take(record);
        if (!made) {
            if (const auto reason = whySilent(begin)) {
                fail(*reason);
                break;
            }
            continue;
        }
        m_newest = Clock::now().time_since_epoch().count();
        m_newestNs = m_camera.now();
        if (!m_firstUs) {
            m_firstUs = made->timeUs;
            begin = Clock::now();
        }
        if (isOver(made->timeUs)) {
            // A silence that reaches beyond the end is missing up to the end.
            m_seenUs = endUs();
            break;
        }
        if (made->timeUs > m_seenUs) {
            m_seenUs = made->timeUs;
            advanced = Clock::now();
        } else if (isLate(begin) && Clock::now() - advanced >= longSilence) {
            fail("the camera's clock was set back");
            break;
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        // If the disk blocks for longer, samples are lost and count as missing.
        if (m_waiting.size() < mostWaiting) {
            m_waiting.push_back(*made);
        }
    }
    if (m_ends) {
        countSilence();
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_reads = false;
    m_readerEnded.notify_all();
}

void RecordingRun::countSilence()
{
    // By the clock of the samples, and only by its progress: it may differ from their times.
    const std::uint64_t now = m_camera.now();
    const std::chrono::nanoseconds silent(now > m_newestNs ? now - m_newestNs : 0);
    if (!m_firstUs || m_newestNs == 0 || silent < longSilence) {
        return;
    }
    m_seenUs += static_cast<std::uint64_t>(silent.count()) / 1000;
    if (m_options.seconds) {
        m_seenUs = std::min(m_seenUs, endUs());
    }
}

void RecordingRun::write()
{
    std::vector<TimedRow> rows;
    rows.reserve(mostWaiting);
    std::string error;
    for (bool goesOn = true; goesOn;) {
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            // The reading thread wakes the writing one only at its end, so that it is ready for the
            // next sample.
            m_readerEnded.wait_for(lock, writingPeriod, [this] { return !m_reads; });
            goesOn = m_reads;
            rows.swap(m_waiting);
        }
        if (!writeRows(rows, error)) {
            fail(error);
            requestEnd();
            removeIfEmpty();
            m_running = false;
            return;
        }
        rows.clear();
    }
    if (!m_file.finish(error)) {
        fail(error);
    }
    removeIfEmpty();
    const StreamState state = m_counter.finish(m_seenUs);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_state = state;
    }
    m_running = false;
}

bool RecordingRun::writeRows(const std::vector<TimedRow>& rows, std::string& error)
{
    /// About 256 KiB, so that a long queue does not double the memory.
    constexpr std::size_t mostAtOnce = 1024;
    std::size_t done = 0;
    do {
        const std::size_t end = std::min(rows.size(), done + mostAtOnce);
        const std::size_t begin = done;
        for (; done < end; ++done) {
            m_file.add(rows[done].row);
        }
        if (!m_file.flush(error)) {
            return false;
        }
        for (std::size_t i = begin; i < end; ++i) {
            m_counter.add(rows[i].timeUs, rows[i].effectiveRate);
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_state = m_counter.state();
    } while (done < rows.size());
    return true;
}

/// A file without a row would only refuse the next attempt.
void RecordingRun::removeIfEmpty()
{
    if (m_file.rows() == 0) {
        m_file.remove();
        fail("ended before the first sample"); // an earlier reason is kept
    }
}

void RecordingRun::fail(const std::string& reason)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_error.empty()) {
        m_error = reason;
    }
}

StreamState RecordingRun::state() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_state;
}

bool RecordingRun::finish(std::string& error)
{
    for (std::thread* const thread : {&m_reader, &m_writer}) {
        if (thread->joinable()) {
            thread->join();
        }
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    error = m_error;
    return m_error.empty();
}

} // namespace samplelog
