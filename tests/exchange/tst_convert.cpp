#include "exchange/convert.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

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

} // namespace

class TestConvert : public QObject
{
    Q_OBJECT

private slots:
    void init();
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
