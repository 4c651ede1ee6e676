#include "exchange/convert.h"

#include "analysis/mapped_file.h"
#include "analysis/row_reader.h"
#include "exchange/euroc_writer.h"
#include "exchange/mcap_writer.h"
#include "exchange/npz_writer.h"
#include "exchange/sample_source.h"

#include <cmath>

namespace exchange {

namespace {

AXES axesOf(const ConvertOptions& options)
{
    return options.axes.value_or(options.format == FORMAT::NPZ ? AXES::CAMERA : AXES::ROBOT);
}

bool write(const Job& job, FORMAT format, ConvertResult& result)
{
    switch (format) {
    case FORMAT::MCAP:
        return writeMcap(job, result.counts, result.report, result.error);
    case FORMAT::EUROC:
        return writeEuroc(job, result.counts, result.report, result.error);
    case FORMAT::NPZ:
        return writeNpz(job, result.counts, result.report, result.error);
    }
    return false;
}

/// Writes the output. Sets the result without the reason for which the file could not be read.
void convertFile(analysis::MappedFile& file, const ConvertOptions& options,
                 const std::function<bool(double)>& progress, ConvertResult& result)
{
    const auto reader =
        analysis::RowReader::of(file.begin(), file.end(), options.input, result.error);
    if (!reader) {
        return;
    }
    const AXES axes = axesOf(options);
    const SampleSource source(*reader, axes);
    if (!source.contents().any()) {
        result.error = options.input + ": has no column of a sensor with its time: record with "
                                       "sensors selected";
        return;
    }
    // An npz file takes two passes over the recording.
    const double passes = options.format == FORMAT::NPZ ? 2.0 : 1.0;
    // It is called at the end of each pass, too: no output of a file that was cut is kept.
    const std::function<bool(double)> checked = [&](double share) {
        file.release(share * passes - std::floor(share * passes));
        return file.remainedWhole(result.error) && (!progress || progress(share));
    };
    result.done = write({source, options.input, options.output, options.source, axes, checked},
                        options.format, result);
}

} // namespace

ConvertResult convert(const ConvertOptions& options, const std::function<bool(double)>& progress)
{
    ConvertResult result;
    analysis::MappedFile file(options.input, result.error);
    if (!file.valid()) {
        return result;
    }
    convertFile(file, options, progress, result);
    if (!result.done) {
        file.remainedWhole(result.error);
    }
    return result;
}

} // namespace exchange
