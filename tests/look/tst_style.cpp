#include "look/Style.h"

#include "look/stylemembers.h"

#include <QFontDatabase>
#include <QFontInfo>
#include <QFontMetrics>
#include <QLabel>
#include <QRawFont>
#include <QtTest>

#include <iterator>
#include <memory>

#include <dlfcn.h>

namespace {

// Requested files, in their order.
QStringList& askedFonts()
{
    static QStringList files;
    return files;
}

} // namespace

// Replaces Qt's own function and calls it.
int QFontDatabase::addApplicationFont(const QString& fileName)
{
    using Function = int (*)(const QString&);
    static const auto original = reinterpret_cast<Function>(
        dlsym(RTLD_NEXT, "_ZN13QFontDatabase18addApplicationFontERK7QString"));
    askedFonts() += fileName;
    return original(fileName);
}

using StringMember = QString Style::*;
using FontMember = QFont Style::*;
Q_DECLARE_METATYPE(StringMember)
Q_DECLARE_METATYPE(FontMember)

class TestStyle : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_style = std::make_unique<Style>(); }

    void membersStandInTheirOrder();
    void nothingElseIsHeld();
    void styleStrings_data();
    void styleStrings();
    void twoSlotsStayEmpty();
    void copiesEqualTheirSource();
    void everyOtherRowIsFilledAndItsOwn();
    void rowsToBeFilledKeepTheirPlaces_data();
    void rowsToBeFilledKeepTheirPlaces();
    void axisFieldsDifferOnlyInTheirColour();

    void eachStyleAddsTheEightFontsInTheirOrder();
    void pointSizeFollowsTheDigitWidth_data();
    void pointSizeFollowsTheDigitWidth();
    void digitWidthIsThatOfTheReferenceFont();
    void fonts_data();
    void fonts();
    void fontTexts_data();
    void fontTexts();
    void fontTextsResolveInsideAStyleSheet_data();
    void fontTextsResolveInsideAStyleSheet();
    void aLaterStyleIsTheSame();

private:
    std::unique_ptr<Style> m_style;
};

template <typename Type>
static std::ptrdiff_t offsetOf(const Style& style, Type Style::*member)
{
    return reinterpret_cast<const char*>(&(style.*member)) - reinterpret_cast<const char*>(&style);
}

void TestStyle::membersStandInTheirOrder()
{
    std::ptrdiff_t expected = 0;
    const auto walk = [&](const auto& block) {
        for (const auto& row : block) {
            QVERIFY2(offsetOf(*m_style, row.member) == expected, row.name);
            expected += static_cast<std::ptrdiff_t>(sizeof(m_style.get()->*row.member));
        }
    };
    walk(firstStyleBlock);
    walk(fontBlock);
    walk(secondStyleBlock);
    QCOMPARE(offsetOf(*m_style, &Style::digitWidth), expected);
}

void TestStyle::nothingElseIsHeld()
{
    QCOMPARE(std::size(firstStyleBlock) + std::size(secondStyleBlock), std::size_t(104));
    QCOMPARE(std::size(fontBlock), std::size_t(13));
    QCOMPARE(sizeof(Style::digitWidth), std::size_t(4));
    const std::size_t held = 104 * sizeof(QString) + 13 * sizeof(QFont) + sizeof(int);
    QVERIFY(sizeof(Style) >= held);
    QVERIFY(sizeof(Style) < held + alignof(Style));
}

