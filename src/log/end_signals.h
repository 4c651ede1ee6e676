/// @file
/// The signals that end the program.
#pragma once

#include <chrono>
#include <csignal>
#include <optional>

namespace samplelog {

/// Ignores SIGXFSZ and SIGPIPE from then on: a file size limit or a closed pipe only makes a write
/// fail.
void ignoreSignalsOfWriting();

/// From construction to destruction SIGINT, SIGTERM and SIGHUP are blocked on the thread, so that a
/// file can be completed first. One that came meanwhile has its effect at the destruction. A signal
/// that was ignored at the start, as with nohup, stays ignored.
class EndSignalsBlocked
{
public:
    EndSignalsBlocked();
    ~EndSignalsBlocked() { unblock(); }
    EndSignalsBlocked(const EndSignalsBlocked&) = delete;
    EndSignalsBlocked& operator=(const EndSignalsBlocked&) = delete;

    /// The blocked signals, without those that were ignored.
    const sigset_t& set() const { return m_set; }

    /// Restores the signals of before, as the destructor does.
    void unblock() const;

private:
    sigset_t m_set{};
    sigset_t m_before{};
};

/// From construction to destruction the signals of EndSignalsBlocked wait to be read. SIGXFSZ and
/// SIGPIPE are ignored from then on. The destructor drops the signals that were not read.
///
/// Construct it on the thread of main() before any other thread is started, because threads inherit
/// the signal mask.
class EndSignals
{
public:
    /// Signals within this time count as one: the end of a login session sends SIGHUP after
    /// SIGTERM.
    static constexpr std::chrono::milliseconds together{250};

    EndSignals() { ignoreSignalsOfWriting(); }
    ~EndSignals();
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;

    /// Waits for a signal. A further signal, more than `together` after the first, ends the program
    /// at once. One thread at a time.
    /// @param time longest wait, 0 or more and below one second
    /// @return whether a signal came
    bool wait(std::chrono::nanoseconds time);

private:
    EndSignalsBlocked m_blocked;
    std::optional<std::chrono::steady_clock::time_point> m_came;
};

} // namespace samplelog
