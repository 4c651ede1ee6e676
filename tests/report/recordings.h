/// @file
/// Recordings of known content, and the CSV text of them.
#pragma once

#include "analysis/noise_samples.h"
#include "analysis/recording.h"
#include "analysis/six_positions.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace recordings {

constexpr analysis::Nanoseconds begin = 1'706'711'000'000'000'000;
constexpr analysis::Nanoseconds period = 2'500'000;

/// The samples of a camera at rest: white noise and a random walk around gravity along y, and
/// around zero angular velocity.
struct Noise
{
    double accelerationDensity = 1.5e-3; ///< m/s^2/sqrt(Hz)
    double accelerationWalk = 0.0;       ///< m/s^3/sqrt(Hz)
    double rateDensity = 3e-3;           ///< deg/s/sqrt(Hz)
    double rateWalk = 0.0;               ///< deg/s^2/sqrt(Hz)
    std::uint64_t seed = 1;
};

inline analysis::Recording atRest(std::size_t rows, const Noise& noise = {})
{
    analysis::Recording recording;
    recording.path = "at-rest.csv";
    recording.report.rows = rows;
    for (std::size_t i = 0; i < rows; ++i) {
        recording.times.push_back(begin + static_cast<analysis::Nanoseconds>(i) * period);
        recording.numbers.push_back(static_cast<std::uint32_t>(i));
    }
    const double seconds = static_cast<double>(period) * 1e-9;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        recording.acceleration.axes[axis] =
            noise_samples::whiteAndWalk(rows, seconds, noise.accelerationDensity,
                                        noise.accelerationWalk, 10 * noise.seed + axis);
        recording.angularVelocity.axes[axis] = noise_samples::whiteAndWalk(
            rows, seconds, noise.rateDensity, noise.rateWalk, 10 * noise.seed + 3 + axis);
    }
    for (double& value : recording.acceleration.axes[1]) {
        value += analysis::standardGravity;
    }
    return recording;
}

/// Readings distributed over an ellipsoid, 50 per second.
inline void addMagnetometer(analysis::Recording& recording, const std::array<double, 3>& offset,
                            const std::array<double, 3>& radii, std::size_t count, double noise)
{
    const std::vector<double> errors = noise_samples::whiteAndWalk(3 * count, 1.0, noise, 0.0, 99);
    for (std::size_t i = 0; i < count; ++i) {
        const double z = 1.0 - (2.0 * static_cast<double>(i) + 1.0) / static_cast<double>(count);
        const double turn = 2.399963229728653 * static_cast<double>(i);
        const double r = std::sqrt(1.0 - z * z);
        const std::array<double, 3> direction{r * std::cos(turn), r * std::sin(turn), z};
        recording.magneticField.times.push_back(begin +
                                                static_cast<analysis::Nanoseconds>(i) * 20'000'000);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            recording.magneticField.values.axes[axis].push_back(
                offset[axis] + radii[axis] * direction[axis] + errors[3 * i + axis]);
        }
    }
}

/// Removes the rows from `first` to before `end`, as if the recorder had missed them.
inline void removeRows(analysis::Recording& recording, std::size_t first, std::size_t end)
{
    const auto erase = [&](auto& values) {
        values.erase(values.begin() + static_cast<std::ptrdiff_t>(first),
                     values.begin() + static_cast<std::ptrdiff_t>(end));
    };
    erase(recording.times);
    erase(recording.numbers);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        erase(recording.acceleration.axes[axis]);
        erase(recording.angularVelocity.axes[axis]);
    }
    recording.report.rows = recording.times.size();
}

} // namespace recordings
