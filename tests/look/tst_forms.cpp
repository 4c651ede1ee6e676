// The three form files, line by line.
#include "look/formtree.h"

#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryFile>
#include <QtTest>

namespace {

QString form(const char* name)
{
    return QString(FORMS_DIR) + "/" + name;
}

const char mainWindowTree[] = R"TREE(
MainWindow QMainWindow geometry=0,0,1350x835 windowTitle="Gravimon" windowIcon=:/icon/icon/favicon.ico
.CentralWidget QWidget policy=MinimumExpanding,MinimumExpanding
..gridLayout QGridLayout margins=0,0,0,0 spacing=0
...[0,0]HeaderLayout QHBoxLayout spacing=12
....HeaderWidget QWidget min=0x68 max=Infx68 style=notr"background-color: rgb(0,0,0);"
.....horizontalLayout_5 QHBoxLayout margins=25,25,25,25 spacing=6 stretch=4,0
......LogoTitle QLabel min=135x18 max=135x18 text=""
......spacer 40x20 Expanding,Minimum
...[1,0]MainLayout QGridLayout margins=0,0,20,0 hspacing=40 vspacing=12
....[0,0]frame_left QFrame
.....verticalLayout_3 QVBoxLayout margins=0,0,0,0 spacing=0
......frame_camera_sel QFrame policy=Preferred,Maximum frameShape=QFrame::StyledPanel frameShadow=QFrame::Raised
.......verticalLayout_4 QVBoxLayout margins=25,0,20,0 spacing=0
........spacer 30x30 Minimum,Fixed
........label_logo QLabel policy=Preferred,Fixed min=0x20 max=Infx20 style=notr"border: 0px;" frameShadow=QFrame::Plain lineWidth=0 text="" scaledContents=false alignment=Qt::AlignLeft|Qt::AlignVCenter
........spacer 12x12 Minimum,Fixed
........horizontalLayout_3 QHBoxLayout margins=0,-,0,- spacing=1
.........comboBox_camera_list QComboBox policy=Fixed,Preferred min=180x22 max=Infx22
.........spacer 10x10 Fixed,Minimum
.........pushButton_refresh_list QPushButton policy=Fixed,Fixed min=18x18 max=18x18 text="" icon=:/images/refresh.png iconSize=18x18 flat=true
........spacer 20x20 Minimum,Preferred
......pushButton_accel QPushButton policy=Fixed,Fixed min=100x54 max=400x54 text="Accelerometer" checkable=true checked=true
......pushButton_gyro QPushButton policy=Fixed,Fixed min=100x54 max=400x54 text="Gyroscope" checkable=true
......pushButton_orient QPushButton policy=Fixed,Fixed min=100x54 max=400x54 text="Orientation" checkable=true
......pushButton_baro QPushButton policy=Fixed,Fixed min=100x54 max=400x54 text="Barometer" checkable=true
......pushButton_mag QPushButton policy=Fixed,Fixed min=100x54 max=400x54 text="Magnetometer" checkable=true
......pushButton_temper QPushButton policy=Fixed,Fixed min=100x54 max=400x54 text="Temperature" checkable=true
......spacer 20x20 Minimum,MinimumExpanding
......pushButton_calib_mag QPushButton policy=Fixed,Fixed min=100x54 max=400x54 text="Calibrate Magnetometer"
....[0,1]verticalLayout QVBoxLayout margins=-,-,-,0 spacing=10
.....spacer 30x30 Minimum,Fixed
.....label_sensor_type_top QLabel min=0x16 text="Sensor"
.....spacer 20x20 Minimum,Fixed
.....horizontalLayout_4 QHBoxLayout spacing=0
......frame_ogl QFrame min=0x30 frameShape=QFrame::Panel frameShadow=QFrame::Plain
.......gridLayout_2 QGridLayout margins=0,0,0,0 spacing=0
........[0,0]widget_3d_view OGL3DWidget policy=MinimumExpanding,Expanding min=320x220 autoFillBackground=false
.....spacer 20x15 Minimum,Fixed
.....frame_data_options QFrame frameShape=QFrame::NoFrame frameShadow=QFrame::Plain lineWidth=0
......horizontalLayout_11 QHBoxLayout margins=0,0,0,0
.......horizontalLayout_2 QHBoxLayout
........label_sensor_type QLabel min=0x18 text="Sensor"
........label_sensor_rate QLabel min=0x18 text="---"
........spacer 40x18 Preferred,Minimum
........lineEdit_value_0 QLineEdit policy=Expanding,Fixed min=80x18 max=InfxInf text="-" alignment=Qt::AlignCenter readOnly=true
........lineEdit_value_1 QLineEdit policy=Expanding,Fixed min=80x18 max=InfxInf text="-" alignment=Qt::AlignCenter readOnly=true
........lineEdit_value_2 QLineEdit policy=Expanding,Fixed min=80x18 max=InfxInf text="-" alignment=Qt::AlignCenter readOnly=true
........spacer 40x18 Preferred,Minimum
........comboBox_time_range QComboBox policy=Fixed,Fixed min=140x18 max=120xInf currentIndex=1 maxVisibleItems=4 items="Last 5 sec","Last 10 sec","Last 30 sec","Last 60 sec"
........toolButton_save QToolButton min=95x18 max=100xInf text="RECORD" checkable=true
........pushButton_rec_option QPushButton policy=Fixed,Fixed min=18x18 max=18x18 text="" icon=:/images/gear.png iconSize=20x20 flat=true
.....widget_chart DataPlot policy=Expanding,Expanding min=640x310 autoFillBackground=false style=notr"background-color: transparent;"
.....spacer 20x20 Minimum,Fixed
.statusbar QStatusBar
)TREE";

