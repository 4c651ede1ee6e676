/// @file
/// How well a magnetometer's readings fit an ellipsoid, and the quality of its calibration.
#pragma once

#include "analysis/recording.h"

#include <Eigen/Core>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace analysis {

/// reading = shape * (unit vector) + offset: every unit vector of the field's direction corresponds
/// to a point of the ellipsoid. The correction is radius * inverse(shape) * (reading - offset).
struct EllipsoidFit
{
    Eigen::Vector3d offset;   ///< uT, hard iron
    Eigen::Matrix3d shape;    ///< uT, symmetric; without cross terms the radii are on its diagonal
    Eigen::Vector3d radii;    ///< uT, semi-axes; along x, y and z without cross terms
    double radius = 0.0;      ///< uT, of the sphere of equal volume: the strength of the field
    double residualRms = 0.0; ///< uT, of length(corrected reading) - radius

    /// The reading without hard and soft iron, uT.
    Eigen::Vector3d corrected(const Eigen::Vector3d& reading) const;
};

/// Quality of a calibration, each as a percentage; 0 is perfect.
struct SphereQuality
{
    /// Empty areas: share of 100 equal areas of the sphere without a reading. The areas are 10
    /// slices of equal height, each divided into 10 sectors.
    double gaps = 0.0;
    /// Relative spread of the strength: standard deviation of length(corrected reading) over its
    /// mean.
    double variance = 0.0;
    /// Three times the distance of the mean of the areas' mean readings from the centre, divided by
    /// the radius: an error of the offset moves that mean by a third of itself. Areas without a
    /// reading and the areas opposite to them are left out; 100 if none remain.
    double wobble = 0.0;
    /// Residual RMS divided by the radius.
    double fitError = 0.0;
};

struct MagnetometerReport
{
    EllipsoidFit aligned; ///< offset and one radius per axis, as a camera can store them
    std::optional<EllipsoidFit>
        full;                     ///< with cross terms; none if the readings do not determine it
    SphereQuality quality;        ///< of the aligned fit
    double lengthRmsBefore = 0.0; ///< uT, deviation of length(reading) without any correction
};

enum class CrossTerms { OMITTED, FITTED };

/// Least squares of p^T A p + 2 b^T p = 1 with a diagonal A (6 parameters), or with cross terms a
/// symmetric one (9). The readings are first centred at their mean and scaled by their spread.
/// @param readings one per column, uT; at least 6 with distinct directions, 9 with cross terms
/// @return none if the readings are not on an ellipsoid
std::optional<EllipsoidFit> fitEllipsoid(const Eigen::Matrix3Xd& readings, CrossTerms crossTerms);

/// Empty areas, spread of the strength, wobble and fit error of readings under a fit.
SphereQuality sphereQuality(const Eigen::Matrix3Xd& readings, const EllipsoidFit& fit);

/// The readings without the saturated ones, which have a z of exactly 2048 or -2048 uT.
VectorSeries unsaturated(const VectorSeries& field);

/// Fits with and without cross terms of all readings of a recording. A few saturated readings
/// would determine the fit: they must not be among them.
/// @param reason one sentence if there is no result
std::optional<MagnetometerReport> analyseMagnetometer(const VectorSeries& field,
                                                      std::string& reason);

} // namespace analysis
