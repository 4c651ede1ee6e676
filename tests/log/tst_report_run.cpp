#include "log/command_line.h"
#include "log/report_run.h"

#include "support/fulldisk.h"

#include <nlohmann/json.hpp>

#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <streambuf>

using namespace samplelog;

Q_DECLARE_METATYPE(std::string)

namespace {

int syncError = 0; // errno of fsync(), 0 for success

const std::string imuHeader = "idx,imu_Timestamp[sec],accX[m/s^2],accY[m/s^2],accZ[m/s^2],"
                              "gyroX[deg/s],gyroY[deg/s],gyroZ[deg/s],\n";

std::string imuRow(int index, double seconds, double value)
{
    char text[256];
    std::snprintf(text, sizeof text, "%d,%.6f,%.6f,9.8,0.1,%.6f,0.2,0.3,\n", index, seconds, value,
                  value);
    return text;
}

std::string imuRows(int count, double step, bool constant = false)
{
    std::string text = imuHeader;
    for (int i = 0; i < count; ++i) {
        text += imuRow(i, 1000.0 + i * step, constant ? 1.0 : 0.01 * ((i * 7919) % 101));
    }
    return text;
}

/// What a call of runReport() wrote beside its files.
struct Said
{
    int status = DONE;
    std::string output;
    std::string error;
};

Said saidBy(const ReportCommand& command)
{
    std::ostringstream output;
    std::ostringstream error;
    std::streambuf* const before = std::cout.rdbuf(output.rdbuf());
    std::streambuf* const errorBefore = std::cerr.rdbuf(error.rdbuf());
    Said said;
    said.status = runReport(command);
    std::cout.rdbuf(before);
    std::cerr.rdbuf(errorBefore);
    said.output = output.str();
    said.error = error.str();
    return said;
}

volatile std::sig_atomic_t interrupts = 0;

/// A standard error on which SIGINT arrives with the first character.
class InterruptedStream : public std::streambuf
{
public:
    int interruptsWithin = -1; ///< number of calls of the handler before the text was written

protected:
    int_type overflow(int_type character) override
    {
        interrupt();
        return traits_type::not_eof(character);
    }
    std::streamsize xsputn(const char* /*text*/, std::streamsize count) override
    {
        interrupt();
        return count;
    }

private:
    void interrupt()
    {
        if (interruptsWithin < 0) {
            std::raise(SIGINT);
            interruptsWithin = interrupts;
        }
    }
};

} // namespace

// Replaces the system's function, which fails only on a broken disk.
extern "C" int fsync(int /*descriptor*/)
{
    errno = syncError;
    return syncError == 0 ? 0 : -1;
}

class TestReportRun : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void allFilesAreWritten();
    void oddInputIsReportedOrRefused_data();
    void oddInputIsReportedOrRefused();
    void whatIsNoFileIsRefused();
    void failedVerdictIsInTheStatus();
    void recordingIsNotOverwritten();
    void outputIsChecked_data();
    void outputIsChecked();
    void aFullDiskKeepsTheFormerReport_data();
    void aFullDiskKeepsTheFormerReport();
    void anErrorOfTheDiskAtTheEndKeepsTheFormerReport();
    void interruptWaitsUntilAFileIsWritten();
    void hostileNameIsOneLine();
    void numbersHaveAPointInEveryLanguage();
    void rowsThatWereLeftOutAreCounted();
    void timeThatStepsBackFails();

private:
    std::string path(const std::string& name) const
    {
        return m_folder->filePath(QString::fromStdString(name)).toStdString();
    }
    std::string written(const std::string& name, const std::string& content) const
    {
        std::ofstream(path(name), std::ios::binary) << content;
        return path(name);
    }
    QByteArray contents(const std::string& name) const
    {
        QFile file(QString::fromStdString(path(name)));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot be read");
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void TestReportRun::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
}

void TestReportRun::allFilesAreWritten()
{
    ReportCommand command;
    command.recordings = {written("a.csv", imuRows(4000, 0.0025))};
    command.htmlPath = path("a.html");
    command.jsonPath = path("a.json");
    command.pdfPath = path("a.pdf");
    command.yamlPath = path("a.yaml");
    const Said said = saidBy(command);
    QCOMPARE(said.error, std::string());
    QVERIFY(said.output.find("Rate of the IMU: 400.00 Hz") != std::string::npos);
    for (const char* name : {"a.html", "a.json", "a.pdf", "a.yaml"}) {
        QVERIFY2(QFileInfo(QString::fromStdString(path(name))).size() > 100, name);
    }
}

