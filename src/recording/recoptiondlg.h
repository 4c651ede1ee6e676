/// @file
/// The dialog that edits what a recording contains.
#pragma once

#include "recording/recoptions.h"

#include <QDialog>

class Ui_RecOptionDlg;

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
