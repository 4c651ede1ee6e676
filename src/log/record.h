/// @file
/// The verb "record": a recording with its signals, progress and summary.
#pragma once

#include "log/gap_counter.h"
#include "log/recording_run.h"

#include <chrono>
#include <string>

namespace samplelog {

/// Records until the time is over or SIGINT, SIGTERM or SIGHUP arrives, and completes the file.
/// Writes the summary to standard output, the progress also if that is a terminal, and errors to
/// standard error. Call it on the thread of main() before any other thread is started.
/// @return the exit status
int record(const RecordOptions& options);

/// One line without a line feed: time, rows, rate since the previous state, gaps, and rows with an
/// earlier time if there are any.
/// @param silence real time since the newest sample; shown from one second on
std::string progressText(const StreamState& former, const StreamState& now,
                         std::chrono::duration<double> silence);

/// Summary of a recording: one line without a line feed.
std::string summaryText(const std::string& path, std::uint64_t rows, const StreamState& state);

} // namespace samplelog