void TestReportRun::oddInputIsReportedOrRefused_data()
{
    QTest::addColumn<std::string>("content");
    QTest::addColumn<std::string>("error"); // empty: a report
    const std::string none;
    QTest::newRow("empty") << none << std::string("is empty");
    QTest::newRow("header only") << imuHeader << std::string("fewer than two usable rows");
    QTest::newRow("one row") << imuHeader + imuRow(0, 1.0, 0.0)
                             << std::string("fewer than two usable rows");
    QTest::newRow("two rows") << imuRows(2, 0.0025) << none;
    QTest::newRow("three rows") << imuRows(3, 0.0025) << none;
    QTest::newRow("ten rows") << imuRows(10, 0.0025) << none;
    QTest::newRow("all the same") << imuRows(4000, 0.0025, true) << none;
    std::string nan = imuHeader;
    for (int i = 0; i < 100; ++i) {
        nan += std::to_string(i) + ",1.0,nan,nan,nan,nan,nan,nan,\n";
    }
    QTest::newRow("not a number") << nan << std::string("fewer than two usable rows");
    QTest::newRow("falling times")
        << imuRows(100, -0.0025) << std::string("fewer than two usable rows");
    QTest::newRow("same times") << imuRows(100, 0.0) << std::string("fewer than two usable rows");
    std::string gaps = imuHeader;
    for (int i = 0; i < 1000; ++i) {
        gaps += imuRow(i, 1000.0 + i * 0.0025 + (i > 500 ? 8e9 : 0.0), 0.01 * (i % 7));
    }
    QTest::newRow("a gap of centuries") << gaps << none;
    std::string scattered = imuHeader;
    for (int i = 0; i < 300; ++i) {
        scattered += imuRow(i * 7'000'007, 1000.0 + 1e3 * i * i, 1e9);
    }
    QTest::newRow("times and numbers at random") << scattered << none;
    std::string slow = imuHeader;
    for (int i = 0; i < 5; ++i) {
        slow += imuRow(4'000'000 * i, 1000.0 + i * 1e-6, 0.0);
    }
    QTest::newRow("a microsecond apart") << slow << none;
    std::string magnetometer = "idx,mag_Timestamp[sec],magX[uT],magY[uT],magZ[uT],\n";
    for (int i = 0; i < 200; ++i) {
        magnetometer += std::to_string(i) + "," + std::to_string(10 + 0.02 * i) + ",1,2,3,\n";
    }
    QTest::newRow("magnetometer at rest alone") << magnetometer << none;
    std::string empty = "idx,imu_Timestamp[sec],\n";
    for (int i = 0; i < 200; ++i) {
        empty += std::to_string(i) + "," + std::to_string(10 + 0.0025 * i) + ",\n";
    }
    QTest::newRow("times alone") << empty << none;
    QTest::newRow("bytes") << std::string("\0\xff\xfe\n\n\0idx", 9)
                           << std::string("is not a recording");
    QTest::newRow("another table")
        << std::string("a,b\n1,2\n") << std::string("is not a recording");
}

void TestReportRun::oddInputIsReportedOrRefused()
{
    QFETCH(std::string, content);
    QFETCH(std::string, error);
    ReportCommand command;
    command.recordings = {written("odd.csv", content)};
    command.htmlPath = path("odd.html");
    command.jsonPath = path("odd.json");
    command.pdfPath = path("odd.pdf");
    command.yamlPath = path("odd.yaml");
    command.options.sixPositions = true;
    const Said said = saidBy(command);
    if (!error.empty()) {
        QCOMPARE(said.status, NOT_DONE);
        QVERIFY2(said.error.find(path("odd.csv")) != std::string::npos, said.error.c_str());
        QVERIFY2(said.error.find(error) != std::string::npos, said.error.c_str());
        QCOMPARE(std::count(said.error.begin(), said.error.end(), '\n'), std::ptrdiff_t{1});
        QVERIFY(!QFile::exists(QString::fromStdString(path("odd.html"))));
        return;
    }
    QVERIFY2(said.status == DONE || said.status == INCOMPLETE, said.error.c_str());
    QCOMPARE(said.error, std::string());
    std::ifstream file(path("odd.json"));
    const auto object = nlohmann::json::parse(file);
    QVERIFY(object["timing"]["rate_hz"].is_number());
    QVERIFY(QFile::exists(QString::fromStdString(path("odd.pdf"))));
}

void TestReportRun::whatIsNoFileIsRefused()
{
    QCOMPARE(::mkfifo(path("fifo.csv").c_str(), 0600), 0);
    for (const std::string& name :
         {path("fifo.csv"), path("missing.csv"), m_folder->path().toStdString()}) {
        ReportCommand command;
        command.recordings = {name};
        const Said said = saidBy(command);
        QCOMPARE(said.status, NOT_DONE);
        QVERIFY2(said.error.find("gravimon-log: " + name + ": ") == 0, said.error.c_str());
    }
}

