#include "calibration/dialogfixture.h"

#include "look/Style.h"
#include "look/clr.h"

#include <QIcon>
#include <QKeyEvent>
#include <QPixmap>
#include <QSignalSpy>
#include <QtTest>

using benchcamera::pose;
using benchcamera::readings;

namespace {

QImage imageOf(const QIcon& icon)
{
    return icon.pixmap(20, 20).toImage();
}

QFont twelvePoints(const Style& style)
{
    QFont font = style.fontPro9;
    font.setPointSize(12);
    return font;
}

} // namespace

class TestMagCalibDlg : public QObject
{
    Q_OBJECT

private slots:
    void formHasItsSizeAndTitle();
    void captionsAreThoseOfTheForm_data();
    void captionsAreThoseOfTheForm();
    void tooltipsAreThoseOfTheForm_data();
    void tooltipsAreThoseOfTheForm();
    void buttonsHaveTheirSizesAndIcons_data();
    void buttonsHaveTheirSizesAndIcons();
    void plotsAndCompassesHaveTheirSizes();
    void nothingIsCutOffAtTheFirstSize();
    void windowHasATitleAndNoButtons();
    void logoIsScaledToItsLabel();
    void groundIsDark();
    void sheetsAndFontsFollowTheLook_data();
    void sheetsAndFontsFollowTheLook();
    void compassesAreRedAndBlue();

    void escapeIsSwallowed();
    void otherKeysReachTheDialog();
    void headingsAreShownWithTwoDecimals_data();
    void headingsAreShownWithTwoDecimals();
    void compassesShowTheHeadings();
    void statusWordFollowsTheHeadingState_data();
    void statusWordFollowsTheHeadingState();
    void statusColourFollowsTheAccuracy_data();
    void statusColourFollowsTheAccuracy();
    void workInProgressKeepsTheFormerColour();
    void timerTicksEveryHundredMilliseconds();
    void timerGoesOnWhileABoxIsOpen();
    void samplesAreNotKeptWhileTheStartBoxIsOpen();
    void nothingChangesWhileTheStartBoxIsOpen();
    void startEndsThePendingCalibration();
    void samplesAreKeptWhileTheStopBoxIsOpen();
    void stopFitsWhateverThereIs_data();
    void stopFitsWhateverThereIs();
    void stopFixesTheScalesAndStartFreesThem();
    void continuedCalibrationKeepsSamplesAndFitCount();
    void clearWhileCalibratingGoesOnFromAnEmptySet();
    void clearLeavesTheIconAndTheCheckAlone();
    void storeAfterClearStoresNeutralValues();
    void resetStoresNeutralValuesAndClears();
    void resetStoresNeutralValuesInACameraThatCameLater();
    void failedResetHasClearedTheData();
    void storeAfterAStopWithoutSamplesWritesWhatWasLoaded();
    void errorOfTheThreadIsShownOnTheInterfaceThread();
    void errorKeepsFlagsAndStoreButton();
    void execReturnsWhenExitIsPressed();
    void rejectedDialogClosesItsLinkBeforeItIsLeft();
    void deletedDialogClosesItsLink();
    void failedStartUnchecksTheButton();
};

void TestMagCalibDlg::formHasItsSizeAndTitle()
{
    DialogFixture f;
    QCOMPARE(f.dialog->size(), QSize(1254, 847));
    QCOMPARE(f.dialog->windowTitle(), QString("Magnetometer Calibration"));
}

void TestMagCalibDlg::captionsAreThoseOfTheForm_data()
{
    QTest::addColumn<QString>("object");
    QTest::addColumn<QString>("caption");
    const auto row = [](const char* object, const char* caption) {
        QTest::newRow(object) << QString(object) << QString(caption);
    };
    row("pushButton_start", " Start Calibration");
    row("pushButton_clear_data", " Clear Data");
    row("pushButton_save_calib", " Store Calibration");
    row("pushButton_reset", " Reset Calibration");
    row("pushButton_exit", " Exit Calibration");
    row("groupBox_check", "Check Calibration");
    row("label_mag_calib_quality", "---");
    row("label_heading_uncalib", "Uncalibrated\n---.--°");
    row("label_heading_calib", "Calibrated\n---.--°");
    row("Instructionlabel", "Describe circles in various directions");
    row("groupBox_plane_xy", "Plane XY [Roll]");
    row("groupBox_plane_yz", "Plane YZ [Pitch]");
    row("groupBox_plane_xz", "Plane XZ [Yaw]");
    row("groupBox_mixed_raw", "Uncalibrated data");
    row("groupBox_mixed_calib", "Calibrated data");
}

void TestMagCalibDlg::captionsAreThoseOfTheForm()
{
    QFETCH(QString, object);
    QFETCH(QString, caption);
    QDialog dialog;
    Ui_MagCalibDlg form;
    form.setupUi(&dialog);
    auto* const widget = dialog.findChild<QWidget*>(object);
    QVERIFY(widget);
    QString shown;
    if (const auto* const group = qobject_cast<QGroupBox*>(widget)) {
        shown = group->title();
    } else {
        shown = widget->property("text").toString();
    }
    QCOMPARE(shown, caption);
}

