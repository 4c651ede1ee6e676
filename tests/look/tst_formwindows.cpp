// The three forms set up in windows, with plain widgets instead of the promoted ones.
#include "look/Style.h"

#include "ui_magcalibdlg.h"
#include "ui_mainwindow.h"
#include "ui_recoptiondlg.h"

#include <QDialog>
#include <QFontMetrics>
#include <QMainWindow>
#include <QTranslator>
#include <QtTest>

namespace {

// Translates each text to its context, so that a test can check the context that a form uses.
class ContextTranslator : public QTranslator
{
public:
    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* sourceText, const char*, int) const override
    {
        return QString("%1|%2").arg(context, QString::fromUtf8(sourceText));
    }
};

// Has the slots that the forms connect by name.
class SlotWindow : public QMainWindow
{
    Q_OBJECT

public:
    QStringList calls;

public slots:
    void on_comboBox_camera_list_currentIndexChanged(int) { calls += "camera_list"; }
    void on_comboBox_time_range_currentIndexChanged(const QString& text) { calls += text; }
    void on_toolButton_save_clicked(bool) { calls += "save"; }
    void on_pushButton_accel_clicked(bool) { calls += "accel"; }
    void on_pushButton_gyro_clicked(bool) { calls += "gyro"; }
    void on_pushButton_mag_clicked(bool) { calls += "mag"; }
    void on_pushButton_orient_clicked(bool) { calls += "orient"; }
    void on_pushButton_baro_clicked(bool) { calls += "baro"; }
    void on_pushButton_temper_clicked(bool) { calls += "temper"; }
    void on_pushButton_refresh_list_clicked() { calls += "refresh_list"; }
    void on_pushButton_rec_option_clicked() { calls += "rec_option"; }
    void on_pushButton_calib_mag_clicked() { calls += "calib_mag"; }
};

class SlotDialog : public QDialog
{
    Q_OBJECT

public:
    int folderClicks = 0;

public slots:
    void on_pushButton_rec_folder_clicked() { ++folderClicks; }
};

// Width and height that the drawn text of a widget needs in its font.
QSize needed(const QWidget* widget, QString text)
{
    if (widget->font().capitalization() == QFont::AllUppercase) {
        text = text.toUpper();
    }
    const QFontMetrics metrics(widget->font());
    return {metrics.horizontalAdvance(text), metrics.height()};
}

#define FITS(widget, text, spare)                                                                  \
    do {                                                                                           \
        const QSize need = needed(widget, text);                                                   \
        QVERIFY2(need.width() + (spare) <= (widget)->width(),                                      \
                 qPrintable((widget)->objectName() + " is too narrow"));                           \
        QVERIFY2(need.height() <= (widget)->height() + 2,                                          \
                 qPrintable((widget)->objectName() + " is too low"));                              \
    } while (false)

} // namespace

class TestFormWindows : public QObject
{
    Q_OBJECT

private slots:
    void mainWindowStartsWithTheAccelerometer();
    void mainWindowStartsOnTheLastTenSeconds();
    void timeRangesAreFourTexts();
    void onlyOneSpacerOfTheLeftColumnExpandsAndSeparatesTheCalibration();
    void mainWindowHasNoIconOfItsOwn();
    void mainWindowIconsAreDrawn();
    void mainWindowSlotsAreConnectedByName();
    void settingUpTheMainWindowCallsNoSlot();
    void theSmallerMaximumGivesWay();
    void sensorButtonsFillTheColumn();
    void mainWindowTextsFit();

    void recordingOptionsAreModalToTheApplication();
    void recordingOptionsStartAllChecked();
    void sampleFrequenciesStandInTheirOrder();
    void recordingFolderTakesTheRoom();
    void recordingFolderButtonIsConnectedByName();
    void recordingOptionTextsFit();

    void calibrationCannotBeStoredAtFirst();
    void onlyStartIsCheckable();
    void calibrationIconsAreTwentyPixels();
    void headingsStandOnTwoLines();
    void compassesStandSideBySideUnderTheStatus();
    void planesStandInTheirOrder();
    void calibrationTextsFit();

