// The CSV file's name, header and rows.

#include "recording/recorder.h"

#include <QDateTime>
#include <QLocale>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>
#include <QTranslator>

#include <clocale>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

/// Bits of a combination of the seven switches.
enum Bit { Accel = 1, Gyro = 2, Mag = 4, Orient = 8, Baro = 16, Temp = 32, Mov = 64 };

RecOptions optionsOf(int bits)
{
    RecOptions options;
    options.accelerometer = (bits & Accel) != 0;
    options.gyroscope = (bits & Gyro) != 0;
    options.magnetometer = (bits & Mag) != 0;
    options.orientation = (bits & Orient) != 0;
    options.barometer = (bits & Baro) != 0;
    options.temperatures = (bits & Temp) != 0;
    options.movement = (bits & Mov) != 0;
    return options;
}

/// One column of the file: its header, the switches any of which includes it, its text in the row
/// of sampleRow(). Written by hand, independent of the recorder's own table.
struct Column
{
    const char* header;
    int anyOf; ///< 0 for a column that is always there
    const char* value;
};

const Column columns[] = {
    {"idx", 0, "4711"},
    {"imu_Timestamp[sec]", Accel | Gyro | Orient | Mov | Temp, "1706711000.123456001"},
    {"mag_Timestamp[sec]", Mag, "1706711000.119999886"},
    {"baro_Timestamp[sec]", Baro | Temp, "1706711000.099999666"},
    {"accX[m/s^2]", Accel, "0.125000000"},
    {"accY[m/s^2]", Accel, "-9.806650162"},
    {"accZ[m/s^2]", Accel, "0.250000000"},
    {"gyroX[deg/s]", Gyro, "1.500000000"},
    {"gyroY[deg/s]", Gyro, "-2.500000000"},
    {"gyroZ[deg/s]", Gyro, "3.500000000"},
    {"magX[uT]", Mag, "-20.062500000"},
    {"magY[uT]", Mag, "30.125000000"},
    {"magZ[uT]", Mag, "2048.000000000"},
    {"orX[deg]", Orient, "179.990005493"},
    {"orY[deg]", Orient, "-89.500000000"},
    {"orZ[deg]", Orient, "0.000000000"},
    {"press[hPa]", Baro, "1013.250000000"},
    {"rel_alt[m]", Baro, "-1.500000000"},
    {"moving", Mov, "1.000000000"},
    {"temp_left[C]", Temp, "30.500000000"},
    {"temp_right[C]", Temp, "31.250000000"},
    {"temp_imu[C]", Temp, "36.599998474"},
    {"temp_barom[C]", Temp, "29.000000000"},
};

recorder::Row sampleRow()
{
    recorder::Row row;
    row.index = 4711;
    row.imuTime = 1706711000123456.0 / 1e6;
    row.magTime = 1706711000120000.0 / 1e6;
    row.baroTime = 1706711000100000.0 / 1e6;
    row.baroTime = std::nextafter(row.baroTime, 0.0);
    row.acceleration = {0.125, static_cast<double>(-9.80665F), 0.25};
    row.angularVelocity = {1.5, -2.5, 3.5};
    row.magneticField = {-20.0625, 30.125, 2048.0};
    row.orientation = {static_cast<double>(179.99F), -89.5, 0.0};
    row.pressure = 1013.25;
    row.relativeAltitude = -1.5;
    row.movingState = 1.0;
    row.tempLeft = 30.5;
    row.tempRight = 31.25;
    row.tempImu = 36.6F;
    row.tempBarometer = 29.0F;
    return row;
}

QString written(const RecOptions& options, const recorder::Row& row)
{
    QString text;
    QTextStream stream(&text);
    recorder::writeRow(stream, options, row);
    stream.flush();
    return text;
}

/// Zeros, ends of the range, values between two results, and the neighbours of each.
std::vector<double> edgesOfNumbers()
{
    using Limits = std::numeric_limits<double>;
    std::vector<double> values;
    for (const double value : {0.0,
                               Limits::denorm_min(),
                               Limits::min(),
                               4.9e-10,
                               5e-10,
                               1e-9,
                               1.5e-9,
                               1.0 / 1024,
                               3.0 / 1024,
                               2049.0 / 1024,
                               1.0 / 2048,
                               0.5,
                               0.9999999995,
                               1.0,
                               999999999.5,
                               1e12,
                               1e15,
                               4503599627370495.5,
                               9007199254740993.0,
                               1e22,
                               Limits::max(),
                               Limits::infinity(),
                               1706711000.1234567,
                               1e12 - 1.0 / 1024,
                               1e12 + 1.0 / 1024}) {
        for (const double each :
             {value, std::nextafter(value, 0.0), std::nextafter(value, 1e308)}) {
            values.push_back(each);
            values.push_back(-each);
        }
    }
    values.push_back(Limits::quiet_NaN());
    values.push_back(-Limits::quiet_NaN());
    return values;
}

