// The answers of a bench as om-bench prints them.

#include "tools/answer_text.h"

#include <QtTest>

using namespace om::bench;
using nlohmann::json;

namespace {

json camera(unsigned int serial, const char* state)
{
    const json values{{"field", {1.0, -2.0, 3.0}},
                      {"specificForce", {0.0, 9.81, 0.0}},
                      {"angularVelocity", {0.5, 0.0, -0.5}},
                      {"heading", 87.5}};
    return {{"serialNumber", serial}, {"model", "TIV_R"},         {"id", 3U},
            {"state", state},         {"motion", "spin"},         {"samplesProduced", 400U},
            {"samplesRead", 399U},    {"faults", json::object()}, {"truth", values},
            {"reading", nullptr}};
}

QString textOf(const json& answer, const Command& command = {})
{
    Text out;
    addAnswer(out, answer, command);
    return QString::fromStdString(out.text());
}

} // namespace

class TestAnswerText : public QObject
{
    Q_OBJECT

private slots:
    void camerasAreATableWithAHeading();
    void faultsStandInOneColumn();
    void calibrationShowsAValueThatIsNoNumber();
    void jsonIsPrintedUnchanged();
    void anAnswerThatOnlyConfirmsPrintsNothing();
    void aMissingMemberIsAnException();
    void withoutASerialNumberOnlyPluggedCamerasAreWatched();
    void aCameraWithoutAReadingHasItsTrueValuesOnly();
};

void TestAnswerText::camerasAreATableWithAHeading()
{
    QCOMPARE(textOf({{"cameras", json::array({camera(31415926, "plugged")})}}),
             QString("SERIAL     MODEL   ID  STATE      MOTION     PRODUCED      READ  FAULTS\n"
                     "31415926   TIV_R    3  plugged    spin            400       399  -\n"));
}

void TestAnswerText::faultsStandInOneColumn()
{
    json faulty = camera(5, "opened");
    faulty["faults"] = {{"imuAbsent", true}, {"openDelay", 2.5}};
    const QString text = textOf({{"cameras", json::array({faulty})}});
    QVERIFY2(text.endsWith("  imuAbsent,openDelay=2.5\n"), qPrintable(text));
}

void TestAnswerText::calibrationShowsAValueThatIsNoNumber()
{
    const json answer{{"scale", {1.25, nullptr, 1}}, {"offset", {0, -3.5, 0}}, {"neutral", false}};
    QCOMPARE(textOf(answer), QString("scale 1.25 nan 1\noffset 0 -3.5 0\nneutral no\n"));
    Command dump;
    dump.dumpFile = "eeprom.bin";
    QCOMPARE(textOf(answer, dump), QString());
}

void TestAnswerText::jsonIsPrintedUnchanged()
{
    Command command;
    command.asJson = true;
    QCOMPARE(textOf({{"ok", true}}, command), QString("{\n  \"ok\": true\n}\n"));
}

void TestAnswerText::anAnswerThatOnlyConfirmsPrintsNothing()
{
    QCOMPARE(textOf({{"ok", true}}), QString());
}

void TestAnswerText::aMissingMemberIsAnException()
{
    json incomplete = camera(5, "opened");
    incomplete.erase("motion");
    QVERIFY_EXCEPTION_THROWN(textOf({{"cameras", json::array({incomplete})}}), json::exception);
}

void TestAnswerText::withoutASerialNumberOnlyPluggedCamerasAreWatched()
{
    Command command;
    command.watch = Command::Watch{};
    const json cameras = json::array({camera(5, "unplugged"), camera(6, "opened")});
    Text all;
    QVERIFY(addWatched(all, cameras, command));
    QVERIFY(QString::fromStdString(all.text()).startsWith("6 "));

    command.watch->serial = 5;
    Text one;
    QVERIFY(addWatched(one, cameras, command));
    QVERIFY(QString::fromStdString(one.text()).startsWith("5 "));

    command.watch->serial = 7;
    Text none;
    QVERIFY(!addWatched(none, cameras, command));
    QVERIFY(none.text().empty());
}

void TestAnswerText::aCameraWithoutAReadingHasItsTrueValuesOnly()
{
    Command command;
    command.watch = Command::Watch{};
    json read = camera(6, "opened");
    Text out;
    addWatched(out, json::array({read}), command);
    QCOMPARE(QString::fromStdString(out.text()).count('\n'), 1);
    QVERIFY(out.text().find("true  heading  87.50") != std::string::npos);

    read["reading"] = read["truth"];
    Text both;
    addWatched(both, json::array({read}), command);
    const QString text = QString::fromStdString(both.text());
    QCOMPARE(text.count('\n'), 2);
    QVERIFY2(text.endsWith("  samples 399/400\n"), qPrintable(text));
}

QTEST_APPLESS_MAIN(TestAnswerText)
#include "tst_answer_text.moc"