    void textsAreAskedForInTheFormsContext();
    void retranslatingRestoresTheTexts();
};

void TestFormWindows::mainWindowStartsWithTheAccelerometer()
{
    QMainWindow window;
    Ui_MainWindow ui;
    ui.setupUi(&window);
    QVERIFY(ui.pushButton_accel->isChecked());
    for (QPushButton* button : {ui.pushButton_gyro, ui.pushButton_orient, ui.pushButton_baro,
                                ui.pushButton_mag, ui.pushButton_temper}) {
        QVERIFY(button->isCheckable());
        QVERIFY(!button->isChecked());
    }
    QVERIFY(!ui.pushButton_calib_mag->isCheckable());
    QVERIFY(ui.toolButton_save->isCheckable());
    QVERIFY(!ui.toolButton_save->isChecked());
}

void TestFormWindows::mainWindowStartsOnTheLastTenSeconds()
{
    QMainWindow window;
    Ui_MainWindow ui;
    ui.setupUi(&window);
    QCOMPARE(ui.comboBox_time_range->currentIndex(), 1);
    QCOMPARE(ui.comboBox_time_range->currentText(), QString("Last 10 sec"));
}

void TestFormWindows::timeRangesAreFourTexts()
{
    QMainWindow window;
    Ui_MainWindow ui;
    ui.setupUi(&window);
    QStringList texts;
    for (int row = 0; row < ui.comboBox_time_range->count(); ++row) {
        texts += ui.comboBox_time_range->itemText(row);
    }
    QCOMPARE(texts, QStringList({"Last 5 sec", "Last 10 sec", "Last 30 sec", "Last 60 sec"}));
}

void TestFormWindows::onlyOneSpacerOfTheLeftColumnExpandsAndSeparatesTheCalibration()
{
    QMainWindow window;
    Ui_MainWindow ui;
    ui.setupUi(&window);
    QLayout* column = ui.verticalLayout_3;
    QWidget* const expected[] = {
        ui.frame_camera_sel,    ui.pushButton_accel, ui.pushButton_gyro,   ui.pushButton_orient,
        ui.pushButton_baro,     ui.pushButton_mag,   ui.pushButton_temper, nullptr,
        ui.pushButton_calib_mag};
    QCOMPARE(column->count(), 9);
    for (int item = 0; item < 9; ++item) {
        QCOMPARE(column->itemAt(item)->widget(), expected[item]);
        QCOMPARE(column->itemAt(item)->spacerItem() != nullptr, expected[item] == nullptr);
        QCOMPARE(column->itemAt(item)->expandingDirections().testFlag(Qt::Vertical), item == 7);
    }
}

void TestFormWindows::mainWindowHasNoIconOfItsOwn()
{
    QMainWindow window;
    Ui_MainWindow ui;
    ui.setupUi(&window);
    QVERIFY(window.windowIcon().availableSizes().isEmpty());
    QVERIFY(window.windowIcon().pixmap(32).isNull());
}

void TestFormWindows::mainWindowIconsAreDrawn()
{
    QMainWindow window;
    Ui_MainWindow ui;
    ui.setupUi(&window);
    QCOMPARE(ui.pushButton_refresh_list->icon().availableSizes(), QList<QSize>{QSize(128, 128)});
    QCOMPARE(ui.pushButton_rec_option->icon().availableSizes(), QList<QSize>{QSize(128, 128)});
    QCOMPARE(ui.pushButton_refresh_list->text(), QString());
    QCOMPARE(ui.pushButton_rec_option->text(), QString());
    QCOMPARE(ui.LogoTitle->text(), QString());
    QCOMPARE(ui.label_logo->text(), QString());
}

