// The sheets on real widgets.
#include "look/Style.h"

#include "look/clr.h"
#include "look/stylemembers.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QScrollBar>
#include <QSlider>
#include <QSpinBox>
#include <QTabWidget>
#include <QToolButton>
#include <QVBoxLayout>
#include <QtTest>

#include <memory>

using StringMember = QString Style::*;
Q_DECLARE_METATYPE(StringMember)

namespace {

QStringList complaints;

void collectComplaints(QtMsgType, const QMessageLogContext&, const QString& text)
{
    complaints += text;
}

// One widget of each kind, all under the same sheet, drawn once.
QStringList complaintsAbout(const QString& sheet)
{
    QWidget window;
    auto* layout = new QVBoxLayout(&window);
    auto* list = new QListWidget;
    list->addItem("item");
    auto* tabs = new QTabWidget;
    tabs->addTab(new QWidget, "tab");
    auto* menu = new QMenu(&window);
    menu->addAction("action");
    for (QWidget* widget : std::initializer_list<QWidget*>{
             new QPushButton("text"), new QToolButton, new QComboBox, new QSlider, new QLineEdit,
             new QCheckBox("text"), new QRadioButton("text"), new QSpinBox, tabs, list,
             new QGroupBox("title"), new QFrame, new QLabel("text"), new QProgressBar,
             new QScrollBar}) {
        layout->addWidget(widget);
    }
    complaints.clear();
    const auto former = qInstallMessageHandler(collectComplaints);
    window.setStyleSheet(sheet);
    window.ensurePolished();
    window.grab();
    menu->grab();
    qInstallMessageHandler(former);
    return complaints;
}

QStringList imagesIn(const QString& sheet)
{
    QStringList found;
    static const QRegularExpression url("url\\(:/images/([^)]*)\\.png\\)");
    for (auto it = url.globalMatch(sheet); it.hasNext();) {
        found += it.next().captured(1);
    }
    found.removeDuplicates();
    found.sort();
    return found;
}

QColor centre(QWidget& widget)
{
    const QImage image = widget.grab().toImage();
    return image.pixelColor(image.width() / 2, image.height() / 2);
}

QColor colour(const QString& text)
{
    static const QRegularExpression rgb("(\\d+), ?(\\d+), ?(\\d+)");
    const auto parts = rgb.match(text);
    return QColor(parts.captured(1).toInt(), parts.captured(2).toInt(), parts.captured(3).toInt());
}

} // namespace

class TestStyleSheets : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_style = std::make_unique<Style>(); }

    void qtReadsEverySheetWithoutComplaint_data();
    void qtReadsEverySheetWithoutComplaint();
    void aBrokenSheetWouldBeComplainedAbout();
    void rowsNameTheirImages_data();
    void rowsNameTheirImages();
    void namedImagesAreInTheBundleOrKnownToBeMissing();
    void groundOfAButton_data();
    void groundOfAButton();
    void missingImageLeavesTheBackgroundOnly();
    void aLabelIgnoresTheImageSheet();
    void axisFieldsShowTheirColourOnTheGround_data();
    void axisFieldsShowTheirColourOnTheGround();
    void imageButtonsChangeWithTheirState_data();
    void imageButtonsChangeWithTheirState();
    void boxesChangeWithTheirState_data();
    void boxesChangeWithTheirState();
    void clearSheetAlsoFitsALabel();

private:
    std::unique_ptr<Style> m_style;
};

void TestStyleSheets::qtReadsEverySheetWithoutComplaint_data()
{
    QTest::addColumn<StringMember>("member");
    const auto add = [](const auto& block) {
        for (const auto& row : block) {
            if (!QString(row.name).startsWith("css")) {
                QTest::newRow(row.name) << row.member;
            }
        }
    };
    add(firstStyleBlock);
    add(secondStyleBlock);
}

void TestStyleSheets::qtReadsEverySheetWithoutComplaint()
{
    QFETCH(StringMember, member);
    QString sheet = (*m_style).*member;
    const QString tag = QTest::currentDataTag();
    if (tag == "labelTemplateStyle") {
        sheet = sheet.arg(clr::om_lime);
    } else if (tag == "iconToolStyle") {
        sheet = sheet.arg(":/images/rec.png", ":/images/rec_on.png", ":/images/rec_h.png");
    } else if (tag == "labelImageStyle") {
        sheet = sheet.arg(":/images/info.png");
    } else if (sheet.contains("%1")) {
        sheet = sheet.arg(20);
    }
    QCOMPARE(complaintsAbout(sheet), QStringList());
}

void TestStyleSheets::aBrokenSheetWouldBeComplainedAbout()
{
    QVERIFY(!complaintsAbout("QLabel{color: red;").isEmpty());
    QVERIFY(!complaintsAbout("QLabel{colour: red;}").isEmpty());
}