void TestReportRun::failedVerdictIsInTheStatus()
{
    ReportCommand command;
    command.recordings = {written("stuck.csv", imuRows(4000, 0.0025, true))};
    QCOMPARE(saidBy(command).status, INCOMPLETE);
}

void TestReportRun::recordingIsNotOverwritten()
{
    const std::string content = imuRows(100, 0.0025);
    ReportCommand command;
    command.recordings = {written("a.csv", content)};
    command.jsonPath = path("../" + m_folder->path().section('/', -1).toStdString() + "/a.csv");
    const Said said = saidBy(command);
    QCOMPARE(said.status, NOT_DONE);
    QVERIFY2(said.error.find("would overwrite the recording") != std::string::npos,
             said.error.c_str());
    QCOMPARE(QFileInfo(QString::fromStdString(path("a.csv"))).size(),
             static_cast<qint64>(content.size()));
}

void TestReportRun::outputIsChecked_data()
{
    QTest::addColumn<std::string>("html");
    QTest::addColumn<std::string>("json");
    QTest::addColumn<int>("status");
    QTest::newRow("missing folder")
        << std::string("none/a.html") << std::string() << static_cast<int>(NOT_DONE);
    QTest::newRow("a folder") << std::string(".") << std::string() << static_cast<int>(NOT_DONE);
    QTest::newRow("a FIFO") << std::string("fifo") << std::string() << static_cast<int>(NOT_DONE);
    QTest::newRow("twice the same")
        << std::string("a") << std::string("a") << static_cast<int>(WRONG_USAGE);
    QTest::newRow("twice the same by another name")
        << std::string("a") << std::string("./a") << static_cast<int>(WRONG_USAGE);
    QTest::newRow("one name in two missing folders")
        << std::string("none1/a") << std::string("none2/a") << static_cast<int>(NOT_DONE);
    QTest::newRow("twice the same in a missing folder")
        << std::string("none/a") << std::string("./none/a") << static_cast<int>(WRONG_USAGE);
    QTest::newRow("a link and the missing file that it names")
        << std::string("link") << std::string("target") << static_cast<int>(WRONG_USAGE);
}

void TestReportRun::outputIsChecked()
{
    QFETCH(std::string, html);
    QFETCH(std::string, json);
    QCOMPARE(::mkfifo(path("fifo").c_str(), 0600), 0);
    QCOMPARE(::symlink("target", path("link").c_str()), 0);
    ReportCommand command;
    command.recordings = {written("a.csv", imuRows(100, 0.0025))};
    command.htmlPath = path(html);
    command.jsonPath = json.empty() ? json : path(json);
    const Said said = saidBy(command);
    QTEST(said.status, "status");
    QCOMPARE(std::count(said.error.begin(), said.error.end(), '\n'), std::ptrdiff_t{1});
    QCOMPARE(said.output, std::string());
}

void TestReportRun::aFullDiskKeepsTheFormerReport_data()
{
    QTest::addColumn<QByteArray>("form");
    QTest::addColumn<qint64>("missing"); // bytes that find no room
    for (const char* const form : {"html", "json", "pdf", "yaml"}) {
        QTest::addRow("%s, one byte", form) << QByteArray(form) << qint64{1};
        QTest::addRow("%s, 10000 bytes", form) << QByteArray(form) << qint64{10'000};
        QTest::addRow("%s, all", form) << QByteArray(form) << qint64{1'000'000'000};
    }
}

void TestReportRun::aFullDiskKeepsTheFormerReport()
{
    QFETCH(QByteArray, form);
    QFETCH(qint64, missing);
    ReportCommand command;
    command.recordings = {written("a.csv", imuRows(4000, 0.0025))};
    (form == "html"   ? command.htmlPath
     : form == "json" ? command.jsonPath
     : form == "pdf"  ? command.pdfPath
                      : command.yamlPath) = path("out");
    QCOMPARE(saidBy(command).error, std::string());
    const QByteArray former = contents("out"); // the second report has the same size
    Said said;
    {
        const FullDisk disk(std::max(qint64{0}, former.size() - missing));
        said = saidBy(command);
    }
    QCOMPARE(said.error, "gravimon-log: " + path("out") + ": cannot be written: File too large\n");
    QCOMPARE(said.status, NOT_DONE);
    QCOMPARE(contents("out"), former);
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files | QDir::Hidden),
             QStringList({"a.csv", "out"}));
}

