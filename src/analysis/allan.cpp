#include "analysis/allan.h"

#include "analysis/chi_squared.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace analysis {

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
/// Probability of one standard deviation of a normal variable.
constexpr double confidence = 0.682689492137086;

/// x with tau0 = 1, of the samples minus their mean: a constant output has no deviation, and the
/// sum stays small.
std::vector<double> phaseOf(const std::vector<double>& rate)
{
    double mean = 0.0;
    for (const double value : rate) {
        mean += value;
    }
    mean /= static_cast<double>(std::max<std::size_t>(rate.size(), 1));
    std::vector<double> phase(rate.size() + 1);
    double sum = 0.0;
    for (std::size_t i = 0; i < rate.size(); ++i) {
        sum += rate[i] - mean;
        phase[i + 1] = sum;
    }
    return phase;
}

double squared(double value)
{
    return value * value;
}

/// A sum of squares and their number.
struct Squares
{
    double sum = 0.0;
    std::size_t count = 0;
};

/// Second differences of the phase over m samples, one in each `step` of them.
Squares secondDifferences(const std::vector<double>& phase, std::size_t m, std::size_t step)
{
    Squares squares;
    if (phase.size() < 2 * m + 1) {
        return squares;
    }
    const std::size_t end = phase.size() - 2 * m;
    const double* const x = phase.data();
    if (step == 1) {
        // Four independent sums for speed; their order is fixed, so that results are reproducible.
        double sums[4] = {};
        std::size_t i = 0;
        for (; i + 4 <= end; i += 4) {
            for (std::size_t k = 0; k < 4; ++k) {
                sums[k] += squared(x[i + k + 2 * m] - 2.0 * x[i + k + m] + x[i + k]);
            }
        }
        for (; i < end; ++i) {
            sums[0] += squared(x[i + 2 * m] - 2.0 * x[i + m] + x[i]);
        }
        squares.sum = (sums[0] + sums[1]) + (sums[2] + sums[3]);
        squares.count = end;
    } else {
        for (std::size_t i = 0; i < end; i += step) {
            squares.sum += squared(x[i + 2 * m] - 2.0 * x[i + m] + x[i]);
            ++squares.count;
        }
    }
    return squares;
}

/// Third differences of the phase over m samples, one in each m of them.
Squares thirdDifferences(const std::vector<double>& phase, std::size_t m)
{
    Squares squares;
    for (std::size_t i = 0; i + 3 * m < phase.size(); i += m) {
        squares.sum +=
            squared(phase[i + 3 * m] - 3.0 * phase[i + 2 * m] + 3.0 * phase[i + m] - phase[i]);
        ++squares.count;
    }
    return squares;
}

/// Second differences of the phase over m samples, summed over m neighbours.
Squares summedSecondDifferences(const std::vector<double>& phase, std::size_t m)
{
    Squares squares;
    if (phase.size() < 3 * m) {
        return squares;
    }
    const auto difference = [&](std::size_t i) {
        return phase[i + 2 * m] - 2.0 * phase[i + m] + phase[i];
    };
    double sum = 0.0;
    for (std::size_t i = 0; i < m; ++i) {
        sum += difference(i);
    }
    for (std::size_t j = 0;; ++j) {
        squares.sum += squared(sum);
        ++squares.count;
        if (j + 3 * m >= phase.size()) {
            break;
        }
        sum += difference(j + m) - difference(j);
    }
    return squares;
}

/// The averagings, evenly spaced on a logarithmic axis, each once.
std::vector<std::size_t> averagings(std::size_t longest, std::size_t perDecade)
{
    std::vector<std::size_t> all;
    for (std::size_t i = 0;; ++i) {
        const double exact =
            std::pow(10.0, static_cast<double>(i) / static_cast<double>(perDecade));
        const auto m = static_cast<std::size_t>(std::llround(exact));
        if (m > longest) {
            return all;
        }
        if (all.empty() || m > all.back()) {
            all.push_back(m);
        }
    }
}

} // namespace

