/// @file
/// The one map between the sensor axes (1, 2, 3) of the microcontroller and its EEPROM, and the
/// axes (X, Y, Z) of the dialog: X = -(axis 2), Y = axis 1, Z = axis 3 (right, down, forward).
#pragma once

#include <array>

namespace axes {

template <typename T>
using Triple = std::array<T, 3>;

/// Of values with a direction, such as a field. The sign changes in the type that is given: a count
/// of 0 stays 0, and a float of 0.0 becomes -0.0.
template <typename T>
constexpr Triple<T> toDialog(const Triple<T>& sensor)
{
    return {-sensor[1], sensor[0], sensor[2]};
}

template <typename T>
constexpr Triple<T> toSensor(const Triple<T>& dialog)
{
    return {dialog[1], -dialog[0], dialog[2]};
}

/// Of values without a direction, such as a scale. It is its own inverse.
template <typename T>
constexpr Triple<T> exchanged(const Triple<T>& values)
{
    return {values[1], values[0], values[2]};
}

} // namespace axes