void TestStyleSheets::rowsNameTheirImages_data()
{
    QTest::addColumn<StringMember>("member");
    QTest::addColumn<QStringList>("images");
    const auto row = [](const char* name, StringMember member, QStringList images) {
        images.sort();
        QTest::newRow(name) << member << images;
    };
    const QStringList iron = {"drop_arrow_om_iron", "drop_arrow_om_pearl"};
    const QStringList smallBox = {"box_on", "box_off", "box_off_hover", "box_u"};
    const QStringList largeBox = {"check_on", "check_on_h", "check_off", "check_off_h",
                                  "check_na_off"};
    row("closeButtonStyle", &Style::closeButtonStyle, {"closeCross_om_pearl"});
    row("comboDarkStyle", &Style::comboDarkStyle, iron);
    row("comboLightStyle", &Style::comboLightStyle, iron);
    row("comboFlatStyle", &Style::comboFlatStyle, iron);
    row("comboPopupStyle", &Style::comboPopupStyle,
        {"drop_arrow_black", "drop_arrow_company_color"});
    row("comboPopupTopStyle", &Style::comboPopupTopStyle,
        {"combo_arrow_top", "drop_arrow_company_color"});
    row("spinBoxStyle", &Style::spinBoxStyle,
        {"top_arrow_om_iron", "top_arrow_om_pearl", "drop_arrow_om_iron", "drop_arrow_om_pearl"});
    row("spinBoxFlatStyle", &Style::spinBoxFlatStyle,
        {"top_arrow_black", "top_arrow_blue", "drop_arrow_black", "drop_arrow_company_color"});
    row("sliderStyle", &Style::sliderStyle, {"slider_on", "slider_on_h", "slider_off"});
    row("radioButtonStyle", &Style::radioButtonStyle, smallBox);
    row("checkBoxGreyStyle", &Style::checkBoxGreyStyle, smallBox);
    row("checkBoxAshStyle", &Style::checkBoxAshStyle, smallBox);
    row("checkBoxScaleStyle", &Style::checkBoxScaleStyle, smallBox);
    row("checkBoxLargeStyle", &Style::checkBoxLargeStyle, largeBox);
    row("checkBoxLockedStyle", &Style::checkBoxLockedStyle, {"check_on", "check_na_off"});
    row("pausePlayStyle", &Style::pausePlayStyle, {"play", "play_h", "pause", "pause_h"});
    row("stopStyle", &Style::stopStyle, {"stop", "stop_h"});
    row("gearStyle", &Style::gearStyle, {"gear", "gear_h", "gear_off"});
    row("refreshStyle", &Style::refreshStyle, {"refresh", "refresh_h"});
    row("photoStyle", &Style::photoStyle, {"photo", "photo_h", "photo_u"});
    row("videoStyle", &Style::videoStyle,
        {"video", "video_h", "video_u", "video_on", "video_on_h"});
    row("aspectStyle", &Style::aspectStyle, {"aspect", "aspect_hover"});
    row("folderStyle", &Style::folderStyle, {"folder", "folder_h", "folder_u"});
    row("folderPlainStyle", &Style::folderPlainStyle, {"folder", "folder_h", "folder_u"});
    row("streamStyle", &Style::streamStyle, {"stream", "stream_h"});
    row("createStreamStyle", &Style::createStreamStyle,
        {"TIVAtlasCreateStream", "TIVAtlasCreateStream_h"});
    row("recStyle", &Style::recStyle, {"rec", "rec_h", "rec_u", "rec_on", "rec_on_h"});
}

void TestStyleSheets::rowsNameTheirImages()
{
    QFETCH(StringMember, member);
    QFETCH(QStringList, images);
    QCOMPARE(imagesIn((*m_style).*member), images);
}

void TestStyleSheets::namedImagesAreInTheBundleOrKnownToBeMissing()
{
    QStringList absent;
    const auto walk = [&](const auto& block) {
        for (const auto& row : block) {
            for (const QString& image : imagesIn((*m_style).*row.member)) {
                if (!QFile::exists(":/images/" + image + ".png")) {
                    absent += image;
                }
            }
        }
    };
    walk(firstStyleBlock);
    walk(secondStyleBlock);
    absent.removeDuplicates();
    absent.sort();
    QCOMPARE(absent, QStringList({"aspect", "aspect_hover", "combo_arrow_top", "drop_arrow_black",
                                  "drop_arrow_company_color", "top_arrow_black", "top_arrow_blue",
                                  "video_on", "video_on_h"}));
}