void TestFormWindows::mainWindowSlotsAreConnectedByName()
{
    SlotWindow window;
    Ui_MainWindow ui;
    ui.setupUi(&window);
    ui.comboBox_camera_list->addItem("camera");
    ui.comboBox_time_range->setCurrentIndex(3);
    QAbstractButton* const buttons[] = {ui.toolButton_save,       ui.pushButton_accel,
                                        ui.pushButton_gyro,       ui.pushButton_mag,
                                        ui.pushButton_orient,     ui.pushButton_baro,
                                        ui.pushButton_temper,     ui.pushButton_refresh_list,
                                        ui.pushButton_rec_option, ui.pushButton_calib_mag};
    for (QAbstractButton* button : buttons) {
        button->click();
    }
    QCOMPARE(window.calls,
             QStringList({"camera_list", "Last 60 sec", "save", "accel", "gyro", "mag", "orient",
                          "baro", "temper", "refresh_list", "rec_option", "calib_mag"}));
}

void TestFormWindows::settingUpTheMainWindowCallsNoSlot()
{
    // The initial index is set before the slots are connected.
    SlotWindow window;
    Ui_MainWindow ui;
    ui.setupUi(&window);
    QCOMPARE(window.calls, QStringList());
}

void TestFormWindows::theSmallerMaximumGivesWay()
{
    QMainWindow window;
    Ui_MainWindow main;
    main.setupUi(&window);
    window.grab();
    QCOMPARE(main.comboBox_time_range->minimumWidth(), 140);
    QCOMPARE(main.comboBox_time_range->maximumWidth(), 120);
    QCOMPARE(main.comboBox_time_range->width(), 140);

    QDialog dialog;
    Ui_MagCalibDlg calibration;
    calibration.setupUi(&dialog);
    dialog.grab();
    QCOMPARE(calibration.pushButton_exit->minimumSize(), QSize(320, 54));
    QCOMPARE(calibration.pushButton_exit->maximumSize(), QSize(54, 54));
    QCOMPARE(calibration.pushButton_exit->size(), QSize(320, 54));
}

void TestFormWindows::sensorButtonsFillTheColumn()
{
    QMainWindow window;
    Ui_MainWindow ui;
    ui.setupUi(&window);
    QCOMPARE(window.size(), QSize(1350, 835));
    window.grab();
    QCOMPARE(ui.HeaderWidget->height(), 68);
    for (QPushButton* button :
         {ui.pushButton_accel, ui.pushButton_gyro, ui.pushButton_orient, ui.pushButton_baro,
          ui.pushButton_mag, ui.pushButton_temper, ui.pushButton_calib_mag}) {
        QCOMPARE(button->height(), 54);
        QCOMPARE(button->width(), ui.frame_left->width());
    }
    QCOMPARE(ui.pushButton_calib_mag->geometry().bottom(), ui.frame_left->rect().bottom());
    QVERIFY(ui.pushButton_calib_mag->y() > ui.pushButton_temper->geometry().bottom() + 20);
}

void TestFormWindows::mainWindowTextsFit()
{
    QMainWindow window;
    Ui_MainWindow ui;
    ui.setupUi(&window);
    const Style style;
    ui.comboBox_camera_list->addItem("TIV_Q 31415926");
    for (QComboBox* box : {ui.comboBox_camera_list, ui.comboBox_time_range}) {
        box->setStyleSheet(style.comboDarkStyle);
        box->setFont(style.fontMonoCaps9);
    }
    ui.toolButton_save->setStyleSheet(style.saveButtonStyle);
    ui.toolButton_save->setFont(style.fontMonoCaps9);
    QFont sensorFont = style.fontPro9;
    sensorFont.setPointSize(12);
    const QList<QPushButton*> sensors = {
        ui.pushButton_accel, ui.pushButton_gyro,   ui.pushButton_orient,   ui.pushButton_baro,
        ui.pushButton_mag,   ui.pushButton_temper, ui.pushButton_calib_mag};
    for (QPushButton* button : sensors) {
        button->setStyleSheet(style.sensorButtonStyle);
        button->setFont(sensorFont);
    }
    for (QLabel* label : {ui.label_sensor_type, ui.label_sensor_rate, ui.label_sensor_type_top}) {
        label->setStyleSheet(style.labelBaseStyle);
        label->setFont(style.fontMonoCaps9);
    }
    ui.label_sensor_type->setText("Accelerometer @ ");
    ui.label_sensor_rate->setText("400 Hz");
    ui.label_sensor_type_top->setText("Magnetometer [Not Calibrated]");
    window.grab();

    FITS(ui.comboBox_camera_list, ui.comboBox_camera_list->currentText(), 24);
    FITS(ui.comboBox_time_range, ui.comboBox_time_range->itemText(3), 24);
    FITS(ui.toolButton_save, ui.toolButton_save->text(), 8);
    for (QPushButton* button : sensors) {
        FITS(button, button->text(), 20);
    }
    for (QLabel* label : {ui.label_sensor_type, ui.label_sensor_rate, ui.label_sensor_type_top}) {
        FITS(label, label->text(), 0);
    }
    QCOMPARE(window.size(), QSize(1350, 835));
}

