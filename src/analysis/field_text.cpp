#include "analysis/field_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace analysis {

namespace {

/// No sensor has larger values, and sums of their squares stay finite.
constexpr double mostValue = 1e9;

constexpr std::array<double, 16> powersOfTen{1.0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                             1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

/// Eight decimal digits at once.
/// @return false if they are not all digits, or on a machine whose first byte is the highest
bool parseEightDigits(const char* p, const char* end, std::uint64_t& value)
{
    if (__BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__ || end - p < 8) {
        return false;
    }
    std::uint64_t text = 0;
    std::memcpy(&text, p, sizeof text);
    constexpr std::uint64_t high = 0xF0F0F0F0F0F0F0F0;
    if (((text & high) | (((text + 0x0606060606060606) & high) >> 4)) != 0x3333333333333333) {
        return false;
    }
    // The digits become four pairs, these become two halves, and these the number.
    text -= 0x3030303030303030;
    text = text * 10 + (text >> 8);
    constexpr std::uint64_t pairs = 0x000000FF000000FF;
    value = ((text & pairs) * (100 + (std::uint64_t{1'000'000} << 32)) +
             ((text >> 16) & pairs) * (1 + (std::uint64_t{10'000} << 32))) >>
            32;
    return true;
}

} // namespace

bool parseNumber(const char*& p, const char* end, double& value)
{
    const char* const begin = p;
    const bool negative = p != end && *p == '-';
    const char* digit = negative ? p + 1 : p;
    std::uint64_t mantissa = 0;
    const char* const first = digit;
    while (digit != end && isDigit(*digit)) {
        mantissa = mantissa * 10 + static_cast<std::uint64_t>(*digit++ - '0');
    }
    auto digits = digit - first;
    std::size_t decimals = 0;
    if (digit != end && *digit == '.') {
        const char* const point = ++digit;
        if (std::uint64_t eight = 0; parseEightDigits(digit, end, eight)) {
            mantissa = mantissa * 100'000'000 + eight;
            digit += 8;
        }
        while (digit != end && isDigit(*digit)) {
            mantissa = mantissa * 10 + static_cast<std::uint64_t>(*digit++ - '0');
        }
        decimals = static_cast<std::size_t>(digit - point);
        digits += digit - point;
    }
    if (digits > 0 && digits <= 15 && digit != end && *digit == ',') {
        const double quotient = static_cast<double>(mantissa) / powersOfTen[decimals];
        value = negative ? -quotient : quotient;
        p = digit;
        return quotient <= mostValue;
    }
    const auto [stop, problem] = std::from_chars(begin, end, value);
    p = stop;
    return problem == std::errc() && stop != end && *stop == ',' && std::abs(value) <= mostValue;
}

bool parseIndex(const char*& p, const char* end, double& value)
{
    std::uint32_t index = 0;
    const auto [stop, problem] = std::from_chars(p, end, index);
    p = stop;
    value = index;
    return problem == std::errc() && stop != end && *stop == ',';
}

bool parseTime(const char*& p, const char* end, Nanoseconds& time)
{
    constexpr Nanoseconds second = 1'000'000'000;
    constexpr Nanoseconds most = std::numeric_limits<Nanoseconds>::max() / second - 1;
    const char* digit = p;
    Nanoseconds seconds = 0;
    std::uint64_t eight = 0;
    if (parseEightDigits(digit, end, eight)) {
        seconds = static_cast<Nanoseconds>(eight);
        digit += 8;
    }
    while (digit != end && isDigit(*digit)) {
        seconds = seconds * 10 + (*digit++ - '0');
        if (seconds > most) {
            return false;
        }
    }
    if (digit == p) {
        return false;
    }
    Nanoseconds fraction = 0;
    if (digit != end && *digit == '.') {
        ++digit;
        Nanoseconds place = second;
        if (parseEightDigits(digit, end, eight)) {
            place /= 100'000'000;
            fraction = static_cast<Nanoseconds>(eight) * place;
            digit += 8;
        }
        for (; digit != end && isDigit(*digit); ++digit) {
            place /= 10;
            fraction += place * (*digit - '0');
        }
    }
    p = digit;
    time = seconds * second + (fraction + 500) / 1000 * 1000;
    return digit != end && *digit == ',';
}

} // namespace analysis
