#include "analysis/six_positions.h"

#include <Eigen/Dense>

#include <algorithm>
#include <array>
#include <cmath>

namespace analysis {

namespace {

constexpr double windowSeconds = 0.25;
constexpr double trimSeconds = 0.1;
constexpr double leastSeconds = 1.0; // of a rest
/// A window contains motion if its deviation exceeds that of the stillest quarter of windows by
/// this factor.
constexpr double noiseFactor = 3.0;
/// Minimum deviations that count as motion, so that a recording without noise works.
constexpr double leastAcceleration = 1e-3;    // m/s^2
constexpr double leastAngularVelocity = 1e-2; // degrees per second
/// Mean accelerations of neighbouring windows of one rest differ by less than this, m/s^2.
constexpr double mostDrift = 0.3;
/// A side points up if gravity is within about 37 degrees of its axis.
constexpr double leastCosine = 0.8;

constexpr std::array<const char*, 6> sideNames{"+x", "-x", "+y", "-y", "+z", "-z"};

struct Window
{
    std::size_t first = 0;
    std::size_t end = 0;
    Eigen::Vector3d mean;
    double acceleration = 0.0;    ///< deviation
    double angularVelocity = 0.0; ///< deviation
    bool still = false;
};

double deviationOf(const Vectors& vectors, std::size_t first, std::size_t end,
                   Eigen::Vector3d& mean)
{
    double squares = 0.0;
    const auto count = static_cast<double>(end - first);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        double sum = 0.0;
        for (std::size_t i = first; i < end; ++i) {
            sum += vectors.axes[axis][i];
        }
        const double average = sum / count;
        mean[static_cast<Eigen::Index>(axis)] = average;
        for (std::size_t i = first; i < end; ++i) {
            const double difference = vectors.axes[axis][i] - average;
            squares += difference * difference;
        }
    }
    return std::sqrt(squares / count);
}

double quarter(std::vector<double> values)
{
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 4);
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

std::vector<Window> windowsOf(const Recording& recording)
{
    std::vector<Window> windows;
    const std::vector<Nanoseconds>& times = recording.times;
    const auto length = static_cast<Nanoseconds>(windowSeconds * 1e9);
    for (std::size_t first = 0; first < times.size();) {
        const auto behind = std::lower_bound(times.begin() + static_cast<std::ptrdiff_t>(first),
                                             times.end(), times[first] + length);
        Window window;
        window.first = first;
        window.end = static_cast<std::size_t>(behind - times.begin());
        if (behind == times.end()) {
            break; // an incomplete window
        }
        window.acceleration =
            deviationOf(recording.acceleration, window.first, window.end, window.mean);
        if (!recording.angularVelocity.empty()) {
            Eigen::Vector3d rate;
            window.angularVelocity =
                deviationOf(recording.angularVelocity, window.first, window.end, rate);
        }
        windows.push_back(window);
        first = window.end;
    }
    return windows;
}

int sideOf(const Eigen::Vector3d& mean)
{
    Eigen::Index axis = 0;
    const double most = mean.cwiseAbs().maxCoeff(&axis);
    if (!(most >= leastCosine * mean.norm())) {
        return -1;
    }
    return static_cast<int>(2 * axis) + (mean[axis] < 0.0 ? 1 : 0);
}

} // namespace

std::vector<Rest> findRests(const Recording& recording)
{
    std::vector<Rest> rests;
    if (recording.acceleration.empty()) {
        return rests;
    }
    std::vector<Window> windows = windowsOf(recording);
    if (windows.empty()) {
        return rests;
    }
    std::vector<double> accelerations;
    std::vector<double> rates;
    for (const Window& window : windows) {
        accelerations.push_back(window.acceleration);
        rates.push_back(window.angularVelocity);
    }
    const double mostAcceleration =
        std::max(noiseFactor * quarter(accelerations), leastAcceleration);
    const double mostRate = std::max(noiseFactor * quarter(rates), leastAngularVelocity);
    for (Window& window : windows) {
        window.still =
            window.acceleration <= mostAcceleration && window.angularVelocity <= mostRate;
    }

    const auto trim = static_cast<Nanoseconds>(trimSeconds * 1e9);
    const auto least = static_cast<Nanoseconds>(leastSeconds * 1e9);
    const std::vector<Nanoseconds>& times = recording.times;
    for (std::size_t i = 0; i < windows.size();) {
        if (!windows[i].still) {
            ++i;
            continue;
        }
        std::size_t k = i + 1;
        while (k < windows.size() && windows[k].still && windows[k].first == windows[k - 1].end &&
               (windows[k].mean - windows[k - 1].mean).norm() < mostDrift) {
            ++k;
        }
        const Nanoseconds begin = times[windows[i].first];
        const Nanoseconds end = times[windows[k - 1].end - 1];
        if (end - begin >= least) {
            Rest rest;
            const auto at = [&](Nanoseconds time) {
                return static_cast<std::size_t>(std::lower_bound(times.begin(), times.end(), time) -
                                                times.begin());
            };
            rest.first = at(begin + trim);
            rest.end = at(end - trim);
            deviationOf(recording.acceleration, rest.first, rest.end, rest.mean);
            rest.side = sideOf(rest.mean);
            if (rest.side >= 0) {
                rests.push_back(rest);
            }
        }
        i = k;
    }
    return rests;
}

std::optional<SixPositions> solveSixPositions(const std::vector<Rest>& rests, double gravity,
                                              std::string& reason)
{
    std::array<int, 6> found{};
    for (const Rest& rest : rests) {
        ++found[static_cast<std::size_t>(rest.side)];
    }
    std::string missing;
    for (std::size_t side = 0; side < found.size(); ++side) {
        if (found[side] == 0) {
            missing += (missing.empty() ? "" : ", ") + std::string(sideNames[side]);
        }
    }
    if (!missing.empty()) {
        reason = "no rest of a second with these axes up: " + missing;
        return std::nullopt;
    }

    const auto count = static_cast<Eigen::Index>(rests.size());
    Eigen::MatrixXd design(count, 4); // true acceleration, and 1 for the bias
    Eigen::MatrixXd readings(count, 3);
    for (Eigen::Index i = 0; i < count; ++i) {
        const Rest& rest = rests[static_cast<std::size_t>(i)];
        design.row(i) << 0.0, 0.0, 0.0, 1.0;
        design(i, rest.side / 2) = rest.side % 2 == 0 ? gravity : -gravity;
        readings.row(i) = rest.mean.transpose();
    }
    const Eigen::MatrixXd solution = design.colPivHouseholderQr().solve(readings); // 4 by 3
    const Eigen::MatrixXd residuals = readings - design * solution;
    const Eigen::MatrixXd covariance = (design.transpose() * design).inverse();
    SixPositions result;
    result.rests = rests;
    result.bias = solution.row(3).transpose();
    result.scale = solution.topRows<3>().diagonal();
    result.misalignment = solution.topRows<3>().transpose();
    result.misalignment.diagonal().setZero();
    result.residualRms = std::sqrt(residuals.squaredNorm() / static_cast<double>(3 * count));
    // Each axis has 4 parameters.
    const Eigen::Vector3d variance = residuals.colwise().squaredNorm().transpose() /
                                     static_cast<double>(std::max<Eigen::Index>(count - 4, 1));
    result.biasError = (variance * covariance(3, 3)).cwiseSqrt();
    result.scaleError = (variance.array() * covariance.diagonal().head<3>().array()).sqrt();
    result.misalignmentError =
        std::sqrt(variance.maxCoeff() * covariance.diagonal().head<3>().maxCoeff());
    return result;
}

} // namespace analysis
