/// @file
/// A recording of sensor values, played instead of the physics.
#pragma once

#include "replay/sensor_recording.h"
#include "world/sensor_source.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

namespace om::bench {

struct Environment;

/// Plays a recording at the recorded rate from the moment of plugging in.
class ReplaySource : public SensorSource
{
public:
    /// @param looping starts again after the last row; otherwise the stream ends there
    /// @param environment its magnetic faults are added to the recorded values; null for none
    ReplaySource(std::shared_ptr<const SensorRecording> recording, bool looping, Nanoseconds start,
                 std::shared_ptr<const Environment> environment = nullptr);

    bool has(STREAM stream) const override;
    std::optional<std::uint64_t> newest(STREAM stream, Nanoseconds time) const override;
    Nanoseconds timeOf(STREAM stream, std::uint64_t number) const override;
    ImuSample imu(std::uint64_t number) const override;
    MagnetometerSample magnetometer(std::uint64_t number) const override;
    BarometerSample barometer(std::uint64_t number) const override;
    std::array<std::optional<double>, 4> temperatures(Nanoseconds time) const override;
    void complete(std::uint64_t imuNumber, SensorsData& data) const override;

private:
    /// Number of samples of a stream in a round.
    std::size_t countOf(STREAM stream) const;
    std::size_t rowOf(STREAM stream, std::uint64_t number) const;
    double secondsOf(STREAM stream, std::uint64_t number) const;

    const std::shared_ptr<const SensorRecording> m_recording;
    const bool m_looping;
    const Nanoseconds m_start;
    const std::shared_ptr<const Environment> m_environment;
    const double m_period; ///< s of one round
};

} // namespace om::bench