void TestFormWindows::recordingOptionsAreModalToTheApplication()
{
    QDialog dialog;
    Ui_RecOptionDlg ui;
    ui.setupUi(&dialog);
    QCOMPARE(dialog.windowModality(), Qt::ApplicationModal);
    QCOMPARE(dialog.size(), QSize(500, 320));
    QCOMPARE(dialog.windowTitle(), QString("Data recording options"));
    QVERIFY(ui.toolButton_accept->isCheckable());
    QVERIFY(ui.toolButton_reject->isCheckable());
}

void TestFormWindows::recordingOptionsStartAllChecked()
{
    QDialog dialog;
    Ui_RecOptionDlg ui;
    ui.setupUi(&dialog);
    const auto boxes = dialog.findChildren<QCheckBox*>();
    QCOMPARE(boxes.size(), 7);
    for (QCheckBox* box : boxes) {
        QVERIFY2(box->isChecked(), qPrintable(box->objectName()));
    }
}

void TestFormWindows::sampleFrequenciesStandInTheirOrder()
{
    QDialog dialog;
    Ui_RecOptionDlg ui;
    ui.setupUi(&dialog);
    QStringList texts;
    for (int row = 0; row < ui.comboBox_sample_freq->count(); ++row) {
        texts += ui.comboBox_sample_freq->itemText(row);
    }
    QCOMPARE(texts, QStringList(
                        {"400 Hz", "200 Hz", "100 Hz", "50 Hz", "25 Hz", "10 Hz", "5 Hz", "1 Hz"}));
    QCOMPARE(ui.comboBox_sample_freq->currentIndex(), 0);
}

void TestFormWindows::recordingFolderTakesTheRoom()
{
    QDialog dialog;
    Ui_RecOptionDlg ui;
    ui.setupUi(&dialog);
    dialog.grab();
    const int folder = ui.label_rec_folder->width();
    const int path = ui.label_save_path->width();
    const int button = ui.pushButton_rec_folder->width();
    dialog.resize(700, 320);
    dialog.grab();
    QCOMPARE(ui.label_save_path->width(), path + 200);
    QCOMPARE(ui.label_rec_folder->width(), folder);
    QCOMPARE(ui.pushButton_rec_folder->width(), button);
    QCOMPARE(ui.label_rec_folder->height(), 22);
    QCOMPARE(ui.label_save_path->height(), 22);
}

void TestFormWindows::recordingFolderButtonIsConnectedByName()
{
    SlotDialog dialog;
    Ui_RecOptionDlg ui;
    ui.setupUi(&dialog);
    ui.pushButton_rec_folder->click();
    QCOMPARE(dialog.folderClicks, 1);
    QCOMPARE(ui.pushButton_rec_folder->icon().availableSizes(), QList<QSize>{QSize(128, 128)});
}

