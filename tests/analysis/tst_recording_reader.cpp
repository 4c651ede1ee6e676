#include "analysis/recording.h"

#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <cstring>
#include <fstream>
#include <random>

using namespace analysis;

namespace {

const std::string header =
    "idx,imu_Timestamp[sec],mag_Timestamp[sec],baro_Timestamp[sec],accX[m/s^2],accY[m/s^2],"
    "accZ[m/s^2],gyroX[deg/s],gyroY[deg/s],gyroZ[deg/"
    "s],magX[uT],magY[uT],magZ[uT],orX[deg],orY[deg],"
    "orZ[deg],press[hPa],rel_alt[m],moving, "
    "temp_left[C],temp_right[C],temp_imu[C],temp_barom[C],\n";

/// Time in microseconds behind 1706711000 s, of the IMU, the magnetometer and the barometer.
std::string row(int index, int imu, int mag, int baro)
{
    char text[512];
    std::snprintf(text, sizeof text,
                  "%d,1706711000.%06d001,1706711000.%06d001,1706711000.%06d001,0.100000001,"
                  "9.800000191,-0.200000003,1.500000000,-2.500000000,3.500000000,20.500000000,"
                  "-30.250000000,40.125000000,10.000000000,20.000000000,30.000000000,"
                  "1013.250000000,0.500000000,1.000000000,28.500000000,29.000000000,27.250000000,"
                  "26.750000000,\n",
                  index, imu, mag, baro);
    return text;
}

std::optional<Recording> parse(const std::string& text, std::string* error = nullptr)
{
    std::string reason;
    auto recording = parseRecording(text.data(), text.data() + text.size(),
                                    "20240131_142305-TIV_Q-sn_12345678-TIVSensorsData.csv", reason);
    if (error != nullptr) {
        *error = reason;
    }
    return recording;
}

} // namespace

class TestRecordingReader : public QObject
{
    Q_OBJECT

private slots:
    void everyColumnArrives();
    void repeatedSlowSamplesCountOnce();
    void repeatedFieldIsReadAgainAfterAnInvalidOne();
    void numbersAreTheNearestDoubles();
    void timesAreWholeMicroseconds();
    void rowsAboveTheHeaderCount();
    void imuWithoutItsTimeIsLeftOut();
    void badRowIsLeftOutAndCounted_data();
    void badRowIsLeftOutAndCounted();
    void indexHas32Bits();
    void rowsBeforeTheLastKeptOneAreLeftOut();
    void repeatsOfASlowSensorAreNoRows_data();
    void repeatsOfASlowSensorAreNoRows();
    void samplesOfASlowSensorWithAnEarlierTimeAreCounted_data();
    void samplesOfASlowSensorWithAnEarlierTimeAreCounted();
    void zerosAreNoTemperatures();
    void unknownColumnIsPassed();
    void lastLineWithoutLineFeedIsARow();
    void carriageReturnsAreIgnored();
    void whatIsNoRecordingIsRefused_data();
    void whatIsNoRecordingIsRefused();
    void fileIsReadAndNamed();
    void fileThatIsNoneIsRefused();
    void progressEndsTheReading();
    void fileThatIsCutIsRefused();
};

