/// @file
/// Creates the records of om::Camera::getSensorsData() from a virtual camera's samples.
#pragma once

#include "bench/virtual_camera.h"
#include "world/physics.h"

#include <om_tiv/sensors.h>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace om::bench {

/// The sensor stream of one opening of a camera. It begins with the first IMU sample after the
/// opening, and with the newest readings of the other sensors at that moment. Any thread.
class SensorReader
{
public:
    SensorReader(std::shared_ptr<VirtualCamera> camera, COORDINATE_SYSTEM system);

    /// TIME_REFERENCE::CURRENT. done() ends the wait for a new sample early.
    void current(SensorsData& data, const std::function<bool()>& done);

    /// The values at a time in the past.
    void at(Nanoseconds time, SensorsData& data);

private:
    /// A stream since the opening.
    struct Stream
    {
        STREAM kind;
        double rate;             ///< Hz, nominal; the effective rate is of as many samples
        std::uint64_t first = 0; ///< number of the first sample after the opening
    };

    std::optional<std::uint64_t> newest(const Stream& stream, Nanoseconds time) const;
    float effectiveRate(const Stream& stream, std::uint64_t number) const;
    void fill(Nanoseconds time, SensorsData& data);
    void fillImu(std::uint64_t number, SensorsData& data);
    void fillMagnetometer(Nanoseconds time, const Faults& faults, SensorsData& data);
    void fillBarometer(Nanoseconds time, const Faults& faults, SensorsData& data);
    void fillTemperatures(Nanoseconds time, const Faults& faults, SensorsData& data);
    Reading readingOf(const SensorsData& data) const;
    Vector3<float> inSystem(const Vector& body) const;

    const std::shared_ptr<VirtualCamera> m_camera;
    const std::shared_ptr<SensorSource> m_source;
    const bool m_imageAxes;
    Stream m_imu{STREAM::IMU, PhysicsSource::imuRate};
    Stream m_magnetometer{STREAM::MAGNETOMETER, PhysicsSource::magnetometerRate};
    Stream m_barometer{STREAM::BAROMETER, PhysicsSource::barometerRate};
    double m_groundPressure = 0.0; ///< Pa, at the opening

    std::mutex m_mutex;                      ///< guards the following members
    std::optional<std::uint64_t> m_returned; ///< IMU sample of the last record

    // The blocks of the last record; they change at a lower rate than that of the IMU.
    std::optional<std::uint64_t> m_magnetometerNumber;
    std::uint64_t m_calibrationVersion = 0;
    SensorsData::MagnetometerData m_magnetometerData;
    std::optional<std::uint64_t> m_barometerNumber;
    SensorsData::BarometerData m_barometerData;
    std::optional<Nanoseconds> m_temperatureSlot;
    SensorsData::TemperatureData m_temperatures;
};

} // namespace om::bench