const char recOptionTree[] = R"TREE(
RecOptionDlg QDialog windowModality=Qt::ApplicationModal geometry=0,0,500x320 windowTitle="Data recording options"
.verticalLayout QVBoxLayout margins=20,20,20,20 spacing=10
..horizontalLayout QHBoxLayout
...label_rec_folder QLabel min=0x22 max=Infx22 text="REC Folder"
...label_save_path QLabel policy=Expanding,Preferred min=0x22 max=Infx22 text="TextLabel"
...pushButton_rec_folder QPushButton style=notr"background-color: transparent;" text="" icon=:/images/folder.png
..groupBox_data_selection QGroupBox title="Data Selection"
...gridLayout QGridLayout margins=10,10,10,10
....[0,0]checkBox_accel QCheckBox text="Accelerometer" checked=true
....[0,1]checkBox_gyro QCheckBox text="Gyroscope" checked=true
....[1,0]checkBox_mag QCheckBox text="Magnetometer" checked=true
....[1,1]checkBox_orient QCheckBox text="Orientation" checked=true
....[2,0]checkBox_baro QCheckBox text="Barometer" checked=true
....[2,1]checkBox_temp QCheckBox text="Temperatures" checked=true
....[3,0]checkBox_mov QCheckBox text="Moving status" checked=true
..horizontalLayout_2 QHBoxLayout
...label_sample_freq QLabel text="Sample Frequency"
...comboBox_sample_freq QComboBox items="400 Hz","200 Hz","100 Hz","50 Hz","25 Hz","10 Hz","5 Hz","1 Hz"
..spacer 20x40 Minimum,Expanding
..horizontalLayout_3 QHBoxLayout margins=-,10,-,-
...spacer 40x20 Expanding,Minimum
...toolButton_accept QToolButton min=120x18 max=120xInf text="OK" checkable=true
...toolButton_reject QToolButton min=120x18 max=120xInf text="Cancel" checkable=true
...spacer 40x20 Expanding,Minimum
)TREE";