void TestMagCalibDlg::tooltipsAreThoseOfTheForm_data()
{
    QTest::addColumn<QString>("object");
    QTest::addColumn<QString>("tooltip");
    const auto row = [](const char* object, const char* tooltip) {
        QTest::newRow(object) << QString(object) << QString(tooltip);
    };
    const char* const reset =
        "Reset calibration to default values.<br>After a reset \"uncalibrated\" and "
        "\"calibrated\" values will match. A new calibration will be required to compensate "
        "magnetic distorsions.";
    row("pushButton_start",
        "Start/Stop the calibration process.<br/>For a good calibration, start with three full "
        "rotations of the camera around the three main axes, then continue rotating it in the "
        "space, covering all the possible orientations.");
    row("pushButton_clear_data", "Clear all the acquired data");
    row("pushButton_save_calib", "Save calibration to camera");
    row("pushButton_reset", reset);
    row("pushButton_exit", reset);
    row("widget_raw_compass",
        "Camera heading calculated using \"uncalibrated\" magnetic field values");
    row("widget_calib_compass",
        "Camera heading calculated using \"calibrated\" magnetic field values");
    row("widget_plot_XY",
        "Uncalibrated magnetic field projected on the plane XY.<br/>The values of this chart "
        "change while the camera is rotated around the forward axis (roll).<br/><b>Note:</b> for a "
        "good calibration the background ellipsoid must be filled with points the most as "
        "possible.");
    row("widget_plot_YZ",
        "Uncalibrated magnetic field projected on the plane YZ.<br/>The values of this chart "
        "change while the camera is rotated around the rightward axis (pitch).<br/><b>Note:</b> "
        "for a good calibration the background ellipsoid must be filled with points the most as "
        "possible.");
    row("widget_plot_XZ",
        "Uncalibrated magnetic field projected on the plane XZ.<br/>The values of this chart "
        "change while the camera is rotated around the downward axis (yaw). <b>Note:</b> for a "
        "good calibration the background ellipsoid must be filled with points the most as "
        "possible.");
    row("widget_plot_mixed_raw",
        "The three uncalibrated magnetic field projections.<br/><b>Note:</b> for a good "
        "calibration the background ellipsoids must be covered the most as possible.");
    row("widget_plot_calibrated",
        "Magnetic fields after applying the calibration parameters.  <b>Note:</b> for a good "
        "calibration the background ellipsoid must be covered the most as possible.");
    for (const char* const without :
         {"label_logo", "groupBox_check", "label_mag_calib_quality", "label_heading_uncalib",
          "label_heading_calib", "Instructionlabel", "groupBox_plane_xy", "groupBox_plane_yz",
          "groupBox_plane_xz", "groupBox_mixed_raw", "groupBox_mixed_calib"}) {
        row(without, "");
    }
}

void TestMagCalibDlg::tooltipsAreThoseOfTheForm()
{
    QFETCH(QString, object);
    QFETCH(QString, tooltip);
    DialogFixture f;
    auto* const widget = f.dialog->findChild<QWidget*>(object);
    QVERIFY(widget);
    QCOMPARE(widget->toolTip(), tooltip);
}

void TestMagCalibDlg::buttonsHaveTheirSizesAndIcons_data()
{
    QTest::addColumn<QString>("object");
    QTest::addColumn<QString>("icon");
    QTest::addColumn<QSize>("least");
    QTest::addColumn<QSize>("most");
    QTest::addColumn<bool>("checkable");
    QTest::addColumn<bool>("enabled");
    const QSize least(100, 54);
    const QSize most(400, 54);
    QTest::newRow("start") << "pushButton_start"
                           << ":/images/play.png" << least << most << true << true;
    QTest::newRow("clear") << "pushButton_clear_data"
                           << ":/images/radio_off.png" << least << most << false << true;
    QTest::newRow("store") << "pushButton_save_calib"
                           << ":/images/saveIcon.png" << least << most << false << false;
    QTest::newRow("reset") << "pushButton_reset"
                           << ":/images/refresh.png" << least << most << false << true;
    QTest::newRow("exit") << "pushButton_exit"
                          << ":/images/closeCross.png" << QSize(320, 54) << QSize(54, 54) << false
                          << true;
}

void TestMagCalibDlg::buttonsHaveTheirSizesAndIcons()
{
    QFETCH(QString, object);
    QFETCH(QString, icon);
    QFETCH(QSize, least);
    QFETCH(QSize, most);
    QFETCH(bool, checkable);
    QFETCH(bool, enabled);
    DialogFixture f;
    const auto* const button = f.dialog->findChild<QPushButton*>(object);
    QVERIFY(button);
    QVERIFY(!QPixmap(icon).isNull());
    QCOMPARE(imageOf(button->icon()), imageOf(QIcon(icon)));
    QCOMPARE(button->iconSize(), QSize(20, 20));
    QCOMPARE(button->minimumSize(), least);
    QCOMPARE(button->maximumSize(), most);
    QCOMPARE(button->isCheckable(), checkable);
    QVERIFY(!button->isChecked());
    QCOMPARE(button->isEnabled(), enabled);
}

