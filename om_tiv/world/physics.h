/// @file
/// Computes sensor samples from the true motion of the body and the errors of its sensors.
#pragma once

#include "world/config.h"
#include "world/environment.h"
#include "world/motion.h"
#include "world/sensor_errors.h"
#include "world/sensor_source.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

namespace om::bench {

class PhysicsSource : public SensorSource
{
public:
    /// Nominal rates, Hz.
    static constexpr double imuRate = 400.0;
    static constexpr double magnetometerRate = 50.0;
    static constexpr double barometerRate = 25.0;
    static double rateOf(STREAM stream);
    /// Maximum deviation of a sample from its nominal time, as a share of the period.
    static constexpr double mostJitter = 0.05;

    /// @param plugCount number of times that the camera was plugged in before; each has its own
    /// turn-on bias
    PhysicsSource(const CameraConfig& config, std::shared_ptr<const MotionTimeline> motion,
                  std::shared_ptr<const Environment> environment, Nanoseconds start,
                  std::uint64_t plugCount = 0);

    bool has(STREAM stream) const override;
    std::optional<std::uint64_t> newest(STREAM stream, Nanoseconds time) const override;
    Nanoseconds timeOf(STREAM stream, std::uint64_t number) const override;
    bool isLost(STREAM stream, std::uint64_t number) const override;
    ImuSample imu(std::uint64_t number) const override;
    MagnetometerSample magnetometer(std::uint64_t number) const override;
    BarometerSample barometer(std::uint64_t number) const override;
    std::array<std::optional<double>, 4> temperatures(Nanoseconds time) const override;

private:
    using Errors = std::unique_ptr<const SensorErrorProcess>; ///< null if the model has no errors

    Errors errorsOf(const ErrorModel& model, std::uint64_t channel, double rate,
                    std::uint64_t plugCount) const;
    Vector noise(std::uint64_t channel, std::uint64_t number, double deviation) const;
    Vector noise(std::uint64_t channel, std::uint64_t number, const Vector& deviation) const;
    double trueTemperature(std::size_t location, Nanoseconds time) const;
    Nanoseconds sinceStart(Nanoseconds time) const;
    Vector accelerationOf(const ImuSample& sample, const Vector& force) const;
    Vector angularVelocityOf(const ImuSample& sample, const Vector& rate,
                             const Vector& force) const;

    const CameraConfig m_config;
    const std::uint64_t m_seed;
    const std::shared_ptr<const MotionTimeline> m_motion;
    const std::shared_ptr<const Environment> m_environment;
    const Nanoseconds m_start;
    const Errors m_accelerometer;
    const Errors m_gyroscope;
    const Errors m_magnetometer;
    const Errors m_barometer;
};

} // namespace om::bench
