/// @file
/// The dialog that edits what a recording contains.
#pragma once

#include "recording/recoptions.h"

#include <QDialog>

class Ui_RecOptionDlg;

/// Row of a frequency in the list; 0 (400 Hz) for one that isn't in the list.
int rowOfSampleFreq(int sampleFreq);
/// Frequency in Hz of a row of the list; 400 for a row outside it.
int sampleFreqOfRow(int row);

/// The modal dialog for RecOptions. It starts with the stored options. When it is accepted, it
/// stores its options before exec() returns 1. Interface thread.
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
    /// The options stored when the dialog was created. The folder changes when it is chosen,
    /// everything else in accept().
    RecOptions options;
};
