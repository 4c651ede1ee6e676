/// @file
/// Hard-iron offset and per-axis gain of a three-axis magnetometer from a cloud of raw samples.
#pragma once

#include <Eigen/Core>

#include <vector>

/// Fits an axis-aligned ellipsoid (a centre and three radii, no rotation and no skew) to the
/// samples and computes the correction from it: softIron * (r - center), which equals scale[i] *
/// (r[i] - center[i]) on each axis.
///
/// The fit does not check its quality. For samples in a plane, on a line or in one point, and for
/// clouds that no ellipsoid fits, the results of a call that returns true are infinities, NaN or
/// finite numbers without a meaning; nothing distinguishes these from a good fit.
///
/// One thread at a time may use an object; objects are independent of each other. Samples are in
/// any unit u; centre and radii are in u, gains in targetRadius / u. A failed allocation throws
/// std::bad_alloc.
class MagCalib
{
public:
    MagCalib();
    virtual ~MagCalib();

    /// Fits and sets the three result fields. Element i of the vectors is sample i; all three have
    /// the same length.
    /// @param targetRadius radius of the sphere of the corrected samples
    /// @return false, without a change of the fields, if a vector has fewer than 6 samples
    bool ellipsoidCalibration(Eigen::VectorXd& x, Eigen::VectorXd& y, Eigen::VectorXd& z,
                              double targetRadius);

    /// The same with copies of the sequences and identical results, bit for bit.
    bool ellipsoidCalibration(std::vector<double>& x, std::vector<double>& y,
                              std::vector<double>& z, double targetRadius);

    /// Only the fit; does not use the object. Least squares of a x^2 + b y^2 + c z^2 + 2d x + 2e y
    /// + 2f z = 1 through the normal equations. Reads as many elements of y and z as x has.
    /// @param radii resized to 3; NaN if the fitted quadric has no radius on that axis
    /// @param axes  resized to 3 by 3; always the identity
    void ellipsoidFit(Eigen::VectorXd& x, Eigen::VectorXd& y, Eigen::VectorXd& z,
                      Eigen::Vector3d* center, Eigen::VectorXd* radii, Eigen::MatrixXd* axes);

    // Results of the last successful call; initially the neutral correction.
    double softIron[3][3] = {{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}; ///< [row][column]
    double scale[3] = {1.0, 1.0, 1.0};  ///< target radius over the radius on the axis
    double center[3] = {0.0, 0.0, 0.0}; ///< hard-iron offset, in the samples' unit
};