void TestMagCalibDlg::plotsAndCompassesHaveTheirSizes()
{
    DialogFixture f;
    const Ui_MagCalibDlg* const ui = f.probe->ui;
    for (const CalibPlot* const plot :
         {ui->widget_plot_XY, ui->widget_plot_YZ, ui->widget_plot_XZ}) {
        QCOMPARE(plot->minimumSize(), QSize(290, 270));
        QCOMPARE(plot->maximumSize(), QSize(290, 270));
    }
    for (const CalibPlot* const plot : {ui->widget_plot_mixed_raw, ui->widget_plot_calibrated}) {
        QCOMPARE(plot->minimumSize(), QSize(320, 300));
    }
    for (const Compass* const compass : {ui->widget_raw_compass, ui->widget_calib_compass}) {
        QCOMPARE(compass->minimumSize(), QSize(140, 140));
    }
    QCOMPARE(ui->label_logo->height(), 20);
    QCOMPARE(ui->label_mag_calib_quality->minimumHeight(), 24);
    QCOMPARE(ui->label_mag_calib_quality->maximumHeight(), 24);
    QCOMPARE(ui->groupBox_check->minimumWidth(), 320);
    QCOMPARE(ui->groupBox_mixed_raw->minimumHeight(), 350);
    QCOMPARE(ui->groupBox_mixed_calib->minimumHeight(), 350);
}

void TestMagCalibDlg::nothingIsCutOffAtTheFirstSize()
{
    DialogFixture f;
    f.dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(f.dialog.get(), waiting::patienceMs));
    QCOMPARE(f.dialog->size(), QSize(1254, 847));
    for (const int state : {0, 1, 2, 3, 4}) {
        f.probe->updateTimer.stop();
        f.probe->headingState = state;
        f.probe->headingUncalib = f.probe->headingCalib = 359.99;
        f.probe->onUpdateTimer();
        QCoreApplication::processEvents();
        for (QWidget* const widget : f.dialog->findChildren<QWidget*>()) {
            if (!widget->isVisible() || widget->objectName().isEmpty()) {
                continue;
            }
            const QWidget* const parent = widget->parentWidget();
            if (widget->objectName().startsWith("Qwt") || parent->objectName().startsWith("Qwt")) {
                continue;
            }
            QVERIFY2(parent->rect().contains(widget->geometry()),
                     qPrintable(widget->objectName() + " leaves its parent"));
            if (qobject_cast<QLabel*>(widget) || qobject_cast<QPushButton*>(widget)) {
                const QSize wanted = widget->sizeHint();
                QVERIFY2(widget->width() >= wanted.width() && widget->height() >= wanted.height(),
                         qPrintable(QString("%1 wants %2 x %3 and has %4 x %5")
                                        .arg(widget->objectName())
                                        .arg(wanted.width())
                                        .arg(wanted.height())
                                        .arg(widget->width())
                                        .arg(widget->height())));
            }
        }
    }
}

void TestMagCalibDlg::windowHasATitleAndNoButtons()
{
    DialogFixture f;
    QCOMPARE(f.dialog->windowFlags(), Qt::Window | Qt::WindowTitleHint | Qt::CustomizeWindowHint);
}

void TestMagCalibDlg::logoIsScaledToItsLabel()
{
    DialogFixture f;
    const QPixmap shown = f.probe->ui->label_logo->pixmap(Qt::ReturnByValue);
    QCOMPARE(shown.height(), 20);
    const QPixmap logo = QPixmap(":/images/TIV_white.png");
    QVERIFY(!logo.isNull());
    QCOMPARE(shown.toImage(), logo.scaledToHeight(20, Qt::SmoothTransformation).toImage());
}

void TestMagCalibDlg::groundIsDark()
{
    DialogFixture f;
    for (const auto group : {QPalette::Active, QPalette::Disabled, QPalette::Inactive}) {
        QCOMPARE(f.dialog->palette().color(group, QPalette::Window), clr::om_soil_clr);
    }
    QVERIFY(f.dialog->autoFillBackground());
}

void TestMagCalibDlg::sheetsAndFontsFollowTheLook_data()
{
    QTest::addColumn<QString>("object");
    QTest::addColumn<QString>("sheet");
    QTest::addColumn<QFont>("font");
    QTest::addColumn<bool>("hasFont");
    const Style style;
    const QFont twelve = twelvePoints(style);
    const auto row = [](const char* object, const QString& sheet, const QFont& font, bool hasFont) {
        QTest::newRow(object) << QString(object) << sheet << font << hasFont;
    };
    for (const char* const button :
         {"pushButton_start", "pushButton_clear_data", "pushButton_save_calib", "pushButton_reset",
          "pushButton_exit"}) {
        row(button, style.sensorButtonCopyStyle, twelve, true);
    }
    row("frame_left", style.sideFrameStyle, QFont(), false);
    row("groupBox_check", style.groupBoxIndentStyle, twelve, true);
    for (const char* const group :
         {"groupBox_mixed_calib", "groupBox_mixed_raw", "groupBox_plane_xy", "groupBox_plane_xz",
          "groupBox_plane_yz"}) {
        row(group, style.groupBoxIndentStyle, style.fontMonoCaps9, true);
    }
    for (const char* const label :
         {"label_heading_calib", "label_heading_uncalib", "label_mag_calib_quality"}) {
        row(label, style.labelBaseStyle, style.fontMonoCaps9, true);
    }
    row("Instructionlabel", "QLabel{color: rgb(242,242,242);}", style.fontMono9, true);
    row("frame", "border: 0px;", QFont(), false);
}

void TestMagCalibDlg::sheetsAndFontsFollowTheLook()
{
    QFETCH(QString, object);
    QFETCH(QString, sheet);
    QFETCH(QFont, font);
    QFETCH(bool, hasFont);
    DialogFixture f;
    const auto* const widget = f.dialog->findChild<QWidget*>(object);
    QVERIFY(widget);
    QCOMPARE(widget->styleSheet(), sheet);
    if (!hasFont) {
        return;
    }
    QCOMPARE(widget->font().family(), font.family());
    QCOMPARE(widget->font().capitalization(), font.capitalization());
    if (!sheet.contains("font-size")) { // which then has the last word
        QCOMPARE(widget->font().pointSize(), font.pointSize());
    }
}

