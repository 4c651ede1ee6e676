/// @file
/// The file of a control socket: its address, its folder, and who is at the other end.
#pragma once

#include "base/files.h"

#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>
#include <sys/un.h>

namespace om::bench {

/// None if the path is longer than a socket's may be.
std::optional<sockaddr_un> addressOf(const std::string& path);

/// The user of the process at the other end; none with errno.
std::optional<uid_t> userOf(const Descriptor& connected);

/// Creates the folder of a socket, mode 0700, if it is missing.
/// @return false with the error if that fails, or if another user could replace a socket in it
bool makeFolderOf(const std::string& path, std::string& error);

/// Removes the file of a socket that no process serves.
/// @return false with the error if something else has the path
bool removeStaleSocket(const std::string& path, const sockaddr_un& address, std::string& error);

/// Binds the socket and lets it listen. Its file appears only when it listens: a client that finds
/// it can connect, and another program does not take it for one that nobody serves. A path that
/// leaves no room for a second name beside it appears a moment earlier.
/// @return 0, or errno with no file left
int listenAt(const Descriptor& socket, const std::string& path);

/// The sockets of benches in a folder, also those of ended programs, in order.
std::vector<std::string> socketsIn(const std::string& folder);

/// Whether a process listens at the socket, also one that accepts no connection. Never waits.
bool isServed(const std::string& path);

} // namespace om::bench
