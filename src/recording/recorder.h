/// @file
/// The CSV file of a recording: its name, header and rows. Without state; texts for the user and
/// the header are in the application's language.
#pragma once

#include "recording/recoptions.h"

#include <QString>

#include <array>

class QDateTime;
class QTextStream;

namespace recorder {

/// One row: a snapshot of all series at one IMU sample.
struct Row
{
    int index = 0;                           ///< sample number since the series were last cleared
    double imuTime = 0.0;                    ///< s
    double magTime = 0.0;                    ///< s, 0 without a magnetometer
    double baroTime = 0.0;                   ///< s, 0 without a barometer
    std::array<double, 3> acceleration = {}; ///< m/s^2
    std::array<double, 3> angularVelocity = {}; ///< degrees per second
    std::array<double, 3> magneticField = {};   ///< uT
    std::array<double, 3> orientation = {};     ///< degrees
    double pressure = 0.0;                      ///< hPa
    double relativeAltitude = 0.0;              ///< m
    double movingState = 0.0;                   ///< 0 static, 1 moving, 2 falling
    double tempLeft = 0.0;                      ///< degrees Celsius
    double tempRight = 0.0;                     ///< degrees Celsius
    float tempImu = 0.0F;                       ///< degrees Celsius
    float tempBarometer = 0.0F;                 ///< degrees Celsius
};

/// Name of the file, without folder: date stamp, model and serial number, all blanks removed.
QString fileName(const QDateTime& localTime, const QString& model, unsigned int serialNumber);

/// The folder with a "/" at its end; an empty text stays empty.
QString folderWithSlash(const QString& folder);

/// The header without the line feed. Each field ends in a comma, also the last one.
QString header(const RecOptions& options);

/// Writes one row with its line feed: the groups of header() in the same order, nine digits after
/// the point. The call sets the stream's number format.
void writeRow(QTextStream& stream, const RecOptions& options, const Row& row);

/// Shortest time between two rows in seconds; infinite for a frequency of 0.
double periodSec(int sampleFreq);

} // namespace recorder