void TestStyle::styleStrings_data()
{
    QTest::addColumn<StringMember>("member");
    QTest::addColumn<QString>("expected");
    QTest::newRow("windowBlackStyle")
        << &Style::windowBlackStyle
        << "QWidget{background-color : rgb(5,5,5);color : rgb(242,242,242);}";
    QTest::newRow("closeButtonStyle")
        << &Style::closeButtonStyle
        << "QWidget{background-color : rgb(5,5,5);color : rgb(242,242,242);}"
           "QToolButton,QPushButton{border: 0px solid;"
           "image:url(:/images/closeCross_om_pearl.png);}"
           "QToolButton:hover,QPushButton:hover{image:url(:/images/closeCross_om_pearl.png"
           ");}";
    QTest::newRow("windowSoilStyle")
        << &Style::windowSoilStyle
        << "QWidget{background-color : rgb(25,25,25);color : rgb(242,242,242);}";
    QTest::newRow("primaryButtonStyle")
        << &Style::primaryButtonStyle
        << "QAbstractButton{color:rgb(25,25,25);background-color:rgb(217,255,66);"
           "border: 0px;border-radius: 4px;}"
           "QAbstractButton:checked{background-color:rgb(217,255,66);}"
           "QAbstractButton:hover{background-color:rgb(187,225,36);"
           "border-color:rgb(187,225,36);}"
           "QAbstractButton:disabled{color:rgb(242,242,242);"
           "background-color:rgb(25,25,25);border: 1px solid rgb(137,137,137);}";
    QTest::newRow("comboDarkStyle")
        << &Style::comboDarkStyle
        << "QComboBox{border: 1px solid rgb(194,194,194);border-radius: 4px;"
           "color: rgb(242,242,242);background-color:rgb(25,25,25);"
           "selection-color: rgb(25,25,25);selection-background-color: rgb(194,194,194);}"
           "QComboBox:disabled{border: 1px solid rgb(194,194,194);color:rgb(194,194,194);}"
           "QComboBox::drop-down{border: 0px;subcontrol-origin: padding;"
           "subcontrol-position: top right;width: 20px;}"
           "QComboBox::down-arrow{border: 0px;image: url(:/images/drop_arrow_om_iron.png);"
           "width: 15px;height: 15px;}"
           "QComboBox::down-arrow:hover{image: url(:/images/drop_arrow_om_pearl.png);}"
           "QComboBox QAbstractItemView{border: 1px solid rgb(194,194,194);"
           "color: rgb(242,242,242);background-color:rgb(25,25,25);"
           "selection-color: rgb(25,25,25);selection-background-color: rgb(194,194,194);}";
    QTest::newRow("frameRoundedStyle")
        << &Style::frameRoundedStyle
        << "QFrame{border-radius: 20px;border: 0px solid;border-color: rgb(60,60,60);}";
    QTest::newRow("frameFlatStyle")
        << &Style::frameFlatStyle << "QFrame{border: 0px;margin: 0px;padding: 0px;}";
    QTest::newRow("saveButtonStyle")
        << &Style::saveButtonStyle
        << "QAbstractButton{color:rgb(25,25,25);background-color:rgb(217,255,66);"
           "border-radius: 4px;}"
           "QAbstractButton:checked{background-color:rgb(255,87,87);}"
           "QAbstractButton:hover{background-color:rgb(187,225,36);}"
           "QAbstractButton:disabled{color:rgb(58,58,58);"
           "background-color:rgb(149,165,166);}";
    QTest::newRow("sensorButtonStyle")
        << &Style::sensorButtonStyle
        << "QAbstractButton{color:rgb(255,255,255);background-color:rgba(255,255,255,0);"
           "font-size: 11pt;border-radius:0px;text-align: left;padding-left: 20px;}"
           "QAbstractButton:checked{background-color:rgb(217,255,66);color:rgb(25,25,25);}"
           "QAbstractButton:hover{background-color:rgb(187,225,36);color:rgb(25,25,25);}"
           "QAbstractButton:focus{border: none;outline: none;}"
           "QAbstractButton:disabled{background-color:rgb(137,137,137);}";
    QTest::newRow("sideFrameStyle")
        << &Style::sideFrameStyle
        << "QFrame{border: 0px;border-radius: 0px;border-right: 1px solid rgb(45,45,45);"
           "margin-top: 0px;margin-bottom: 0px;padding: 0px;alignment: left;}";
    QTest::newRow("labelBaseStyle") << &Style::labelBaseStyle
                                    << "QLabel {color: rgb(242,242,242);border: 0px;}"
                                       "QLabel:disabled{ color: rgb(242,242,242);border: 0px;}";
    QTest::newRow("iconToolStyle")
        << &Style::iconToolStyle
        << "QToolButton{border: 0px solid;color: rgb(242,242,242);image: url(%1);}"
           "QToolButton:checked{image: url(%2);}"
           "QToolButton:hover{image: url(%3);}";
    QTest::newRow("tabWidgetStyle")
        << &Style::tabWidgetStyle
        << "QTabWidget{background-color:rgb(25,25,25);}"
           "QTabWidget::pane{border-top:0px solid rgb(217,255,66);border-radius : 0px;"
           "position:absolute;top:0px;}"
           "QTabBar::tab{min-width:100px;width: %1 px;padding: 10px;}"
           "QTabBar::tab:selected{background:rgb(217,255,66);color:rgb(25,25,25);}"
           "QTabBar::tab:!selected{background:rgb(60,60,60);color:rgb(242,242,242);}"
           "QTabBar::tab:disabled{ background:rgb(194,194,194);color:rgb(25,25,25);}";
    QTest::newRow("groupBoxIndentStyle")
        << &Style::groupBoxIndentStyle
        << "QGroupBox {border: 0px;border-radius: 0px;margin-top: 8px;margin-left: 20px;}"
           "QGroupBox::title {color:rgb(242,242,242);subcontrol-origin: border;}";
    QTest::newRow("gearStyle") << &Style::gearStyle
                               << "QToolButton{border:0px solid;color:rgb(255,255,255);"
                                  "image:url(:/images/gear.png);}"
                                  "QToolButton:hover{image:url(:/images/gear_h.png);}"
                                  "QToolButton:disabled{image:url(:/images/gear_off.png);}";
    QTest::newRow("xAxisEditStyle")
        << &Style::xAxisEditStyle
        << "border:0px;border-radius: 0px;color:rgb(255,87,87);"
           "background-color:rgb(25,25,25);selection-color:rgb(255,87,87);"
           "selection-background-color:rgb(25,25,25)";
    QTest::newRow("statusOnStyle") << &Style::statusOnStyle
                                   << "border: 0px;border-radius: 4px;color: rgb(25,25,25);"
                                      "background-color: rgb(217,255,66);width: 95px;height: 18px;";
    QTest::newRow("progressStyle") << &Style::progressStyle
                                   << "QProgressBar{text-align: center;color: rgb(25,25,25);"
                                      "background-color: rgb(45,45,45);}"
                                      "QProgressBar::chunk{background-color: rgb(217,255,66);}";
    QTest::newRow("scrollBarStyle") << &Style::scrollBarStyle
                                    << "QScrollBar{max-width: 4px;background-color: rgb(25,25,25);}"
                                       "QScrollBar::handle{background-color: rgb(242,242,242);"
                                       "border: 1px solid rgb(242,242,242);border-radius: 20px;}";
    QTest::newRow("labelImageStyle")
        << &Style::labelImageStyle
        << "Qlabel{border:0px solid;color: transparent;background-color:transparent;"
           "image:url(%1);}";
    QTest::newRow("yAxisEditStyle")
        << &Style::yAxisEditStyle
        << "border:0px;border-radius: 0px;color:rgb(48,214,149);"
           "background-color:rgb(25,25,25);selection-color:rgb(48,214,149);"
           "selection-background-color:rgb(25,25,25)";
    QTest::newRow("zAxisEditStyle")
        << &Style::zAxisEditStyle
        << "border:0px;border-radius: 0px;color:rgb(0,190,255);"
           "background-color:rgb(25,25,25);selection-color:rgb(0,190,255);"
           "selection-background-color:rgb(25,25,25)";
    QTest::newRow("singleAxisEditStyle")
        << &Style::singleAxisEditStyle
        << "border:0px;border-radius: 0px;color:rgb(255,87,48);"
           "background-color:rgb(25,25,25);selection-color:rgb(255,87,48);"
           "selection-background-color:rgb(25,25,25)";
}