void TestRecordingReader::everyColumnArrives()
{
    const auto recording = parse(header + row(7, 2500, 1000, 500) + row(8, 5000, 1000, 500));
    QVERIFY(recording);
    QCOMPARE(recording->model, std::string("TIV_Q"));
    QCOMPARE(recording->serial, std::string("12345678"));
    QCOMPARE(recording->report.rows, std::uint64_t{2});
    QCOMPARE(recording->numbers, (std::vector<std::uint32_t>{7, 8}));
    QCOMPARE(recording->times[0], Nanoseconds{1706711000'002'500'000});
    QCOMPARE(recording->acceleration.axes[0][0], 0.100000001);
    QCOMPARE(recording->acceleration.axes[1][0], 9.800000191);
    QCOMPARE(recording->acceleration.axes[2][0], -0.200000003);
    QCOMPARE(recording->angularVelocity.axes[1][1], -2.5);
    QCOMPARE(recording->magneticField.values.axes[1][0], -30.25);
    QCOMPARE(recording->pressure[0], 1013.25);
    QCOMPARE(recording->relativeAltitude[0], 0.5);
    QCOMPARE(recording->temperatures[0][0], 28.5);
    QCOMPARE(recording->temperatures[1][0], 29.0);
    QCOMPARE(recording->temperatures[2][0], 27.25);
    QCOMPARE(recording->temperatures[3][0], 26.75);
}

void TestRecordingReader::repeatedSlowSamplesCountOnce()
{
    const auto recording = parse(header + row(0, 2500, 1000, 500) + row(1, 5000, 1000, 500) +
                                 row(2, 7500, 6000, 500) + row(3, 10000, 6000, 9000));
    QVERIFY(recording);
    QCOMPARE(recording->times.size(), std::size_t{4});
    QCOMPARE(recording->magneticField.times.size(), std::size_t{2});
    QCOMPARE(recording->barometerTimes.size(), std::size_t{2});
    QCOMPARE(recording->temperatureTimes.size(), std::size_t{2});
}

void TestRecordingReader::repeatedFieldIsReadAgainAfterAnInvalidOne()
{
    std::string invalid = row(1, 2500, 0, 2500);
    const std::string pressure = "1013.250000000";
    invalid.replace(invalid.find(pressure), pressure.size(), "5000000000000");
    const auto recording =
        parse(header + row(0, 0, 0, 0) + invalid + row(2, 5000, 0, 5000) + row(3, 7500, 0, 7500));
    QVERIFY(recording);
    QCOMPARE(recording->report.invalidRows, std::uint64_t{1});
    QCOMPARE(recording->pressure, (std::vector<double>{1013.25, 1013.25, 1013.25}));
}

void TestRecordingReader::numbersAreTheNearestDoubles()
{
    std::mt19937_64 generator(3);
    for (int i = 0; i < 20000; ++i) {
        const double scale = std::pow(10.0, static_cast<int>(generator() % 12) - 3);
        const double value = scale * (static_cast<double>(generator() % 2000001) / 1e6 - 1.0);
        char text[64];
        std::snprintf(text, sizeof text, "%.9f", value);
        double expected = 0.0;
        std::from_chars(text, text + std::strlen(text), expected);
        const std::string line = std::string("1,2.0,") + text + ",0.0,0.0,\n";
        const auto recording = parse(
            "idx,imu_Timestamp[sec],accX[m/s^2],accY[m/s^2],accZ[m/s^2],\n0,1.0,0,0,0,\n" + line);
        QVERIFY2(recording, text);
        QVERIFY2(recording->acceleration.axes[0][1] == expected, text);
    }
}

void TestRecordingReader::timesAreWholeMicroseconds()
{
    const auto recording = parse("idx,imu_Timestamp[sec],\n0,1706711000.123456001,\n"
                                 "1,1706711000.123456955,\n2,1706711001,\n3,1706711002.5,\n");
    QVERIFY(recording);
    QCOMPARE(recording->times,
             (std::vector<Nanoseconds>{1706711000'123'456'000, 1706711000'123'457'000,
                                       1706711001'000'000'000, 1706711002'500'000'000}));
}

void TestRecordingReader::rowsAboveTheHeaderCount()
{
    const auto recording =
        parse(row(0, 2500, 1000, 500) + header + row(1, 5000, 1000, 500) + row(2, 7500, 1000, 500));
    QVERIFY(recording);
    QCOMPARE(recording->numbers, (std::vector<std::uint32_t>{0, 1, 2}));
}

void TestRecordingReader::imuWithoutItsTimeIsLeftOut()
{
    const auto recording = parse("idx,mag_Timestamp[sec],accX[m/s^2],accY[m/s^2],accZ[m/s^2],"
                                 "magX[uT],magY[uT],magZ[uT],\n0,1.0,1,2,3,4,5,6,\n"
                                 "1,2.0,1,2,3,4,5,6,\n");
    QVERIFY(recording);
    QVERIFY(recording->times.empty());
    QVERIFY(recording->acceleration.empty());
    QCOMPARE(recording->magneticField.times.size(), std::size_t{2});
}

void TestRecordingReader::badRowIsLeftOutAndCounted_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<int>("torn");
    QTest::addColumn<int>("invalid");
    QTest::addColumn<int>("repeated");
    QTest::addColumn<int>("backward");
    const QByteArray head = "idx,imu_Timestamp[sec],accX[m/s^2],accY[m/s^2],accZ[m/s^2],\n";
    QTest::newRow("cut") << QByteArray("1,2.0,0.5") << 1 << 0 << 0 << 0;
    QTest::newRow("cut behind a comma") << QByteArray("1,2.0,") << 1 << 0 << 0 << 0;
    QTest::newRow("one field more") << QByteArray("1,2.0,1,2,3,4,") << 1 << 0 << 0 << 0;
    QTest::newRow("two rows glued") << QByteArray("1,2.0,1,2,1,2.0,1,2,3,") << 1 << 0 << 0 << 0;
    QTest::newRow("last comma missing") << QByteArray("1,2.0,1,2,3") << 1 << 0 << 0 << 0;
    QTest::newRow("no number") << QByteArray("1,2.0,1,two,3,") << 0 << 1 << 0 << 0;
    QTest::newRow("empty field") << QByteArray("1,2.0,1,,3,") << 0 << 1 << 0 << 0;
    QTest::newRow("infinite") << QByteArray("1,2.0,1,inf,3,") << 0 << 1 << 0 << 0;
    QTest::newRow("not a number") << QByteArray("1,2.0,1,nan,3,") << 0 << 1 << 0 << 0;
    QTest::newRow("too large") << QByteArray("1,2.0,1,1e999,3,") << 0 << 1 << 0 << 0;
    QTest::newRow("more than a sensor gives") << QByteArray("1,2.0,1,-1e10,3,") << 0 << 1 << 0 << 0;
    QTest::newRow("more, in digits") << QByteArray("1,2.0,1,20000000000,3,") << 0 << 1 << 0 << 0;
    QTest::newRow("negative time") << QByteArray("1,-2.0,1,2,3,") << 0 << 1 << 0 << 0;
    QTest::newRow("time out of range") << QByteArray("1,99999999999,1,2,3,") << 0 << 1 << 0 << 0;
    QTest::newRow("negative index") << QByteArray("-1,2.0,1,2,3,") << 0 << 1 << 0 << 0;
    QTest::newRow("index of half") << QByteArray("1.5,2.0,1,2,3,") << 0 << 1 << 0 << 0;
    QTest::newRow("same time") << QByteArray("1,1.0,1,2,3,") << 0 << 0 << 1 << 0;
    QTest::newRow("earlier time") << QByteArray("1,0.5,1,2,3,") << 0 << 0 << 0 << 1;
    QTest::newRow("empty line") << QByteArray("") << 0 << 0 << 0 << 0;
}

void TestRecordingReader::badRowIsLeftOutAndCounted()
{
    QFETCH(QByteArray, line);
    QFETCH(int, torn);
    QFETCH(int, invalid);
    QFETCH(int, repeated);
    QFETCH(int, backward);
    const auto recording = parse("idx,imu_Timestamp[sec],accX[m/s^2],accY[m/s^2],accZ[m/s^2],\n"
                                 "0,1.0,1,2,3,\n" +
                                 line.toStdString() + "\n2,3.0,4,5,6,\n");
    QVERIFY(recording);
    QCOMPARE(recording->numbers, (std::vector<std::uint32_t>{0, 2}));
    QCOMPARE(recording->acceleration.axes[2], (std::vector<double>{3.0, 6.0}));
    QCOMPARE(static_cast<int>(recording->report.tornRows), torn);
    QCOMPARE(static_cast<int>(recording->report.invalidRows), invalid);
    QCOMPARE(static_cast<int>(recording->report.repeatedRows), repeated);
    QCOMPARE(static_cast<int>(recording->report.backwardRows), backward);
}

void TestRecordingReader::indexHas32Bits()
{
    const auto recording = parse("idx,imu_Timestamp[sec],accX[m/s^2],accY[m/s^2],accZ[m/s^2],\n"
                                 "999999999,1.0,1,2,3,\n"
                                 "1000000001,2.0,1,2,3,\n"
                                 "4294967295,3.0,1,2,3,\n"
                                 "4294967296,4.0,1,2,3,\n");
    QVERIFY(recording);
    QCOMPARE(recording->numbers,
             (std::vector<std::uint32_t>{999'999'999, 1'000'000'001, 4'294'967'295}));
    QCOMPARE(static_cast<int>(recording->report.invalidRows), 1);
}

void TestRecordingReader::rowsBeforeTheLastKeptOneAreLeftOut()
{
    const auto recording = parse("idx,imu_Timestamp[sec],\n0,1,\n1,2,\n2,1000,\n3,3,\n4,4,\n"
                                 "5,1000,\n6,1001,\n");
    QVERIFY(recording);
    QCOMPARE(recording->numbers, (std::vector<std::uint32_t>{0, 1, 2, 6}));
    QCOMPARE(leftOutText(recording->report),
             std::string("1 row with the time of the last row that was kept, 2 rows with a time "
                         "before that of the last row that was kept"));
    QCOMPARE(lostShareOf(recording->report), 2.0 / 7.0); // a repeated row is not lost
    QCOMPARE(lostShareOf(ReadReport()), 0.0);
    ReadReport torn;
    torn.rows = 10;
    torn.tornRows = 1; // the end of a recording that was killed
    QCOMPARE(lostShareOf(torn), 0.0);
    torn.tornRows = 2;
    QCOMPARE(lostShareOf(torn), 1.0 / 11.0);
    torn.slowRows = 80;
    QCOMPARE(lostShareOf(torn), 1.0 / 91.0);
    torn.magnetometer = {1000, 1};
    QCOMPARE(lostShareOf(torn), 1.0 / 91.0); // the larger share
    torn.barometer = {4, 1};
    QCOMPARE(lostShareOf(torn), 1.0 / 5.0);
    torn.magnetometer.backward = 2;
    torn.tornRows = 0;
    QCOMPARE(leftOutText(torn),
             std::string(
                 "2 samples of the magnetometer with a time before that of its last one that was "
                 "kept, 1 sample of the barometer with a time before that of its last one "
                 "that was kept"));
}

void TestRecordingReader::repeatsOfASlowSensorAreNoRows_data()
{
    QTest::addColumn<QByteArray>("columns");
    QTest::addColumn<QByteArray>("times"); // one row each, with values of 1
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("repeated");
    QTest::addColumn<int>("backward");
    QTest::addColumn<int>("slow");
    const QByteArray magnetometer = "mag_Timestamp[sec],magX[uT],magY[uT],magZ[uT],\n";
    QTest::newRow("magnetometer") << magnetometer << QByteArray("0 0 5 5 5 6 0 7") << 3 << 0 << 0
                                  << 5;
    QTest::newRow("time that steps back")
        << magnetometer << QByteArray("5 5 6 4 6 7") << 3 << 0 << 1 << 2;
    QTest::newRow("IMU") << QByteArray(
                                "imu_Timestamp[sec],gyroX[deg/s],gyroY[deg/s],gyroZ[deg/s],\n")
                         << QByteArray("5 5 5 6 6 7") << 3 << 3 << 0 << 0;
}

void TestRecordingReader::repeatsOfASlowSensorAreNoRows()
{
    QFETCH(QByteArray, columns);
    QFETCH(QByteArray, times);
    std::string text = "idx," + columns.toStdString();
    for (const QByteArray& time : times.split(' ')) {
        text += "0," + time.toStdString() + ",1,1,1,\n";
    }
    const auto recording = parse(text);
    QVERIFY(recording);
    QTEST(static_cast<int>(recording->report.rows), "rows");
    QTEST(static_cast<int>(recording->report.repeatedRows), "repeated");
    QTEST(static_cast<int>(recording->report.backwardRows), "backward");
    QTEST(static_cast<int>(recording->report.slowRows), "slow");
}

void TestRecordingReader::samplesOfASlowSensorWithAnEarlierTimeAreCounted_data()
{
    QTest::addColumn<QByteArray>("times"); // of the sensor in the rows
    QTest::addColumn<int>("samples");
    QTest::addColumn<int>("backward");
    QTest::newRow("repeats") << QByteArray("5 5 5 6 6 7") << 3 << 0;
    QTest::newRow("no sample in between") << QByteArray("0 5 0 5 6 0") << 2 << 0;
    QTest::newRow("far too late") << QByteArray("5 6 9 7 7 8 8 8") << 3 << 2;
    QTest::newRow("set back") << QByteArray("5 6 1 1 2 2 3 3") << 2 << 3;
    QTest::newRow("the former sample again, with each row")
        << QByteArray("5 6 5 6 5 6 7") << 3 << 0;
    QTest::newRow("the former sample again, from then on")
        << QByteArray("4 5 6 5 5 5 5 5") << 3 << 0;
    QTest::newRow("an older sample again") << QByteArray("4 5 6 4 4 4 4 4") << 3 << 1;
}

void TestRecordingReader::samplesOfASlowSensorWithAnEarlierTimeAreCounted()
{
    QFETCH(QByteArray, times);
    QFETCH(int, samples);
    QFETCH(int, backward);
    const QList<QByteArray> fields = times.split(' ');
    for (const bool isBarometer : {false, true}) {
        std::string text =
            isBarometer ? "idx,imu_Timestamp[sec],baro_Timestamp[sec],press[hPa],rel_alt[m],\n"
                        : "idx,imu_Timestamp[sec],mag_Timestamp[sec],magX[uT],magY[uT],"
                          "magZ[uT],\n";
        for (int i = 0; i < fields.size(); ++i) {
            text += std::to_string(i) + "," + std::to_string(100 + i) + "," +
                    fields[i].toStdString() + (isBarometer ? ",1,1,\n" : ",1,1,1,\n");
        }
        const auto recording = parse(text);
        QVERIFY(recording);
        const ReadReport& report = recording->report;
        QCOMPARE(static_cast<int>(report.rows), fields.size());
        const SlowReport& sensor = isBarometer ? report.barometer : report.magnetometer;
        QCOMPARE(static_cast<int>(sensor.samples), samples);
        QCOMPARE(static_cast<int>(sensor.backward), backward);
        QCOMPARE(static_cast<int>(isBarometer ? recording->barometerTimes.size()
                                              : recording->magneticField.times.size()),
                 samples);
        QCOMPARE(lostShareOf(report), backward / static_cast<double>(samples + backward));
        QCOMPARE(leftOutText(report).empty(), backward == 0);
    }
}

void TestRecordingReader::zerosAreNoTemperatures()
{
    std::string text = "idx,imu_Timestamp[sec],baro_Timestamp[sec],temp_left[C],temp_right[C],"
                       "temp_imu[C],temp_barom[C],\n";
    const auto add = [&](const char* rest) { text += rest; };
    add("0,1.00,0,0,0,0,0,\n");
    add("1,1.01,0,0,0,20.5,0,\n"); // the first values
    add("2,1.02,1.015,0,0,0,0,\n");
    add("3,1.06,1.055,0,0,0,-0.5,\n");
    const auto recording = parse(text);
    QVERIFY(recording);
    QCOMPARE(recording->temperatureTimes, (std::vector<Nanoseconds>{1'010'000'000, 1'055'000'000}));
    QCOMPARE(recording->temperatures[2], (std::vector<double>{20.5, 0.0}));
    QCOMPARE(recording->temperatures[3], (std::vector<double>{0.0, -0.5}));
}

void TestRecordingReader::unknownColumnIsPassed()
{
    const auto recording = parse(
        "idx,imu_Timestamp[sec],note,accX[m/s^2],accY[m/s^2],accZ[m/s^2],\n0,1.0,any text,1,2,3,\n"
        "1,2.0,,4,5,6,\n");
    QVERIFY(recording);
    QCOMPARE(recording->acceleration.axes[0], (std::vector<double>{1.0, 4.0}));
}

void TestRecordingReader::lastLineWithoutLineFeedIsARow()
{
    const auto recording = parse("idx,imu_Timestamp[sec],\n0,1.0,\n1,2.0,");
    QVERIFY(recording);
    QCOMPARE(recording->report.rows, std::uint64_t{2});
}

void TestRecordingReader::carriageReturnsAreIgnored()
{
    const auto recording = parse("idx,imu_Timestamp[sec],\r\n0,1.0,\r\n1,2.0,\r\n");
    QVERIFY(recording);
    QCOMPARE(recording->report.rows, std::uint64_t{2});
}

void TestRecordingReader::whatIsNoRecordingIsRefused_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("reason");
    QTest::newRow("text") << QByteArray("Dear reader\n") << "no line starts with \"idx,\"";
    QTest::newRow("no time") << QByteArray("idx,press[hPa],\n0,1013,\n")
                             << "has neither imu_Timestamp[sec] nor mag_Timestamp[sec]";
    QTest::newRow("header alone") << QByteArray("idx,imu_Timestamp[sec],\n")
                                  << "fewer than two usable rows";
    QTest::newRow("header without a line feed")
        << QByteArray("idx,imu_Timestamp[sec],") << "fewer than two usable rows";
    QTest::newRow("one row") << QByteArray("idx,imu_Timestamp[sec],\n0,1.0,\n")
                             << "fewer than two usable rows";
    QTest::newRow("zeros") << QByteArray(4096, '\0') << "no line starts with \"idx,\"";
}

