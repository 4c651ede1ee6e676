/// @file
/// Where the control sockets of benches are.
#pragma once

#include <string>

namespace om::bench {

/// The path that OM_TIV_CONTROL names; empty if it is not set, empty or "off".
std::string namedPath();

/// The path of this process's control socket: OM_TIV_CONTROL if it is set ("off" means none, an
/// empty path), else bench-PID.sock in controlFolder().
std::string controlPath();

/// $XDG_RUNTIME_DIR/gravimon, or /tmp/gravimon-UID if there is no runtime folder.
std::string controlFolder();

} // namespace om::bench
