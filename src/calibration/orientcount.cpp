#include "calibration/orientcount.h"

#include <cmath>
#include <cstring>

namespace {

/// 0 to 11. All in single precision, so that angles within rounding of a bin's upper edge belong to
/// the next bin.
int binOf(float degrees, int bins)
{
    while (degrees > 360.0F) {
        degrees -= 360.0F;
    }
    while (degrees < 0.0F) {
        degrees += 360.0F;
    }

    constexpr float perBin = 1.0F / 30.0F;
    const float position = std::floor(degrees * perBin);
    int bin = std::isnan(position) ? 0 : static_cast<int>(position);
    while (bin < 0) {
        bin += bins;
    }
    while (bin >= bins) {
        bin -= bins;
    }
    return bin;
}

} // namespace

OrientCount::OrientCount()
{
    std::memset(cells, 0, sizeof cells);
}

OrientCount::~OrientCount() = default;

void OrientCount::addOrientation(float a, float b, float c)
{
    cells[binOf(a, bins)][binOf(c, bins)][binOf(b, bins)] = 1;
}

float OrientCount::getPercNotZero()
{
    const unsigned char* const cell = &cells[0][0][0];
    int visited = 0;
    for (int i = 0; i < bins * bins * bins; ++i) {
        visited += cell[i];
    }
    return static_cast<float>(visited) * 100.0F / 1728.0F;
}