void TestMagCalibDlg::compassesAreRedAndBlue()
{
    DialogFixture f;
    QCOMPARE(f.probe->ui->widget_raw_compass->palette().color(QPalette::Base), QColor(Qt::darkRed));
    QCOMPARE(f.probe->ui->widget_calib_compass->palette().color(QPalette::Base),
             QColor(Qt::darkBlue));
}

void TestMagCalibDlg::escapeIsSwallowed()
{
    DialogFixture f;
    f.dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(f.dialog.get(), waiting::patienceMs));
    QSignalSpy finished(f.dialog.get(), &QDialog::finished);
    QTest::keyClick(f.dialog.get(), Qt::Key_Escape);
    QTest::keyClick(f.probe->ui->pushButton_clear_data, Qt::Key_Escape);
    QVERIFY(f.dialog->isVisible());
    QCOMPARE(finished.count(), 0);
    QVERIFY(f.running());
}

void TestMagCalibDlg::otherKeysReachTheDialog()
{
    DialogFixture f;
    f.dialog->show();
    f.probe->ui->pushButton_clear_data->setDefault(true);
    QSignalSpy clicked(f.probe->ui->pushButton_clear_data, &QPushButton::clicked);
    QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    QCoreApplication::sendEvent(f.dialog.get(), &enter);
    QCOMPARE(clicked.count(), 1);
}

void TestMagCalibDlg::headingsAreShownWithTwoDecimals_data()
{
    QTest::addColumn<double>("uncalibrated");
    QTest::addColumn<double>("calibrated");
    QTest::addColumn<QString>("uncalibratedText");
    QTest::addColumn<QString>("calibratedText");
    QTest::newRow("three digits") << 123.456 << 359.994 << "Uncalibrated\n123.46°"
                                  << "Calibrated\n359.99°";
    QTest::newRow("padded with blanks") << 7.0 << 42.1 << "Uncalibrated\n  7.00°"
                                        << "Calibrated\n 42.10°";
    QTest::newRow("negative") << -7.5 << -120.25 << "Uncalibrated\n -7.50°"
                              << "Calibrated\n-120.25°";
    QTest::newRow("zero") << 0.0 << 0.004 << "Uncalibrated\n  0.00°"
                          << "Calibrated\n  0.00°";
}

void TestMagCalibDlg::headingsAreShownWithTwoDecimals()
{
    QFETCH(double, uncalibrated);
    QFETCH(double, calibrated);
    QFETCH(QString, uncalibratedText);
    QFETCH(QString, calibratedText);
    DialogFixture f;
    f.probe->headingUncalib = uncalibrated;
    f.probe->headingCalib = calibrated;
    f.probe->onUpdateTimer();
    QCOMPARE(f.probe->ui->label_heading_uncalib->text(), uncalibratedText);
    QCOMPARE(f.probe->ui->label_heading_calib->text(), calibratedText);
}

void TestMagCalibDlg::compassesShowTheHeadings()
{
    DialogFixture f;
    f.probe->headingUncalib = 33.25;
    f.probe->headingCalib = 301.5;
    f.probe->onUpdateTimer();
    QCOMPARE(f.probe->ui->widget_raw_compass->value(), 33.25);
    QCOMPARE(f.probe->ui->widget_calib_compass->value(), 301.5);
    f.probe->headingUncalib = -120.25;
    f.probe->headingCalib = -0.5;
    f.probe->onUpdateTimer();
    QCOMPARE(f.probe->ui->widget_raw_compass->value(), 239.75);
    QCOMPARE(f.probe->ui->widget_calib_compass->value(), 359.5);
}

void TestMagCalibDlg::statusWordFollowsTheHeadingState_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("word");
    QTest::newRow("0") << 0 << "GOOD";
    QTest::newRow("1") << 1 << "OK";
    QTest::newRow("2") << 2 << "NOT GOOD";
    QTest::newRow("3") << 3 << "MAG. NOT CALIBRATED";
    QTest::newRow("4, the first") << 4 << "NOT AVAILABLE";
    QTest::newRow("5") << 5 << "NOT AVAILABLE";
    QTest::newRow("-1") << -1 << "NOT AVAILABLE";
}

void TestMagCalibDlg::statusWordFollowsTheHeadingState()
{
    QFETCH(int, state);
    QFETCH(QString, word);
    DialogFixture f;
    f.probe->headingState = state;
    f.probe->onUpdateTimer();
    QCOMPARE(f.probe->ui->label_mag_calib_quality->text(), word);
    f.probe->calibrationPending = true;
    f.probe->onUpdateTimer();
    QCOMPARE(f.probe->ui->label_mag_calib_quality->text(), QString("CALIBRATION TO BE STORED"));
    f.setCalibrating(true);
    f.probe->onUpdateTimer();
    QCOMPARE(f.probe->ui->label_mag_calib_quality->text(), QString("CALIBRATING"));
    f.setCalibrating(false);
}

void TestMagCalibDlg::statusColourFollowsTheAccuracy_data()
{
    QTest::addColumn<float>("accuracy");
    QTest::addColumn<double>("hue");
    QTest::newRow("worst is red") << 0.0F << 0.0;
    QTest::newRow("half") << 0.5F << 0.165;
    QTest::newRow("best is green") << 1.0F << 0.33;
}