void TestStyle::styleStrings()
{
    QFETCH(StringMember, member);
    QFETCH(QString, expected);
    QCOMPARE((*m_style).*member, expected);
}

void TestStyle::twoSlotsStayEmpty()
{
    QCOMPARE(m_style->emptyStyleA, QString());
    QCOMPARE(m_style->emptyStyleB, QString());
}

void TestStyle::copiesEqualTheirSource()
{
    QCOMPARE(m_style->checkBoxLargeCopyStyle, m_style->checkBoxLargeStyle);
    QCOMPARE(m_style->sensorButtonCopyStyle, m_style->sensorButtonStyle);
    QCOMPARE(m_style->labelAshCopyStyle, m_style->labelAshStyle);
    QCOMPARE(m_style->plainEditCopyStyle, m_style->plainEditStyle);
}

void TestStyle::everyOtherRowIsFilledAndItsOwn()
{
    QHash<QString, QString> owner;
    const auto walk = [&](const auto& block) {
        for (const auto& row : block) {
            const QString name = row.name;
            if (name.startsWith("empty") || name.contains("Copy") || name.startsWith("css")) {
                continue;
            }
            const QString text = (*m_style).*row.member;
            QVERIFY2(!text.isEmpty(), row.name);
            // Lime is the company's colour and red that of the x axis.
            if (name != "labelCompanyStyle" && name != "labelXStyle") {
                QVERIFY2(!owner.contains(text), qPrintable(name + " repeats " + owner.value(text)));
            }
            owner.insert(text, name);
            QVERIFY2(text.count('{') == text.count('}'), row.name);
            // No palette name is left in braces.
            QVERIFY2(!text.contains(QRegularExpression("\\{\\w+\\}")), row.name);
        }
    };
    walk(firstStyleBlock);
    walk(secondStyleBlock);
}

