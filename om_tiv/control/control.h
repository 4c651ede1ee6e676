/// @file
/// What the bench's control socket understands. docs/bench-control.md tells the requests.
#pragma once

#include <string>

namespace om::bench {

class Bench;

/// Answers one request, a JSON object on one line, with one. Anything else gets an answer with the
/// reason; nothing throws. Any thread.
std::string answerControl(Bench& bench, const std::string& request);

/// Starts the control socket that the environment asks for (see controlPath()) and reports in one
/// line on standard error when it can't be had. Once in a process; further calls do nothing. The
/// socket goes with the process.
void startControl(Bench& bench);

} // namespace om::bench
