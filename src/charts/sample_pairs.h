/// @file
/// Arithmetic on two samples at a time, for the reduction to columns.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace columnbars {

constexpr double farAway = 1e6; // pixels, far outside any canvas and within the range of an int

inline bool isFinite(double value)
{
    return std::abs(value) <= std::numeric_limits<double>::max();
}

inline int roundedPixel(double pixel)
{
    const double bounded = std::min(std::max(pixel, -farAway), farAway);
    return static_cast<int>(bounded + std::copysign(0.5, bounded));
}

/// Two values at a time, in one register.
using Pair = double __attribute__((vector_size(16)));
using Truth = decltype(Pair() < Pair()); // -1 for true

inline Pair both(double value)
{
    return Pair{value, value};
}

inline Pair pairAt(const double* values)
{
    Pair pair;
    std::memcpy(&pair, values, sizeof pair);
    return pair;
}

inline Pair lower(Pair a, Pair b)
{
    return a < b ? a : b;
}

inline Pair higher(Pair a, Pair b)
{
    return a > b ? a : b;
}

/// roundedPixel() of both.
inline std::array<int, 2> roundedPixels(Pair pixels)
{
    using Bits = std::int64_t __attribute__((vector_size(16)));
    using Integers = int __attribute__((vector_size(8)));
    const Pair bounded = lower(higher(pixels, both(-farAway)), both(farAway));
    constexpr std::int64_t sign = std::numeric_limits<std::int64_t>::min();
    const Bits half =
        reinterpret_cast<Bits>(both(0.5)) | (reinterpret_cast<Bits>(bounded) & Bits{sign, sign});
    const auto rounded = __builtin_convertvector(bounded + reinterpret_cast<Pair>(half), Integers);
    return {rounded[0], rounded[1]};
}

} // namespace columnbars
