#include "camera/ProgramStates.h"

#include <QtTest>

#include <algorithm>
#include <array>
#include <iterator>
#include <type_traits>

// All data and operations are static: an object has no state.
static_assert(std::is_empty_v<ProgramStates> && !std::is_polymorphic_v<ProgramStates>);
static_assert(std::is_default_constructible_v<ProgramStates> &&
              std::is_destructible_v<ProgramStates>);
using P = ProgramStates;
template <auto Operation, typename Signature>
constexpr bool is = std::is_same_v<decltype(Operation), Signature>;
static_assert(is<&P::bool_attributes, bool (*)[4]> && is<&P::int_attributes, int (*)[19]> &&
              is<&P::double_attributes, double (*)[4]> &&
              is<&P::qstring_attributes, QString (*)[4]>);
static_assert(is<&P::resetStates, void (*)()>);
static_assert(is<&P::setBoolAttr, void (*)(int, bool)> && is<&P::getBoolAttr, bool (*)(int)> &&
              is<&P::switchBoolAttr, void (*)(int)>);
static_assert(is<&P::setIntAttr, void (*)(int, int)> && is<&P::getIntAttr, int (*)(int)> &&
              is<&P::intAttr, int& (*)(int)>);
static_assert(is<&P::setDoubleAttr, void (*)(int, double)> &&
              is<&P::getDoubleAttr, double (*)(int)> && is<&P::doubleAttr, double& (*)(int)>);
static_assert(is<&P::qstringAttr, QString& (*)(int)>);

class TestProgramStates : public QObject
{
    Q_OBJECT

public:
    TestProgramStates();

private slots:
    void numbersAreZeroAndStringsNullAtProcessStart();
    void init();
    void arraysHaveTheirSizes();
    void attributeHasItsNumber_data();
    void attributeHasItsNumber();
    void resetClearsEveryElement();
    void resetMakesStringsEmptyButNotNull();
    void setBooleanIsReadBackAndLeavesItsNeighbours();
    void switchInvertsABoolean();
    void setIntegerIsReadBackAndLeavesItsNeighbours();
    void integerReferenceIsTheElement();
    void setDoubleIsReadBackAndLeavesItsNeighbours();
    void doubleReferenceIsTheElement();
    void stringReferenceIsTheElement();
    void objectsShareTheOneTable();

private:
    // As they were before the first reset.
    std::array<bool, 4> m_bools;
    std::array<int, 19> m_ints;
    std::array<double, 4> m_doubles;
    std::array<QString, 4> m_strings;
};

TestProgramStates::TestProgramStates()
{
    std::copy_n(ProgramStates::bool_attributes, m_bools.size(), m_bools.begin());
    std::copy_n(ProgramStates::int_attributes, m_ints.size(), m_ints.begin());
    std::copy_n(ProgramStates::double_attributes, m_doubles.size(), m_doubles.begin());
    std::copy_n(ProgramStates::qstring_attributes, m_strings.size(), m_strings.begin());
}

void TestProgramStates::numbersAreZeroAndStringsNullAtProcessStart()
{
    for (bool value : m_bools) {
        QCOMPARE(value, false);
    }
    for (int value : m_ints) {
        QCOMPARE(value, 0);
    }
    for (double value : m_doubles) {
        QCOMPARE(value, 0.0);
    }
    for (const QString& text : m_strings) {
        QVERIFY(text.isNull());
    }
}

void TestProgramStates::init()
{
    ProgramStates::resetStates();
}

void TestProgramStates::arraysHaveTheirSizes()
{
    QCOMPARE(std::size(ProgramStates::bool_attributes), std::size_t(4));
    QCOMPARE(std::size(ProgramStates::int_attributes), std::size_t(19));
    QCOMPARE(std::size(ProgramStates::double_attributes), std::size_t(4));
    QCOMPARE(std::size(ProgramStates::qstring_attributes), std::size_t(4));
}

void TestProgramStates::attributeHasItsNumber_data()
{
    QTest::addColumn<int>("constant");
    QTest::addColumn<int>("number");

    QTest::newRow("inputPaused") << ProgramStates::inputPaused << 1;
    QTest::newRow("depthStabilization") << ProgramStates::depthStabilization << 3;

    QTest::newRow("requestedResolution") << ProgramStates::requestedResolution << 1;
    QTest::newRow("depthMaximumMm") << ProgramStates::depthMaximumMm << 2;
    QTest::newRow("confidenceThreshold") << ProgramStates::confidenceThreshold << 3;
    QTest::newRow("imageView") << ProgramStates::imageView << 4;
    QTest::newRow("playbackStep") << ProgramStates::playbackStep << 5;
    QTest::newRow("image2View") << ProgramStates::image2View << 6;
    QTest::newRow("imageWidth") << ProgramStates::imageWidth << 7;
    QTest::newRow("imageHeight") << ProgramStates::imageHeight << 8;
    QTest::newRow("image2Width") << ProgramStates::image2Width << 9;
    QTest::newRow("image2Height") << ProgramStates::image2Height << 10;
    QTest::newRow("measuredFps") << ProgramStates::measuredFps << 11;
    QTest::newRow("cameraFps") << ProgramStates::cameraFps << 12;
    QTest::newRow("requestedFps") << ProgramStates::requestedFps << 13;
    QTest::newRow("depthMode") << ProgramStates::depthMode << 15;
    QTest::newRow("depthMinimumCm") << ProgramStates::depthMinimumCm << 17;
    QTest::newRow("cameraModel") << ProgramStates::cameraModel << 18;

    QTest::newRow("selectedPointX") << ProgramStates::selectedPointX << 1;
    QTest::newRow("selectedPointY") << ProgramStates::selectedPointY << 2;
    QTest::newRow("effectiveDepthMinimum") << ProgramStates::effectiveDepthMinimum << 3;

    QTest::newRow("applicationTitle") << ProgramStates::applicationTitle << 1;
    QTest::newRow("inputFilePath") << ProgramStates::inputFilePath << 2;
}

