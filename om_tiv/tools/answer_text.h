/// @file
/// The answers of a bench as the text that om-bench prints.
///
/// Missing or wrong members of an answer cause an exception of the JSON library.
#pragma once

#include "tools/command_line.h"
#include "tools/text.h"

#include <nlohmann/json.hpp>

namespace om::bench {

/// The table of cameras, with its heading.
void addCameras(Text& out, const nlohmann::json::array_t& cameras);

/// What the answer to this command has; nothing for one that only confirms.
void addAnswer(Text& out, const nlohmann::json& answer, const Command& command);

/// The cameras that the command watches: one line with the true values of each, and one with the
/// values that the program has last received.
/// @return whether there was a camera
bool addWatched(Text& out, const nlohmann::json::array_t& cameras, const Command& command);

} // namespace om::bench
