#include "look/clr.h"

#include <QLabel>
#include <QtTest>

class TestClr : public QObject
{
    Q_OBJECT

private slots:
    void coloursAreThoseOfThePalette_data();
    void coloursAreThoseOfThePalette();
    void textsAreThoseOfThePalette_data();
    void textsAreThoseOfThePalette();
    void copiesFollowTheirSource();
    void toStrWritesDecimalAndDropsTheAlpha_data();
    void toStrWritesDecimalAndDropsTheAlpha();
    void styleSheetsReadTheTexts_data();
    void styleSheetsReadTheTexts();
};

void TestClr::coloursAreThoseOfThePalette_data()
{
    QTest::addColumn<QColor>("colour");
    QTest::addColumn<QColor>("expected");
    QTest::newRow("blue_clr") << clr::blue_clr << QColor(0, 190, 255);
    QTest::newRow("green_clr") << clr::green_clr << QColor(48, 214, 149);
    QTest::newRow("dark") << clr::dark << QColor(58, 58, 58);
    QTest::newRow("soft_black_clr") << clr::soft_black_clr << QColor(72, 72, 72);
    QTest::newRow("med_black_clr") << clr::med_black_clr << QColor(130, 130, 130);
    QTest::newRow("grey_clr") << clr::grey_clr << QColor(210, 210, 210);
    QTest::newRow("om_black_clr") << clr::om_black_clr << QColor(5, 5, 5);
    QTest::newRow("om_soil_clr") << clr::om_soil_clr << QColor(25, 25, 25);
}

void TestClr::coloursAreThoseOfThePalette()
{
    QFETCH(QColor, colour);
    QFETCH(QColor, expected);
    QCOMPARE(colour, expected);
    QCOMPARE(colour.alpha(), 255);
}

void TestClr::textsAreThoseOfThePalette_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    QTest::newRow("asphalt") << clr::asphalt << "rgb(52,73,94)";
    QTest::newRow("concrete") << clr::concrete << "rgb(149,165,166)";
    QTest::newRow("silver") << clr::silver << "rgb(189,195,199)";
    QTest::newRow("clouds") << clr::clouds << "rgb(236,240,241)";
    QTest::newRow("blue") << clr::blue << "rgb(0,190,255)";
    QTest::newRow("blue_h keeps its two zeros") << clr::blue_h << "rgb(00,149,243)";
    QTest::newRow("blue_light") << clr::blue_light << "rgba(44,201,255,123)";
    QTest::newRow("green") << clr::green << "rgb(48,214,149)";
    QTest::newRow("green_h") << clr::green_h << "rgb(38,171,119)";
    QTest::newRow("red") << clr::red << "rgb(255,87,87)";
    QTest::newRow("red_h") << clr::red_h << "rgb(204,70,70)";
    QTest::newRow("xAxis") << clr::xAxis << "rgb(255,87,87)";
    QTest::newRow("yAxis") << clr::yAxis << "rgb(48,214,149)";
    QTest::newRow("zAxis") << clr::zAxis << "rgb(0,190,255)";
    QTest::newRow("singleAxis") << clr::singleAxis << "rgb(255,87,48)";
    QTest::newRow("white") << clr::white << "rgb(255,255,255)";
    QTest::newRow("transparent") << clr::transparent << "rgba(255,255,255,0)";
    QTest::newRow("black") << clr::black << "rgb(58,58,58)";
    QTest::newRow("soft_black") << clr::soft_black << "rgb(72,72,72)";
    QTest::newRow("med_black") << clr::med_black << "rgb(130,130,130)";
    QTest::newRow("grey") << clr::grey << "rgb(210,210,210)";
    QTest::newRow("lightgrey") << clr::lightgrey << "rgb(235,235,235)";
    QTest::newRow("yellow keeps its blanks") << clr::yellow << "rgb(255, 205, 0)";
    QTest::newRow("om_lime") << clr::om_lime << "rgb(217,255,66)";
    QTest::newRow("om_dark_lime") << clr::om_dark_lime << "rgb(187,225,36)";
    QTest::newRow("om_white") << clr::om_white << "rgb(255,255,255)";
    QTest::newRow("om_pearl") << clr::om_pearl << "rgb(242,242,242)";
    QTest::newRow("om_iron") << clr::om_iron << "rgb(194,194,194)";
    QTest::newRow("om_ash") << clr::om_ash << "rgb(137,137,137)";
    QTest::newRow("om_charcoal") << clr::om_charcoal << "rgb(60,60,60)";
    QTest::newRow("om_steel") << clr::om_steel << "rgb(45,45,45)";
    QTest::newRow("om_soil") << clr::om_soil << "rgb(25,25,25)";
    QTest::newRow("om_black") << clr::om_black << "rgb(5,5,5)";
    QTest::newRow("om_demo_red") << clr::om_demo_red << "rgb(255,100,100)";
    QTest::newRow("company_clr") << clr::company_clr << "rgb(217,255,66)";
    QTest::newRow("company_clr_h") << clr::company_clr_h << "rgb(187,225,36)";
}

