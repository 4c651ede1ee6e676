#pragma once

namespace analysis {

constexpr double pi = 3.14159265358979323846;

constexpr double squared(double value)
{
    return value * value;
}

} // namespace analysis