void TestStyle::rowsToBeFilledKeepTheirPlaces_data()
{
    QTest::addColumn<StringMember>("member");
    QTest::addColumn<int>("places");
    QTest::newRow("iconToolStyle") << &Style::iconToolStyle << 3;
    QTest::newRow("tabWidgetStyle") << &Style::tabWidgetStyle << 1;
    QTest::newRow("labelImageStyle") << &Style::labelImageStyle << 1;
    QTest::newRow("labelTemplateStyle") << &Style::labelTemplateStyle << 1;
    QTest::newRow("checkBoxScaleStyle") << &Style::checkBoxScaleStyle << 1;
}

void TestStyle::rowsToBeFilledKeepTheirPlaces()
{
    QFETCH(StringMember, member);
    QFETCH(int, places);
    QString text = (*m_style).*member;
    for (int place = 1; place <= places; ++place) {
        QVERIFY(text.contains("%" + QString::number(place)));
        text = text.arg("value" + QString::number(place));
    }
    QVERIFY(!text.contains('%'));
    QVERIFY(text.contains("value" + QString::number(places)));
}

void TestStyle::axisFieldsDifferOnlyInTheirColour()
{
    const auto recoloured = [](QString text, const QString& from) {
        return text.replace(from, "axis");
    };
    const QString x = recoloured(m_style->xAxisEditStyle, "rgb(255,87,87)");
    QCOMPARE(recoloured(m_style->yAxisEditStyle, "rgb(48,214,149)"), x);
    QCOMPARE(recoloured(m_style->zAxisEditStyle, "rgb(0,190,255)"), x);
    QCOMPARE(recoloured(m_style->singleAxisEditStyle, "rgb(255,87,48)"), x);
    QCOMPARE(x.count("axis"), 2);
}

void TestStyle::eachStyleAddsTheEightFontsInTheirOrder()
{
    const QStringList expected = {
        ":/font/Roboto-Medium.ttf",
        ":/font/Roboto-Bold.ttf",
        ":/font/Roboto-Regular.ttf",
        ":/font/Helvetica-Neue.ttf",
        ":/font/NBAkademiePro-Regular.ttf",
        ":/font/NBAkademiePro-Medium.ttf",
        ":/font/NBAkademieMonoPro-Regular.ttf",
        ":/font/NBAkademieMonoPro-Medium.ttf",
    };
    for (int round = 0; round < 2; ++round) {
        askedFonts().clear();
        const Style another;
        QCOMPARE(askedFonts(), expected);
    }
}

void TestStyle::pointSizeFollowsTheDigitWidth_data()
{
    QTest::addColumn<int>("reference");
    QTest::addColumn<int>("digitWidth");
    QTest::addColumn<int>("expected");
    for (const int reference : {7, 8, 9, 10, 11, 12, 15, 19, 27}) {
        QTest::addRow("28 pixels give the reference size %d", reference)
            << reference << 28 << reference;
    }
    QTest::newRow("a narrower font grows, cut off") << 11 << 25 << 12;  // 12.32
    QTest::newRow("cut off just under a whole number") << 9 << 26 << 9; // 9.69
    QTest::newRow("a wider font shrinks") << 27 << 36 << 21;
    QTest::newRow("neighbours can meet: 10") << 10 << 31 << 9; // 9.03
    QTest::newRow("neighbours can meet: 11") << 11 << 31 << 9; // 9.94
    QTest::newRow("exact division stays") << 15 << 21 << 20;
}

void TestStyle::pointSizeFollowsTheDigitWidth()
{
    QFETCH(int, reference);
    QFETCH(int, digitWidth);
    QFETCH(int, expected);
    QCOMPARE(scaledPointSize(reference, digitWidth), expected);
}

