/// @file
/// A camera on the virtual bench for the tests of the calibration, with scripted readings.
#pragma once

#include "library/the_bench.h"
#include "bench/virtual_camera.h"

#include <om_tiv/mcu.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace benchcamera {

constexpr unsigned int serial = 30123456; ///< a TIV_Q

/// An empty bench with one camera at rest.
inline om::bench::Bench& setUp(om::MODEL model = om::MODEL::TIV_Q, unsigned int number = serial)
{
    om::bench::Bench& bench = om::bench::theBench();
    bench.reset();
    om::bench::CameraConfig config;
    config.model = model;
    config.serialNumber = number;
    config.motion = om::bench::MOTION::AT_REST;
    bench.addCamera(config);
    return bench;
}

/// A new reading of the magnetometer, in counts of the sensor axes.
inline om::IMUReaderData reading(std::uint64_t ticks, int axis1, int axis2, int axis3)
{
    om::IMUReaderData record;
    record.linkValid = 1;
    record.magState = 2;
    record.timestamp = ticks;
    record.mag[0] = static_cast<std::int16_t>(axis1);
    record.mag[1] = static_cast<std::int16_t>(axis2);
    record.mag[2] = static_cast<std::int16_t>(axis3);
    return record;
}

/// A record without a new reading: link flag and data state as given.
inline om::IMUReaderData record(int link, int state, std::uint64_t ticks = 0)
{
    om::IMUReaderData made = reading(ticks, 1, 2, 3);
    made.linkValid = static_cast<std::uint8_t>(link);
    made.magState = static_cast<std::uint8_t>(state);
    return made;
}

/// 20 ms, the period of the magnetometer, in ticks.
constexpr std::uint64_t ticksPerReading = 513;

/// Readings on an ellipsoid around an offset, distributed over all directions, 50 per second.
/// Sensor axes, uT: offset (11, -23, 37), radii (41, 53, 47).
inline std::vector<om::IMUReaderData> readings(int count, std::uint64_t firstTicks = 100'000)
{
    std::vector<om::IMUReaderData> all;
    for (int i = 0; i < count; ++i) {
        const double up = 1.0 - (2.0 * (i % 97) + 1.0) / 97.0;
        const double across = std::sqrt(1.0 - up * up);
        const auto counts = [](double microtesla) {
            return static_cast<int>(std::lround(microtesla * 16.0));
        };
        all.push_back(reading(firstTicks + ticksPerReading * static_cast<std::uint64_t>(i),
                              counts(11.0 + 41.0 * across * std::cos(2.4 * i)),
                              counts(-23.0 + 53.0 * across * std::sin(2.4 * i)),
                              counts(37.0 + 47.0 * up)));
    }
    return all;
}

/// A pose of a level camera with a heading in degrees, and the link's heading state.
inline om::IMUPose pose(int headingState, float accuracy, double uncalibratedDegrees,
                        double calibratedDegrees)
{
    const double radians = uncalibratedDegrees * 3.14159265358979323846 / 180.0;
    om::IMUPose made;
    made.acceleration[0] = -9.81F; // specific force points up, axis 1 down
    made.magUncalibrated[0] = 43.0F;
    made.magUncalibrated[1] = static_cast<float>(21.0 * std::sin(radians));
    made.magUncalibrated[2] = static_cast<float>(21.0 * std::cos(radians));
    made.headingState = headingState;
    made.headingAccuracy = accuracy;
    made.heading = static_cast<float>(calibratedDegrees * 3.14159265358979323846 / 180.0);
    return made;
}

} // namespace benchcamera
