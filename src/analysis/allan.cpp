#include "analysis/allan.h"

#include "analysis/arithmetic.h"

#include "analysis/chi_squared.h"

#include <Eigen/Core>

#include <algorithm>
#include <cmath>
#include <limits>

namespace analysis {

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
/// Probability of one standard deviation of a normal variable.
constexpr double confidence = 0.682689492137086;
/// Samples of the phase that are taken at once: 128 KiB.
constexpr std::size_t chunk = 16'384;

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

/// A sum of squares and their number.
struct Squares
{
    double sum = 0.0;
    std::size_t count = 0;
};

/// The squares of the second differences of the phase over m samples, one in each `step` of them.
/// They can be taken part by part: many averagings over one part find it in the processor's cache.
class SecondDifferences
{
public:
    SecondDifferences(std::size_t phaseSize, std::size_t m, std::size_t step)
        : m_end(phaseSize > 2 * m ? phaseSize - 2 * m : 0), m_m(m), m_step(step)
    {}

    /// Takes the differences that begin before the limit, a multiple of 4 or beyond all of them.
    void take(const double* x, std::size_t limit)
    {
        const std::size_t end = std::min(limit, m_end);
        if (m_step == 1) {
            takeEach(x, end);
            return;
        }
        for (; m_next < end; m_next += m_step) {
            m_sums[0] += squared(difference(x, m_next));
            ++m_count;
        }
    }

    Squares squares() const { return {(m_sums[0] + m_sums[1]) + (m_sums[2] + m_sums[3]), m_count}; }

private:
    double difference(const double* x, std::size_t i) const
    {
        return x[i + 2 * m_m] - 2.0 * x[i + m_m] + x[i];
    }

    /// Four independent sums for speed; their order is fixed, so that results are reproducible.
    void takeEach(const double* x, std::size_t end)
    {
        using Four = Eigen::Map<const Eigen::Array4d>;
        const std::size_t first = m_next;
        Eigen::Array4d sums = m_sums;
        for (; m_next + 4 <= end; m_next += 4) {
            const double* const p = x + m_next;
            sums += (Four(p + 2 * m_m) - 2.0 * Four(p + m_m) + Four(p)).square();
        }
        m_sums = sums;
        for (; m_next < end; ++m_next) {
            m_sums[0] += squared(difference(x, m_next));
        }
        m_count += m_next - first;
    }

    Eigen::Array4d m_sums = Eigen::Array4d::Zero();
    std::size_t m_next = 0;
    std::size_t m_count = 0;
    std::size_t m_end; ///< of the beginnings of the differences
    std::size_t m_m;
    std::size_t m_step;
};

Squares secondDifferences(const std::vector<double>& phase, std::size_t m, std::size_t step)
{
    SecondDifferences differences(phase.size(), m, step);
    differences.take(phase.data(), phase.size());
    return differences.squares();
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
    for (const std::vector<double>& stretch : rate) {
        longest = std::max(longest, stretch.size());
    }
    std::vector<AllanPoint> points;
    for (const std::size_t m : averagings(longest / 3, perDecade)) {
        AllanPoint point;
        point.averaging = m;
        points.push_back(point);
    }
    std::vector<Squares> all(points.size());
    for (const std::vector<double>& stretch : rate) {
        const std::vector<double> phase = phaseOf(stretch);
        std::vector<SecondDifferences> differences;
        for (const AllanPoint& point : points) {
            const std::size_t m = point.averaging;
            differences.emplace_back(phase.size(), m, std::max<std::size_t>(1, m / exactUpTo));
        }
        for (std::size_t limit = chunk; limit < phase.size() + chunk; limit += chunk) {
            for (SecondDifferences& difference : differences) {
                difference.take(phase.data(), limit);
            }
        }
        for (std::size_t i = 0; i < points.size(); ++i) {
            const Squares squares = differences[i].squares();
            all[i].sum += squares.sum;
            all[i].count += squares.count;
            points[i].samples += squares.count > 0 ? phase.size() - 1 : 0;
        }
    }
    for (std::size_t i = 0; i < points.size(); ++i) {
        AllanPoint& point = points[i];
        const auto average = static_cast<double>(point.averaging);
        point.tau = average * samplePeriod;
        point.deviation =
            std::sqrt(all[i].sum / static_cast<double>(all[i].count) / (2.0 * average * average));
        setInterval(point, NOISE::WHITE);
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
