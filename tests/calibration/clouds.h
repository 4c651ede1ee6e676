/// @file
/// Sample clouds on ellipsoids, for tests and benchmarks of the fit.
#pragma once

#include <Eigen/Core>
#include <Eigen/Geometry>

#include <cmath>
#include <cstdint>
#include <random>

namespace clouds {

/// Samples by axis.
struct Cloud
{
    Eigen::VectorXd x;
    Eigen::VectorXd y;
    Eigen::VectorXd z;
};

/// Samples of an ellipsoid around a centre, evenly spread over the directions (a golden spiral from
/// pole to pole), with white noise on each axis. The same seed gives the same cloud.
inline Cloud onEllipsoid(int count, const Eigen::Vector3d& center, const Eigen::Vector3d& radii,
                         double noise = 0.0, std::uint32_t seed = 1,
                         const Eigen::Matrix3d& turn = Eigen::Matrix3d::Identity())
{
    std::mt19937 generator(seed);
    std::normal_distribution<double> white(0.0, 1.0);
    const double golden = 3.14159265358979323846 * (3.0 - std::sqrt(5.0));
    Cloud cloud{Eigen::VectorXd(count), Eigen::VectorXd(count), Eigen::VectorXd(count)};
    for (int i = 0; i < count; ++i) {
        const double up = 1.0 - (2.0 * i + 1.0) / count;
        const double across = std::sqrt(1.0 - up * up);
        const Eigen::Vector3d direction(across * std::cos(golden * i), up,
                                        across * std::sin(golden * i));
        Eigen::Vector3d sample = center + turn * direction.cwiseProduct(radii);
        for (int axis = 0; axis < 3; ++axis) {
            sample[axis] += noise * white(generator);
        }
        cloud.x[i] = sample.x();
        cloud.y[i] = sample.y();
        cloud.z[i] = sample.z();
    }
    return cloud;
}

} // namespace clouds
