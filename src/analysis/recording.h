/// @file
/// A recording in memory, each sensor at its own rate, and the reader of recorded CSV files.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace analysis {

/// Nanoseconds since 1970, of the camera library's clock. Recorded times are whole microseconds.
using Nanoseconds = std::int64_t;

/// Three values per sample, in the camera's axes: x to the right, y up, z backward. Empty for a
/// sensor that the recording does not have.
struct Vectors
{
    std::array<std::vector<double>, 3> axes;

    bool empty() const { return axes[0].empty(); }
    std::size_t size() const { return axes[0].size(); }
};

/// A sensor with its own times.
struct VectorSeries
{
    std::vector<Nanoseconds> times;
    Vectors values;
};

/// Numbers of the samples of a sensor that is slower than the rows.
struct SlowReport
{
    std::uint64_t samples = 0; ///< that are in the recording
    /// With a time before that of the last sample that was kept. They are left out; their rows are
    /// not.
    std::uint64_t backward = 0;
};

/// Numbers of the rows that the reader kept and left out.
struct ReadReport
{
    std::uint64_t bytes = 0;
    std::uint64_t rows = 0;         ///< that are in the recording
    std::uint64_t tornRows = 0;     ///< with another number of fields than the header
    std::uint64_t invalidRows = 0;  ///< with a field that is not a number from -1e9 to 1e9
    std::uint64_t repeatedRows = 0; ///< with the time of the last row that was kept
    std::uint64_t backwardRows = 0; ///< with a time before that of the last row that was kept
    /// Without a new sample of the slow sensor whose time the recording has. Nothing is lost.
    std::uint64_t slowRows = 0;
    SlowReport magnetometer;
    SlowReport barometer; ///< its times are also those of the temperatures
};

/// A recording with a higher share of lost rows is incomplete: our choice, the same as for samples
/// without a row.
constexpr double mostLostRows = 0.001;

/// The rows that were left out, as a share of all; without the repeated ones, because the recording
/// has a sample of their time, and without one torn row, with which a killed recording ends. If a
/// slow sensor has lost a larger share of its samples, that one.
double lostShareOf(const ReadReport& report);

/// What was left out and why, as part of a sentence; empty where nothing was.
std::string leftOutText(const ReadReport& report);

/// Index of the IMU's among the four temperatures.
constexpr std::size_t imuTemperature = 2;

/// The samples of one file. The times of the rows increase.
struct Recording
{
    std::string path;
    std::string model;  ///< from the file's name; empty if it has another form
    std::string serial; ///< likewise
    ReadReport report;

    std::vector<Nanoseconds> times;     ///< of the IMU; empty if the file has no IMU time
    std::vector<std::uint32_t> numbers; ///< of the IMU samples, as counted by the recorder
    Vectors acceleration;               ///< m/s^2, with gravity
    Vectors angularVelocity;            ///< degrees per second

    VectorSeries magneticField; ///< uT, without the stored calibration; each sample once

    std::vector<Nanoseconds> barometerTimes; ///< each sample once
    std::vector<double> pressure;            ///< hPa
    std::vector<double> relativeAltitude;    ///< m

    /// Temperatures once per barometer sample, once in 40 ms without a barometer.
    std::vector<Nanoseconds> temperatureTimes;
    /// Degrees Celsius: left, right, IMU (imuTemperature), barometer.
    std::array<std::vector<double>, 4> temperatures;
};

/// Reads a recording. The file is mapped into memory, the values are stored in double precision:
/// about 60 bytes per row for accelerometer and gyroscope. Orientation and moving state are
/// skipped.
///
/// A row that can't be used is left out and counted (ReadReport). Rows may precede the header.
/// @param error one line with file, line and reason if there is no result
/// @param progress is called from time to time with the part that has been read, 0 to 1; false ends
/// the reading
/// @return none if the file can't be opened or mapped, is not a regular file, becomes shorter or
///         unreadable meanwhile, has no header of a recording, has neither IMU nor magnetometer
///         times, has fewer than two rows, or if progress() has ended it
std::optional<Recording> readRecording(const std::string& path, std::string& error,
                                       const std::function<bool(double)>& progress = {});

/// The same from text in memory. The path is for messages.
std::optional<Recording> parseRecording(const char* begin, const char* end, const std::string& path,
                                        std::string& error,
                                        const std::function<bool(double)>& progress = {});

} // namespace analysis
