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

/// The progress of a long reading, and a way to end it. Any thread.
struct ReadingProgress
{
    std::atomic<std::uint64_t> bytes{0}; ///< total number to read
    std::atomic<std::uint64_t> read{0};
    std::atomic<bool> cancelled{
        false}; ///< set by another thread: the reading ends soon, without a result
};

/// The rows of a CSV file of the program's recorder, column by column. Missing columns take no
/// memory.
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

    std::string report; ///< one line on rows left out and missing sensors; empty without problems

    std::size_t size() const { return m_times.size(); } ///< rows
    double time(std::size_t row) const { return m_times[row]; }
    Row row(std::size_t index) const;
    /// The rows with a new reading, in their order: those in which its recorded time has changed.
    const std::vector<std::uint32_t>& magnetometerRows() const { return m_magnetometerRows; }
    const std::vector<std::uint32_t>& barometerRows() const { return m_barometerRows; }
    std::size_t bytes() const; ///< memory of the rows

    /// Reads a file of at most 512 MiB. Rows are left out if they are incomplete, contain something
    /// that is not a number, or do not come after the row before them. If the time jumps by more
    /// than mostGap ahead or mostSetback back, it continues directly after the row before. Some
    /// rows may precede the header, as in files of the recorder.
    /// @param report report of the recording
    /// @param progress reports the progress; null for no report
    /// @return null, with the reason in report, if nothing can be played (fewer than two rows);
    ///         null with an empty report if cancelled
    static std::shared_ptr<const SensorRecording> read(const std::string& path, std::string& report,
                                                       ReadingProgress* progress = nullptr);
    /// The same for a text; name replaces the file's name in reports.
    static std::shared_ptr<const SensorRecording>
    parse(const std::string& text, const std::string& name, std::string& report);

    static constexpr double mostGap = 10.0;               ///< s
    static constexpr double mostSetback = 1.0;            ///< s
    static constexpr std::size_t longestLine = 64 * 1024; ///< bytes

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
