/// @file
/// Quantiles of the chi-squared distribution, for confidence intervals of variances.
#pragma once

namespace analysis {

/// The x for which a chi-squared variable with the given degrees of freedom is below x with the
/// given probability. Up to 1000 degrees of freedom by bisection of the regularised lower
/// incomplete gamma function P(degreesOfFreedom / 2, x / 2), relative error below 1e-9; above by
/// the approximation of Wilson and Hilferty (Proc. Natl. Acad. Sci. 17, 1931), below 1e-6.
/// @param probability in (0, 1)
/// @param degreesOfFreedom above 0, need not be whole
double chiSquaredQuantile(double probability, double degreesOfFreedom);

} // namespace analysis
