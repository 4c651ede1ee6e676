/// @file
/// What was wrong with the rows of a recording.
#pragma once

#include <cstddef>
#include <string>

namespace om::bench {

/// What was wrong with a file, on one line.
class RecordingReport
{
public:
    explicit RecordingReport(std::string name); ///< of the file

    void leftOut(std::size_t line, const std::string& why); ///< a row
    void jump(std::size_t line);                            ///< of the time, that was closed
    void lacks(const std::string& what);                    ///< a sensor

    std::string text() const; ///< empty when all is sound
    /// Why nothing can be played, with the text.
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