const char magCalibTree[] = R"TREE(
MagCalibDlg QDialog geometry=0,0,1254x847 policy=Preferred,Preferred windowTitle="Magnetometer Calibration"
.horizontalLayout_3 QHBoxLayout margins=0,0,0,0 spacing=20
..frame_left QFrame frameShape=QFrame::StyledPanel frameShadow=QFrame::Raised
...verticalLayout QVBoxLayout margins=0,20,0,0 spacing=0
....logo_container QHBoxLayout margins=20,0,-,-
.....label_logo QLabel policy=Preferred,Fixed min=0x20 max=Infx20 text="TextLabel" alignment=Qt::AlignLeft|Qt::AlignVCenter
....spacer 20x40 Minimum,Minimum
....pushButton_start QPushButton policy=Fixed,Fixed min=100x54 max=400x54 toolTip="Start/Stop the calibration process.<br/>For a good calibration, start with three full rotations of the camera around the three main axes, then continue rotating it in the space, covering all the possible orientations." text=" Start Calibration" icon=:/images/play.png iconSize=20x20 checkable=true
....pushButton_clear_data QPushButton policy=Fixed,Fixed min=100x54 max=400x54 toolTip="Clear all the acquired data" text=" Clear Data" icon=:/images/radio_off.png iconSize=20x20
....pushButton_save_calib QPushButton enabled=false policy=Fixed,Fixed min=100x54 max=400x54 toolTip="Save calibration to camera" text=" Store Calibration" icon=:/images/saveIcon.png iconSize=20x20
....pushButton_reset QPushButton policy=Fixed,Fixed min=100x54 max=400x54 toolTip="Reset calibration to default values.<br>After a reset "uncalibrated" and "calibrated" values will match. A new calibration will be required to compensate magnetic distorsions." text=" Reset Calibration" icon=:/images/refresh.png iconSize=20x20
....spacer 20x40 Minimum,Minimum
....groupBox_check QGroupBox policy=Fixed,MinimumExpanding min=320x0 title="Check Calibration"
.....gridLayout QGridLayout margins=20,8,0,0 hspacing=10 vspacing=20
......[1,0]verticalLayout_5 QVBoxLayout spacing=10
.......label_heading_uncalib QLabel policy=Minimum,Preferred min=100x0 style=notr"border: 0px;" text="Uncalibrated\n---.--°" alignment=Qt::AlignCenter
.......widget_raw_compass Compass policy=Expanding,Expanding min=140x140 toolTip="Camera heading calculated using "uncalibrated" magnetic field values"
......[0,0 over 2]horizontalLayout_2 QHBoxLayout spacing=0
.......label_mag_calib_quality QLabel min=0x24 max=Infx24 text="---" alignment=Qt::AlignCenter
......[1,1]verticalLayout_6 QVBoxLayout spacing=10
.......label_heading_calib QLabel policy=Minimum,Preferred min=100x0 style=notr"border: 0px;" text="Calibrated\n---.--°" alignment=Qt::AlignCenter
.......widget_calib_compass Compass policy=Expanding,Expanding min=140x140 toolTip="Camera heading calculated using "calibrated" magnetic field values"
....spacer 20x40 Minimum,MinimumExpanding
....pushButton_exit QPushButton policy=Fixed,Fixed min=320x54 max=54x54 toolTip="Reset calibration to default values.<br>After a reset "uncalibrated" and "calibrated" values will match. A new calibration will be required to compensate magnetic distorsions." text=" Exit Calibration" icon=:/images/closeCross.png iconSize=20x20
..frame QFrame style=notr"border: 0px;" frameShape=QFrame::StyledPanel frameShadow=QFrame::Raised
...verticalLayout_3 QVBoxLayout margins=0,20,20,20 spacing=20
....Instructionlabel QLabel min=0x20 max=Infx20 font=font(pointsize(10),italic(true)) text="Describe circles in various directions" alignment=Qt::AlignHCenter|Qt::AlignTop
....horizontalLayout QHBoxLayout spacing=10
.....groupBox_plane_xy QGroupBox policy=Maximum,Maximum title="Plane XY [Roll]" alignment=Qt::AlignCenter
......gridLayout_2 QGridLayout margins=0,35,0,0 spacing=0
.......[0,0]widget_plot_XY CalibPlot policy=Fixed,Fixed min=290x270 max=290x270 toolTip="Uncalibrated magnetic field projected on the plane XY.<br/>The values of this chart change while the camera is rotated around the forward axis (roll).<br/><b>Note:</b> for a good calibration the background ellipsoid must be filled with points the most as possible."
.....groupBox_plane_yz QGroupBox policy=Maximum,Maximum title="Plane YZ [Pitch]" alignment=Qt::AlignCenter
......gridLayout_3 QGridLayout margins=0,35,0,0 spacing=0
.......[0,0]widget_plot_YZ CalibPlot policy=Fixed,Fixed min=290x270 max=290x270 toolTip="Uncalibrated magnetic field projected on the plane YZ.<br/>The values of this chart change while the camera is rotated around the rightward axis (pitch).<br/><b>Note:</b> for a good calibration the background ellipsoid must be filled with points the most as possible."
.....groupBox_plane_xz QGroupBox policy=Maximum,Maximum title="Plane XZ [Yaw]" alignment=Qt::AlignCenter
......gridLayout_5 QGridLayout margins=0,35,0,0 spacing=0
.......[0,0]widget_plot_XZ CalibPlot policy=Fixed,Fixed min=290x270 max=290x270 toolTip="Uncalibrated magnetic field projected on the plane XZ.<br/>The values of this chart change while the camera is rotated around the downward axis (yaw). <b>Note:</b> for a good calibration the background ellipsoid must be filled with points the most as possible."
....horizontalLayout_mixed_plots QHBoxLayout spacing=10
.....groupBox_mixed_raw QGroupBox policy=MinimumExpanding,MinimumExpanding min=0x350 title="Uncalibrated data" alignment=Qt::AlignCenter
......gridLayout_7 QGridLayout margins=-,35,-,- spacing=0
.......[0,0]widget_plot_mixed_raw CalibPlot policy=MinimumExpanding,MinimumExpanding min=320x300 toolTip="The three uncalibrated magnetic field projections.<br/><b>Note:</b> for a good calibration the background ellipsoids must be covered the most as possible."
.....groupBox_mixed_calib QGroupBox policy=MinimumExpanding,MinimumExpanding min=0x350 title="Calibrated data" alignment=Qt::AlignCenter
......gridLayout_4 QGridLayout margins=-,35,-,- spacing=0
.......[0,0]widget_plot_calibrated CalibPlot policy=MinimumExpanding,MinimumExpanding min=320x300 toolTip="Magnetic fields after applying the calibration parameters.  <b>Note:</b> for a good calibration the background ellipsoid must be covered the most as possible."
)TREE";

} // namespace

