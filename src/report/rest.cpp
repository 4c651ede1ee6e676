#include "report/rest.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace report {

namespace {

using analysis::Nanoseconds;
using analysis::Recording;
using analysis::Vectors;

constexpr Nanoseconds windowLength = 1'000'000'000;
/// Mean values of neighbouring seconds at rest differ by less than this, or by less than the noise
/// explains.
constexpr double mostAccelerationStep = 0.3;    // m/s^2
constexpr double mostAngularVelocityStep = 2.0; // degrees per second
/// Maximum angular velocity at rest: a turn at a constant rate has no steps.
constexpr double mostAngularVelocity = 20.0; // degrees per second
constexpr double noiseFactor = 6.0;
constexpr std::size_t leastWindows = 2;
/// Motion cannot be seen in a recording up to this length.
constexpr Nanoseconds tooShort = static_cast<Nanoseconds>(leastWindows) * windowLength;

/// Mean of the samples of a window without the lowest and the highest one, so that a single spike
/// is not motion; and the mean's own deviation by noise.
struct Mean
{
    std::array<double, 3> value{};
    std::array<double, 3> error{};
};

Mean meanOf(const Vectors& vectors, const Rows& rows)
{
    Mean mean;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::vector<double>& values = vectors.axes[axis];
        double sum = 0.0;
        double lowest = values[rows.first];
        double highest = lowest;
        for (std::size_t i = rows.first; i < rows.end; ++i) {
            sum += values[i];
            lowest = std::min(lowest, values[i]);
            highest = std::max(highest, values[i]);
        }
        auto count = static_cast<double>(rows.size());
        const bool trimmed = rows.size() > 4;
        if (trimmed) {
            sum -= lowest + highest;
            count -= 2.0;
        }
        mean.value[axis] = sum / count;
        double squares = 0.0;
        for (std::size_t i = rows.first; i < rows.end; ++i) {
            const double difference = values[i] - mean.value[axis];
            squares += difference * difference;
        }
        if (trimmed) {
            squares -=
                std::pow(lowest - mean.value[axis], 2) + std::pow(highest - mean.value[axis], 2);
        }
        mean.error[axis] = std::sqrt(std::max(squares, 0.0)) / count;
    }
    return mean;
}

bool isStep(const Mean& before, const Mean& after, double most)
{
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double noise = noiseFactor * std::hypot(before.error[axis], after.error[axis]);
        if (std::abs(after.value[axis] - before.value[axis]) > std::max(most, noise)) {
            return true;
        }
    }
    return false;
}

bool turns(const Mean& rate)
{
    return std::any_of(rate.value.begin(), rate.value.end(),
                       [](double value) { return std::abs(value) > mostAngularVelocity; });
}

std::vector<Rows> windowsOf(const std::vector<Nanoseconds>& times)
{
    std::vector<Rows> windows;
    for (std::size_t first = 0; first < times.size();) {
        std::size_t end = first + 1;
        while (end < times.size() && times[end] - times[first] < windowLength) {
            ++end;
        }
        windows.push_back({first, end});
        first = end;
    }
    return windows;
}

} // namespace

std::optional<Rows> longestRest(const Recording& recording)
{
    const bool hasAcceleration = !recording.acceleration.empty();
    const bool hasRate = !recording.angularVelocity.empty();
    if (recording.times.empty() || (!hasAcceleration && !hasRate)) {
        return std::nullopt;
    }
    if (recording.times.back() - recording.times.front() <= tooShort) {
        return Rows{0, recording.times.size()};
    }
    std::vector<Rows> windows = windowsOf(recording.times);
    if (windows.size() > leastWindows) {
        // An incomplete second at the end has too few samples for a mean of its own.
        const Rows last = windows.back();
        windows.pop_back();
        windows.back().end = last.end;
    }

    Rows longest;
    std::size_t most = 0;
    std::size_t first = 0;
    Mean acceleration;
    Mean rate;
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const Mean accelerationBefore = acceleration;
        const Mean rateBefore = rate;
        bool moves = false;
        if (hasAcceleration) {
            acceleration = meanOf(recording.acceleration, windows[i]);
            moves = i > 0 && isStep(accelerationBefore, acceleration, mostAccelerationStep);
        }
        if (hasRate) {
            rate = meanOf(recording.angularVelocity, windows[i]);
            moves = moves || (i > 0 && isStep(rateBefore, rate, mostAngularVelocityStep));
        }
        if (hasRate && turns(rate)) {
            first = i + 1;
            continue;
        }
        if (moves) {
            first = i;
        }
        if (i + 1 - first > most) {
            most = i + 1 - first;
            longest = {windows[first].first, windows[i].end};
        }
    }
    if (most < leastWindows) {
        return std::nullopt;
    }
    return longest;
}

} // namespace report
