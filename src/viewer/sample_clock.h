/// @file
/// Which samples of a stream are new, and at which rate they come. Without Qt.
#pragma once

#include <cstdint>

namespace sensorsample {

/// The time stamps of one stream during one run of the sensor thread: distinguishes new samples
/// from repeats.
class SampleClock
{
public:
    enum class Verdict {
        Absent, ///< a time stamp below 1 us
        First,  ///< the first of the run, which only sets the clock
        Repeat, ///< the same microsecond as before
        New,    ///< a new sample; rate() belongs to it
    };

    /// @param timestampNs time stamp of the record, ns
    Verdict look(std::uint64_t timestampNs)
    {
        if (timestampNs < 1000) {
            return Verdict::Absent;
        }
        const std::uint64_t us = timestampNs / 1000;
        if (m_first) {
            m_first = false;
            m_previousUs = us;
            return Verdict::First;
        }
        if (us == m_previousUs) {
            return Verdict::Repeat;
        }
        m_rate = 1.0 / (static_cast<double>(us - m_previousUs) / 1e6);
        m_previousUs = us;
        return Verdict::New;
    }

    /// Rate at the newest sample, Hz: 1 divided by the time since the previous one.
    double rate() const { return m_rate; }

private:
    bool m_first = true;
    std::uint64_t m_previousUs = 0;
    double m_rate = 0.0;
};

} // namespace sensorsample
