/// @file
/// The options of a recording.
#pragma once

#include <QString>

/// The persistent options of a recording. Interface thread; the sensor thread reads the fields
/// while a recording runs, and they can't change during one. gravimon-log uses the switches of the
/// columns only, without an interface thread.
///
/// Stored by QSettings (organisation "Ombrelux", application "TIVSensorData", per user), one
/// top-level key per field. Values are not checked: a frequency of 0 results in a recording without
/// rows.
class RecOptions
{
public:
    static constexpr int defaultSampleFreq = 400; ///< Hz

    RecOptions(); ///< the defaults, then the stored values
    /// Copies the fields; the store doesn't change.
    RecOptions(RecOptions& other);
    RecOptions& operator=(const RecOptions& other) = default;
    ~RecOptions() = default;

    /// Reads all nine keys. A field whose key is missing gets its default.
    void loadRecSettings();
    /// Writes all nine keys and waits until the system has them.
    void saveRecSettings();

    QString saveFolder;                 ///< folder of the CSV file; by default the home folder
    bool accelerometer = true;          ///< acceleration columns
    bool gyroscope = true;              ///< angular velocity columns
    bool magnetometer = true;           ///< magnetic field columns
    bool orientation = true;            ///< Euler angle columns
    bool barometer = true;              ///< pressure and altitude columns
    bool temperatures = true;           ///< temperature columns
    bool movement = true;               ///< moving state column
    int sampleFreq = defaultSampleFreq; ///< requested rows per second, Hz
};