void TestProgramStates::attributeHasItsNumber()
{
    QFETCH(int, constant);
    QFETCH(int, number);
    QCOMPARE(constant, number);
}

void TestProgramStates::resetClearsEveryElement()
{
    std::fill(std::begin(ProgramStates::bool_attributes), std::end(ProgramStates::bool_attributes),
              true);
    std::fill(std::begin(ProgramStates::int_attributes), std::end(ProgramStates::int_attributes),
              -7);
    std::fill(std::begin(ProgramStates::double_attributes),
              std::end(ProgramStates::double_attributes), -0.5);
    for (QString& text : ProgramStates::qstring_attributes) {
        text = "left over";
    }

    ProgramStates::resetStates();

    for (bool value : ProgramStates::bool_attributes) {
        QCOMPARE(value, false);
    }
    for (int value : ProgramStates::int_attributes) {
        QCOMPARE(value, 0);
    }
    for (double value : ProgramStates::double_attributes) {
        QCOMPARE(value, 0.0);
    }
    for (const QString& text : ProgramStates::qstring_attributes) {
        QCOMPARE(text, QString());
    }
}

void TestProgramStates::resetMakesStringsEmptyButNotNull()
{
    for (QString& text : ProgramStates::qstring_attributes) {
        text = QString();
    }

    ProgramStates::resetStates();

    for (const QString& text : ProgramStates::qstring_attributes) {
        QVERIFY(text.isEmpty());
        QVERIFY(!text.isNull());
    }
}

void TestProgramStates::setBooleanIsReadBackAndLeavesItsNeighbours()
{
    for (int number = 0; number < 4; ++number) {
        ProgramStates::resetStates();
        ProgramStates::setBoolAttr(number, true);
        for (int other = 0; other < 4; ++other) {
            QCOMPARE(ProgramStates::getBoolAttr(other), other == number);
            QCOMPARE(ProgramStates::bool_attributes[other], other == number);
        }
        ProgramStates::setBoolAttr(number, false);
        QCOMPARE(ProgramStates::getBoolAttr(number), false);
    }
}

void TestProgramStates::switchInvertsABoolean()
{
    ProgramStates::switchBoolAttr(ProgramStates::inputPaused);
    QCOMPARE(ProgramStates::getBoolAttr(ProgramStates::inputPaused), true);
    ProgramStates::switchBoolAttr(ProgramStates::inputPaused);
    QCOMPARE(ProgramStates::getBoolAttr(ProgramStates::inputPaused), false);
    QCOMPARE(ProgramStates::getBoolAttr(ProgramStates::depthStabilization), false);
}

void TestProgramStates::setIntegerIsReadBackAndLeavesItsNeighbours()
{
    for (int number = 0; number < 19; ++number) {
        ProgramStates::resetStates();
        ProgramStates::setIntAttr(number, -123456789);
        for (int other = 0; other < 19; ++other) {
            QCOMPARE(ProgramStates::getIntAttr(other), other == number ? -123456789 : 0);
            QCOMPARE(ProgramStates::int_attributes[other], other == number ? -123456789 : 0);
        }
    }
}

void TestProgramStates::integerReferenceIsTheElement()
{
    ProgramStates::intAttr(ProgramStates::cameraModel) = 3;
    QCOMPARE(ProgramStates::getIntAttr(ProgramStates::cameraModel), 3);
    QCOMPARE(&ProgramStates::intAttr(18), &ProgramStates::int_attributes[18]);
}

void TestProgramStates::setDoubleIsReadBackAndLeavesItsNeighbours()
{
    for (int number = 0; number < 4; ++number) {
        ProgramStates::resetStates();
        ProgramStates::setDoubleAttr(number, 0.1);
        for (int other = 0; other < 4; ++other) {
            QCOMPARE(ProgramStates::getDoubleAttr(other), other == number ? 0.1 : 0.0);
            QCOMPARE(ProgramStates::double_attributes[other], other == number ? 0.1 : 0.0);
        }
    }
}

void TestProgramStates::doubleReferenceIsTheElement()
{
    ProgramStates::doubleAttr(ProgramStates::selectedPointX) = -1.0;
    QCOMPARE(ProgramStates::getDoubleAttr(ProgramStates::selectedPointX), -1.0);
    QCOMPARE(&ProgramStates::doubleAttr(3), &ProgramStates::double_attributes[3]);
}

void TestProgramStates::stringReferenceIsTheElement()
{
    ProgramStates::qstringAttr(ProgramStates::applicationTitle) = "Title";
    QCOMPARE(ProgramStates::qstring_attributes[1], QString("Title"));
    QCOMPARE(&ProgramStates::qstringAttr(2), &ProgramStates::qstring_attributes[2]);
}

void TestProgramStates::objectsShareTheOneTable()
{
    ProgramStates::setIntAttr(ProgramStates::requestedFps, 100);
    {
        ProgramStates first;
        ProgramStates second;
        QCOMPARE(&first.intAttr(13), &second.intAttr(13));
    }
    // Creating and destroying an object does not change the table.
    QCOMPARE(ProgramStates::getIntAttr(ProgramStates::requestedFps), 100);
}

QTEST_APPLESS_MAIN(TestProgramStates)
#include "tst_programstates.moc"
