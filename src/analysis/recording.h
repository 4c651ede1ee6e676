/// @file
/// A recording in memory, each sensor at its own pace, and the reader of recorded CSV files.
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

/// Three values a sample, in the camera's axes: x to the right, y up, z backward. An empty one is a
/// sensor that the recording does not have.
struct Vectors
{
    std::array<std::vector<double>, 3> axes;

    bool empty() const { return axes[0].empty(); }
    std::size_t size() const { return axes[0].size(); }
};

/// A sensor with times of its own.
struct VectorSeries
{
    std::vector<Nanoseconds> times;
    Vectors values;
};

/// What the reader left out, and why.
struct ReadReport
{
    std::uint64_t bytes = 0;
    std::uint64_t rows = 0;         ///< that are in the recording
    std::uint64_t tornRows = 0;     ///< with another number of fields than the header
    std::uint64_t invalidRows = 0;  ///< with something that is no number from -1e9 to 1e9
    std::uint64_t repeatedRows = 0; ///< with the time of the row before
    std::uint64_t backwardRows = 0; ///< with a time before that of the row before
};

/// The samples of one file. Rows are in the order of their times, which rise.
struct Recording
{
    std::string path;
    std::string model;  ///< from the file's name; empty where it has another form
    std::string serial; ///< likewise
    ReadReport report;

    std::vector<Nanoseconds> times;     ///< of the IMU; empty where the file has no IMU time
    std::vector<std::uint32_t> numbers; ///< of the IMU samples as the recorder counted them
    Vectors acceleration;               ///< m/s^2, with gravity
    Vectors angularVelocity;            ///< degrees per second
    Vectors orientation;                ///< degrees; Rz(z) Ry(y) Rx(x) turns camera into world axes
    std::vector<std::uint8_t> movingState; ///< 0 static, 1 moving, 2 falling

    VectorSeries magneticField; ///< uT, without the stored calibration; each sample once

    std::vector<Nanoseconds> barometerTimes; ///< each sample once
    std::vector<double> pressure;            ///< hPa
    std::vector<double> relativeAltitude;    ///< m

    /// Temperatures once per barometer sample, once in 40 ms where there is no barometer.
    std::vector<Nanoseconds> temperatureTimes;
    /// Degrees Celsius: left, right, IMU, barometer.
    std::array<std::vector<double>, 4> temperatures;
};

/// Which groups of columns to keep; the others are read past, which saves memory.
struct Wanted
{
    bool orientation = false;
    bool movingState = false;
};

/// Reads a recording. The file is mapped into memory, the values are kept in double precision: some
/// 60 bytes a row for accelerometer and gyroscope.
///
/// A row that can't be used is left out and counted (ReadReport). Rows may stand above the header.
/// @param error   one line with file, line and reason when there is no result
/// @param progress is called now and then with the share that is read, 0 to 1; false ends the
/// reading
/// @return none when the file can't be opened or mapped, is no regular file, has no header of a
///         recording, lacks the time of the IMU and of the magnetometer, has less than two rows, or
///         when progress() has ended it
std::optional<Recording> readRecording(const std::string& path, const Wanted& wanted,
                                       std::string& error,
                                       const std::function<bool(double)>& progress = {});

/// The same from text that lies in memory. The path is for messages.
std::optional<Recording> parseRecording(const char* begin, const char* end, const std::string& path,
                                        const Wanted& wanted, std::string& error,
                                        const std::function<bool(double)>& progress = {});

} // namespace analysis