void TestStyle::digitWidthIsThatOfTheReferenceFont()
{
    QFont reference("NB Akademie Mono Pro Medium");
    reference.setPointSize(10);
    QCOMPARE(m_style->digitWidth, QFontMetrics(reference).horizontalAdvance("123"));
    QCOMPARE(QFontInfo(reference).family(), QString("IBM Plex Mono Medium"));
    QVERIFY(m_style->digitWidth > 0);
}

void TestStyle::fonts_data()
{
    QTest::addColumn<FontMember>("member");
    QTest::addColumn<QString>("family");
    QTest::addColumn<int>("reference");
    QTest::addColumn<int>("weight");
    QTest::addColumn<int>("spacing");
    QTest::addColumn<bool>("upperCase");
    QTest::addColumn<QString>("resolvedFamily");
    QTest::addColumn<QString>("resolvedFace");
    QTest::newRow("fontMonoMedium11") << &Style::fontMonoMedium11 << "NB Akademie Mono Pro Medium"
                                      << 11 << 57 << 0 << false << "IBM Plex Mono Medium"
                                      << "Medium";
    QTest::newRow("fontMonoHeavy10") << &Style::fontMonoHeavy10 << "NB Akademie Mono Pro Medium"
                                     << 10 << 81 << 0 << false << "IBM Plex Mono Medium"
                                     << "Medium";
    QTest::newRow("fontMonoTitle15") << &Style::fontMonoTitle15 << "NB Akademie Mono Pro Medium"
                                     << 15 << 57 << 0 << true << "IBM Plex Mono Medium"
                                     << "Medium";
    QTest::newRow("fontMonoCaps9") << &Style::fontMonoCaps9 << "NB Akademie Mono Pro Regular" << 9
                                   << 50 << 98 << true << "IBM Plex Mono"
                                   << "Regular";
    QTest::newRow("fontMono9") << &Style::fontMono9 << "NB Akademie Mono Pro Regular" << 9 << 50
                               << 98 << false << "IBM Plex Mono"
                               << "Regular";
    QTest::newRow("fontPro9") << &Style::fontPro9 << "NB Akademie Pro Regular" << 9 << 50 << 97
                              << false << "IBM Plex Sans"
                              << "Regular";
    QTest::newRow("fontPro12") << &Style::fontPro12 << "NB Akademie Pro Regular" << 12 << 50 << 0
                               << false << "IBM Plex Sans"
                               << "Regular";
    QTest::newRow("fontMonoBold10") << &Style::fontMonoBold10 << "NB Akademie Mono Pro Medium" << 10
                                    << 75 << 98 << false << "IBM Plex Mono Medium"
                                    << "Medium";
    QTest::newRow("fontPro8") << &Style::fontPro8 << "NB Akademie Pro Regular" << 8 << 50 << 0
                              << false << "IBM Plex Sans"
                              << "Regular";
    QTest::newRow("fontPro7") << &Style::fontPro7 << "NB Akademie Pro Regular" << 7 << 50 << 98
                              << false << "IBM Plex Sans"
                              << "Regular";
    QTest::newRow("fontMonoLight10") << &Style::fontMonoLight10 << "NB Akademie Mono Pro Regular"
                                     << 10 << 25 << 0 << false << "IBM Plex Mono"
                                     << "Regular";
    QTest::newRow("fontMonoMedium9") << &Style::fontMonoMedium9 << "NB Akademie Mono Pro Medium"
                                     << 9 << 57 << 97 << false << "IBM Plex Mono Medium"
                                     << "Medium";
    QTest::newRow("fontProLarge27") << &Style::fontProLarge27 << "NB Akademie Pro Medium" << 27
                                    << 57 << 0 << false << "IBM Plex Sans Medium"
                                    << "Medium";
}

void TestStyle::fonts()
{
    QFETCH(FontMember, member);
    QFETCH(QString, family);
    QFETCH(int, reference);
    QFETCH(int, weight);
    QFETCH(int, spacing);
    QFETCH(bool, upperCase);
    QFETCH(QString, resolvedFamily);
    QFETCH(QString, resolvedFace);
    const QFont font = (*m_style).*member;
    QCOMPARE(font.family(), family);
    QCOMPARE(font.pointSize(), scaledPointSize(reference, m_style->digitWidth));
    QCOMPARE(font.weight(), weight);
    QCOMPARE(font.letterSpacing(), spacing == 0 ? QFont().letterSpacing() : qreal(spacing));
    QCOMPARE(font.letterSpacingType(), QFont::PercentageSpacing);
    QCOMPARE(font.capitalization(), upperCase ? QFont::AllUppercase : QFont::MixedCase);
    // Only the later of the two strategies applies.
    QCOMPARE(font.styleStrategy(), QFont::PreferAntialias);

    QCOMPARE(QFontInfo(font).family(), resolvedFamily);
    QCOMPARE(QRawFont::fromFont(font).styleName(), resolvedFace);
}

