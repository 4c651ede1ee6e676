/// @file
/// The source of an opened camera's frames: the bench's clock or a recorded file.
#pragma once

#include "base/clock.h"
#include "replay/recorded_file.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>

namespace om::bench {

/// A grabbed frame.
struct Frame
{
    std::uint64_t number = 0;
    Nanoseconds time = 0; ///< 0 for a recorded frame without a time
};

/// The frames of one opening. Any thread.
class FrameSource
{
public:
    FrameSource() = default;
    virtual ~FrameSource() = default;
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;

    /// Waits for the next frame. done() ends the wait.
    /// @return false if none arrived in time or done() ended the wait
    virtual bool next(Frame& frame, const std::function<bool()>& done) = 0;
    virtual int position() const = 0;
    virtual void setPosition(int frame) = 0;
    virtual int length() const = 0; ///< -1 without an end
};

/// Frames at a constant rate from the opening on, each at its time with a little jitter. A late
/// caller gets the newest one.
class LiveFrames : public FrameSource
{
public:
    LiveFrames(Clock& clock, std::uint64_t seed, int framesPerSecond);

    bool next(Frame& frame, const std::function<bool()>& done) override;
    int position() const override { return 0; }
    void setPosition(int) override {}
    int length() const override { return -1; }

    /// Longest wait for a frame, in real time.
    static constexpr std::chrono::milliseconds longestWait{100};

private:
    Nanoseconds timeOf(std::uint64_t number) const;

    Clock& m_clock;
    const std::uint64_t m_seed;
    const Nanoseconds m_period;
    const Nanoseconds m_start;
    std::mutex m_mutex;
    std::uint64_t m_next = 0; ///< the first frame not yet delivered
};

/// The frames of a file one after another, each at once; at the end the last one repeatedly.
class RecordedFrames : public FrameSource
{
public:
    explicit RecordedFrames(RecordedFile recording);

    bool next(Frame& frame, const std::function<bool()>& done) override;
    int position() const override; ///< of the last delivered frame, or set by setPosition()
    void setPosition(int frame) override;
    int length() const override { return static_cast<int>(m_recording.frameTimes.size()); }
    const RecordedFile& recording() const { return m_recording; }

private:
    const RecordedFile m_recording;
    mutable std::mutex m_mutex;
    std::size_t m_position = 0;
    bool m_chosen = true; ///< the frame at the position was not delivered yet
};

} // namespace om::bench