void TestMagCalibDlg::statusColourFollowsTheAccuracy()
{
    QFETCH(float, accuracy);
    QFETCH(double, hue);
    DialogFixture f;
    f.dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(f.dialog.get(), waiting::patienceMs));
    f.probe->updateTimer.stop();
    f.probe->headingState = 2;
    f.probe->headingAccuracy = accuracy;
    f.probe->onUpdateTimer();
    QLabel* const label = f.probe->ui->label_mag_calib_quality;
    QCOMPARE(label->text(), QString("NOT GOOD"));
    QVERIFY(label->autoFillBackground());
    QColor expected;
    expected.setHsvF(hue, 0.75, 0.8, 1.0);
    for (const auto group : {QPalette::Active, QPalette::Disabled, QPalette::Inactive}) {
        const QColor background = label->palette().color(group, QPalette::Window);
        QVERIFY(std::abs(background.hsvHueF() - hue) < 0.001);
        QVERIFY(std::abs(background.hsvSaturationF() - 0.75) < 0.001);
        QVERIFY(std::abs(background.valueF() - 0.8) < 0.001);
        QCOMPARE(label->palette().color(group, QPalette::WindowText), QColor(Qt::black));
    }
    // And that is what the user sees.
    QCoreApplication::processEvents();
    const QColor seen = label->grab().toImage().pixelColor(3, 3);
    QCOMPARE(seen.rgb(), expected.rgb());
}

void TestMagCalibDlg::workInProgressKeepsTheFormerColour()
{
    DialogFixture f;
    f.probe->updateTimer.stop();
    f.probe->headingState = 0;
    f.probe->headingAccuracy = 1.0F;
    f.probe->onUpdateTimer();
    const QPalette green = f.probe->ui->label_mag_calib_quality->palette();
    f.probe->headingAccuracy = 0.0F;
    f.probe->calibrationPending = true;
    f.probe->onUpdateTimer();
    QCOMPARE(f.probe->ui->label_mag_calib_quality->palette(), green);
    f.setCalibrating(true);
    f.probe->onUpdateTimer();
    QCOMPARE(f.probe->ui->label_mag_calib_quality->palette(), green);
    f.setCalibrating(false);
    f.probe->calibrationPending = false;
    f.probe->onUpdateTimer();
    QVERIFY(f.probe->ui->label_mag_calib_quality->palette() != green);
}

void TestMagCalibDlg::timerTicksEveryHundredMilliseconds()
{
    DialogFixture f;
    QCOMPARE(f.probe->updateTimer.interval(), 100);
    QVERIFY(f.probe->updateTimer.isActive());
    QVERIFY(!f.probe->updateTimer.isSingleShot());
    QVERIFY(!f.probe->updateTimer.parent());
    f.feed(readings(1));
    QTRY_COMPARE(f.probe->ui->label_heading_calib->text(), QString("Calibrated\n 77.50°"));
}

void TestMagCalibDlg::timerGoesOnWhileABoxIsOpen()
{
    DialogFixture f;
    QLabel* const label = f.probe->ui->label_heading_calib;
    f.boxes.expect("No", [&] {
        f.bench.camera(f.serial)->poseScript().set({pose(0, 1.0F, 1.0, 123.0)});
        f.feed(readings(1));
        QTRY_COMPARE(label->text(), QString("Calibrated\n123.00°"));
    });
    QTest::mouseClick(f.probe->ui->pushButton_reset, Qt::LeftButton);
    QCOMPARE(f.boxes.seen.size(), 1);
}