double deviation(DEVIATION kind, const std::vector<double>& rate, std::size_t averaging)
{
    const std::vector<double> phase = phaseOf(rate);
    const auto m = static_cast<double>(averaging);
    Squares squares;
    double divisor = 0.0; // of the mean square
    switch (kind) {
    case DEVIATION::ALLAN:
        squares = secondDifferences(phase, averaging, averaging);
        if (averaging == 1) {
            squares = secondDifferences(phase, 1, 1);
        }
        divisor = 2.0 * m * m;
        break;
    case DEVIATION::OVERLAPPING_ALLAN:
        squares = secondDifferences(phase, averaging, 1);
        divisor = 2.0 * m * m;
        break;
    case DEVIATION::MODIFIED_ALLAN:
        squares = summedSecondDifferences(phase, averaging);
        divisor = 2.0 * m * m * m * m;
        break;
    case DEVIATION::HADAMARD:
        squares = thirdDifferences(phase, averaging);
        divisor = 6.0 * m * m;
        break;
    }
    return squares.count > 0 ? std::sqrt(squares.sum / static_cast<double>(squares.count) / divisor)
                             : nan;
}

double overlappingAllanDegreesOfFreedom(NOISE noise, std::size_t samples, std::size_t averaging)
{
    const double n = static_cast<double>(samples) + 1.0; // points of the phase
    const auto m = static_cast<double>(averaging);
    double degrees = 1.0;
    switch (noise) {
    case NOISE::WHITE_PHASE:
        degrees = (n + 1.0) * (n - 2.0 * m) / (2.0 * (n - m));
        break;
    case NOISE::WHITE:
        degrees =
            (3.0 * (n - 1.0) / (2.0 * m) - 2.0 * (n - 2.0) / n) * 4.0 * m * m / (4.0 * m * m + 5.0);
        break;
    case NOISE::FLICKER:
        degrees = averaging == 1 ? 2.0 * squared(n - 2.0) / (2.3 * n - 4.9)
                                 : 5.0 * n * n / (4.0 * m * (n + 3.0 * m));
        break;
    case NOISE::RANDOM_WALK:
        degrees = (n - 2.0) / m * (squared(n - 1.0) - 3.0 * m * (n - 1.0) + 4.0 * m * m) /
                  squared(n - 3.0);
        break;
    }
    return std::max(degrees, 1.0);
}

std::vector<AllanPoint> overlappingAllan(const Stretches& rate, double samplePeriod,
                                         std::size_t perDecade, std::size_t exactUpTo)
{
    std::size_t longest = 0;
    std::vector<std::vector<double>> phases;
    for (const std::vector<double>& stretch : rate) {
        longest = std::max(longest, stretch.size());
        phases.push_back(phaseOf(stretch));
    }

    std::vector<AllanPoint> points;
    for (const std::size_t m : averagings(longest / 3, perDecade)) {
        const std::size_t step = std::max<std::size_t>(1, m / exactUpTo);
        AllanPoint point;
        point.averaging = m;
        Squares all;
        for (const std::vector<double>& phase : phases) {
            const Squares squares = secondDifferences(phase, m, step);
            all.sum += squares.sum;
            all.count += squares.count;
            point.samples += squares.count > 0 ? phase.size() - 1 : 0;
        }
        const auto average = static_cast<double>(m);
        point.tau = average * samplePeriod;
        point.deviation =
            std::sqrt(all.sum / static_cast<double>(all.count) / (2.0 * average * average));
        setInterval(point, NOISE::WHITE);
        points.push_back(point);
    }
    return points;
}

void setInterval(AllanPoint& point, NOISE noise)
{
    const double degrees = overlappingAllanDegreesOfFreedom(noise, point.samples, point.averaging);
    const auto bound = [&](double probability) {
        return point.deviation * std::sqrt(degrees / chiSquaredQuantile(probability, degrees));
    };
    point.degreesOfFreedom = degrees;
    point.low = bound(0.5 + confidence / 2.0);
    point.high = bound(0.5 - confidence / 2.0);
}

} // namespace analysis