/// The row with these 22 numbers, in the order of the file. The last two are single precision.
recorder::Row rowOf(const double* v)
{
    recorder::Row row;
    row.index = 7;
    row.imuTime = v[0];
    row.magTime = v[1];
    row.baroTime = v[2];
    row.acceleration = {v[3], v[4], v[5]};
    row.angularVelocity = {v[6], v[7], v[8]};
    row.magneticField = {v[9], v[10], v[11]};
    row.orientation = {v[12], v[13], v[14]};
    row.pressure = v[15];
    row.relativeAltitude = v[16];
    row.movingState = v[17];
    row.tempLeft = v[18];
    row.tempRight = v[19];
    row.tempImu = static_cast<float>(v[20]);
    row.tempBarometer = static_cast<float>(v[21]);
    return row;
}

/// The same numbers, each written by a text stream.
QString streamed(const double* v)
{
    QString text;
    QTextStream stream(&text);
    stream.setRealNumberPrecision(9);
    stream.setRealNumberNotation(QTextStream::FixedNotation);
    stream << 7 << ',';
    for (int i = 0; i < 20; ++i) {
        stream << v[i] << ',';
    }
    stream << static_cast<float>(v[20]) << ',' << static_cast<float>(v[21]) << ",\n";
    stream.flush();
    return text;
}

/// Translates each text of the main window to capitals.
class CapitalsTranslator : public QTranslator
{
public:
    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* text, const char*, int) const override
    {
        return qstrcmp(context, "MainWindow") == 0 ? QString::fromUtf8(text).toUpper() : QString();
    }
};

} // namespace

class TestRecorder : public QObject
{
    Q_OBJECT

private slots:
    void headerAndRowAgreeForEveryCombination_data()
    {
        QTest::addColumn<int>("bits");
        for (int bits = 0; bits < 128; ++bits) {
            QTest::addRow("%03d", bits) << bits;
        }
    }

    void headerAndRowAgreeForEveryCombination()
    {
        QFETCH(int, bits);
        QString wantedHeader;
        QString wantedRow;
        for (const Column& column : columns) {
            if (column.anyOf != 0 && (bits & column.anyOf) == 0) {
                continue;
            }
            wantedHeader += QLatin1String(column.header) + QLatin1Char(',');
            if (qstrcmp(column.header, "moving") == 0) {
                wantedHeader += QLatin1Char(' ');
            }
            wantedRow += QLatin1String(column.value) + QLatin1Char(',');
        }
        QCOMPARE(recorder::header(optionsOf(bits)), wantedHeader);
        QCOMPARE(written(optionsOf(bits), sampleRow()), wantedRow + QLatin1Char('\n'));
    }

    void nothingChosenLeavesTheIndexAlone()
    {
        QCOMPARE(recorder::header(optionsOf(0)), QStringLiteral("idx,"));
        QCOMPARE(written(optionsOf(0), sampleRow()), QStringLiteral("4711,\n"));
    }

    void temperaturesAloneBringBothTimesAndFourValues()
    {
        QCOMPARE(recorder::header(optionsOf(Temp)),
                 QStringLiteral("idx,imu_Timestamp[sec],baro_Timestamp[sec],"
                                "temp_left[C],temp_right[C],temp_imu[C],temp_barom[C],"));
    }

    void barometerAloneBringsNoImuTime()
    {
        QCOMPARE(recorder::header(optionsOf(Baro)),
                 QStringLiteral("idx,baro_Timestamp[sec],press[hPa],rel_alt[m],"));
    }

    void blankBehindMovingStays()
    {
        QVERIFY(recorder::header(optionsOf(Mov | Temp))
                    .contains(QStringLiteral("moving, temp_left[C],")));
        QVERIFY(recorder::header(optionsOf(Mov)).endsWith(QStringLiteral("moving, ")));
    }

    void everyTextOfTheHeaderIsTranslated()
    {
        const QString plain = recorder::header(optionsOf(127));
        CapitalsTranslator translator;
        QCoreApplication::installTranslator(&translator);
        const QString translated = recorder::header(optionsOf(127));
        QCoreApplication::removeTranslator(&translator);
        QCOMPARE(translated, plain.toUpper());
    }

