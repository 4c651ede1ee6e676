#include "log/progress_line.h"

#include <poll.h>
#include <unistd.h>

#include <iostream>

namespace samplelog {

namespace {

constexpr std::chrono::milliseconds period{500};

} // namespace

ProgressLine::ProgressLine()
    : m_isTerminal(::isatty(STDOUT_FILENO) != 0), m_shown(std::chrono::steady_clock::now())
{}

bool ProgressLine::isDue() const
{
    return m_isTerminal && std::chrono::steady_clock::now() - m_shown >= period;
}

void ProgressLine::show(const std::string& text)
{
    m_shown = std::chrono::steady_clock::now();
    write(text);
}

void ProgressLine::clear()
{
    write("");
}

void ProgressLine::write(const std::string& text) const
{
    pollfd terminal = {STDOUT_FILENO, POLLOUT, 0};
    if (m_isTerminal && ::poll(&terminal, 1, 0) == 1 && (terminal.revents & POLLOUT) != 0) {
        std::cout << "\r\x1b[K" << text << std::flush;
    }
}

} // namespace samplelog
