/// @file
/// An open camera on the stopped bench, and the reference values for the tests of its sensors.
#pragma once

#include "om_tiv/benchtest.h"

#include <cmath>

namespace benchtest {

inline double norm(const om::Vector3<float>& v)
{
    return std::sqrt(double{v.x} * double{v.x} + double{v.y} * double{v.y} +
                     double{v.z} * double{v.z});
}

inline bool near(const om::Vector3<float>& v, const om::bench::Vector& expected, double tolerance)
{
    return std::abs(double{v.x} - expected.x) <= tolerance &&
           std::abs(double{v.y} - expected.y) <= tolerance &&
           std::abs(double{v.z} - expected.z) <= tolerance;
}

/// An open camera on the stopped bench.
struct Rig
{
    explicit Rig(const om::bench::CameraConfig& config,
                 om::COORDINATE_SYSTEM system = om::COORDINATE_SYSTEM::RIGHT_HANDED_Y_UP)
        : bench(stoppedBench())
    {
        bench.addCamera(config);
        om::InitParameters parameters = parametersFor(config.serialNumber);
        parameters.coordinateSystem = system;
        parameters.input.setFromSerialNumber(config.serialNumber, om::bench::busOf(config.model));
        opened = camera.open(parameters) == om::ERROR_CODE::SUCCESS;
    }

    /// The record after a step of the clock.
    om::SensorsData after(std::chrono::nanoseconds step)
    {
        bench.clock().advance(step);
        om::SensorsData data;
        result = current(camera, data);
        return data;
    }

    om::bench::Bench& bench;
    om::Camera camera;
    bool opened = false;
    om::ERROR_CODE result = om::ERROR_CODE::FAILURE;
};

} // namespace benchtest
