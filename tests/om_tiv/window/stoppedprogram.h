/// @file
/// A stopped program, for tests of the bench's window.
#pragma once

#include "base/files.h"
#include "om_tiv/control/socketclient.h"

#include <QString>

#include <cstdio>
#include <string>
#include <vector>

#include <sys/socket.h>

/// A program that is stopped, and whose queue of connections is full.
class StoppedProgram
{
public:
    explicit StoppedProgram(const QString& path)
        : m_socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        // The path appears when the queue is full.
        const std::string hidden = path.toStdString() + ".new";
        const sockaddr_un address = socketclient::addressOf(hidden);
        if (::bind(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
                0 ||
            ::listen(m_socket.get(), 0) != 0) {
            qFatal("can't serve %s", hidden.c_str());
        }
        int client = 0;
        while ((client = socketclient::connectTo(hidden, SOCK_NONBLOCK)) >= 0) {
            m_clients.emplace_back(client);
        }
        if (std::rename(hidden.c_str(), path.toStdString().c_str()) != 0) {
            qFatal("can't rename %s", hidden.c_str());
        }
    }

private:
    om::bench::Descriptor m_socket;
    std::vector<om::bench::Descriptor> m_clients;
};
