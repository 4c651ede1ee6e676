/// @file
/// A disk that fills up and has space again, without privileges.
#pragma once

#include <csignal>

#include <sys/resource.h>

/// While the object exists, no file of this process grows beyond a size, as on a full disk: a write
/// accepts what fits, and the next one fails. Each write that doesn't fit raises SIGXFSZ on the
/// writing thread, which is ignored or goes to the handler.
class FullDisk
{
public:
    explicit FullDisk(long long bytes, void (*handler)(int) = SIG_IGN)
    {
        getrlimit(RLIMIT_FSIZE, &m_before);
        m_handler = std::signal(SIGXFSZ, handler);
        fillAt(bytes);
    }
    ~FullDisk()
    {
        setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

    void fillAt(long long bytes)
    {
        rlimit full = m_before;
        full.rlim_cur = static_cast<rlim_t>(bytes);
        setrlimit(RLIMIT_FSIZE, &full);
    }

private:
    rlimit m_before = {};
    void (*m_handler)(int) = SIG_DFL;
};
