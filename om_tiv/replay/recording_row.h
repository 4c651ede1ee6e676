/// @file
/// Rows of the CSV file that Gravimon records, of all columns.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace om::bench {

/// One row, by the columns of the file.
struct RecordingRow
{
    std::uint64_t index = 0;
    double imuTime = 0.0;                      ///< s
    double magnetometerTime = 0.0;             ///< s, 0 without a magnetometer
    double barometerTime = 0.0;                ///< s, 0 without a barometer
    std::array<float, 3> acceleration = {};    ///< m/s^2
    std::array<float, 3> angularVelocity = {}; ///< degrees per second
    std::array<float, 3> field = {};           ///< uT
    std::array<float, 3> orientation = {};     ///< degrees
    float pressure = 0.0F;                     ///< hPa
    float altitude = 0.0F;                     ///< m
    int movingState = 0;
    float tempLeft = 0.0F; ///< degrees Celsius, as the next three
    float tempRight = 0.0F;
    float tempImu = 0.0F;
    float tempBarometer = 0.0F;
};

/// The first line of a file with all columns, with its line feed.
std::string recordingHeader();

/// Appends a row with its line feed: nine digits after the point, half rounded away from zero.
void appendRow(std::string& text, const RecordingRow& row);

} // namespace om::bench