void TestReportRun::anErrorOfTheDiskAtTheEndKeepsTheFormerReport()
{
    ReportCommand command;
    command.recordings = {written("a.csv", imuRows(100, 0.0025))};
    command.yamlPath = written("out", "former");
    syncError = ENOSPC;
    const Said said = saidBy(command);
    syncError = 0;
    QCOMPARE(said.error,
             "gravimon-log: " + path("out") + ": cannot be written: No space left on device\n");
    QCOMPARE(said.status, NOT_DONE);
    QCOMPARE(contents("out"), QByteArray("former"));
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files | QDir::Hidden),
             QStringList({"a.csv", "out"}));
}

void TestReportRun::interruptWaitsUntilAFileIsWritten()
{
    ReportCommand command;
    command.recordings = {written("a.csv", imuRows(4000, 0.0025))};
    command.jsonPath =
        path(std::string(300, 'a')); // no file system takes it: writing ends with a message
    const auto count = [](int) { interrupts = interrupts + 1; };
    auto* const handlerBefore = std::signal(SIGINT, count);
    InterruptedStream error;
    std::streambuf* const errorBefore = std::cerr.rdbuf(&error);
    const int status = runReport(command);
    std::cerr.rdbuf(errorBefore);
    std::signal(SIGINT, handlerBefore);
    QCOMPARE(status, NOT_DONE);
    QCOMPARE(error.interruptsWithin, 0);
    QCOMPARE(static_cast<int>(interrupts), 1);
}

void TestReportRun::hostileNameIsOneLine()
{
    ReportCommand command;
    command.recordings = {path("a\n\x1b[31m\xff\u202e.csv")};
    const Said said = saidBy(command);
    QCOMPARE(std::count(said.error.begin(), said.error.end(), '\n'), std::ptrdiff_t{1});
    QVERIFY(said.error.find('\x1b') == std::string::npos);
    QVERIFY(said.error.find("\u202e") == std::string::npos);

    command.recordings = {written("b\n\x1b[31m\u2028c: \u2029.csv", imuRows(100, 0.0025))};
    command.yamlPath = path("c.yaml");
    const Said good = saidBy(command);
    QVERIFY(good.output.find('\x1b') == std::string::npos);
    QVERIFY(good.output.find("b  [31m c:  .csv") != std::string::npos);
    // Some readers of YAML begin a line after these separators.
    std::ifstream yaml(command.yamlPath);
    const std::string text((std::istreambuf_iterator<char>(yaml)), {});
    QVERIFY(text.find("b  [31m c:  .csv\n") != std::string::npos);
}

void TestReportRun::numbersHaveAPointInEveryLanguage()
{
    ReportCommand command;
    command.recordings = {written("a.csv", imuRows(4000, 0.0025))};
    const auto pageIn = [&](const QLocale& locale, const char* name) {
        QLocale::setDefault(locale);
        command.htmlPath = path(name);
        saidBy(command);
        QFile page(QString::fromStdString(command.htmlPath));
        return page.open(QIODevice::ReadOnly) ? page.readAll() : QByteArray();
    };
    const QByteArray english = pageIn(QLocale::c(), "c.html");
    const QByteArray german = pageIn(QLocale(QLocale::German), "de.html");
    QCOMPARE(QLocale().language(), QLocale::German); // what was the caller's is his again
    const QByteArray arabic = pageIn(QLocale(QLocale::Arabic, QLocale::Egypt), "ar.html");
    QLocale::setDefault(QLocale::c());
    QVERIFY(english.contains(">0.01</text>") || english.contains(">0.1</text>"));
    QCOMPARE(german, english);
    QCOMPARE(arabic, english);
}

void TestReportRun::rowsThatWereLeftOutAreCounted()
{
    ReportCommand command;
    command.recordings = {written("a.csv", imuRows(100, -0.0025))};
    const Said said = saidBy(command);
    QCOMPARE(said.status, NOT_DONE);
    QVERIFY2(said.error.find("left out: 99 rows with a time before that of the last row that was "
                             "kept\n") != std::string::npos,
             said.error.c_str());
}

void TestReportRun::timeThatStepsBackFails()
{
    std::string text = imuHeader;
    for (int i = 0; i < 1000; ++i) {
        text += imuRow(i, 1e4 + i * 0.0025 - (i < 500 ? 0.0 : 3600.0), 0.01 * ((i * 7919) % 101));
    }
    ReportCommand command;
    command.recordings = {written("a.csv", text)};
    const Said said = saidBy(command);
    QCOMPARE(said.status, INCOMPLETE);
    QVERIFY2(said.output.find("failed: Rows that can be used: 500 of 1000 ") != std::string::npos,
             said.output.c_str());
}

QTEST_MAIN(TestReportRun)
#include "tst_report_run.moc"
