// Poses and pressures whose way through the library's arithmetic and the program's ends exactly at
// a recorded value.

#include "bench/replay.h"

#include <cmath>

namespace om::bench {

namespace {

/// How far around the nearest floats is searched. The sine's and the cosine's steps together are
/// fine enough to meet every float angle within a few of them.
constexpr int MOST_STEPS = 6;

float stepped(float value, int steps)
{
    const float towards = steps > 0 ? INFINITY : -INFINITY;
    for (int i = std::abs(steps); i > 0; --i) {
        value = std::nextafter(value, towards);
    }
    return value;
}

/// What a reader makes of an angle in radians: single precision, degrees, single precision again.
float degreesOf(double radians)
{
    return static_cast<float>(double{static_cast<float>(radians)} * 180.0 / PI);
}

/// Changes the two, nearly scale times sine and cosine of an angle, by as little as possible so
/// that accept() holds. They stay as they are when no change within the reach does.
template <typename Accept>
void adjust(float& sine, float& cosine, Accept accept)
{
    for (int reach = 0; reach <= MOST_STEPS; ++reach) {
        for (int i = -reach; i <= reach; ++i) {
            for (int j = -reach; j <= reach; ++j) {
                if (std::max(std::abs(i), std::abs(j)) != reach) {
                    continue;
                }
                const float s = stepped(sine, i);
                const float c = stepped(cosine, j);
                if (accept(s, c)) {
                    sine = s;
                    cosine = c;
                    return;
                }
            }
        }
    }
}

} // namespace

Transform transformOfEulerDegrees(const std::array<float, 3>& degrees)
{
    const double x = degrees[0] * PI / 180.0;
    const double y = degrees[1] * PI / 180.0;
    const double z = degrees[2] * PI / 180.0;
    const double sx = std::sin(x);
    const double cx = std::cos(x);
    const double sy = std::sin(y);
    const double cy = std::cos(y);
    const double sz = std::sin(z);
    const double cz = std::cos(z);
    // Rz Ry Rx.
    const double rows[3][3] = {{cz * cy, cz * sy * sx - sz * cx, cz * sy * cx + sz * sx},
                               {sz * cy, sz * sy * sx + cz * cx, sz * sy * cx - cz * sx},
                               {-sy, cy * sx, cy * cx}};
    Matrix4f matrix;
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            matrix(row, column) = static_cast<float>(rows[row][column]);
        }
    }
    // Only ratios make the angles. Where the floats nearest to a pair of sine and cosine miss an
    // angle, those nearest to the pair made a little shorter have another chance.
    constexpr int MOST_TRIES = 64;
    constexpr double SHORTER = 1e-5;
    for (int i = 0; i < MOST_TRIES; ++i) {
        const double length = 1.0 - i * SHORTER;
        auto s = static_cast<float>(rows[2][1] * length);
        auto c = static_cast<float>(rows[2][2] * length);
        const auto meets = [&](float trialS, float trialC) {
            return degreesOf(std::atan2(double{trialS}, double{trialC})) == degrees[0];
        };
        adjust(s, c, meets);
        if (meets(s, c)) {
            matrix(2, 1) = s;
            matrix(2, 2) = c;
            break;
        }
    }
    for (int i = 0; i < MOST_TRIES; ++i) {
        const double length = 1.0 - i * SHORTER;
        const auto down = static_cast<float>(rows[2][0] * length);
        auto s = static_cast<float>(rows[1][0] * length);
        auto c = static_cast<float>(rows[0][0] * length);
        const auto meets = [&](float trialS, float trialC) {
            const double level = std::hypot(double{trialS}, double{trialC});
            return degreesOf(std::atan2(double{trialS}, double{trialC})) == degrees[2] &&
                   degreesOf(std::atan2(-double{down}, level)) == degrees[1];
        };
        adjust(s, c, meets);
        if (meets(s, c)) {
            matrix(2, 0) = down;
            matrix(1, 0) = s;
            matrix(0, 0) = c;
            break;
        }
    }
    return Transform(matrix);
}

float pascalsOfHectopascals(float hectopascals)
{
    float pascals = static_cast<float>(double{hectopascals} * 100.0);
    float unused = 1.0F;
    adjust(pascals, unused, [&](float p, float /*c*/) {
        return static_cast<float>(double{p} / 100.0) == hectopascals;
    });
    return pascals;
}

} // namespace om::bench
