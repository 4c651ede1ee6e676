/// @file
/// A recording of sensor values: the rows of a CSV file, column by column.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace om::bench {

/// How far a long reading has come, and a way to end it. Any thread.
struct ReadingProgress
{
    std::atomic<std::uint64_t> bytes{0}; ///< to be read
    std::atomic<std::uint64_t> read{0};
    std::atomic<bool> cancelled{
        false}; ///< set from outside: the reading ends soon, without a result
};

/// The rows of a CSV file as the program's recorder writes it, column by column: what the file has
/// no column for is missing as a whole, and takes no memory.
class SensorRecording
{
public:
    struct Row
    {
        double time = 0.0;                      ///< s, since the first row; strictly increasing
        std::array<float, 3> acceleration{};    ///< m/s^2
        std::array<float, 3> angularVelocity{}; ///< degrees per second
        std::array<float, 3> magneticField{};   ///< uT, of the last new reading
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

    std::string report; ///< one line of what was left out or is missing; empty when all is sound

    std::size_t size() const { return m_times.size(); } ///< rows
    double time(std::size_t row) const { return m_times[row]; }
    Row row(std::size_t index) const;
    /// The rows with a new reading, in their order: the recorded time of it has changed.
    const std::vector<std::uint32_t>& magnetometerRows() const { return m_magnetometerRows; }
    const std::vector<std::uint32_t>& barometerRows() const { return m_barometerRows; }
    std::size_t bytes() const; ///< of memory that the rows take

    /// Reads a file of at most 512 MiB. Rows that are torn, hold something that is not a number, or
    /// do not come after the one before them are left out; where the time jumps, by more than
    /// MOST_GAP ahead or MOST_SETBACK back, it goes on right behind the row before. Some rows may
    /// stand above the header, as the recorder's first can.
    /// @param report   that of the recording
    /// @param progress where to report to; null for nobody
    /// @return null, with the reason in report, when nothing can be played (less than two rows);
    ///         null with an empty report when cancelled
    static std::shared_ptr<const SensorRecording> read(const std::string& path, std::string& report,
                                                       ReadingProgress* progress = nullptr);
    /// The same of a text; name stands for the file in reports.
    static std::shared_ptr<const SensorRecording>
    parse(const std::string& text, const std::string& name, std::string& report);

    static constexpr double MOST_GAP = 10.0;               ///< s
    static constexpr double MOST_SETBACK = 1.0;            ///< s
    static constexpr std::size_t LONGEST_LINE = 64 * 1024; ///< bytes

private:
    friend class RecordingParser;

    std::vector<double> m_times;
    std::vector<std::array<float, 3>> m_acceleration;
    std::vector<std::array<float, 3>> m_angularVelocity;
    std::vector<std::array<float, 3>> m_magneticField; ///< of m_magnetometerRows
    std::vector<std::array<float, 3>> m_eulerAngles;
    std::vector<std::array<float, 2>> m_air; ///< pressure and altitude
    std::vector<std::int16_t> m_movingStates;
    std::vector<std::array<float, 4>> m_temperatures;
    std::vector<std::uint32_t> m_magnetometerRows;
    std::vector<std::uint32_t> m_barometerRows;
};

} // namespace om::bench
