#include "analysis/magnetometer.h"

#include "analysis/arithmetic.h"

#include <Eigen/Dense>

#include <array>
#include <cmath>

namespace analysis {

namespace {

constexpr std::size_t slices = 10;
constexpr std::size_t sectors = 10;
/// Below this share of the largest singular value the readings do not determine a parameter.
constexpr double leastSingular = 1e-6;
/// With more areas without a reading the directions do not determine an ellipsoid.
constexpr double mostGaps = 80.0;
/// Percent of the radius. The readings of a camera that does not turn are a cloud of noise about
/// one point, whose ellipsoid has a fit error of some 40; a sensor of any use stays below 10.
constexpr double mostFitError = 20.0;

std::size_t areaOf(const Eigen::Vector3d& direction)
{
    const double height = std::min(std::max((direction.z() + 1.0) / 2.0, 0.0), 1.0);
    const double turn = std::atan2(direction.y(), direction.x()) / (2.0 * pi) + 0.5;
    const auto slice = std::min(static_cast<std::size_t>(height * slices), slices - 1);
    const auto sector = std::min(static_cast<std::size_t>(turn * sectors), sectors - 1);
    return slice * sectors + sector;
}

/// The area opposite with respect to the centre of the sphere.
std::size_t opposite(std::size_t area)
{
    const std::size_t slice = slices - 1 - area / sectors;
    const std::size_t sector = (area % sectors + sectors / 2) % sectors;
    return slice * sectors + sector;
}

double lengthDeviation(const Eigen::VectorXd& lengths, double about)
{
    return std::sqrt((lengths.array() - about).square().mean());
}

Eigen::VectorXd correctedLengths(const Eigen::Matrix3Xd& readings, const EllipsoidFit& fit)
{
    const Eigen::Matrix3d correction = fit.radius * fit.shape.inverse();
    return (correction * (readings.colwise() - fit.offset)).colwise().norm();
}

} // namespace

Eigen::Vector3d EllipsoidFit::corrected(const Eigen::Vector3d& reading) const
{
    return radius * shape.inverse() * (reading - offset);
}

std::optional<EllipsoidFit> fitEllipsoid(const Eigen::Matrix3Xd& readings, CrossTerms crossTerms)
{
    const bool withCrossTerms = crossTerms == CrossTerms::FITTED;
    const Eigen::Index unknowns = withCrossTerms ? 9 : 6;
    if (readings.cols() < unknowns || !readings.allFinite()) {
        return std::nullopt;
    }
    const Eigen::Vector3d mean = readings.rowwise().mean();
    const double spread =
        std::sqrt((readings.colwise() - mean).squaredNorm() / static_cast<double>(readings.cols()));
    if (!(spread > 0.0)) {
        return std::nullopt;
    }
    const Eigen::Matrix3Xd p = (readings.colwise() - mean) / spread;
    Eigen::MatrixXd design(p.cols(), unknowns);
    design.leftCols<3>() = p.array().square().matrix().transpose();
    design.middleCols<3>(3) = 2.0 * p.transpose();
    if (withCrossTerms) {
        design.col(6) = 2.0 * p.row(0).cwiseProduct(p.row(1)).transpose();
        design.col(7) = 2.0 * p.row(0).cwiseProduct(p.row(2)).transpose();
        design.col(8) = 2.0 * p.row(1).cwiseProduct(p.row(2)).transpose();
    }
    // The triangle of the QR decomposition has the singular values of the design matrix.
    const Eigen::MatrixXd triangle =
        Eigen::HouseholderQR<Eigen::MatrixXd>(
            (Eigen::MatrixXd(p.cols(), unknowns + 1) << design, Eigen::VectorXd::Ones(p.cols()))
                .finished())
            .matrixQR()
            .topRows(std::min(p.cols(), unknowns + 1))
            .triangularView<Eigen::Upper>();
    const Eigen::JacobiSVD<Eigen::MatrixXd> svd(triangle.topLeftCorner(unknowns, unknowns),
                                                Eigen::ComputeThinU | Eigen::ComputeThinV);
    if (!(svd.singularValues()[unknowns - 1] > leastSingular * svd.singularValues()[0])) {
        return std::nullopt;
    }
    const Eigen::VectorXd solution = svd.solve(triangle.topRightCorner(unknowns, 1));
    Eigen::Matrix3d quadric = solution.head<3>().asDiagonal();
    if (withCrossTerms) {
        quadric(0, 1) = quadric(1, 0) = solution[6];
        quadric(0, 2) = quadric(2, 0) = solution[7];
        quadric(1, 2) = quadric(2, 1) = solution[8];
    }
    // (p - c)^T A (p - c) = 1 + c^T A c with A c = -b.
    const Eigen::Vector3d centre = -quadric.fullPivLu().solve(solution.segment<3>(3));
    const double size = 1.0 + centre.dot(quadric * centre);
    const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> axes(quadric / size);
    if (!centre.allFinite() || !(axes.eigenvalues().minCoeff() > 0.0)) {
        return std::nullopt;
    }
    EllipsoidFit fit;
    fit.offset = mean + spread * centre;
    const Eigen::Vector3d semiAxes = spread * axes.eigenvalues().cwiseSqrt().cwiseInverse();
    fit.shape = axes.eigenvectors() * semiAxes.asDiagonal() * axes.eigenvectors().transpose();
    fit.radii = withCrossTerms ? semiAxes : Eigen::Vector3d(fit.shape.diagonal());
    fit.radius = std::cbrt(semiAxes.prod());
    fit.residualRms = lengthDeviation(correctedLengths(readings, fit), fit.radius);
    // The volume of a tiny ellipsoid is zero, so that its correction is not finite.
    if (!std::isfinite(fit.residualRms)) {
        return std::nullopt;
    }
    return fit;
}

SphereQuality sphereQuality(const Eigen::Matrix3Xd& readings, const EllipsoidFit& fit)
{
    SphereQuality quality;
    std::array<Eigen::Vector3d, slices * sectors> sums;
    sums.fill(Eigen::Vector3d::Zero());
    std::array<std::size_t, slices * sectors> counts{};
    const Eigen::Matrix3d correction = fit.radius * fit.shape.inverse();
    for (Eigen::Index i = 0; i < readings.cols(); ++i) {
        const Eigen::Vector3d corrected = correction * (readings.col(i) - fit.offset);
        const std::size_t area = areaOf(corrected.normalized());
        sums[area] += corrected;
        ++counts[area];
    }
    std::size_t empty = 0;
    std::size_t pairs = 0;
    Eigen::Vector3d sum = Eigen::Vector3d::Zero();
    for (std::size_t area = 0; area < counts.size(); ++area) {
        empty += counts[area] == 0 ? 1 : 0;
        if (counts[area] > 0 && counts[opposite(area)] > 0) {
            sum += sums[area] / static_cast<double>(counts[area]);
            ++pairs;
        }
    }
    const Eigen::VectorXd lengths = correctedLengths(readings, fit);
    quality.gaps = 100.0 * static_cast<double>(empty) / static_cast<double>(counts.size());
    quality.variance = 100.0 * lengthDeviation(lengths, lengths.mean()) / lengths.mean();
    quality.wobble =
        pairs > 0 ? 100.0 * 3.0 * sum.norm() / static_cast<double>(pairs) / fit.radius : 100.0;
    quality.fitError = 100.0 * fit.residualRms / fit.radius;
    return quality;
}

VectorSeries unsaturated(const VectorSeries& field)
{
    constexpr double saturated = 2048.0; // uT, the camera library's mark
    VectorSeries kept;
    for (std::size_t i = 0; i < field.times.size(); ++i) {
        if (std::abs(field.values.axes[2][i]) == saturated) {
            continue;
        }
        kept.times.push_back(field.times[i]);
        for (std::size_t axis = 0; axis < kept.values.axes.size(); ++axis) {
            kept.values.axes[axis].push_back(field.values.axes[axis][i]);
        }
    }
    return kept;
}

std::optional<MagnetometerReport> analyseMagnetometer(const VectorSeries& field,
                                                      std::string& reason)
{
    if (field.values.empty()) {
        reason = "the recording has no magnetometer";
        return std::nullopt;
    }
    const auto count = static_cast<Eigen::Index>(field.values.size());
    Eigen::Matrix3Xd readings(3, count);
    for (Eigen::Index axis = 0; axis < 3; ++axis) {
        readings.row(axis) = Eigen::Map<const Eigen::RowVectorXd>(
            field.values.axes[static_cast<std::size_t>(axis)].data(), count);
    }
    const std::optional<EllipsoidFit> aligned = fitEllipsoid(readings, CrossTerms::OMITTED);
    if (!aligned) {
        reason = "the readings lie on no ellipsoid: turn the camera through all orientations";
        return std::nullopt;
    }
    std::optional<MagnetometerReport> report(std::in_place);
    report->aligned = *aligned;
    report->quality = sphereQuality(readings, *aligned);
    if (report->quality.gaps > mostGaps) {
        reason = "the readings cover too little of the sphere: turn the camera through all "
                 "orientations";
        return std::nullopt;
    }
    if (report->quality.fitError > mostFitError) {
        reason = "the readings fill a cloud instead of an ellipsoid's surface: turn the camera "
                 "through all "
                 "orientations";
        return std::nullopt;
    }
    report->full = fitEllipsoid(readings, CrossTerms::FITTED);
    const Eigen::VectorXd lengths = readings.colwise().norm();
    report->lengthRmsBefore = lengthDeviation(lengths, lengths.mean());
    return report;
}

} // namespace analysis
