/// @file
/// Samples from the rows of a recording.
#pragma once

#include "analysis/row_reader.h"
#include "exchange/axes.h"
#include "exchange/samples.h"

#include <functional>
#include <string>

namespace exchange {

/// Gives the samples of a text that the caller keeps in memory, as often as they are requested and
/// always the same ones.
class SampleSource
{
public:
    SampleSource(const analysis::RowReader& reader, AXES axes);

    const Contents& contents() const { return m_contents; }

    /// Every sample once. What can't be read is left out and counted.
    /// @param progress is called now and then with the share that is read; false ends it
    /// @return false with the error when progress() has ended it
    bool visit(SampleSink& sink, analysis::ReadReport& report,
               const std::function<bool(double)>& progress, std::string& error) const;

private:
    ImuSample imuSample(const analysis::RecordedRow& row, Nanoseconds time) const;

    analysis::RowReader m_reader;
    AXES m_axes;
    Contents m_contents;
};

} // namespace exchange
