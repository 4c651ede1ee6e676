#include "log/end_signals.h"

#include <ctime>

namespace samplelog {

void ignoreSignalsOfWriting()
{
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
}

EndSignalsBlocked::EndSignalsBlocked()
{
    sigemptyset(&m_set);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action = {};
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
            sigaddset(&m_set, number);
        }
    }
    pthread_sigmask(SIG_BLOCK, &m_set, &m_before);
}

void EndSignalsBlocked::unblock() const
{
    pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

EndSignals::~EndSignals()
{
    const timespec atOnce{};
    while (sigtimedwait(&m_blocked.set(), nullptr, &atOnce) > 0) {
        // The work is done: a signal that was not read must not change the exit status.
    }
}

bool EndSignals::wait(std::chrono::nanoseconds time)
{
    timespec limit{};
    limit.tv_nsec = static_cast<long>(time.count());
    const int number = sigtimedwait(&m_blocked.set(), nullptr, &limit);
    if (number <= 0) {
        return false;
    }
    const auto now = std::chrono::steady_clock::now();
    if (!m_came) {
        m_came = now;
    } else if (now - *m_came > together) {
        // A second signal means that the user does not want to wait for a disk.
        std::signal(number, SIG_DFL);
        m_blocked.unblock();
        std::raise(number);
    }
    return true;
}

} // namespace samplelog