void TestFormWindows::recordingOptionTextsFit()
{
    QDialog dialog;
    Ui_RecOptionDlg ui;
    ui.setupUi(&dialog);
    const Style style;
    dialog.setStyleSheet(style.windowSoilStyle);
    for (QToolButton* button : {ui.toolButton_accept, ui.toolButton_reject}) {
        button->setStyleSheet(style.saveButtonStyle);
        button->setFont(style.fontMonoCaps9);
    }
    for (QLabel* label : {ui.label_rec_folder, ui.label_sample_freq}) {
        label->setStyleSheet(style.labelBaseStyle);
        label->setFont(style.fontMonoCaps9);
    }
    const auto boxes = dialog.findChildren<QCheckBox*>();
    for (QCheckBox* box : boxes) {
        box->setStyleSheet(style.checkBoxLargeStyle);
        box->setFont(style.fontMonoCaps9);
    }
    ui.groupBox_data_selection->setStyleSheet(style.groupBoxTitleStyle);
    ui.groupBox_data_selection->setFont(style.fontMonoCaps9);
    dialog.grab();
    QCOMPARE(dialog.size(), QSize(500, 320));
    for (QToolButton* button : {ui.toolButton_accept, ui.toolButton_reject}) {
        FITS(button, button->text(), 8);
    }
    for (QLabel* label : {ui.label_rec_folder, ui.label_sample_freq}) {
        FITS(label, label->text(), 0);
    }
    for (QCheckBox* box : boxes) {
        FITS(box, box->text(), 28);
    }
    // The title is above the frame and not in it.
    QVERIFY(needed(ui.groupBox_data_selection, "Data Selection").height() <= 24);
}

void TestFormWindows::calibrationCannotBeStoredAtFirst()
{
    QDialog dialog;
    Ui_MagCalibDlg ui;
    ui.setupUi(&dialog);
    QVERIFY(!ui.pushButton_save_calib->isEnabled());
    for (QPushButton* button :
         {ui.pushButton_start, ui.pushButton_clear_data, ui.pushButton_reset, ui.pushButton_exit}) {
        QVERIFY2(button->isEnabled(), qPrintable(button->objectName()));
    }
}

void TestFormWindows::onlyStartIsCheckable()
{
    QDialog dialog;
    Ui_MagCalibDlg ui;
    ui.setupUi(&dialog);
    for (QPushButton* button : dialog.findChildren<QPushButton*>()) {
        QCOMPARE(button->isCheckable(), button == ui.pushButton_start);
        QVERIFY(!button->isChecked());
    }
}

void TestFormWindows::calibrationIconsAreTwentyPixels()
{
    QDialog dialog;
    Ui_MagCalibDlg ui;
    ui.setupUi(&dialog);
    const auto buttons = dialog.findChildren<QPushButton*>();
    QCOMPARE(buttons.size(), 5);
    for (QPushButton* button : buttons) {
        QCOMPARE(button->iconSize(), QSize(20, 20));
        QVERIFY2(!button->icon().pixmap(20).isNull(), qPrintable(button->objectName()));
    }
}

void TestFormWindows::headingsStandOnTwoLines()
{
    QDialog dialog;
    Ui_MagCalibDlg ui;
    ui.setupUi(&dialog);
    QCOMPARE(ui.label_heading_uncalib->text(), QString::fromUtf8("Uncalibrated\n---.--\u00b0"));
    QCOMPARE(ui.label_heading_calib->text(), QString::fromUtf8("Calibrated\n---.--\u00b0"));
    QCOMPARE(ui.label_heading_uncalib->alignment(), Qt::Alignment(Qt::AlignCenter));
}

void TestFormWindows::compassesStandSideBySideUnderTheStatus()
{
    QDialog dialog;
    Ui_MagCalibDlg ui;
    ui.setupUi(&dialog);
    dialog.grab();
    QCOMPARE(ui.widget_raw_compass->y(), ui.widget_calib_compass->y());
    QVERIFY(ui.widget_raw_compass->geometry().right() < ui.widget_calib_compass->x());
    QVERIFY(ui.label_mag_calib_quality->geometry().bottom() < ui.label_heading_uncalib->y());
    QVERIFY(ui.widget_raw_compass->width() >= 140);
    QCOMPARE(ui.label_mag_calib_quality->height(), 24);
    QCOMPARE(ui.label_mag_calib_quality->geometry().left(), ui.widget_raw_compass->x());
    QCOMPARE(ui.label_mag_calib_quality->geometry().right(),
             ui.widget_calib_compass->geometry().right());
}

