/// @file
/// Ranges of sample clouds, for ellipses and scales.
#pragma once

#include <QVector>

#include <algorithm>
#include <cmath>
#include <initializer_list>

namespace chartmath {

/// The smallest value and the width of the range. 0 and 0 without values.
struct Extent
{
    float start = 0.0F;
    float width = 0.0F;
};

inline Extent extentOf(const QVector<double>& values)
{
    if (values.isEmpty()) {
        return {};
    }
    const auto [least, most] = std::minmax_element(values.cbegin(), values.cend());
    return {static_cast<float>(*least), static_cast<float>(std::abs(*most - *least))};
}

/// Half width of a scale centred on zero that shows all values with a margin of a tenth. If it is
/// not finite or there are no values (a fit can return NaN or infinities), it is that of an empty
/// plot.
inline double symmetricLimit(std::initializer_list<const QVector<double>*> axes)
{
    constexpr double ofEmptyPlot = 1.5;
    double greatest = 0.0;
    bool any = false;
    for (const QVector<double>* const values : axes) {
        for (const double value : *values) {
            if (!std::isfinite(value)) {
                return ofEmptyPlot;
            }
            any = true;
            greatest = std::max(greatest, std::abs(value));
        }
    }
    return any ? greatest * 1.1 : ofEmptyPlot;
}

} // namespace chartmath