    void numbersHaveNineDigitsWhateverTheirSize_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("text");
        QTest::newRow("zero") << 0.0 << "0.000000000";
        QTest::newRow("minus zero") << -0.0 << "0.000000000";
        QTest::newRow("below the last digit") << 4e-10 << "0.000000000";
        QTest::newRow("rounded up") << 6e-10 << "0.000000001";
        QTest::newRow("large") << 1.7e15 << "1700000000000000.000000000";
        QTest::newRow("negative") << -0.1 << "-0.100000000";
        QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN() << "nan";
        QTest::newRow("infinite") << std::numeric_limits<double>::infinity() << "inf";
    }

    void numbersHaveNineDigitsWhateverTheirSize()
    {
        QFETCH(double, value);
        QFETCH(QString, text);
        recorder::Row row;
        row.movingState = value;
        const QStringList fields = written(optionsOf(Mov), row).split(QLatin1Char(','));
        QString shown = fields.at(2);
        if (std::signbit(value) && value == 0.0) {
            shown.remove(QLatin1Char('-')); // the sign of zero does not matter
        }
        QCOMPARE(shown, text);
    }

    void everyFieldIsWhatATextStreamWritesOfItsNumber()
    {
        std::vector<double> values = edgesOfNumbers();
        std::mt19937_64 generator(1);
        std::uniform_real_distribution<double> exponent(-40.0, 60.0);
        std::uniform_int_distribution<int> sign(0, 1);
        for (int i = 0; i < 50'000; ++i) {
            const double size = std::exp2(exponent(generator));
            for (const double each : {size, std::round(size) / 1024.0, std::round(size * 1e9) / 2e9,
                                      static_cast<double>(static_cast<float>(size))}) {
                values.push_back(sign(generator) == 1 ? each : -each);
            }
        }
        constexpr std::size_t fieldsOfARow = 22;
        for (std::size_t i = 0; i + fieldsOfARow <= values.size(); i += fieldsOfARow) {
            const double* const v = &values[i];
            QCOMPARE(written(optionsOf(127), rowOf(v)), streamed(v));
        }
    }

    void commaLocaleChangesNothing()
    {
        // The locale is made on the spot, so that the system needs none but C.
        const QTemporaryDir folder;
        QProcess localedef;
        localedef.start("localedef",
                        {"-i", "de_DE", "-f", "UTF-8", folder.filePath("de_DE.UTF-8")});
        QVERIFY(localedef.waitForFinished(waiting::patienceMs));
        QVERIFY2(localedef.exitCode() == 0, "install the package locales");
        qputenv("LOCPATH", folder.path().toLocal8Bit());

        const QString plain = written(optionsOf(127), sampleRow());
        const QLocale before;
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        std::setlocale(LC_ALL, "de_DE.UTF-8"); // NOLINT(concurrency-mt-unsafe): no other thread
        const QByteArray decimalPoint = std::localeconv()->decimal_point; // NOLINT(concurrency-*)
        const QString german = written(optionsOf(127), sampleRow());
        QLocale::setDefault(before);
        std::setlocale(LC_ALL, "C.UTF-8"); // NOLINT(concurrency-mt-unsafe)
        qunsetenv("LOCPATH");
        QCOMPARE(decimalPoint, QByteArray(","));
        QCOMPARE(german, plain);
    }

    void fileNameIsComposedOfTimeModelAndSerial()
    {
        const QDateTime time(QDate(2024, 1, 31), QTime(14, 23, 5));
        QCOMPARE(recorder::fileName(time, QStringLiteral("TIV_Q"), 12345678U),
                 QStringLiteral("20240131_142305-TIV_Q-sn_12345678-TIVSensorsData.csv"));
    }

    void blanksLeaveTheFileName()
    {
        const QDateTime time(QDate(2024, 1, 31), QTime(1, 2, 3));
        QCOMPARE(recorder::fileName(time, QStringLiteral("TIV Q two"), 7U),
                 QStringLiteral("20240131_010203-TIVQtwo-sn_7-TIVSensorsData.csv"));
    }

    void folderGetsOneSlash_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QString>("wanted");
        QTest::newRow("without") << "/data/my records"
                                 << "/data/my records/";
        QTest::newRow("with") << "/data/"
                              << "/data/";
        QTest::newRow("root") << "/"
                              << "/";
        QTest::newRow("empty") << ""
                               << "";
    }

    void folderGetsOneSlash()
    {
        QFETCH(QString, folder);
        QFETCH(QString, wanted);
        QCOMPARE(recorder::folderWithSlash(folder), wanted);
    }

    void periodIsTheReciprocalAndInfiniteForZero()
    {
        QCOMPARE(recorder::periodSec(400), 0.0025);
        QCOMPARE(recorder::periodSec(1), 1.0);
        QVERIFY(std::isinf(recorder::periodSec(0)));
    }
};

QTEST_GUILESS_MAIN(TestRecorder)
#include "tst_recorder.moc"
