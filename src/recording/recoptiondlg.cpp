#include "recording/recoptiondlg.h"

#include "look/Style.h"
#include "look/dressing.h"
#include "ui_recoptiondlg.h"

#include <QFileDialog>
#include <QKeyEvent>

#include <array>

namespace {

/// Rows of the frequency list, Hz.
constexpr std::array<int, 8> sampleFrequencies{400, 200, 100, 50, 25, 10, 5, 1};

struct CheckBox
{
    QCheckBox* Ui_RecOptionDlg::*box;
    bool RecOptions::*field;
};

constexpr std::array<CheckBox, 7> checkBoxes{{
    {&Ui_RecOptionDlg::checkBox_accel, &RecOptions::accelerometer},
    {&Ui_RecOptionDlg::checkBox_gyro, &RecOptions::gyroscope},
    {&Ui_RecOptionDlg::checkBox_mag, &RecOptions::magnetometer},
    {&Ui_RecOptionDlg::checkBox_orient, &RecOptions::orientation},
    {&Ui_RecOptionDlg::checkBox_baro, &RecOptions::barometer},
    {&Ui_RecOptionDlg::checkBox_temp, &RecOptions::temperatures},
    {&Ui_RecOptionDlg::checkBox_mov, &RecOptions::movement},
}};

} // namespace

int rowOfSampleFreq(int sampleFreq)
{
    for (std::size_t row = 0; row < sampleFrequencies.size(); ++row) {
        if (sampleFrequencies[row] == sampleFreq) {
            return static_cast<int>(row);
        }
    }
    return 0;
}

int sampleFreqOfRow(int row)
{
    if (row < 0 || row >= static_cast<int>(sampleFrequencies.size())) {
        return sampleFrequencies[0];
    }
    return sampleFrequencies[static_cast<std::size_t>(row)];
}

RecOptionDlg::RecOptionDlg(QWidget* parent) : QDialog(parent), ui(new Ui_RecOptionDlg)
{
    ui->setupUi(this);

    const Style style;
    setStyleSheet(style.windowSoilStyle);
    using dressing::dress;
    dress(ui->toolButton_accept, style.saveButtonStyle, style.fontMonoCaps9);
    dress(ui->toolButton_reject, style.saveButtonStyle, style.fontMonoCaps9);
    dress(ui->label_rec_folder, style.labelBaseStyle, style.fontMonoCaps9);
    dress(ui->label_sample_freq, style.labelBaseStyle, style.fontMonoCaps9);
    dress(ui->label_save_path, style.lineEditClearStyle, style.fontMono9);
    dress(ui->comboBox_sample_freq, style.comboDarkStyle, style.fontMonoCaps9);
    for (const CheckBox& each : checkBoxes) {
        dress(ui->*each.box, style.checkBoxLargeStyle, style.fontMonoCaps9);
    }
    dress(ui->groupBox_data_selection, style.groupBoxTitleStyle, style.fontMonoCaps9);
    ui->pushButton_rec_folder->setAccessibleName(tr("Choose the recording folder"));
    // On Linux a combo box has its value as its accessible name.
    ui->comboBox_sample_freq->setAccessibleDescription(ui->label_sample_freq->text());

    // Called again after the constructor of options, as intended: the dialog starts with the stored
    // values, whatever the main window's options are.
    options.loadRecSettings();

    // A folder's name is not markup, and a long path must not widen the dialog.
    ui->label_save_path->setTextFormat(Qt::PlainText);
    ui->label_save_path->setMinimumWidth(1);
    showFolder();
    // Return presses OK.
    ui->pushButton_rec_folder->setAutoDefault(false);
    for (const CheckBox& each : checkBoxes) {
        (ui->*each.box)->setChecked(options.*each.field);
    }
    ui->comboBox_sample_freq->setCurrentIndex(rowOfSampleFreq(options.sampleFreq));

    connect(ui->toolButton_accept, &QToolButton::clicked, this, &RecOptionDlg::accept);
    connect(ui->toolButton_reject, &QToolButton::clicked, this, &QDialog::reject);
}

RecOptionDlg::~RecOptionDlg()
{
    delete ui;
}

void RecOptionDlg::accept()
{
    options.saveFolder = ui->label_save_path->text();
    for (const CheckBox& each : checkBoxes) {
        options.*each.field = (ui->*each.box)->isChecked();
    }
    options.sampleFreq = sampleFreqOfRow(ui->comboBox_sample_freq->currentIndex());
    options.saveRecSettings();
    QDialog::accept();
}

void RecOptionDlg::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        // As in a dialog with push buttons: Cancel if it has the focus, otherwise OK.
        (ui->toolButton_reject->hasFocus() ? ui->toolButton_reject : ui->toolButton_accept)
            ->click();
        return;
    }
    QDialog::keyPressEvent(event);
}

void RecOptionDlg::showFolder()
{
    ui->label_save_path->setText(options.saveFolder);
    // The whole path, which may be longer than its label. Qt might take a plain text for markup.
    ui->label_save_path->setToolTip(QStringLiteral("<p style='white-space:pre-wrap'>%1</p>")
                                        .arg(options.saveFolder.toHtmlEscaped()));
}

void RecOptionDlg::on_pushButton_rec_folder_clicked()
{
    const QString folder = QFileDialog::getExistingDirectory(
        this, tr("Choose the saving folder"), options.saveFolder,
        QFileDialog::ShowDirsOnly | QFileDialog::DontResolveSymlinks |
            QFileDialog::DontUseNativeDialog);
    if (!folder.isEmpty()) {
        options.saveFolder = folder;
        showFolder();
    }
}
