/// @file
/// The microcontroller's calculations with its magnetometer: the corrected field, the heading, and
/// the quality of the stored calibration. Vectors are in sensor axes: x is axis 1 (down), y axis 2
/// (left), z axis 3 (forward).
#pragma once

#include "world/geometry.h"
#include "world/mag_calibration.h"

#include <deque>
#include <optional>

namespace om::bench {

/// Tilt-compensated heading of the forward axis in radians, clockwise from magnetic north, in
/// [0, 2 pi), as a float too.
///
/// East is perpendicular to down and to the field, north to east and down (the vector form of the
/// compass with accelerometer; M. J. Caruso, "Applications of Magnetic Sensors for Low Cost Compass
/// Systems", IEEE PLANS 2000): with d = -specificForce and m the field, e = d x m, n = e x d, each
/// normalised, heading = atan2(e . forward, n . forward). Only directions matter.
///
/// 0 if there is no heading: no field, no force, or both parallel.
/// @param field         any unit
/// @param specificForce at rest +g upward, any unit
double tiltCompensatedHeading(const Vector& field, const Vector& specificForce);

/// The corrected field in uT: gains and offsets of the calibration, the gains divided by their
/// geometric mean, so that the field keeps its unit. For a neutral or unusable calibration the
/// result is the reading itself.
Vector correctedField(const MagCalibration& calibration, const Vector& raw);

struct HeadingQuality
{
    /// 0 good, 1 acceptable, 2 not good, 3 not calibrated, 4 not available
    int state = 4;
    float accuracy = 0.0F; ///< 0 worst to 1 best
};

/// Determines the quality of a calibration from the magnetometer's recent readings.
///
/// Strength and dip of the field (its angle with the horizon) do not depend on the camera's pose;
/// after a good correction those of the readings do not either. So the figure is the larger of two
/// spreads over the readings of the last 30 s: the standard deviation of the corrected strength,
/// divided by its mean, and the standard deviation of the dip in radians. Each of the six axis ends
/// (the faces of a cube around the sensor, by the corrected direction) has the same weight, however
/// long the camera stayed there. A wrong offset along an axis is visible between the two ends of
/// the axis, a wrong gain between the axes: a calibration is proven only after the camera was
/// turned to all six ends. Until then the figure is at least 5 %. A proven calibration keeps its
/// last figure while the camera rests; this also holds for the figure of a disturbed turn, until
/// the camera is turned again.
///
/// A magnetic disturbance near a resting camera is visible in the readings of the last 2 s. Two
/// more values count as figures: half of the deviation of their mean strength from that of the
/// calibration (its radius; the earth's field, 20 to 70 uT, for gains without a radius), and half
/// of the deviation of their mean dip from the proven one.
///
///     state             figure
///     0 good            up to 2.5 %
///     1 acceptable      up to 6 %
///     2 not good        above; or a saturated reading in the last 2 s, or a calibration that can't
///                       be used, both of which count as 10 %
///     3 not calibrated  the calibration is neutral
///     4 not available   no reading yet
///
/// The accuracy is 1 at a figure of 0 and decreases linearly to 0 at 10 %; it is 0 in states 3 and
/// 4.
///
/// One thread at a time.
class HeadingMonitor
{
public:
    struct Reading
    {
        double time = 0.0;      ///< s, of one clock, never decreasing
        Vector raw;             ///< uT
        Vector up;              ///< away from the earth, a unit vector
        bool saturated = false; ///< the sensor was at the limit of its range
    };

    void add(const Reading& reading);

    HeadingQuality assess(const MagCalibration& calibration);

    /// Removes all readings and their results.
    void clear();

private:
    struct Proof
    {
        MagCalibration calibration;
        double figure = 0.0;
        double dip = 0.0; ///< rad
    };

    double figure(const MagCalibration& calibration);

    std::deque<Reading> m_readings;
    std::optional<Proof> m_proof;
};

} // namespace om::bench
