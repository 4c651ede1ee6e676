/// @file
/// What the writers of all formats share.
#pragma once

#include "analysis/recording.h"
#include "exchange/sample_source.h"
#include "exchange/samples.h"

#include <functional>
#include <string>

namespace exchange {

/// Input and output of one conversion.
struct Job
{
    const SampleSource& source;
    const std::string& input;
    const std::string& output;
    const std::string& sourceName; ///< in UTF-8
    AXES axes;
    const std::function<bool(double)>& progress; ///< not empty; false ends the conversion
};

/// Counts samples.
class CountingSink : public SampleSink
{
public:
    void take(const ImuSample&) override { ++m_counts.imu; }
    void take(const MagneticSample&) override { ++m_counts.magneticField; }
    void take(const BarometerSample&) override { ++m_counts.barometer; }
    void take(const TemperatureSample&) override { ++m_counts.temperatures; }

    const Counts& counts() const { return m_counts; }

protected:
    Counts m_counts;
};

/// Whether the recording has any sample.
/// @param error one line if it has none
inline bool hasRows(const Job& job, const analysis::ReadReport& report, std::string& error)
{
    if (report.rows == 0) {
        const std::string leftOut = analysis::leftOutText(report);
        error = job.input + ": has no row that can be used" +
                (leftOut.empty() ? "" : "; left out: " + leftOut);
    }
    return report.rows > 0;
}

} // namespace exchange
