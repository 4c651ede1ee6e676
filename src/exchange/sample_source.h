/// @file
/// Reads samples from the rows of a recording.
#pragma once

#include "analysis/row_reader.h"
#include "exchange/axes.h"
#include "exchange/samples.h"

#include <functional>
#include <string>

namespace exchange {

/// Reads the samples of a text that the caller keeps in memory. Each pass returns the same samples.
class SampleSource
{
public:
    SampleSource(const analysis::RowReader& reader, AXES axes);

    const Contents& contents() const { return m_contents; }

    /// Passes each sample to the sink once. Rows that can't be read are left out and counted.
    /// @param progress is called from time to time with the share that has been read, 0 to 1; false
    /// ends the pass
    /// @return false with the error if progress() ended the pass
    bool visit(SampleSink& sink, analysis::ReadReport& report,
               const std::function<bool(double)>& progress, std::string& error) const;

private:
    ImuSample imuSample(const analysis::RecordedRow& row, Nanoseconds time) const;

    analysis::RowReader m_reader;
    AXES m_axes;
    Contents m_contents;
};

} // namespace exchange
