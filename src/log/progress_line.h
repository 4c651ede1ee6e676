/// @file
/// Progress on a terminal.
#pragma once

#include <chrono>
#include <string>

namespace samplelog {

/// Rewrites the last line of the terminal. Does nothing if standard output is not a terminal.
class ProgressLine
{
public:
    ProgressLine();

    /// Whether there is a terminal and the last show() was long enough ago.
    bool isDue() const;
    /// Never blocks: writes nothing to a stopped terminal.
    void show(const std::string& text);
    void clear();

private:
    void write(const std::string& text) const;

    const bool m_isTerminal;
    std::chrono::steady_clock::time_point m_shown;
};

} // namespace samplelog
