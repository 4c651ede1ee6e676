/// @file
/// A client of a Unix stream socket that sends arbitrary data for tests.
#pragma once

#include "support/patience.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace socketclient {

inline sockaddr_un addressOf(const std::string& path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

/// A connected descriptor; -1 with errno. @param flags of socket()
inline int connectTo(const std::string& path, int flags = 0)
{
    const sockaddr_un address = addressOf(path);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0);
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int why = errno;
        ::close(fd);
        errno = why;
        return -1;
    }
    return fd;
}

inline void sendAll(int fd, const std::string& bytes)
{
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t count = ::send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            return; // the server has closed
        }
        sent += static_cast<std::size_t>(count);
    }
}

/// Up to the next line feed; empty at the end of the connection or after the patience.
inline std::string readLine(int fd)
{
    std::string line;
    for (;;) {
        pollfd input = {fd, POLLIN, 0};
        if (::poll(&input, 1, waiting::patienceMs) <= 0) {
            return {};
        }
        char byte = 0;
        if (::recv(fd, &byte, 1, 0) <= 0) {
            return {};
        }
        if (byte == '\n') {
            return line;
        }
        line += byte;
    }
}

} // namespace socketclient
