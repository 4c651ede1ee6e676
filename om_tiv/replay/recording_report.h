/// @file
/// Report on invalid rows of a recording.
#pragma once

#include <cstddef>
#include <string>

namespace om::bench {

/// Problems of a file, on one line.
class RecordingReport
{
public:
    explicit RecordingReport(std::string name); ///< of the file

    void leftOut(std::size_t line, const std::string& why); ///< reports a row
    void jump(std::size_t line);         ///< reports a jump of the time that was closed
    void lacks(const std::string& what); ///< reports a missing sensor

    std::string text() const; ///< empty without problems
    /// The reason why nothing can be played, with the text.
    std::string failure(const std::string& why) const;

private:
    std::string m_name;
    std::size_t m_leftOut = 0;
    std::string m_first;
    std::size_t m_jumps = 0;
    std::size_t m_firstJump = 0;
    std::string m_lacking;
};

} // namespace om::bench