void TestMagCalibDlg::samplesAreNotKeptWhileTheStartBoxIsOpen()
{
    DialogFixture f;
    f.boxes.expect("Ok", [&f] {
        f.feed(readings(30));
        QVERIFY(!f.probe->calibrating);
        QCOMPARE(f.probe->samples(), 0);
    });
    QTest::mouseClick(f.probe->ui->pushButton_start, Qt::LeftButton);
    QCOMPARE(f.boxes.seen.size(), 1);
    QVERIFY(f.probe->calibrating);
    f.feed(readings(5, 900'000));
    QCOMPARE(f.probe->samples(), 5);
}

void TestMagCalibDlg::nothingChangesWhileTheStartBoxIsOpen()
{
    DialogFixture f;
    QPushButton* const start = f.probe->ui->pushButton_start;
    for (int press = 0; press < 2; ++press) { // a start and a stop, so that there is more to change
        f.boxes.expect("Ok");
        QTest::mouseClick(start, Qt::LeftButton);
    }
    QTRY_COMPARE(f.probe->ui->label_mag_calib_quality->text(), QString("CALIBRATION TO BE STORED"));
    const QImage play = imageOf(start->icon());
    const auto unchanged = [&] {
        QCOMPARE(start->text(), QString(" Continue Calibration"));
        QCOMPARE(imageOf(start->icon()), play);
        QVERIFY(!f.probe->calibrating);
        QVERIFY(f.probe->calibrationPending);
        QVERIFY(f.probe->ui->pushButton_save_calib->isEnabled());
        QVERIFY(f.probe->ui->pushButton_reset->isEnabled());
        for (const CalibPlot* const plot : f.probe->plots()) {
            QVERIFY(!plot->axisAutoScale(QwtPlot::xBottom) && !plot->axisAutoScale(QwtPlot::yLeft));
        }
        f.probe->onUpdateTimer();
        QCOMPARE(f.probe->ui->label_mag_calib_quality->text(), QString("CALIBRATION TO BE STORED"));
    };
    unchanged();
    f.boxes.expect("Ok", unchanged);
    QTest::mouseClick(start, Qt::LeftButton);
    QCOMPARE(f.boxes.seen.size(), 3);
    QVERIFY(f.probe->calibrating);
    QVERIFY(imageOf(start->icon()) != play);
}

void TestMagCalibDlg::startEndsThePendingCalibration()
{
    DialogFixture f;
    f.probe->calibrationPending = true;
    f.boxes.expect("Ok");
    QTest::mouseClick(f.probe->ui->pushButton_start, Qt::LeftButton);
    QVERIFY(!f.probe->calibrationPending);
    // There is nothing to ask before the first fit.
    QTest::mouseClick(f.probe->ui->pushButton_exit, Qt::LeftButton);
    QCOMPARE(f.boxes.seen.size(), 1);
    QVERIFY(f.probe->mcuClosed);
}

void TestMagCalibDlg::samplesAreKeptWhileTheStopBoxIsOpen()
{
    DialogFixture f;
    f.boxes.expect("Ok");
    QTest::mouseClick(f.probe->ui->pushButton_start, Qt::LeftButton);
    f.feed(readings(20));
    f.boxes.expect("Ok", [&f] {
        f.feed(readings(130, 900'000));
        QCOMPARE(f.probe->samples(), 150);
        QTRY_VERIFY(f.probe->lastFitCount > 100); // the periodic fit goes on as well
        QCOMPARE(f.probe->ui->label_mag_calib_quality->text(), QString("CALIBRATING"));
        QCOMPARE(f.probe->ui->pushButton_start->text(), QString(" Stop Calibration"));
    });
    QTest::mouseClick(f.probe->ui->pushButton_start, Qt::LeftButton);
    QCOMPARE(f.boxes.seen.size(), 2);
    QVERIFY(!f.probe->calibrating);
    QCOMPARE(f.probe->samples(), 150);
    QCOMPARE(f.probe->calX.size(), 150);
}

void TestMagCalibDlg::stopFitsWhateverThereIs_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<bool>("fitted");
    QTest::newRow("5 samples") << 5 << false;
    QTest::newRow("6 samples") << 6 << true;
    QTest::newRow("10 samples") << 10 << true;
}

void TestMagCalibDlg::stopFitsWhateverThereIs()
{
    QFETCH(int, count);
    QFETCH(bool, fitted);
    DialogFixture f;
    f.boxes.expect("Ok");
    QTest::mouseClick(f.probe->ui->pushButton_start, Qt::LeftButton);
    f.feed(readings(count));
    f.boxes.expect("Ok");
    QTest::mouseClick(f.probe->ui->pushButton_start, Qt::LeftButton);
    QCOMPARE(f.probe->calX.size(), fitted ? count : 0);
    QCOMPARE(f.probe->magOffset != (std::array<double, 3>{0.0, 0.0, 0.0}), fitted);
    QVERIFY(f.probe->calibrationPending); // even so
    QCOMPARE(f.probe->lastFitCount, 0);
}

void TestMagCalibDlg::stopFixesTheScalesAndStartFreesThem()
{
    DialogFixture f;
    const CalibPlot* const plot = f.probe->ui->widget_plot_XY;
    const auto press = [&f] {
        f.boxes.expect("Ok");
        QTest::mouseClick(f.probe->ui->pushButton_start, Qt::LeftButton);
    };
    press();
    f.feed(readings(30));
    QVERIFY(plot->axisAutoScale(QwtPlot::xBottom));
    press();
    QVERIFY(!plot->axisAutoScale(QwtPlot::xBottom));
    const double limit = plot->axisScaleDiv(QwtPlot::xBottom).upperBound();
    QVERIFY(limit > 60.0);
    QCOMPARE(plot->axisScaleDiv(QwtPlot::yLeft).lowerBound(), -limit);
    const double unit =
        f.probe->ui->widget_plot_calibrated->axisScaleDiv(QwtPlot::yLeft).upperBound();
    QVERIFY(unit > 1.0 && unit < 1.2);
    press();
    for (const CalibPlot* const each : f.probe->plots()) {
        QVERIFY(each->axisAutoScale(QwtPlot::xBottom) && each->axisAutoScale(QwtPlot::yLeft));
    }
}

void TestMagCalibDlg::continuedCalibrationKeepsSamplesAndFitCount()
{
    DialogFixture f;
    const auto press = [&f] {
        f.boxes.expect("Ok");
        QTest::mouseClick(f.probe->ui->pushButton_start, Qt::LeftButton);
    };
    press();
    f.feed(readings(120));
    QTRY_VERIFY(f.probe->lastFitCount > 100);
    const int fitted = f.probe->lastFitCount;
    press();
    QCOMPARE(f.probe->lastFitCount, fitted);
    press();
    QCOMPARE(f.probe->samples(), 120);
    QCOMPARE(f.probe->lastFitCount, fitted);
    f.feed(readings(20, 900'000));
    QCOMPARE(f.probe->samples(), 140);
    press();
    QCOMPARE(f.probe->calX.size(), 140);
}

void TestMagCalibDlg::clearWhileCalibratingGoesOnFromAnEmptySet()
{
    DialogFixture f;
    f.boxes.expect("Ok");
    QTest::mouseClick(f.probe->ui->pushButton_start, Qt::LeftButton);
    f.feed(readings(40));
    QTest::mouseClick(f.probe->ui->pushButton_clear_data, Qt::LeftButton);
    QCOMPARE(f.probe->samples(), 0);
    QVERIFY(f.probe->calibrating);
    QCOMPARE(f.probe->ui->pushButton_start->text(), QString(" Stop Calibration"));
    f.feed(readings(3, 900'000));
    QCOMPARE(f.probe->samples(), 3);
}

void TestMagCalibDlg::clearLeavesTheIconAndTheCheckAlone()
{
    DialogFixture f;
    QPushButton* const start = f.probe->ui->pushButton_start;
    start->setChecked(true);
    start->setIcon(QIcon(":/images/stop_h.png"));
    start->setText("x");
    QTest::mouseClick(f.probe->ui->pushButton_clear_data, Qt::LeftButton);
    QCOMPARE(start->text(), QString(" Start Calibration"));
    QVERIFY(start->isChecked());
    QCOMPARE(imageOf(start->icon()), imageOf(QIcon(":/images/stop_h.png")));
}

void TestMagCalibDlg::storeAfterClearStoresNeutralValues()
{
    DialogFixture f(false);
    om::bench::MagCalibration stored;
    stored.scale = {0.02F, 0.03F, 0.04F};
    stored.offset = {1.0F, 2.0F, 3.0F};
    QVERIFY(f.bench.storeCalibration(f.serial, stored));
    f.open();
    QTest::mouseClick(f.probe->ui->pushButton_clear_data, Qt::LeftButton);
    QVERIFY(!f.bench.calibration(f.serial).isNeutral());
    f.probe->ui->pushButton_save_calib->setEnabled(true);
    f.boxes.expect("Ok");
    QTest::mouseClick(f.probe->ui->pushButton_save_calib, Qt::LeftButton);
    QVERIFY(f.bench.calibration(f.serial).isNeutral());
}

void TestMagCalibDlg::resetStoresNeutralValuesAndClears()
{
    DialogFixture f(false);
    om::bench::MagCalibration stored;
    stored.offset = {1.0F, 2.0F, 3.0F};
    QVERIFY(f.bench.storeCalibration(f.serial, stored));
    f.open();
    f.probe->rawX = f.probe->rawY = f.probe->rawZ = {1.0, 2.0};
    f.probe->lastFitCount = 2;
    f.boxes.expect("Yes");
    QTest::mouseClick(f.probe->ui->pushButton_reset, Qt::LeftButton);
    const auto write = f.bench.log().last(om::bench::CALL::MCU_WRITE_MAG_CALIB);
    QVERIFY(write);
    QCOMPARE(write->numbers, (std::vector<double>{1.0, 1.0, 1.0, 0.0, 0.0, 0.0}));
    QVERIFY(f.bench.calibration(f.serial).isNeutral());
    QVERIFY(f.probe->rawX.isEmpty());
    QCOMPARE(f.probe->lastFitCount, 0);
}

void TestMagCalibDlg::resetStoresNeutralValuesInACameraThatCameLater()
{
    DialogFixture f(false);
    om::bench::MagCalibration stored;
    stored.offset = {1.0F, 2.0F, 3.0F};
    QVERIFY(f.bench.storeCalibration(f.serial, stored));
    f.bench.unplug(f.serial);
    f.boxes.expect("Ok");
    f.open();
    f.bench.plug(f.serial);
    f.boxes.expect("Yes");
    QTest::mouseClick(f.probe->ui->pushButton_reset, Qt::LeftButton);
    QVERIFY(f.probe->mcu);
    QVERIFY(f.bench.calibration(f.serial).isNeutral());
    QCOMPARE(f.probe->magOffset, (std::array<double, 3>{0.0, 0.0, 0.0}));
    QCOMPARE(f.probe->magScale, (std::array<double, 3>{1.0, 1.0, 1.0}));
}

void TestMagCalibDlg::failedResetHasClearedTheData()
{
    DialogFixture f;
    f.probe->updateTimer.stop();
    f.setCalibrating(true);
    f.feed(readings(120));
    f.probe->onUpdateTimer();
    f.setCalibrating(false);
    QCOMPARE(f.probe->lastFitCount, 120);
    QVERIFY(f.probe->calibrationPending);
    f.bench.changeFaults(f.serial,
                         [](om::bench::Faults& faults) { faults.eepromWriteRefused = true; });
    f.boxes.expect("Yes");
    f.boxes.expect("Ok", [&f] { QVERIFY(f.probe->rawX.isEmpty()); });
    QTest::mouseClick(f.probe->ui->pushButton_reset, Qt::LeftButton);
    QCOMPARE(f.boxes.seen.size(), 2);
    QCOMPARE(f.boxes.seen[1].icon, QMessageBox::Warning);
    for (const QVector<double>* const samples : {&f.probe->rawX, &f.probe->rawY, &f.probe->rawZ,
                                                 &f.probe->calX, &f.probe->calY, &f.probe->calZ}) {
        QVERIFY(samples->isEmpty());
    }
    QCOMPARE(f.probe->lastFitCount, 0);
    QCOMPARE(f.probe->magOffset, (std::array<double, 3>{0.0, 0.0, 0.0}));
    QCOMPARE(f.probe->magScale, (std::array<double, 3>{1.0, 1.0, 1.0}));
    QVERIFY(f.probe->calibrationPending); // nothing was stored
}

void TestMagCalibDlg::storeAfterAStopWithoutSamplesWritesWhatWasLoaded()
{
    DialogFixture f(false);
    om::bench::MagCalibration stored;
    stored.scale = {0.021F, 0.022F, 0.023F};
    stored.offset = {11.0F, -23.0F, 37.0F};
    QVERIFY(f.bench.storeCalibration(f.serial, stored));
    f.open();
    f.boxes.expect("Ok");
    QTest::mouseClick(f.probe->ui->pushButton_start, Qt::LeftButton);
    f.boxes.expect("Ok");
    QTest::mouseClick(f.probe->ui->pushButton_start, Qt::LeftButton);
    QVERIFY(f.probe->calibrationPending);
    QVERIFY(f.probe->ui->pushButton_save_calib->isEnabled());
    f.boxes.expect("Ok");
    f.bench.log().clear();
    QTest::mouseClick(f.probe->ui->pushButton_save_calib, Qt::LeftButton);
    const auto write = f.bench.log().last(om::bench::CALL::MCU_WRITE_MAG_CALIB);
    QVERIFY(write);
    QCOMPARE(write->numbers, (std::vector<double>{double{0.021F}, double{0.022F}, double{0.023F},
                                                  11.0, -23.0, 37.0}));
}

void TestMagCalibDlg::errorOfTheThreadIsShownOnTheInterfaceThread()
{
    DialogFixture f;
    f.boxes.expect("Ok", [&f] { QVERIFY(f.probe->updateTimer.isActive()); });
    f.bench.unplug(f.serial);
    QTRY_COMPARE(f.boxes.seen.size(), 1);
    QCOMPARE(f.boxes.seen[0].title, QString("TIV Camera error"));
    QCOMPARE(f.boxes.seen[0].text, QString("Error retrieving sensors data"));
    QTRY_VERIFY(!f.probe->updateTimer.isActive());
}

void TestMagCalibDlg::errorKeepsFlagsAndStoreButton()
{
    DialogFixture f;
    f.setCalibrating(true);
    f.probe->calibrationPending = true;
    f.probe->ui->pushButton_reset->setEnabled(false);
    f.boxes.expect("Ok");
    emit f.dialog->cameraError("anything");
    QCOMPARE(f.boxes.seen.size(), 1); // direct from this thread
    QCOMPARE(f.boxes.seen[0].text, QString("anything"));
    QVERIFY(f.probe->calibrating);
    QVERIFY(f.probe->calibrationPending);
    QVERIFY(f.probe->ui->pushButton_reset->isEnabled());
    QVERIFY(!f.probe->ui->pushButton_save_calib->isEnabled());
    QVERIFY(!f.probe->grabThread.joinable());
    f.setCalibrating(false);
}

void TestMagCalibDlg::execReturnsWhenExitIsPressed()
{
    DialogFixture f;
    bool inUse = true; // when the dialog is left
    connect(f.dialog.get(), &QDialog::finished, this,
            [&] { inUse = f.bench.status().front().inUse; });
    QTimer::singleShot(0, f.dialog.get(),
                       [&f] { QTest::mouseClick(f.probe->ui->pushButton_exit, Qt::LeftButton); });
    QCOMPARE(f.dialog->exec(), static_cast<int>(QDialog::Accepted));
    QVERIFY(!inUse);
    QVERIFY(f.probe->mcuClosed);
    QVERIFY(!f.bench.status().front().inUse);
    QCOMPARE(f.boxes.seen.size(), 0);
}

void TestMagCalibDlg::rejectedDialogClosesItsLinkBeforeItIsLeft()
{
    DialogFixture f;
    bool inUse = true;
    connect(f.dialog.get(), &QDialog::finished, this,
            [&] { inUse = f.bench.status().front().inUse; });
    QTimer::singleShot(0, f.dialog.get(), &QDialog::reject);
    QCOMPARE(f.dialog->exec(), static_cast<int>(QDialog::Rejected));
    QVERIFY(!inUse);
    QVERIFY(f.probe->mcuClosed);
    QVERIFY(!f.running());
    QCOMPARE(f.boxes.seen.size(), 0);
}

void TestMagCalibDlg::deletedDialogClosesItsLink()
{
    DialogFixture f;
    f.bench.log().clear();
    QVERIFY(f.bench.status().front().inUse);
    f.close();
    QVERIFY(!f.bench.status().front().inUse);
    QCOMPARE(f.bench.log().count(om::bench::CALL::MCU_STOP_CAPTURE), std::uint64_t{1});
    QCOMPARE(f.bench.log().count(om::bench::CALL::MCU_CLOSE) >= 1, true);
}

void TestMagCalibDlg::failedStartUnchecksTheButton()
{
    DialogFixture f(false);
    f.bench.unplug(f.serial);
    f.boxes.expect("Ok");
    f.open();
    f.setCalibrating(true);
    f.probe->calibrationPending = true;
    f.boxes.expect("Ok");
    QTest::mouseClick(f.probe->ui->pushButton_start, Qt::LeftButton);
    QCOMPARE(f.boxes.seen.size(), 2);
    QVERIFY(!f.probe->ui->pushButton_start->isChecked());
    QVERIFY(!f.probe->calibrating);
    QVERIFY(!f.probe->calibrationPending);
    QCOMPARE(f.boxes.unexpected, 0);
}

QTEST_MAIN(TestMagCalibDlg)
#include "tst_magcalibdlg.moc"
