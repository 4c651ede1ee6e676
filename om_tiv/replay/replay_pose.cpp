#include "replay/replay_pose.h"

#include "world/degrees.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <utility>

namespace om::bench {

namespace {

/// Largest float angles that a matrix can have.
constexpr auto halfTurn = static_cast<float>(pi);
constexpr auto quarterTurn = static_cast<float>(pi / 2.0);

/// Below this cosine of Y, Transform::getEulerAngles() treats X and Z as one angle and Y as a
/// quarter turn.
constexpr double locked = 1e-6;

/// The degrees that a reader computes from an angle in radians: single precision, degrees, single
/// precision again.
float degreesOf(float radians)
{
    return static_cast<float>(double{radians} * 180.0 / pi);
}

/// The float that is this number of steps away.
float stepped(float value, int steps)
{
    const float towards = steps > 0 ? INFINITY : -INFINITY;
    for (int i = std::abs(steps); i > 0; --i) {
        value = std::nextafter(value, towards);
    }
    return value;
}

/// The float in radians that is read as these degrees. In some ranges degrees have a finer
/// resolution than radians, and there may be no such float: then the one that is read as the
/// nearest value.
float radiansReadAs(float degrees)
{
    const auto middle = static_cast<float>(degrees / degreesPerRadian);
    float best = middle;
    for (const int steps : {-1, 1}) {
        const float candidate = stepped(middle, steps);
        if (std::abs(double{degreesOf(candidate)} - degrees) <
            std::abs(double{degreesOf(best)} - degrees)) {
            best = candidate;
        }
    }
    return best;
}

/// Searches two floats in the ratio of sine and cosine of the angle, with the given length or a
/// slightly smaller one, because only the ratio determines the angle. accept(sine, cosine) ends the
/// search.
template <typename Accept>
bool searchRatio(float angle, double length, const Accept& accept)
{
    // The end of the range itself is not an angle that a sine and a cosine can have.
    constexpr double mostAngle = pi - 3e-8;
    const double middle = std::clamp(double{angle}, -mostAngle, mostAngle);
    const double sine = std::sin(middle);
    const double cosine = std::cos(middle);
    constexpr int mostTries = 64;
    // Distributed by the golden section: lengths with equal steps can fail again and again by the
    // same amount.
    constexpr double leastShortened = 1.0 - 6e-4;
    constexpr double goldenRatio = 0.61803398874989485;
    constexpr int triedSteps[] = {0, 1, -1, 2, -2};
    for (int i = 0; i < mostTries; ++i) {
        const double shortened =
            length * (1.0 - (1.0 - leastShortened) * std::fmod(i * goldenRatio, 1.0));
        const auto s = static_cast<float>(sine * shortened);
        const auto c = static_cast<float>(cosine * shortened);
        for (const int stepsS : triedSteps) {
            for (const int stepsC : triedSteps) {
                const float trialS = stepped(s, stepsS);
                const float trialC = stepped(c, stepsC);
                if (static_cast<float>(std::atan2(double{trialS}, double{trialC})) == angle &&
                    accept(trialS, trialC)) {
                    return true;
                }
            }
        }
    }
    return false;
}

/// Rz Ry Rx of the angles.
Matrix4f matrixOfEulerDegrees(const std::array<float, 3>& degrees)
{
    const double x = degrees[0] / degreesPerRadian;
    const double y = degrees[1] / degreesPerRadian;
    const double z = degrees[2] / degreesPerRadian;
    const double sx = std::sin(x);
    const double cx = std::cos(x);
    const double sy = std::sin(y);
    const double cy = std::cos(y);
    const double sz = std::sin(z);
    const double cz = std::cos(z);
    const double rows[3][3] = {{cz * cy, cz * sy * sx - sz * cx, cz * sy * cx + sz * sx},
                               {sz * cy, sz * sy * sx + cz * cx, sz * sy * cx - cz * sx},
                               {-sy, cy * sx, cy * cx}};
    Matrix4f matrix;
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            matrix(row, column) = static_cast<float>(rows[row][column]);
        }
    }
    return matrix;
}

} // namespace

Transform transformOfEulerDegrees(const std::array<float, 3>& degrees)
{
    Matrix4f matrix = matrixOfEulerDegrees(degrees);
    const double sy = std::sin(degrees[1] / degreesPerRadian);
    const double cy = std::cos(degrees[1] / degreesPerRadian);
    const float wantedX = radiansReadAs(degrees[0]);
    const float wantedY = radiansReadAs(degrees[1]);
    const float wantedZ = radiansReadAs(degrees[2]);
    if (!(std::abs(wantedX) <= halfTurn && std::abs(wantedY) <= quarterTurn &&
          std::abs(wantedZ) <= halfTurn)) {
        return Transform(matrix);
    }
    const bool isLocked = std::abs(cy) <= locked;
    if (isLocked) {
        matrix(2, 0) = std::copysign(1.0F, static_cast<float>(-sy));
        for (const auto& [row, column] : {std::pair(0, 0), {1, 0}, {2, 1}, {2, 2}}) {
            matrix(row, column) = 0.0F;
        }
        if (wantedZ == 0.0F) { // as it is read there
            searchRatio(wantedX, 1.0, [&](float s, float c) {
                matrix(1, 2) = -s;
                matrix(1, 1) = c;
                return true;
            });
        }
        return Transform(matrix);
    }
    searchRatio(wantedX, cy, [&](float s, float c) {
        matrix(2, 1) = s;
        matrix(2, 2) = c;
        return true;
    });
    searchRatio(wantedZ, cy, [&](float s, float c) {
        const double level = std::hypot(double{s}, double{c});
        const auto down = static_cast<float>(-std::tan(double{wantedY}) * level);
        for (const int steps : {0, 1, -1}) {
            const float trial = stepped(down, steps);
            if (static_cast<float>(std::atan2(-double{trial}, level)) == wantedY) {
                matrix(1, 0) = s;
                matrix(0, 0) = c;
                matrix(2, 0) = trial;
                return true;
            }
        }
        return false;
    });
    return Transform(matrix);
}

float pascalsOfHectopascals(float hectopascals)
{
    const auto middle = static_cast<float>(double{hectopascals} * 100.0);
    for (const int steps : {0, 1, -1, 2, -2}) {
        const float pascals = stepped(middle, steps);
        if (static_cast<float>(double{pascals} / 100.0) == hectopascals) {
            return pascals;
        }
    }
    return middle;
}

} // namespace om::bench
