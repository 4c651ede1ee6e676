/// @file
/// What a recording contains, and the dialog that edits it.
#pragma once

#include <QDialog>
#include <QString>

class Ui_RecOptionDlg;

/// The persistent options of a recording. Interface thread; the sensor thread reads the fields
/// while a recording runs, and they can't change during one.
///
/// Stored by QSettings (organisation "Ombrelux", application "TIVSensorData", per user), one
/// top-level key a field. Values are taken as they come: a frequency of 0 gives a recording without
/// rows.
class RecOptions
{
public:
    RecOptions(); ///< the defaults, then what is stored
    /// Copies the fields; the store isn't touched.
    RecOptions(RecOptions& other);
    RecOptions& operator=(const RecOptions& other) = default;
    ~RecOptions() = default;

    void loadRecSettings();
    /// Writes all nine keys and waits until they are with the system.
    void saveRecSettings();

    QString saveFolder;        ///< target folder of the CSV file
    bool accelerometer = true; ///< acceleration columns
    bool gyroscope = true;     ///< angular velocity columns
    bool magnetometer = true;  ///< magnetic field columns
    bool orientation = true;   ///< Euler angle columns
    bool barometer = true;     ///< pressure and altitude columns
    bool temperatures = true;  ///< temperature columns
    bool movement = true;      ///< moving state column
    int sampleFreq = 400;      ///< requested rows a second, Hz
};

/// Row of the frequency list that stands for a frequency; 0 (400 Hz) for one that isn't in the
/// list.
int rowOfSampleFreq(int sampleFreq);
/// Frequency in Hz of a row of the list; 400 for a row outside it.
int sampleFreqOfRow(int row);

/// The modal dialog over RecOptions. It starts from what is stored, and an accepted one has stored
/// its options before exec() returns 1.
class RecOptionDlg : public QDialog
{
    Q_OBJECT

public:
    explicit RecOptionDlg(QWidget* parent);
    ~RecOptionDlg() override;

public slots:
    void accept() override;
    void on_pushButton_rec_folder_clicked();

protected:
    /// Return presses OK, or Cancel while that has the focus.
    void keyPressEvent(QKeyEvent* event) override;

private:
    void showFolder();

    Ui_RecOptionDlg* ui; // owned

public:
    /// What was stored when the dialog was made. A folder is taken over when it is chosen, all the
    /// rest by accept().
    RecOptions options;
};