void TestRecordingReader::whatIsNoRecordingIsRefused()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, reason);
    std::string error;
    QVERIFY(!parse(text.toStdString(), &error));
    QVERIFY2(error.find(reason.toStdString()) != std::string::npos, error.c_str());
    QVERIFY2(error.find("TIVSensorsData.csv: ") != std::string::npos, error.c_str());
}

void TestRecordingReader::fileIsReadAndNamed()
{
    const QTemporaryDir folder;
    const std::string path = folder.filePath("mine.csv").toStdString();
    std::ofstream(path) << header << row(0, 2500, 1000, 500) << row(1, 5000, 1000, 500);
    std::string error;
    const auto recording = readRecording(path, error);
    QVERIFY2(recording, error.c_str());
    QCOMPARE(recording->path, path);
    QVERIFY(recording->model.empty() && recording->serial.empty());
    QCOMPARE(recording->report.rows, std::uint64_t{2});
}

void TestRecordingReader::fileThatIsNoneIsRefused()
{
    const QTemporaryDir folder;
    std::string error;
    const std::string missing = folder.filePath("missing.csv").toStdString();
    QVERIFY(!readRecording(missing, error));
    QCOMPARE(error, missing + ": cannot be read: No such file or directory");
    const std::string fifo = folder.filePath("fifo").toStdString();
    QCOMPARE(mkfifo(fifo.c_str(), 0600), 0);
    QVERIFY(!readRecording(fifo, error));
    QCOMPARE(error, fifo + ": is not a regular file");
    QVERIFY(!readRecording(folder.path().toStdString(), error));
    QCOMPARE(error, folder.path().toStdString() + ": is not a regular file");
    const std::string empty = folder.filePath("empty.csv").toStdString();
    std::ofstream(empty).close();
    QVERIFY(!readRecording(empty, error));
    QCOMPARE(error, empty + ": is empty");
}

