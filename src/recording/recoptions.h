/// @file
/// What a recording contains.
#pragma once

#include <QString>

/// The persistent options of a recording. Interface thread; the sensor thread reads the fields
/// while a recording runs, and they can't change during one.
///
/// Stored by QSettings (organisation "Ombrelux", application "TIVSensorData", per user), one
/// top-level key a field. Values are taken as they come: a frequency of 0 gives a recording without
/// rows.
class RecOptions
{
public:
    static constexpr int defaultSampleFreq = 400; ///< Hz

    RecOptions(); ///< the defaults, then what is stored
    /// Copies the fields; the store isn't touched.
    RecOptions(RecOptions& other);
    RecOptions& operator=(const RecOptions& other) = default;
    ~RecOptions() = default;

    void loadRecSettings();
    /// Writes all nine keys and waits until they are with the system.
    void saveRecSettings();

    QString saveFolder;                 ///< target folder of the CSV file
    bool accelerometer = true;          ///< acceleration columns
    bool gyroscope = true;              ///< angular velocity columns
    bool magnetometer = true;           ///< magnetic field columns
    bool orientation = true;            ///< Euler angle columns
    bool barometer = true;              ///< pressure and altitude columns
    bool temperatures = true;           ///< temperature columns
    bool movement = true;               ///< moving state column
    int sampleFreq = defaultSampleFreq; ///< requested rows a second, Hz
};