void TestStyleSheets::groundOfAButton_data()
{
    QTest::addColumn<StringMember>("member");
    QTest::addColumn<QString>("normal");
    QTest::addColumn<QString>("checked");
    QTest::addColumn<QString>("disabled");
    QTest::newRow("saveButtonStyle: checked is red, a recording runs")
        << &Style::saveButtonStyle << clr::company_clr << clr::xAxis << clr::concrete;
    QTest::newRow("primaryButtonStyle")
        << &Style::primaryButtonStyle << clr::company_clr << clr::company_clr << clr::om_soil;
    QTest::newRow("outlineButtonStyle")
        << &Style::outlineButtonStyle << clr::om_soil << clr::om_iron << clr::om_soil;
    QTest::newRow("alertButtonStyle")
        << &Style::alertButtonStyle << clr::red << clr::red << clr::om_soil;
    QTest::newRow("limeDarkButtonStyle")
        << &Style::limeDarkButtonStyle << clr::om_steel << clr::om_lime << clr::om_steel;
    QTest::newRow("limeOutlineButtonStyle")
        << &Style::limeOutlineButtonStyle << clr::om_soil << clr::om_lime << clr::om_soil;
    QTest::newRow("segmentMiddleStyle")
        << &Style::segmentMiddleStyle << clr::om_soil << clr::company_clr << clr::om_soil;
    QTest::newRow("sensorButtonStyle: the selected sensor is lime")
        << &Style::sensorButtonStyle << clr::om_soil << clr::company_clr << clr::om_ash;
    QTest::newRow("statusOnStyle")
        << &Style::statusOnStyle << clr::company_clr << clr::company_clr << clr::company_clr;
    QTest::newRow("statusOffStyle")
        << &Style::statusOffStyle << clr::om_charcoal << clr::om_charcoal << clr::om_charcoal;
    QTest::newRow("statusErrorStyle")
        << &Style::statusErrorStyle << clr::red << clr::red << clr::red;
}

void TestStyleSheets::groundOfAButton()
{
    QFETCH(StringMember, member);
    QFETCH(QString, normal);
    QFETCH(QString, checked);
    QFETCH(QString, disabled);
    QWidget window;
    window.setStyleSheet(m_style->windowSoilStyle);
    window.resize(140, 60);
    QPushButton button(&window);
    button.setGeometry(10, 10, 120, 40);
    button.setCheckable(true);
    button.setStyleSheet((*m_style).*member);
    const auto ground = [&] { return window.grab().toImage().pixelColor(70, 30); };
    QCOMPARE(ground(), colour(normal));
    button.setChecked(true);
    QCOMPARE(ground(), colour(checked));
    button.setChecked(false);
    button.setEnabled(false);
    QCOMPARE(ground(), colour(disabled));
}

void TestStyleSheets::missingImageLeavesTheBackgroundOnly()
{
    QToolButton button;
    button.resize(30, 30);
    button.setStyleSheet("QToolButton{background-color: rgb(10,20,30);}" + m_style->aspectStyle);
    const QImage image = button.grab().toImage();
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            QCOMPARE(image.pixelColor(x, y), QColor(10, 20, 30));
        }
    }
    button.setStyleSheet("QToolButton{background-color: rgb(10,20,30);}" + m_style->gearStyle);
    QVERIFY(button.grab().toImage() != image);
}

void TestStyleSheets::aLabelIgnoresTheImageSheet()
{
    QLabel plain("text");
    QLabel styled("text");
    plain.resize(60, 30);
    styled.resize(60, 30);
    const QString sheet = m_style->labelImageStyle.arg(":/images/check_on.png");
    styled.setStyleSheet(sheet);
    // An active sheet, even an empty one, draws like the other.
    plain.setStyleSheet("QSlider{}");
    QCOMPARE(styled.grab().toImage(), plain.grab().toImage());
    styled.setStyleSheet(QString(sheet).replace("Qlabel", "QLabel"));
    QVERIFY(styled.grab().toImage() != plain.grab().toImage());
}

void TestStyleSheets::axisFieldsShowTheirColourOnTheGround_data()
{
    QTest::addColumn<StringMember>("member");
    QTest::addColumn<QString>("text");
    QTest::newRow("x") << &Style::xAxisEditStyle << clr::red;
    QTest::newRow("y") << &Style::yAxisEditStyle << clr::green;
    QTest::newRow("z") << &Style::zAxisEditStyle << clr::blue;
    QTest::newRow("single") << &Style::singleAxisEditStyle << clr::singleAxis;
    QTest::newRow("plain") << &Style::plainEditStyle << clr::om_pearl;
}