void TestRecordingReader::progressEndsTheReading()
{
    std::string text = header;
    for (int i = 1; i < 40000; ++i) {
        text += row(i, i * 20, 0, 0);
    }
    std::string error;
    double last = 0.0;
    QVERIFY(
        parseRecording(text.data(), text.data() + text.size(), "x.csv", error, [&](double share) {
            const bool rises = share > last && share <= 1.0;
            last = share;
            return rises;
        }));
    QVERIFY(last > 0.5);
    QVERIFY(!parseRecording(text.data(), text.data() + text.size(), "x.csv", error,
                            [](double) { return false; }));
    QCOMPARE(error, std::string("x.csv: reading was ended"));
}

void TestRecordingReader::fileThatIsCutIsRefused()
{
    const QTemporaryDir folder;
    const std::string path = folder.filePath("mine.csv").toStdString();
    std::string text = header;
    for (int i = 1; i < 40000; ++i) {
        text += row(i, i * 20, 0, 0);
    }
    std::ofstream(path) << text;
    std::string error;
    int calls = 0;
    const auto recording = readRecording(
        path, error, [&](double) { return ++calls > 1 || ::truncate(path.c_str(), 1000) == 0; });
    QVERIFY(!recording);
    QCOMPARE(calls, 2);
    QCOMPARE(error, path + ": was cut short while it was read: wait until nobody writes it");
}

QTEST_APPLESS_MAIN(TestRecordingReader)
#include "tst_recording_reader.moc"
