#include "viewer/shown_rate.h"

#include <algorithm>
#include <cmath>
#include <limits>

int shownRate(double reported, double nominal)
{
    const double rate = std::min(reported, nominal);
    return rate > std::numeric_limits<int>::min() ? static_cast<int>(std::ceil(rate)) : 0;
}
