#include "calibration/mag_calib.h"

#include <Eigen/LU>

#include <algorithm>
#include <cmath>

namespace {

/// Unknowns of the fit, and so the minimum number of samples.
constexpr int unknowns = 6;

Eigen::VectorXd toDense(const std::vector<double>& values)
{
    Eigen::VectorXd dense(static_cast<Eigen::Index>(values.size()));
    for (std::size_t i = 0; i < values.size(); ++i) {
        dense[static_cast<Eigen::Index>(i)] = values[i];
    }
    return dense;
}

/// N = D' D and g = D' ones. N is symmetric, so only half of it is computed; in blocks, so that the
/// columns of a block are read from memory once and then from the cache.
void formNormalEquations(const Eigen::MatrixXd& design, Eigen::MatrixXd& normal,
                         Eigen::VectorXd& rightSide)
{
    constexpr Eigen::Index blockRows = 256;
    normal.setZero(unknowns, unknowns);
    rightSide.setZero(unknowns);
    for (Eigen::Index first = 0; first < design.rows(); first += blockRows) {
        const auto block = design.middleRows(first, std::min(blockRows, design.rows() - first));
        for (int j = 0; j < unknowns; ++j) {
            rightSide[j] += block.col(j).sum();
            for (int i = 0; i <= j; ++i) {
                normal(i, j) += block.col(i).dot(block.col(j));
            }
        }
    }
    for (int j = 0; j < unknowns; ++j) {
        for (int i = 0; i < j; ++i) {
            normal(j, i) = normal(i, j);
        }
    }
}

} // namespace

MagCalib::MagCalib() = default;

MagCalib::~MagCalib() = default;

bool MagCalib::ellipsoidCalibration(Eigen::VectorXd& x, Eigen::VectorXd& y, Eigen::VectorXd& z,
                                    double targetRadius)
{
    if (x.size() < unknowns || y.size() < unknowns || z.size() < unknowns) {
        return false;
    }

    Eigen::Vector3d fittedCenter;
    Eigen::VectorXd radii;
    Eigen::MatrixXd axes;
    ellipsoidFit(x, y, z, &fittedCenter, &radii, &axes);

    for (int i = 0; i < 3; ++i) {
        scale[i] = targetRadius / radii[i];
    }

    // With the identity as axes the correction is the diagonal; the products have the form that a
    // fit with free axes would need.
    Eigen::MatrixXd gains = Eigen::MatrixXd::Zero(3, 3);
    for (int i = 0; i < 3; ++i) {
        gains(i, i) = scale[i];
    }
    const Eigen::MatrixXd turned = axes * gains;
    const Eigen::MatrixXd correction = turned * axes.transpose();
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            softIron[r][c] = correction(r, c);
        }
    }

    for (int i = 0; i < 3; ++i) {
        center[i] = fittedCenter[i];
    }
    return true;
}

bool MagCalib::ellipsoidCalibration(std::vector<double>& x, std::vector<double>& y,
                                    std::vector<double>& z, double targetRadius)
{
    Eigen::VectorXd denseX = toDense(x);
    Eigen::VectorXd denseY = toDense(y);
    Eigen::VectorXd denseZ = toDense(z);
    return ellipsoidCalibration(denseX, denseY, denseZ, targetRadius);
}

void MagCalib::ellipsoidFit(Eigen::VectorXd& x, Eigen::VectorXd& y, Eigen::VectorXd& z,
                            Eigen::Vector3d* fittedCenter, Eigen::VectorXd* radii,
                            Eigen::MatrixXd* axes)
{
    const int n = static_cast<int>(x.size());
    const double* const sx = x.data();
    const double* const sy = y.data();
    const double* const sz = z.data();

    // Column by column: D is column-major, so each column is contiguous in memory.
    Eigen::MatrixXd design(n, unknowns);
    double* column = design.data();
    for (const double* samples : {sx, sy, sz}) {
        for (int i = 0; i < n; ++i) {
            column[i] = samples[i] * samples[i];
        }
        column += n;
    }
    for (const double* samples : {sx, sy, sz}) {
        for (int i = 0; i < n; ++i) {
            column[i] = samples[i] + samples[i];
        }
        column += n;
    }

    Eigen::MatrixXd normal;
    Eigen::VectorXd rightSide;
    formNormalEquations(design, normal, rightSide);
    const Eigen::VectorXd v = normal.inverse() * rightSide;

    // The quadric x^2, y^2, z^2, xy, xz, yz, 2x, 2y, 2z; the cross terms are not fitted.
    const double quadric[9] = {v[0], v[1], v[2], 0.0, 0.0, 0.0, v[3], v[4], v[5]};
    const double* const q = quadric;
    const double* const linear = quadric + 6;

    for (int i = 0; i < 3; ++i) {
        (*fittedCenter)[i] = -((1.0 / q[i]) * linear[i]);
    }

    const double g2 = ((linear[0] * linear[0] / q[0] + linear[1] * linear[1] / q[1]) +
                       linear[2] * linear[2] / q[2]) +
                      1.0;
    radii->resize(3);
    for (int i = 0; i < 3; ++i) {
        (*radii)[i] = std::sqrt((1.0 / q[i]) * g2);
    }

    *axes = Eigen::MatrixXd::Identity(3, 3);
}
