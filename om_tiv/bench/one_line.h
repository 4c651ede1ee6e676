/// @file
/// Messages that hold pieces of what somebody has sent.
#pragma once

#include <algorithm>
#include <string>

namespace om::bench {

/// The text on one line, without anything that a terminal would act upon: control characters
/// become blanks.
inline std::string oneLine(std::string text)
{
    std::replace_if(
        text.begin(), text.end(),
        [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, ' ');
    return text;
}

} // namespace om::bench