class TestForms : public QObject
{
    Q_OBJECT

private slots:
    void treeLine_data();
    void treeLine();
    void noLineIsMissingOrLeftOver_data();
    void noLineIsMissingOrLeftOver();
    void promotedClassesComeFromTheirLibraries_data();
    void promotedClassesComeFromTheirLibraries();
    void formsLeaveTabOrderAndConnectionsToTheCode_data();
    void formsLeaveTabOrderAndConnectionsToTheCode();
    void onlyTheCalibrationFormHasToolTips();
    void exitRepeatsTheToolTipOfReset();
    void everyNameIsUsedOnce_data();
    void everyNameIsUsedOnce();
    void everyChangeOfAFormShows_data();
    void everyChangeOfAFormShows();
};

static QStringList linesOf(const char* tree)
{
    return QString::fromUtf8(tree).split('\n', Qt::SkipEmptyParts);
}

static void addForms()
{
    QTest::addColumn<QString>("file");
    QTest::newRow("main window") << form("mainwindow.ui");
    QTest::newRow("recording options") << form("recoptiondlg.ui");
    QTest::newRow("magnetometer calibration") << form("magcalibdlg.ui");
}

void TestForms::treeLine_data()
{
    QTest::addColumn<QString>("actual");
    QTest::addColumn<QString>("expected");
    const auto add = [](const char* file, const char* tree) {
        const QStringList actual = formTree(form(file));
        const QStringList expected = linesOf(tree);
        for (int line = 0; line < expected.size(); ++line) {
            QTest::addRow("%s:%d %s", file, line, qPrintable(expected[line].section(' ', 0, 1)))
                << actual.value(line) << expected[line];
        }
    };
    add("mainwindow.ui", mainWindowTree);
    add("recoptiondlg.ui", recOptionTree);
    add("magcalibdlg.ui", magCalibTree);
}

