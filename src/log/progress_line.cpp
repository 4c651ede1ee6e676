#include "log/progress_line.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstddef>
#include <iostream>

namespace samplelog {

namespace {

constexpr std::chrono::milliseconds period{500};

/// A text wider than the terminal would wrap, and the next show() would rewrite its last line only.
std::string fitting(const std::string& text)
{
    winsize size = {};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        return text;
    }
    return text.substr(0, std::size_t{size.ws_col} - 1);
}

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
        std::cout << "\r\x1b[K" << fitting(text) << std::flush;
    }
}

} // namespace samplelog
