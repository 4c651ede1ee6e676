#include "world/heading.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace om::bench {

namespace {

constexpr double historySeconds = 30.0;
constexpr double recentSeconds = 2.0;
constexpr int readingsOfAnEnd = 5; ///< fewer may be a short swing
constexpr double goodFigure = 0.025;
constexpr double acceptableFigure = 0.06;
constexpr double unprovenFigure = 0.05;
constexpr double worstFigure = 0.10;
// The earth's field lies between 22 and 67 uT (World Magnetic Model).
constexpr double weakestField = 20.0;
constexpr double strongestField = 70.0;
// Scales with a radius outside this range are gains without a radius.
constexpr double smallestRadius = 10.0;
constexpr double largestRadius = 100.0;

/// The unit vector, or all zero if there is no direction.
Vector direction(const Vector& v)
{
    const double size = length(v);
    return size > 0.0 && std::isfinite(size) ? (1.0 / size) * v : Vector();
}

/// Geometric mean of the fitted radii, uT.
double radiusOf(const MagCalibration& calibration)
{
    return 1.0 / std::cbrt(static_cast<double>(calibration.scale[0]) * calibration.scale[1] *
                           calibration.scale[2]);
}

/// The cube face that a direction passes through: axis, then sign.
std::size_t axisEnd(const Vector& v)
{
    const std::array<double, 3> parts{v.x, v.y, v.z};
    const auto largest = std::max_element(
        parts.begin(), parts.end(), [](double a, double b) { return std::abs(a) < std::abs(b); });
    return 2 * static_cast<std::size_t>(largest - parts.begin()) + (*largest < 0.0 ? 1 : 0);
}

/// Mean and standard deviation of the added values.
class Statistics
{
public:
    void add(double value, double weight = 1.0)
    {
        m_weight += weight;
        m_sum += weight * value;
        m_squares += weight * value * value;
    }
    double mean() const { return m_sum / m_weight; }
    double deviation() const
    {
        return std::sqrt(std::max(0.0, m_squares / m_weight - mean() * mean()));
    }

private:
    double m_weight = 0.0;
    double m_sum = 0.0;
    double m_squares = 0.0;
};

/// The figure of the recent mean strength: half of its relative deviation from the calibration's
/// radius. If the gains have no radius, 0 for a strength of the earth's field and the worst figure
/// for any other.
double strengthFigure(const MagCalibration& calibration, double meanStrength)
{
    const double radius = radiusOf(calibration);
    if (radius >= smallestRadius && radius <= largestRadius) {
        return 0.5 * std::abs(meanStrength / radius - 1.0);
    }
    return meanStrength >= weakestField && meanStrength <= strongestField ? 0.0 : worstFigure;
}

bool sameCalibration(const MagCalibration& a, const MagCalibration& b)
{
    return a.scale == b.scale && a.offset == b.offset;
}

} // namespace

double tiltCompensatedHeading(const Vector& field, const Vector& specificForce)
{
    const Vector down = -1.0 * direction(specificForce);
    const Vector across = cross(down, direction(field));
    // Below a millionth the field is vertical, and east would be rounding noise.
    if (!(length(across) > 1e-6)) {
        return 0.0;
    }
    const Vector east = direction(across);
    const Vector north = cross(east, down);
    double heading = std::atan2(east.z, north.z);
    if (heading < 0.0) {
        heading += 2.0 * pi;
    }
    // -0 means north, and so does a value that rounds up to a full turn as a float.
    return heading > 0.0 && static_cast<float>(heading) < static_cast<float>(2.0 * pi) ? heading
                                                                                       : 0.0;
}

Vector correctedField(const MagCalibration& calibration, const Vector& raw)
{
    if (calibration.isNeutral() || !calibration.isUsable()) {
        return raw;
    }
    const double radius = radiusOf(calibration);
    return {radius * calibration.scale[0] * (raw.x - calibration.offset[0]),
            radius * calibration.scale[1] * (raw.y - calibration.offset[1]),
            radius * calibration.scale[2] * (raw.z - calibration.offset[2])};
}

void HeadingMonitor::add(const Reading& reading)
{
    m_readings.push_back(reading);
    while (m_readings.front().time < reading.time - historySeconds) {
        m_readings.pop_front();
    }
}

void HeadingMonitor::clear()
{
    m_readings.clear();
    m_proof.reset();
}

HeadingQuality HeadingMonitor::assess(const MagCalibration& calibration)
{
    if (m_readings.empty()) {
        return {4, 0.0F};
    }
    if (calibration.isNeutral()) {
        return {3, 0.0F};
    }
    const double worth = figure(calibration);
    HeadingQuality quality;
    quality.state = worth <= goodFigure ? 0 : worth <= acceptableFigure ? 1 : 2;
    quality.accuracy = static_cast<float>(std::clamp(1.0 - worth / worstFigure, 0.0, 1.0));
    return quality;
}

double HeadingMonitor::figure(const MagCalibration& calibration)
{
    if (!calibration.isUsable()) {
        return worstFigure;
    }
    struct Corrected
    {
        std::size_t end;
        double strength;
        double dip;
    };
    std::vector<Corrected> readings;
    readings.reserve(m_readings.size());
    std::array<int, 6> counts{};
    Statistics recentStrength;
    Statistics recentDip;
    const double newest = m_readings.back().time;
    for (const Reading& reading : m_readings) {
        const bool isRecent = reading.time >= newest - recentSeconds;
        if (reading.saturated) {
            if (isRecent) {
                return worstFigure;
            }
            continue;
        }
        const Vector field = correctedField(calibration, reading.raw);
        const Corrected corrected{
            axisEnd(field), length(field),
            std::asin(std::clamp(-dot(direction(field), reading.up), -1.0, 1.0))};
        ++counts[corrected.end];
        readings.push_back(corrected);
        if (isRecent) {
            recentStrength.add(corrected.strength);
            recentDip.add(corrected.dip);
        }
    }

    Statistics strength;
    Statistics dip;
    for (const Corrected& reading : readings) {
        const double weight = 1.0 / counts[reading.end];
        strength.add(reading.strength, weight);
        dip.add(reading.dip, weight);
    }
    double worth = std::max(strength.deviation() / strength.mean(), dip.deviation());
    if (std::all_of(counts.begin(), counts.end(),
                    [](int count) { return count >= readingsOfAnEnd; })) {
        m_proof = {calibration, worth, dip.mean()};
    }
    if (m_proof && sameCalibration(m_proof->calibration, calibration)) {
        worth = std::max({worth, m_proof->figure, 0.5 * std::abs(recentDip.mean() - m_proof->dip)});
    } else {
        worth = std::max(worth, unprovenFigure);
    }

    worth = std::max(worth, strengthFigure(calibration, recentStrength.mean()));
    return std::isfinite(worth) ? worth : worstFigure;
}

} // namespace om::bench
