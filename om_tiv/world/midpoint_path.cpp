#include "world/midpoint_path.h"

#include "base/noise.h"

#include <cmath>

namespace om::bench {

namespace {

using Coefficients = std::array<double, 8>;

double ratio(const Coefficients& above, const Coefficients& below, double x)
{
    double numerator = 0.0;
    double denominator = 0.0;
    for (std::size_t i = above.size(); i > 0; --i) {
        numerator = numerator * x + above[i - 1];
        denominator = denominator * x + below[i - 1];
    }
    return numerator / denominator;
}

} // namespace

/// M. J. Wichura, Algorithm AS 241: The percentage points of the normal distribution, Applied
/// Statistics 37 (1988), routine PPND16. Most arguments need neither a logarithm nor a root, so it
/// is several times as fast as the Box-Muller transform.
double normalQuantile(double probability)
{
    constexpr Coefficients a = {3.3871328727963666080e0, 1.3314166789178437745e2,
                                1.9715909503065514427e3, 1.3731693765509461125e4,
                                4.5921953931549871457e4, 6.7265770927008700853e4,
                                3.3430575583588128105e4, 2.5090809287301226727e3};
    constexpr Coefficients b = {1.0,
                                4.2313330701600911252e1,
                                6.8718700749205790830e2,
                                5.3941960214247511077e3,
                                2.1213794301586595867e4,
                                3.9307895800092710610e4,
                                2.8729085735721942674e4,
                                5.2264952788528545610e3};
    constexpr Coefficients c = {1.42343711074968357734e0,  4.63033784615654529590e0,
                                5.76949722146069140550e0,  3.64784832476320460504e0,
                                1.27045825245236838258e0,  2.41780725177450611770e-1,
                                2.27238449892691845833e-2, 7.74545014278341407640e-4};
    constexpr Coefficients d = {1.0,
                                2.05319162663775882187e0,
                                1.67638483018380384940e0,
                                6.89767334985100004550e-1,
                                1.48103976427480074590e-1,
                                1.51986665636164571966e-2,
                                5.47593808499534494600e-4,
                                1.05075007164441684324e-9};
    constexpr Coefficients e = {6.65790464350110377720e0,  5.46378491116411436990e0,
                                1.78482653991729133580e0,  2.96560571828504891230e-1,
                                2.65321895265761230930e-2, 1.24266094738807843860e-3,
                                2.71155556874348757815e-5, 2.01033439929228813265e-7};
    constexpr Coefficients f = {1.0,
                                5.99832206555887937690e-1,
                                1.36929880922735805310e-1,
                                1.48753612908506148525e-2,
                                7.86869131145613259100e-4,
                                1.84631831751005468180e-5,
                                1.42151175831644588870e-7,
                                2.04426310338993978564e-15};
    const double q = probability - 0.5;
    if (std::abs(q) <= 0.425) {
        return q * ratio(a, b, 0.180625 - q * q);
    }
    const double root = std::sqrt(-std::log(q < 0.0 ? probability : 1.0 - probability));
    const double value = root <= 5.0 ? ratio(c, d, root - 1.6) : ratio(e, f, root - 5.0);
    return q < 0.0 ? -value : value;
}

NodeNumbers::NodeNumbers(std::uint64_t seed, std::uint64_t channel)
    : m_key(mix(mix(seed) ^ channel))
{}

double NodeNumbers::at(std::uint64_t node) const
{
    return normalQuantile(unitInterval(mix(m_key ^ node)));
}

double MidpointPath::at(const Interval& interval, const std::vector<Level>& levels,
                        const NodeNumbers& numbers, std::uint64_t cell, double fraction)
{
    const std::size_t count = levels.size();
    std::size_t depth = 0;
    if (interval.name == m_name && count == m_levels) {
        // The nodes that this cell and the previous one have in common are already known.
        depth = count;
        for (std::uint64_t differing = cell ^ m_cell; differing != 0; differing >>= 1U) {
            --depth;
        }
    } else {
        m_name = interval.name;
        m_levels = count;
        m_ends[0] = {interval.first, interval.last};
    }
    m_cell = cell;
    for (; depth < count; ++depth) {
        const Ends& whole = m_ends[depth];
        const std::uint64_t node = (std::uint64_t{1} << depth) + (cell >> (count - depth));
        const double middle = levels[depth].weight * (whole.first + whole.last) +
                              levels[depth].deviation * numbers.at(interval.offset + node);
        const bool inSecond = ((cell >> (count - depth - 1)) & 1U) != 0;
        m_ends[depth + 1] = inSecond ? Ends{middle, whole.last} : Ends{whole.first, middle};
    }
    const Ends& ends = m_ends[count];
    return ends.first + fraction * (ends.last - ends.first);
}

} // namespace om::bench