void TestStyleSheets::axisFieldsShowTheirColourOnTheGround()
{
    QFETCH(StringMember, member);
    QFETCH(QString, text);
    QLineEdit field;
    field.setStyleSheet((*m_style).*member);
    field.ensurePolished();
    QCOMPARE(field.palette().color(QPalette::Text), colour(text));
    QCOMPARE(field.palette().color(QPalette::Base), clr::om_soil_clr);
    QCOMPARE(field.palette().color(QPalette::HighlightedText), colour(text));
    QCOMPARE(field.palette().color(QPalette::Highlight), clr::om_soil_clr);
    field.resize(100, 20);
    QCOMPARE(centre(field), clr::om_soil_clr);
}

void TestStyleSheets::imageButtonsChangeWithTheirState_data()
{
    QTest::addColumn<StringMember>("member");
    QTest::addColumn<bool>("hasChecked");
    QTest::addColumn<bool>("hasDisabled");
    QTest::newRow("pausePlayStyle") << &Style::pausePlayStyle << true << false;
    QTest::newRow("stopStyle") << &Style::stopStyle << false << false;
    QTest::newRow("gearStyle") << &Style::gearStyle << false << true;
    QTest::newRow("refreshStyle") << &Style::refreshStyle << false << false;
    QTest::newRow("photoStyle") << &Style::photoStyle << false << true;
    QTest::newRow("videoStyle: checked is blank") << &Style::videoStyle << true << true;
    QTest::newRow("folderStyle") << &Style::folderStyle << false << true;
    QTest::newRow("folderPlainStyle") << &Style::folderPlainStyle << false << true;
    QTest::newRow("streamStyle") << &Style::streamStyle << false << false;
    QTest::newRow("createStreamStyle") << &Style::createStreamStyle << false << false;
    QTest::newRow("recStyle") << &Style::recStyle << true << true;
}

void TestStyleSheets::imageButtonsChangeWithTheirState()
{
    QFETCH(StringMember, member);
    QFETCH(bool, hasChecked);
    QFETCH(bool, hasDisabled);
    QToolButton button;
    button.resize(30, 30);
    button.setCheckable(true);
    button.setStyleSheet((*m_style).*member);
    const QImage normal = button.grab().toImage();
    button.setAttribute(Qt::WA_UnderMouse, true);
    QVERIFY(button.grab().toImage() != normal);
    button.setAttribute(Qt::WA_UnderMouse, false);
    QCOMPARE(button.grab().toImage(), normal);
    button.setChecked(true);
    QCOMPARE(button.grab().toImage() != normal, hasChecked);
    button.setChecked(false);
    button.setEnabled(false);
    QCOMPARE(button.grab().toImage() != normal, hasDisabled);
}

void TestStyleSheets::boxesChangeWithTheirState_data()
{
    QTest::addColumn<QString>("sheet");
    QTest::addColumn<bool>("radio");
    QTest::addColumn<bool>("answersTheMouse");
    QTest::newRow("checkBoxLargeStyle") << m_style->checkBoxLargeStyle << false << true;
    QTest::newRow("checkBoxLockedStyle") << m_style->checkBoxLockedStyle << false << false;
    QTest::newRow("checkBoxGreyStyle") << m_style->checkBoxGreyStyle << false << true;
    QTest::newRow("checkBoxAshStyle") << m_style->checkBoxAshStyle << false << true;
    QTest::newRow("checkBoxScaleStyle") << m_style->checkBoxScaleStyle.arg(20) << false << true;
    QTest::newRow("radioButtonStyle") << m_style->radioButtonStyle << true << true;
}

void TestStyleSheets::boxesChangeWithTheirState()
{
    QFETCH(QString, sheet);
    QFETCH(bool, radio);
    QFETCH(bool, answersTheMouse);
    std::unique_ptr<QAbstractButton> box;
    if (radio) {
        box = std::make_unique<QRadioButton>();
        box->setAutoExclusive(false);
    } else {
        box = std::make_unique<QCheckBox>();
    }
    box->setStyleSheet(sheet);
    box->resize(40, 24);
    const QImage off = box->grab().toImage();
    box->setAttribute(Qt::WA_UnderMouse, true);
    QCOMPARE(box->grab().toImage() != off, answersTheMouse);
    box->setAttribute(Qt::WA_UnderMouse, false);
    box->setChecked(true);
    QVERIFY(box->grab().toImage() != off);
    box->setChecked(false);
    QCOMPARE(box->grab().toImage(), off);
}

void TestStyleSheets::clearSheetAlsoFitsALabel()
{
    QLabel path("/home");
    path.setStyleSheet(m_style->lineEditClearStyle);
    path.ensurePolished();
    QCOMPARE(path.palette().color(QPalette::WindowText), colour(clr::om_pearl));
}

QTEST_MAIN(TestStyleSheets)
#include "tst_stylesheets.moc"
