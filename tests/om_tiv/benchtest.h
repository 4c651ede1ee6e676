/// @file
/// Functions that the tests of the camera library share.
#pragma once

#include "bench/virtual_camera.h"
#include "library/the_bench.h"

#include <om_tiv/om_tiv.h>

#include <QtTest>

namespace benchtest {

constexpr unsigned int cameraSerial = 30000001;
constexpr om::bench::Nanoseconds startTime = 1'000 * om::bench::nsPerS;

/// The bench, empty, with its clock stopped at startTime.
inline om::bench::Bench& stoppedBench()
{
    auto& bench = om::bench::theBench();
    bench.reset();
    bench.clock().setManual(startTime);
    return bench;
}

/// The bench, empty, with the real clock.
inline om::bench::Bench& runningBench()
{
    auto& bench = om::bench::theBench();
    bench.reset();
    return bench;
}

/// A camera whose sensors have no errors, at rest.
inline om::bench::CameraConfig idealCamera(om::MODEL model = om::MODEL::TIV_Q,
                                           unsigned int serial = cameraSerial)
{
    om::bench::CameraConfig config;
    config.model = model;
    config.serialNumber = serial;
    config.motion = om::bench::MOTION::AT_REST;
    config.errors = om::bench::SensorErrors::none();
    config.hardIron = {};
    config.softIron = om::bench::identity3;
    return config;
}

inline om::InitParameters parametersFor(unsigned int serial = cameraSerial)
{
    om::InitParameters parameters;
    parameters.resolution = om::RESOLUTION::HD720;
    parameters.coordinateUnits = om::UNIT::METRE;
    parameters.coordinateSystem = om::COORDINATE_SYSTEM::RIGHT_HANDED_Y_UP;
    parameters.input.setFromSerialNumber(serial, om::BUS_TYPE::USB);
    return parameters;
}

inline om::ERROR_CODE current(om::Camera& camera, om::SensorsData& data)
{
    return camera.getSensorsData(data, om::TIME_REFERENCE::CURRENT);
}

} // namespace benchtest

// Prints results as numbers when a comparison fails.
namespace QTest {
template <>
inline char* toString(const om::ERROR_CODE& code)
{
    return QTest::toString(static_cast<int>(code));
}
} // namespace QTest
