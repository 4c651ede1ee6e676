/// @file
/// Progress on a terminal.
#pragma once

#include <chrono>
#include <string>

namespace samplelog {

/// The last line of the terminal that standard output is, written again and again; nothing
/// if it is not one.
class ProgressLine
{
public:
    ProgressLine();

    /// Whether there is a terminal, and the last show() is some time ago.
    bool isDue() const;
    /// Waits for nothing: a terminal that is stopped is left alone.
    void show(const std::string& text);
    void clear();

private:
    void write(const std::string& text) const;

    const bool m_isTerminal;
    std::chrono::steady_clock::time_point m_shown;
};

} // namespace samplelog
