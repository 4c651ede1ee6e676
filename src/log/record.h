/// @file
/// The verb "record": a recording with its signals, its progress and its end.
#pragma once

#include "log/gap_counter.h"
#include "log/recording_run.h"

#include <chrono>
#include <string>

namespace samplelog {

/// Records until the time is over or SIGINT, SIGTERM or SIGHUP comes, and then ends the file whole.
/// Progress goes to standard output where that is a terminal, what was recorded goes there in any
/// case, what is wrong to standard error. On the thread of main(), before any other one is started.
/// @return the exit status
int record(const RecordOptions& options);

/// One line, without a line feed: time, rows, rate since the former state, gaps.
std::string progressText(const StreamState& former, const StreamState& now,
                         std::chrono::duration<double> silence);

/// What a recording holds, one line without a line feed.
std::string summaryText(const std::string& path, std::uint64_t rows, const StreamState& state);

} // namespace samplelog
