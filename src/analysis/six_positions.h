/// @file
/// Bias, scale and misalignment of an accelerometer from a recording in which it rests on its six
/// sides.
#pragma once

#include "analysis/recording.h"

#include <Eigen/Core>

#include <optional>
#include <string>
#include <vector>

namespace analysis {

/// m/s^2: the standard acceleration of gravity (3rd CGPM, 1901).
constexpr double standardGravity = 9.80665;

/// A time without motion.
struct Rest
{
    std::size_t first = 0; ///< row
    std::size_t end = 0;   ///< one after the last row
    Eigen::Vector3d mean;  ///< m/s^2
    int side = 0;          ///< 0 to 5: +x, -x, +y, -y, +z, -z points up
};

/// reading = (identity + errors) * acceleration + bias.
struct SixPositions
{
    Eigen::Vector3d bias;      ///< m/s^2
    Eigen::Vector3d biasError; ///< m/s^2, standard error
    Eigen::Vector3d scale;     ///< 1 is perfect
    Eigen::Vector3d scaleError;
    /// Radians; row i, column k: rotation of axis i towards axis k, including a rotation of the
    /// whole setup.
    Eigen::Matrix3d misalignment;
    double misalignmentError = 0.0; ///< rad, standard error
    double residualRms = 0.0;       ///< m/s^2, of the rests' means
    std::vector<Rest> rests;        ///< the rests that were used
};

/// The periods of a second or more in which the acceleration and, if available, the angular
/// velocity change by no more than the noise. A tenth of a second at both ends is left out.
std::vector<Rest> findRests(const Recording& recording);

/// Least squares of the 12 parameters over the rests. In each rest the true acceleration is gravity
/// exactly along the nearest axis.
/// @param gravity m/s^2, at the place of the recording
/// @param reason one sentence if there is no result: a side without a rest
std::optional<SixPositions> solveSixPositions(const std::vector<Rest>& rests, double gravity,
                                              std::string& reason);

} // namespace analysis