void TestStyle::fontTexts_data()
{
    QTest::addColumn<StringMember>("member");
    QTest::addColumn<QString>("family");
    QTest::addColumn<QString>("weight");
    QTest::addColumn<int>("reference");
    QTest::newRow("cssExtraBold15") << &Style::cssExtraBold15 << "NB Akademie Mono Pro Medium"
                                    << "ExtraBold" << 15;
    QTest::newRow("cssRegular11") << &Style::cssRegular11 << "NB Akademie Mono Pro Regular"
                                  << "Regular" << 11;
    QTest::newRow("cssMedium19") << &Style::cssMedium19 << "NB Akademie Mono Pro Medium"
                                 << "Medium" << 19;
    QTest::newRow("cssBold12") << &Style::cssBold12 << "NB Akademie Mono Pro Medium"
                               << "Bold" << 12;
    QTest::newRow("cssMedium19b") << &Style::cssMedium19b << "NB Akademie Mono Pro Medium"
                                  << "Medium" << 19;
    QTest::newRow("cssMedium15") << &Style::cssMedium15 << "NB Akademie Mono Pro Medium"
                                 << "Medium" << 15;
    QTest::newRow("cssMedium12") << &Style::cssMedium12 << "NB Akademie Mono Pro Medium"
                                 << "Medium" << 12;
    QTest::newRow("cssMedium11") << &Style::cssMedium11 << "NB Akademie Mono Pro Medium"
                                 << "Medium" << 11;
    QTest::newRow("cssRegular11b") << &Style::cssRegular11b << "NB Akademie Mono Pro Regular"
                                   << "Regular" << 11;
    QTest::newRow("cssRegular12") << &Style::cssRegular12 << "NB Akademie Mono Pro Regular"
                                  << "Regular" << 12;
    QTest::newRow("cssMedium10") << &Style::cssMedium10 << "NB Akademie Mono Pro Medium"
                                 << "Medium" << 10;
    QTest::newRow("cssRegular11c") << &Style::cssRegular11c << "NB Akademie Mono Pro Regular"
                                   << "Regular" << 11;
    QTest::newRow("cssLight19") << &Style::cssLight19 << "NB Akademie Mono Pro Regular"
                                << "Light" << 19;
}

void TestStyle::fontTexts()
{
    QFETCH(StringMember, member);
    QFETCH(QString, family);
    QFETCH(QString, weight);
    QFETCH(int, reference);
    QCOMPARE((*m_style).*member, QString("font-family: %1; font-weight: %2; font-size: %3pt;")
                                     .arg(family, weight)
                                     .arg(scaledPointSize(reference, m_style->digitWidth)));
}

void TestStyle::fontTextsResolveInsideAStyleSheet_data()
{
    fontTexts_data();
}

void TestStyle::fontTextsResolveInsideAStyleSheet()
{
    QFETCH(StringMember, member);
    QFETCH(QString, family);
    QFETCH(int, reference);
    QLabel label;
    label.setStyleSheet("QLabel{" + (*m_style).*member + "}");
    label.ensurePolished();
    QCOMPARE(QFontInfo(label.font()).family(),
             QString(family.endsWith("Medium") ? "IBM Plex Mono Medium" : "IBM Plex Mono"));
    QCOMPARE(label.font().pointSize(), scaledPointSize(reference, m_style->digitWidth));
}

void TestStyle::aLaterStyleIsTheSame()
{
    const Style later;
    QCOMPARE(later.digitWidth, m_style->digitWidth);
    const auto compare = [&](const auto& block) {
        for (const auto& row : block) {
            QVERIFY2(later.*row.member == (*m_style).*row.member, row.name);
        }
    };
    compare(firstStyleBlock);
    compare(fontBlock);
    compare(secondStyleBlock);
    // After adding the fonts once more they are still listed once among the substitutes.
    QCOMPARE(QFont::substitutes("NB Akademie Mono Pro Medium"),
             QStringList("ibm plex mono medium"));
}

QTEST_MAIN(TestStyle)
#include "tst_style.moc"