void TestForms::treeLine()
{
    QFETCH(QString, actual);
    QFETCH(QString, expected);
    QCOMPARE(actual, expected);
}

void TestForms::noLineIsMissingOrLeftOver_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<int>("lines");
    QTest::newRow("main window") << form("mainwindow.ui") << linesOf(mainWindowTree).size();
    QTest::newRow("recording options") << form("recoptiondlg.ui") << linesOf(recOptionTree).size();
    QTest::newRow("magnetometer calibration")
        << form("magcalibdlg.ui") << linesOf(magCalibTree).size();
}

void TestForms::noLineIsMissingOrLeftOver()
{
    QFETCH(QString, file);
    QFETCH(int, lines);
    QCOMPARE(formTree(file).size(), lines);
}

void TestForms::promotedClassesComeFromTheirLibraries_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("main window") << form("mainwindow.ui")
                                 << QStringList{"OGL3DWidget QOpenGLWidget gpu/OGL3DWidget.h",
                                                "DataPlot QwtPlot charts/DataPlot.h"};
    QTest::newRow("recording options") << form("recoptiondlg.ui") << QStringList();
    QTest::newRow("magnetometer calibration")
        << form("magcalibdlg.ui")
        << QStringList{"Compass QwtCompass calibration/Compass.h",
                       "CalibPlot QwtPlot calibration/calibplot.h"};
}

void TestForms::promotedClassesComeFromTheirLibraries()
{
    QFETCH(QString, file);
    QFETCH(QStringList, expected);
    QCOMPARE(promotedClasses(file), expected);
}

void TestForms::formsLeaveTabOrderAndConnectionsToTheCode_data()
{
    addForms();
}

void TestForms::formsLeaveTabOrderAndConnectionsToTheCode()
{
    QFETCH(QString, file);
    QCOMPARE(otherParts(file), QStringList());
}

void TestForms::onlyTheCalibrationFormHasToolTips()
{
    QCOMPARE(formTree(form("mainwindow.ui")).filter("toolTip=").size(), 0);
    QCOMPARE(formTree(form("recoptiondlg.ui")).filter("toolTip=").size(), 0);
    QCOMPARE(formTree(form("magcalibdlg.ui")).filter("toolTip=").size(), 12);
}

void TestForms::exitRepeatsTheToolTipOfReset()
{
    const auto toolTip = [](const char* object) {
        const QString line = formTree(form("magcalibdlg.ui")).filter(object).value(0);
        return line.mid(line.indexOf("toolTip=")).section(" text=", 0, 0);
    };
    QVERIFY(toolTip("pushButton_reset").size() > 100);
    QCOMPARE(toolTip("pushButton_exit"), toolTip("pushButton_reset"));
}

void TestForms::everyNameIsUsedOnce_data()
{
    addForms();
}

