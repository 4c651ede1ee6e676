#include "analysis/chi_squared.h"

#include <unsupported/Eigen/SpecialFunctions>

#include <cmath>

namespace analysis {

double chiSquaredQuantile(double probability, double degreesOfFreedom)
{
    if (degreesOfFreedom > 1000.0) {
        const double variance = 2.0 / (9.0 * degreesOfFreedom);
        const double root =
            1.0 - variance + Eigen::numext::ndtri(probability) * std::sqrt(variance);
        return degreesOfFreedom * root * root * root;
    }
    const double shape = degreesOfFreedom / 2.0;
    const auto below = [&](double x) { return Eigen::numext::igamma(shape, x / 2.0); };
    // The bracket starts near the mean and is widened until it contains the quantile.
    double low = degreesOfFreedom;
    double high = degreesOfFreedom + 1.0;
    while (below(low) > probability && low > 1e-300) {
        low /= 2.0;
    }
    while (below(high) < probability) {
        high *= 2.0;
    }
    while (high - low > 1e-10 * high) {
        const double middle = 0.5 * (low + high);
        if (middle == low || middle == high) {
            break;
        }
        (below(middle) < probability ? low : high) = middle;
    }
    return 0.5 * (low + high);
}

} // namespace analysis
