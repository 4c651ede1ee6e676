#include "report/number_text.h"

#include <array>
#include <charconv>
#include <algorithm>
#include <cmath>

namespace report {

std::string number(double value, int digits)
{
    if (!std::isfinite(value)) {
        return "-";
    }
    if (value == 0.0) {
        return "0"; // no sign for -0
    }
    const double size = std::abs(value);
    std::array<char, 64> text{};
    const bool plain = size >= 1e-4 && size < 1e6;
    const int whole = static_cast<int>(std::floor(std::log10(size)));
    const auto result =
        plain ? std::to_chars(text.data(), text.data() + text.size(), value,
                              std::chars_format::fixed, std::max(0, digits - 1 - whole))
              : std::to_chars(text.data(), text.data() + text.size(), value,
                              std::chars_format::scientific, digits - 1);
    return {text.data(), result.ptr};
}

std::string plainNumber(double value)
{
    std::array<char, 400> text{};
    const auto result =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    return {text.data(), result.ptr};
}

std::string number(std::uint64_t value)
{
    return std::to_string(value);
}

std::string durationText(double seconds)
{
    if (seconds < 120.0) {
        return number(seconds, 3) + " s";
    }
    return seconds < 7200.0 ? number(seconds / 60.0, 3) + " min"
                            : number(seconds / 3600.0, 3) + " h";
}

} // namespace report
