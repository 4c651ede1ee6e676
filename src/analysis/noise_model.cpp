#include "analysis/noise_model.h"

#include "analysis/arithmetic.h"

#include <Eigen/Dense>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace analysis {

namespace {

constexpr double ln2 = 0.69314718055994530942;
/// A term must dominate over at least this factor in averaging time to be observable.
constexpr double leastRange = 3.0;
/// Neighbouring points of an overlapping curve share most of their samples: this number of points
/// per decade counts as independent.
constexpr double independentPerDecade = 3.0;
/// Assumed relative error of the model's variance, for any number of samples per average.
constexpr double modelError = 0.002;
/// A flat part is observable only if one of its points has at least this many degrees of freedom.
constexpr double leastDegrees = 50.0;
/// The squares of smaller deviations are not exact, or are zero.
constexpr double leastDeviation = 1e-150;

/// The power of tau of each term in the variance.
double power(std::size_t term, double tau)
{
    switch (term) {
    case QUANTISATION:
        return 1.0 / (tau * tau);
    case NOISE_DENSITY:
        return 1.0 / tau;
    case BIAS_INSTABILITY:
        return 1.0;
    case RANDOM_WALK_TERM:
        return tau;
    default:
        return tau * tau;
    }
}

/// Of the point's variance, as the fit weights it.
double relativeError(const AllanPoint& point)
{
    return std::sqrt(2.0 / point.degreesOfFreedom + squared(modelError));
}

NOISE kindOf(std::size_t term)
{
    switch (term) {
    case QUANTISATION:
        return NOISE::WHITE_PHASE;
    case NOISE_DENSITY:
        return NOISE::WHITE;
    case BIAS_INSTABILITY:
        return NOISE::FLICKER;
    default:
        return NOISE::RANDOM_WALK;
    }
}

NOISE dominant(const NoiseModel& model, double tau)
{
    std::size_t most = NOISE_DENSITY;
    for (std::size_t term = 0; term < TERMS; ++term) {
        if (model.factors[term] * power(term, tau) > model.factors[most] * power(most, tau)) {
            most = term;
        }
    }
    return kindOf(most);
}

/// Weighted least squares of the terms in the set, one bit per term. The misfit is a chi-squared.
/// @return false if a factor would be negative
bool fitTerms(const std::vector<AllanPoint>& allan, unsigned set, double pointWeight,
              NoiseModel& model, double& misfit)
{
    std::vector<std::size_t> terms;
    for (std::size_t term = 0; term < TERMS; ++term) {
        if ((set >> term & 1U) != 0) {
            terms.push_back(term);
        }
    }
    const auto rows = static_cast<Eigen::Index>(allan.size());
    const auto columns = static_cast<Eigen::Index>(terms.size());
    Eigen::VectorXd variance(rows);
    for (Eigen::Index i = 0; i < rows; ++i) {
        variance[i] = squared(allan[static_cast<std::size_t>(i)].deviation);
    }
    Eigen::VectorXd expected = variance;
    Eigen::VectorXd solution;
    // The weights need the fitted variance; it converges within a few rounds.
    for (int round = 0; round < 6; ++round) {
        Eigen::MatrixXd design(rows, columns);
        Eigen::VectorXd observed(rows);
        for (Eigen::Index i = 0; i < rows; ++i) {
            const AllanPoint& point = allan[static_cast<std::size_t>(i)];
            const double weight = std::sqrt(pointWeight) / (relativeError(point) * expected[i]);
            for (Eigen::Index k = 0; k < columns; ++k) {
                design(i, k) = weight * power(terms[static_cast<std::size_t>(k)], point.tau);
            }
            observed[i] = weight * variance[i];
        }
        // The columns span many orders of magnitude.
        const Eigen::VectorXd norms = design.colwise().norm();
        const Eigen::MatrixXd scaled = design * norms.cwiseInverse().asDiagonal();
        solution = scaled.colPivHouseholderQr().solve(observed).cwiseQuotient(norms);
        if (!solution.allFinite() || solution.minCoeff() <= 0.0) {
            return false;
        }
        misfit = (design * solution - observed).squaredNorm();
        for (Eigen::Index i = 0; i < rows; ++i) {
            expected[i] = 0.0;
            for (Eigen::Index k = 0; k < columns; ++k) {
                expected[i] += solution[k] * power(terms[static_cast<std::size_t>(k)],
                                                   allan[static_cast<std::size_t>(i)].tau);
            }
        }
    }
    for (Eigen::Index k = 0; k < columns; ++k) {
        model.factors[terms[static_cast<std::size_t>(k)]] = solution[k];
    }
    return true;
}

std::string text(const char* format, double value)
{
    char buffer[160];
    std::snprintf(buffer, sizeof buffer, format, value);
    return buffer;
}

/// The widest run of points in which the term is at least half of the variance.
struct Run
{
    std::size_t first = 0;
    std::size_t count = 0;
};

Run dominatedBy(const NoiseModel& model, TERM term, const std::vector<AllanPoint>& allan)
{
    Run widest;
    Run run;
    for (std::size_t i = 0; i < allan.size(); ++i) {
        if (model.share(term, allan[i].tau) < 0.5) {
            run = {i + 1, 0};
            continue;
        }
        ++run.count;
        if (run.count > widest.count) {
            widest = run;
        }
    }
    return widest;
}

bool isWide(const Run& run, const std::vector<AllanPoint>& allan)
{
    return run.count > 1 &&
           allan[run.first + run.count - 1].tau >= leastRange * allan[run.first].tau;
}

/// The coefficient whose square is the factor of the term times the scale. The interval is that of
/// a log-normal variable: it is never below zero.
Coefficient ofTerm(const NoiseModel& model, TERM term, double scale)
{
    Coefficient coefficient;
    const double value = std::sqrt(scale * model.factors[term]);
    const double spread = std::exp(0.5 * model.errors[term]); // the root halves the relative error
    coefficient.value = value;
    coefficient.low = value / spread;
    coefficient.high = value * spread;
    return coefficient;
}

Coefficient notObservable(const char* line, const std::vector<AllanPoint>& allan)
{
    Coefficient coefficient;
    const double seconds = allan.empty()
                               ? 0.0
                               : static_cast<double>(allan.front().samples) * allan.front().tau /
                                     static_cast<double>(allan.front().averaging);
    coefficient.reason = text("not observable in %.0f seconds: ", seconds) +
                         "the Allan deviation has no part with " + line;
    return coefficient;
}

/// One-sided power density of the model's noise, u^2 / Hz. A ramp has none.
/// @param samplePeriod s
double density(const NoiseModel& model, double frequency, double samplePeriod)
{
    const auto& factors = model.factors;
    const double turns = pi * frequency;
    return 8.0 / 3.0 * factors[QUANTISATION] * samplePeriod * squared(turns) +
           2.0 * factors[NOISE_DENSITY] + factors[BIAS_INSTABILITY] / (2.0 * ln2 * frequency) +
           1.5 * factors[RANDOM_WALK_TERM] / squared(turns);
}

/// The covariances of the points' variances, each relative to the variance at its point. All points
/// are computed from the same samples: the correlation of two points is that of the noise after two
/// filters, one for each averaging time, which subtract neighbouring averages.
Eigen::MatrixXd covariances(const NoiseModel& model, const std::vector<AllanPoint>& allan)
{
    constexpr double perDecade = 100.0;
    const double samplePeriod = allan.front().tau / static_cast<double>(allan.front().averaging);
    const double lowest = 0.02 / allan.back().tau;
    const double highest = 0.5 / samplePeriod;
    const auto count = static_cast<Eigen::Index>(perDecade * std::log10(highest / lowest)) + 1;
    const auto points = static_cast<Eigen::Index>(allan.size());
    Eigen::VectorXd frequencies(count);
    Eigen::VectorXd powers(count);
    for (Eigen::Index i = 0; i < count; ++i) {
        frequencies[i] = lowest * std::pow(10.0, static_cast<double>(i) / perDecade);
        // With the root of the distance between two frequencies.
        powers[i] = std::sqrt(frequencies[i]) * density(model, frequencies[i], samplePeriod);
    }
    // Only their ratios count, and the squares of tiny powers are zero. A ramp alone has no power.
    if (const double highestPower = powers.maxCoeff(); highestPower > 0.0) {
        powers /= highestPower;
    }
    Eigen::MatrixXd filtered(count, points);
    for (Eigen::Index i = 0; i < count; ++i) {
        const double angle = pi * frequencies[i] * samplePeriod;
        for (Eigen::Index k = 0; k < points; ++k) {
            const auto m = static_cast<double>(allan[static_cast<std::size_t>(k)].averaging);
            filtered(i, k) =
                powers[i] * squared(squared(std::sin(m * angle)) / (m * std::sin(angle)));
        }
    }
    Eigen::MatrixXd covariance = filtered.transpose() * filtered;
    Eigen::VectorXd scale(points);
    for (Eigen::Index k = 0; k < points; ++k) {
        const double degrees = allan[static_cast<std::size_t>(k)].degreesOfFreedom;
        scale[k] = covariance(k, k) > 0.0 ? std::sqrt(2.0 / degrees / covariance(k, k)) : 0.0;
    }
    return scale.asDiagonal() * covariance * scale.asDiagonal();
}

/// The errors of the fit's factors: the covariances of the points, propagated through the least
/// squares.
void setErrors(NoiseModel& model, const std::vector<AllanPoint>& allan)
{
    model.errors = {};
    std::vector<std::size_t> terms;
    for (std::size_t term = 0; term < TERMS; ++term) {
        if (model.factors[term] > 0.0) {
            terms.push_back(term);
        }
    }
    if (terms.empty()) {
        return;
    }
    const auto rows = static_cast<Eigen::Index>(allan.size());
    const auto columns = static_cast<Eigen::Index>(terms.size());
    Eigen::VectorXd weights(rows);
    Eigen::MatrixXd shares(rows, columns); // of each term in the model at each point
    for (Eigen::Index i = 0; i < rows; ++i) {
        const AllanPoint& point = allan[static_cast<std::size_t>(i)];
        weights[i] = 1.0 / relativeError(point);
        for (Eigen::Index k = 0; k < columns; ++k) {
            shares(i, k) =
                model.share(static_cast<TERM>(terms[static_cast<std::size_t>(k)]), point.tau);
        }
    }
    const Eigen::MatrixXd solver = (weights.asDiagonal() * shares)
                                       .colPivHouseholderQr()
                                       .solve(Eigen::MatrixXd(weights.asDiagonal()));
    const Eigen::MatrixXd errors = solver * covariances(model, allan) * solver.transpose();
    for (Eigen::Index k = 0; k < columns; ++k) {
        model.errors[terms[static_cast<std::size_t>(k)]] = std::sqrt(std::max(errors(k, k), 0.0));
    }
}

void readCoefficients(NoiseModel& model, const std::vector<AllanPoint>& allan)
{
    setErrors(model, allan);
    model.noiseDensity = isWide(dominatedBy(model, NOISE_DENSITY, allan), allan)
                             ? ofTerm(model, NOISE_DENSITY, 1.0)
                             : notObservable("the slope -1/2 of white noise", allan);
    model.randomWalk = isWide(dominatedBy(model, RANDOM_WALK_TERM, allan), allan)
                           ? ofTerm(model, RANDOM_WALK_TERM, 3.0)
                           : notObservable("the slope +1/2 of a random walk", allan);

    const Run flat = dominatedBy(model, BIAS_INSTABILITY, allan);
    const auto begin = allan.begin() + static_cast<std::ptrdiff_t>(flat.first);
    const bool isSure =
        std::any_of(begin, begin + static_cast<std::ptrdiff_t>(flat.count),
                    [](const AllanPoint& point) { return point.degreesOfFreedom >= leastDegrees; });
    // The lines of N and K raise the minimum by the factor sqrt(1 + 2 N K / (sqrt(3) 0.441 B^2)),
    // and the lowest of several uncertain points is too low. The level of the flat line is neither.
    model.biasInstability = isWide(flat, allan) && isSure
                                ? ofTerm(model, BIAS_INSTABILITY, 1.0 / squared(flickerLevel))
                                : notObservable("the slope 0 of bias instability", allan);
}

} // namespace