void TestForms::everyNameIsUsedOnce()
{
    QFETCH(QString, file);
    QSet<QString> seen;
    for (const QString& line : formTree(file)) {
        const QString name = line.section(' ', 0, 0).remove(QRegularExpression("^[.]*(\\[.*\\])?"));
        if (name != "spacer") {
            QVERIFY2(!seen.contains(name), qPrintable(name));
            seen += name;
        }
    }
}

void TestForms::everyChangeOfAFormShows_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("instead");
    const auto add = [](const char* what, const char* text, const char* instead) {
        QTest::newRow(what) << text << instead;
    };
    add("rowspan", "<item row=\"1\" column=\"1\">", "<item row=\"1\" column=\"1\" rowspan=\"2\">");
    add("alignment in a layout", "<item row=\"1\" column=\"1\">",
        "<item row=\"1\" column=\"1\" alignment=\"Qt::AlignTop\">");
    add("stretch of a row", "class=\"QGridLayout\" name=\"gridLayout\"",
        "class=\"QGridLayout\" name=\"gridLayout\" rowstretch=\"0,1\"");
    add("stretch of a column", "class=\"QGridLayout\" name=\"gridLayout\"",
        "class=\"QGridLayout\" name=\"gridLayout\" columnstretch=\"0,1\"");
    add("stretch of a box layout", "name=\"horizontalLayout_mixed_plots\"",
        "name=\"horizontalLayout_mixed_plots\" stretch=\"1,2\"");
    add("horizontal stretch of a policy", "<horstretch>0<", "<horstretch>1<");
    add("vertical stretch of a policy", "<verstretch>0<", "<verstretch>1<");
    add("left edge of the window", "<x>0<", "<x>10<");
    add("top edge of the window", "<y>0<", "<y>10<");
    add("text to be translated", "<string notr=\"true\">border", "<string>border");
    add("text not to be translated", "<string>Clear all", "<string notr=\"true\">Clear all");
    add("remark for the translator", "<string>Clear all", "<string comment=\"x\">Clear all");
    add("attribute of a widget", "<property name=\"windowTitle\">",
        "<attribute name=\"x\"><number>1</number></attribute><property name=\"windowTitle\">");
    add("native widget", "name=\"frame_left\">", "name=\"frame_left\" native=\"true\">");
    add("property without a setter of its own", "name=\"checkable\">",
        "name=\"checkable\" stdset=\"0\">");
    add("order of stacking", "<property name=\"windowTitle\">",
        "<zorder>frame_left</zorder><property name=\"windowTitle\">");
    add("family of a font", "<italic>", "<family>Sans</family><italic>");
    add("weight of a font", "<italic>", "<weight>75</weight><bold>true</bold><italic>");
    add("underlined font", "<italic>", "<underline>true</underline><italic>");
    add("size of a font", "<pointsize>10<", "<pointsize>11<");
    add("second image of an icon", "</normaloff>",
        "</normaloff><disabledon>:/images/play.png</disabledon>");
    add("type of a value", "<bool>true</bool>", "<number>true</number>");
    add("hint of a spacer", "<height>40</height>", "<height>41</height>");
    add("another property of a spacer", "<property name=\"sizeType\">",
        "<property name=\"x\"><bool>true</bool></property><property name=\"sizeType\">");
}

void TestForms::everyChangeOfAFormShows()
{
    QFETCH(QString, text);
    QFETCH(QString, instead);
    const QString original = form("magcalibdlg.ui");
    QFile file(original);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QString changed = QString::fromUtf8(file.readAll());
    const int place = changed.indexOf(text);
    QVERIFY(place >= 0);
    changed.replace(place, text.size(), instead);

    QTemporaryFile copy;
    QVERIFY(copy.open());
    copy.write(changed.toUtf8());
    copy.close();
    QVERIFY(formTree(copy.fileName()) != formTree(original));
}

QTEST_APPLESS_MAIN(TestForms)
#include "tst_forms.moc"