void TestClr::textsAreThoseOfThePalette()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    QCOMPARE(text, expected);
}

void TestClr::copiesFollowTheirSource()
{
    QCOMPARE(clr::xAxis, clr::red);
    QCOMPARE(clr::yAxis, clr::green);
    QCOMPARE(clr::zAxis, clr::blue);
    QCOMPARE(clr::company_clr, clr::om_lime);
    QCOMPARE(clr::company_clr_h, clr::om_dark_lime);
    QCOMPARE(clr::blue, clr::toStr(clr::blue_clr));
    QCOMPARE(clr::green, clr::toStr(clr::green_clr));
    QCOMPARE(clr::black, clr::toStr(clr::dark));
    QCOMPARE(clr::soft_black, clr::toStr(clr::soft_black_clr));
    QCOMPARE(clr::med_black, clr::toStr(clr::med_black_clr));
    QCOMPARE(clr::grey, clr::toStr(clr::grey_clr));
}

void TestClr::toStrWritesDecimalAndDropsTheAlpha_data()
{
    QTest::addColumn<QColor>("colour");
    QTest::addColumn<QString>("expected");
    QTest::newRow("opaque") << QColor(1, 20, 255) << "rgb(1,20,255)";
    QTest::newRow("black") << QColor(0, 0, 0) << "rgb(0,0,0)";
    QTest::newRow("translucent") << QColor(44, 201, 255, 123) << "rgb(44,201,255)";
    QTest::newRow("fully transparent") << QColor(7, 8, 9, 0) << "rgb(7,8,9)";
}

void TestClr::toStrWritesDecimalAndDropsTheAlpha()
{
    QFETCH(QColor, colour);
    QFETCH(QString, expected);
    QCOMPARE(clr::toStr(colour), expected);
}

void TestClr::styleSheetsReadTheTexts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QColor>("expected");
    QTest::newRow("blue_h") << clr::blue_h << QColor(0, 149, 243);
    QTest::newRow("yellow") << clr::yellow << QColor(255, 205, 0);
    QTest::newRow("blue_light") << clr::blue_light << QColor(44, 201, 255, 123);
    QTest::newRow("transparent") << clr::transparent << QColor(255, 255, 255, 0);
    QTest::newRow("om_soil") << clr::om_soil << clr::om_soil_clr;
    QTest::newRow("om_black") << clr::om_black << clr::om_black_clr;
}

void TestClr::styleSheetsReadTheTexts()
{
    QFETCH(QString, text);
    QFETCH(QColor, expected);
    QLabel label;
    label.setStyleSheet("QLabel{color:" + text + ";}");
    label.ensurePolished();
    QCOMPARE(label.palette().color(QPalette::WindowText), expected);
}

QTEST_MAIN(TestClr)
#include "tst_clr.moc"