double NoiseModel::variance(double tau) const
{
    double sum = 0.0;
    for (std::size_t term = 0; term < TERMS; ++term) {
        sum += factors[term] * power(term, tau);
    }
    return sum;
}

double NoiseModel::share(TERM term, double tau) const
{
    const double all = variance(tau);
    return all > 0.0 ? factors[term] * power(term, tau) / all : 0.0;
}

NoiseModel fitNoiseModel(const std::vector<AllanPoint>& allan)
{
    NoiseModel best;
    std::vector<AllanPoint> points;
    double largest = 0.0;
    for (const AllanPoint& point : allan) {
        if (point.deviation > leastDeviation && std::isfinite(point.deviation)) {
            points.push_back(point);
            largest = std::max(largest, point.deviation);
        }
    }
    if (points.size() >= 3) {
        // The fit takes fourth powers of the deviations. A power of two changes no other digit.
        const double unit = std::exp2(std::ilogb(largest));
        for (AllanPoint& point : points) {
            point.deviation /= unit;
        }
        const double decades = std::log10(points.back().tau / points.front().tau);
        const auto count = static_cast<double>(points.size());
        const double independent = std::max(2.0, independentPerDecade * decades);
        const double pointWeight = std::min(1.0, independent / count);
        double least = std::numeric_limits<double>::infinity();
        for (unsigned set = 1; set < 1U << TERMS; ++set) {
            NoiseModel model;
            double misfit = 0.0;
            if (!fitTerms(points, set, pointWeight, model, misfit)) {
                continue;
            }
            double terms = 0.0;
            for (const double factor : model.factors) {
                terms += factor > 0.0 ? 1.0 : 0.0;
            }
            const double criterion = misfit + terms * std::log(std::max(independent, 8.0));
            if (criterion < least) {
                least = criterion;
                best = model;
            }
        }
        for (double& factor : best.factors) {
            factor *= squared(unit);
        }
    }
    readCoefficients(best, points);
    return best;
}

AxisNoise analyseNoise(const Stretches& rate, double samplePeriod)
{
    AxisNoise axis;
    axis.allan = overlappingAllan(rate, samplePeriod);
    axis.model = fitNoiseModel(axis.allan);
    for (AllanPoint& point : axis.allan) {
        setInterval(point, dominant(axis.model, point.tau));
    }
    readCoefficients(axis.model, axis.allan);
    return axis;
}

} // namespace analysis
