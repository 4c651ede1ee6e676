/// @file
/// Hard-iron offset and per-axis gain of a three-axis magnetometer from a cloud of raw samples.
#pragma once

#include <Eigen/Core>

#include <vector>

/// Fits an axis-aligned ellipsoid (a centre and three radii, no rotation and no skew) to the
/// samples and derives the correction from it: softIron * (r - center), which equals
/// scale[i] * (r[i] - center[i]) on each axis.
///
/// The fit judges nothing. Samples in a plane, on a line or in one point, and clouds that no
/// ellipsoid fits, leave infinities or NaN in the results of a call that returns true.
///
/// One thread at a time may use an object; objects are independent of each other. Samples are in
/// any one unit u: centre and radii come in u, gains in targetRadius / u. An allocation that fails
/// throws std::bad_alloc.
class MagCalib
{
public:
    MagCalib();
    virtual ~MagCalib();

    /// Fits and writes the three result fields. Element i of the vectors is sample i; all three
    /// have the same length.
    /// @param targetRadius radius of the sphere that the corrected samples lie on
    /// @return false, with the fields as they were, when one vector holds fewer than 6 samples
    bool ellipsoidCalibration(Eigen::VectorXd& x, Eigen::VectorXd& y, Eigen::VectorXd& z,
                              double targetRadius);

    /// The same on copies of the sequences, with bit for bit the same results.
    bool ellipsoidCalibration(std::vector<double>& x, std::vector<double>& y,
                              std::vector<double>& z, double targetRadius);

    /// The fit alone; reads and writes nothing of the object. Least squares of
    /// a x^2 + b y^2 + c z^2 + 2d x + 2e y + 2f z = 1 through the normal equations. y and z are
    /// read for as many elements as x has.
    /// @param radii resized to 3; NaN where the fitted quadric has no radius on that axis
    /// @param axes  resized to 3 by 3; always the identity
    void ellipsoidFit(Eigen::VectorXd& x, Eigen::VectorXd& y, Eigen::VectorXd& z,
                      Eigen::Vector3d* center, Eigen::VectorXd* radii, Eigen::MatrixXd* axes);

    // Results of the last successful call, the neutral correction before it.
    double softIron[3][3] = {{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}; ///< [row][column]
    double scale[3] = {1.0, 1.0, 1.0};  ///< target radius over the radius on the axis
    double center[3] = {0.0, 0.0, 0.0}; ///< hard-iron offset, in the samples' unit
};