void TestFormWindows::planesStandInTheirOrder()
{
    QDialog dialog;
    Ui_MagCalibDlg ui;
    ui.setupUi(&dialog);
    QCOMPARE(dialog.size(), QSize(1254, 847));
    dialog.grab();
    QVERIFY(ui.groupBox_plane_xy->geometry().right() < ui.groupBox_plane_yz->x());
    QVERIFY(ui.groupBox_plane_yz->geometry().right() < ui.groupBox_plane_xz->x());
    QVERIFY(ui.groupBox_mixed_raw->geometry().right() < ui.groupBox_mixed_calib->x());
    for (QWidget* plot : {ui.widget_plot_XY, ui.widget_plot_YZ, ui.widget_plot_XZ}) {
        QCOMPARE(plot->size(), QSize(290, 270));
    }
    QVERIFY(ui.Instructionlabel->font().italic());
    QCOMPARE(ui.Instructionlabel->font().pointSize(), 10);
}

void TestFormWindows::calibrationTextsFit()
{
    QDialog dialog;
    Ui_MagCalibDlg ui;
    ui.setupUi(&dialog);
    const Style style;
    QFont buttonFont = style.fontPro9;
    buttonFont.setPointSize(12);
    const auto buttons = dialog.findChildren<QPushButton*>();
    for (QPushButton* button : buttons) {
        button->setStyleSheet(style.sensorButtonCopyStyle);
        button->setFont(buttonFont);
    }
    ui.pushButton_start->setText(" Continue Calibration");
    for (QLabel* label :
         {ui.label_heading_calib, ui.label_heading_uncalib, ui.label_mag_calib_quality}) {
        label->setStyleSheet(style.labelBaseStyle);
        label->setFont(style.fontMonoCaps9);
    }
    ui.Instructionlabel->setFont(style.fontMono9);
    dialog.grab();
    for (QPushButton* button : buttons) {
        FITS(button, button->text(), 48);
    }
    FITS(ui.label_mag_calib_quality, QString("CALIBRATION TO BE STORED"), 0);
    FITS(ui.label_heading_uncalib, QString("Uncalibrated"), 0);
    FITS(ui.Instructionlabel, ui.Instructionlabel->text(), 0);
}

void TestFormWindows::textsAreAskedForInTheFormsContext()
{
    ContextTranslator translator;
    QCoreApplication::installTranslator(&translator);
    QMainWindow window;
    Ui_MainWindow main;
    main.setupUi(&window);
    QDialog optionsWindow;
    Ui_RecOptionDlg options;
    options.setupUi(&optionsWindow);
    QDialog calibrationWindow;
    Ui_MagCalibDlg calibration;
    calibration.setupUi(&calibrationWindow);
    QCoreApplication::removeTranslator(&translator);
    QCOMPARE(window.windowTitle(), QString("MainWindow|Gravimon"));
    QCOMPARE(main.pushButton_accel->text(), QString("MainWindow|Accelerometer"));
    QCOMPARE(main.comboBox_time_range->itemText(0), QString("MainWindow|Last 5 sec"));
    QCOMPARE(options.checkBox_mov->text(), QString("RecOptionDlg|Moving status"));
    QCOMPARE(calibration.pushButton_clear_data->toolTip(),
             QString("MagCalibDlg|Clear all the acquired data"));
}

void TestFormWindows::retranslatingRestoresTheTexts()
{
    QMainWindow window;
    Ui_MainWindow ui;
    ui.setupUi(&window);
    ui.label_sensor_type->setText("changed");
    ui.toolButton_save->setText("changed");
    ui.lineEdit_value_1->setText("changed");
    ui.retranslateUi(&window);
    QCOMPARE(ui.label_sensor_type->text(), QString("Sensor"));
    QCOMPARE(ui.toolButton_save->text(), QString("RECORD"));
    QCOMPARE(ui.lineEdit_value_1->text(), QString("-"));
    QCOMPARE(ui.label_sensor_rate->text(), QString("---"));
}

QTEST_MAIN(TestFormWindows)
#include "tst_formwindows.moc"
