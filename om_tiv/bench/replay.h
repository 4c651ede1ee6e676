/// @file
/// A recording of sensor values, played in place of the physics.
#pragma once

#include "bench/sensor_source.h"

#include <om_tiv/transform.h>

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace om::bench {

/// The rows of a CSV file as the program's recorder writes it. What the file has no column for is
/// missing as a whole.
struct SensorRecording
{
    struct Row
    {
        double time = 0.0;     ///< s, since the first row; strictly increasing
        double magTime = 0.0;  ///< s, as recorded; a change marks a new magnetometer reading
        double baroTime = 0.0; ///< s, as recorded; likewise
        std::array<float, 3> acceleration{};    ///< m/s^2
        std::array<float, 3> angularVelocity{}; ///< degrees per second
        std::array<float, 3> magneticField{};   ///< uT
        std::array<float, 3> eulerAngles{};     ///< degrees
        float pressure = 0.0F;                  ///< hPa
        float relativeAltitude = 0.0F;          ///< m
        int movingState = 0;
        /// Degrees Celsius by location: IMU, barometer, left, right.
        std::array<float, 4> temperatures{};
    };

    bool hasAcceleration = false;
    bool hasAngularVelocity = false;
    bool hasMagneticField = false;
    bool hasEulerAngles = false;
    bool hasBarometer = false;
    bool hasMovingState = false;
    bool hasTemperatures = false;
    std::vector<Row> rows;

    /// Reads a file. Rows that are torn, hold something that is not a number, or do not come after
    /// the one before them are left out; where the time jumps, by more than MOST_GAP ahead or
    /// MOST_SETBACK back, it goes on right behind the row before. Some rows may stand above the
    /// header, as the recorder's first can.
    /// @param report  one line of what was left out or is missing; empty when all is sound
    /// @return null, with the reason in report, when nothing can be played (less than two rows)
    static std::shared_ptr<const SensorRecording> read(const std::string& path,
                                                       std::string& report);
    /// The same of a text; name stands for the file in reports.
    static std::shared_ptr<const SensorRecording>
    parse(const std::string& text, const std::string& name, std::string& report);

    static constexpr double MOST_GAP = 10.0;    ///< s
    static constexpr double MOST_SETBACK = 1.0; ///< s
};

struct Environment;

/// Plays a recording at its own pace from the moment of plugging in.
class ReplaySource : public SensorSource
{
public:
    /// @param looping     begins anew behind the last row; else the stream ends there
    /// @param environment its magnetic faults come upon what was recorded; null for none
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
    /// The rows at which a stream has a new sample.
    const std::vector<std::size_t>& rowsOf(STREAM stream) const;
    std::size_t rowOf(STREAM stream, std::uint64_t number) const;
    double secondsOf(STREAM stream, std::uint64_t number) const;

    const std::shared_ptr<const SensorRecording> m_recording;
    const bool m_looping;
    const Nanoseconds m_start;
    const std::shared_ptr<const Environment> m_environment;
    double m_period = 0.0; ///< s of one round
    std::vector<std::size_t> m_imuRows;
    std::vector<std::size_t> m_magnetometerRows;
    std::vector<std::size_t> m_barometerRows;
};

/// A rotation matrix whose Euler angles (as Transform::getEulerAngles() has them, turned into
/// degrees with 180 / pi and rounded to float) are these, to the last bit where floats allow.
Transform transformOfEulerDegrees(const std::array<float, 3>& degrees);

/// The pressure in Pa that, divided by 100 and rounded to float, is this one in hPa.
float pascalsOfHectopascals(float hectopascals);

} // namespace om::bench
