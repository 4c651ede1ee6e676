/// @file
/// The requests of the bench's control socket. docs/bench-control.md describes them.
#pragma once

#include <string>

namespace om::bench {

class Bench;

/// Answers one request, a JSON object on one line, with one JSON object on one line. Anything else
/// gets an answer with the reason; nothing throws. Any thread.
std::string answerControl(Bench& bench, const std::string& request);

/// Starts the control socket that the environment selects (see controlPath()); a failure is
/// reported in one line on standard error. Once per process; further calls do nothing. The socket
/// is removed when the process ends.
void startControl(Bench& bench);

} // namespace om::bench
