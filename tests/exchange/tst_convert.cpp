#include "exchange/convert.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

using namespace exchange;

Q_DECLARE_METATYPE(exchange::FORMAT)

namespace {

/// Of the IMU, at 400 Hz.
std::string recordingOf(int rows)
{
    std::string text = "idx,imu_Timestamp[sec],accX[m/s^2],accY[m/s^2],accZ[m/s^2],gyroX[deg/s],"
                       "gyroY[deg/s],gyroZ[deg/s],\n";
    for (int i = 0; i < rows; ++i) {
        char row[256];
        std::snprintf(row, sizeof row,
                      "%d,%.9f,0.123456789,9.812345678,0.234567891,1.345678912,2.456789123,"
                      "3.567891234,\n",
                      i, 1'706'711'000.0 + 0.0025 * i);
        text += row;
    }
    return text;
}

/// Of all sensors: 12 rows, with the magnetometer in each third row and the barometer in each
/// fourth.
std::string recordingOfAllSensors()
{
    std::string text = "idx,imu_Timestamp[sec],mag_Timestamp[sec],baro_Timestamp[sec],accX[m/s^2],"
                       "accY[m/s^2],accZ[m/s^2],gyroX[deg/s],gyroY[deg/s],gyroZ[deg/s],magX[uT],"
                       "magY[uT],magZ[uT],orX[deg],orY[deg],orZ[deg],press[hPa],rel_alt[m],moving, "
                       "temp_left[C],temp_right[C],temp_imu[C],temp_barom[C],\n";
    for (int i = 0; i < 12; ++i) {
        char row[512];
        std::snprintf(row, sizeof row,
                      "%d,%.9f,%.9f,%.9f,1,2,3,4,5,6,7,8,9,10,11,12,1013,0.5,0,30,31,32,33,\n", i,
                      1000.0 + 0.1 * i, 1000.0 + 0.1 * (i - i % 3), 1000.0 + 0.1 * (i - i % 4));
        text += row;
    }
    return text;
}

bool anotherIsFirst = false; // another program creates a folder mav0 first, with a file in it

} // namespace

// Replaces the system's function: lets another program create the folder first, which is rare
// otherwise.
extern "C" int mkdir(const char* path, mode_t mode) noexcept
{
    if (anotherIsFirst && std::string(path).find("/mav0") != std::string::npos) {
        anotherIsFirst = false;
        ::mkdirat(AT_FDCWD, path, mode);
        std::ofstream(std::string(path) + "/other") << "precious";
    }
    return ::mkdirat(AT_FDCWD, path, mode);
}

class TestConvert : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void samplesOfEachSensorAreCounted_data();
    void samplesOfEachSensorAreCounted();
    void theFolderOfAnotherConversionIsLeftAlone_data();
    void theFolderOfAnotherConversionIsLeftAlone();
    void whatIsBesideTheOutputOfAnEndedConversionStays();
    void inputThatIsCutLeavesNoOutput_data();
    void inputThatIsCutLeavesNoOutput();

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    ConvertOptions m_options;
};

void TestConvert::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    m_options.input = m_folder->filePath("in.csv").toStdString();
    m_options.output = m_folder->filePath("out").toStdString();
}

void TestConvert::samplesOfEachSensorAreCounted_data()
{
    QTest::addColumn<FORMAT>("format");
    QTest::addColumn<int>("temperatures");
    QTest::newRow("mcap") << FORMAT::MCAP << 3;
    QTest::newRow("euroc, which has no place for temperatures") << FORMAT::EUROC << 0;
    QTest::newRow("npz") << FORMAT::NPZ << 3;
}

void TestConvert::samplesOfEachSensorAreCounted()
{
    QFETCH(FORMAT, format);
    QFETCH(int, temperatures);
    std::ofstream(m_options.input) << recordingOfAllSensors();
    m_options.format = format;
    const ConvertResult result = convert(m_options, {});
    QVERIFY2(result.done, result.error.c_str());
    QCOMPARE(result.counts.imu, std::uint64_t{12});
    QCOMPARE(result.counts.magneticField, std::uint64_t{4});
    QCOMPARE(result.counts.barometer, std::uint64_t{3});
    QCOMPARE(result.counts.temperatures, static_cast<std::uint64_t>(temperatures));
}

void TestConvert::theFolderOfAnotherConversionIsLeftAlone_data()
{
    QTest::addColumn<bool>("isThere");
    QTest::newRow("an empty folder") << true;
    QTest::newRow("a new folder") << false;
}

void TestConvert::theFolderOfAnotherConversionIsLeftAlone()
{
    QFETCH(bool, isThere);
    std::ofstream(m_options.input) << recordingOf(10);
    m_options.format = FORMAT::EUROC;
    if (isThere) {
        QVERIFY(QDir(m_folder->path()).mkdir("out"));
    }
    anotherIsFirst = true;
    const ConvertResult result = convert(m_options, {});
    QVERIFY(!anotherIsFirst);
    QVERIFY(!result.done);
    QCOMPARE(result.error,
             m_options.output + "/mav0: exists already: choose another name or remove it");
    QVERIFY(QFile::exists(m_folder->filePath("out/mav0/other")));
}

void TestConvert::whatIsBesideTheOutputOfAnEndedConversionStays()
{
    std::ofstream(m_options.input) << recordingOf(120'000); // several calls of progress
    m_options.format = FORMAT::EUROC;
    const std::string other = m_options.output + "/other";
    const ConvertResult result = convert(m_options, [&](double) {
        std::ofstream(other) << "of another program";
        return false;
    });
    QVERIFY(!result.done);
    QCOMPARE(QDir(m_folder->filePath("out")).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList("other"));
}

void TestConvert::inputThatIsCutLeavesNoOutput_data()
{
    QTest::addColumn<FORMAT>("format");
    QTest::addColumn<double>("from"); // finished share at which it is cut
    QTest::addColumn<double>("part"); // of the input that stays
    QTest::newRow("mcap") << FORMAT::MCAP << 0.0 << 0.01;
    QTest::newRow("euroc") << FORMAT::EUROC << 0.0 << 0.01;
    QTest::newRow("npz, first pass") << FORMAT::NPZ << 0.0 << 0.01;
    QTest::newRow("npz, second pass") << FORMAT::NPZ << 0.5 << 0.01;
    QTest::newRow("a part that has been read") << FORMAT::MCAP << 0.0 << 0.999999;
}

void TestConvert::inputThatIsCutLeavesNoOutput()
{
    QFETCH(FORMAT, format);
    QFETCH(double, from);
    QFETCH(double, part);
    const std::string content = recordingOf(120'000); // several calls of progress
    std::ofstream(m_options.input) << content;
    m_options.format = format;
    int calls = 0;
    const ConvertResult result = convert(m_options, [&](double share) {
        if (share >= from && calls++ == 0) {
            const auto size = static_cast<off_t>(part * static_cast<double>(content.size()));
            return ::truncate(m_options.input.c_str(), size) == 0;
        }
        return true;
    });
    QCOMPARE(calls, 1);
    QVERIFY(!result.done);
    QCOMPARE(result.error, m_options.input + ": was cut short while it was read: wait until nobody "
                                             "writes it");
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList{"in.csv"});
}

QTEST_APPLESS_MAIN(TestConvert)
#include "tst_convert.moc"
