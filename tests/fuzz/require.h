/// @file
/// Functions that the fuzz targets share.
#pragma once

#include <cstddef>
#include "base/one_line.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/// Ends the process if a condition does not hold, in every kind of build; the fuzzer keeps the
/// input.
inline void require(bool holds, const std::string& what)
{
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", what.c_str());
        std::abort();
    }
}

/// A message for the user: not empty, on one line, without terminal control characters.
inline void requireOneLine(const std::string& text)
{
    require(!text.empty(), "a message has a text");
    require(om::bench::oneLine(text) == text, "a message is one line of text: " + text);
}

/// A folder in memory, where it takes no time to bring a file to the disk; /tmp if there is none.
inline std::string memoryFolder()
{
    return ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
}

} // namespace fuzz
