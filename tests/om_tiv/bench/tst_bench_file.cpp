#include "om_tiv/benchtest.h"

#include "bench/bench_file.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <cmath>

#include <sys/stat.h>
#include <unistd.h>

using namespace om;
using namespace om::bench;

namespace {

/// Every key there is.
const char* const fullFile = R"({
        "field": {"strength": 50.5, "inclination": -30, "declination": 12.25},
        "cameras": [{
            "model": "TIV_S", "serialNumber": 4294967295, "id": 9, "firmware": 1140,
            "usbRelease": "2.17", "usbProductId": 0, "plugged": false, "motion": "posed",
            "pose": {"heading": 90, "pitch": 30, "roll": -20}, "seed": 9223372036854775807,
            "hardIron": [1, 2, 3], "softIron": [0.5, 0.25, 0.125], "altitude": -100.5,
            "startTemperatures": [1, 2, 3, 4],
            "errors": {
                "accelerationNoise": 0.1, "accelerationBias": [0.2, 0.3, 0.4],
                "angularVelocityNoise": 0.5, "angularVelocityBias": [0.6, 0.7, 0.8],
                "magneticNoise": 0.9, "pressureNoise": 1.1, "pressureBias": -1.2,
                "pressureDrift": 1.3, "temperatureNoise": 1.4,
                "accelerometer": {"measurementRange": 19.5, "resolution": 0.25},
                "gyroscope": {
                    "biasInstability": [2.1, 2.2, 2.3], "biasCorrelationTime": 240,
                    "randomWalk": 2.4, "turnOnSpread": [2.5, 2.6, 2.7],
                    "temperatureBias": [-2.8, 2.9, 3.1], "temperatureScaleFactor": 3.2,
                    "scaleFactor": [1.1, 1.2, 1.3],
                    "axesMisalignment": [[0, 1, 2], [3, 0, 4], [5, 6, 0]],
                    "gSensitivity": [0.1, 0.2, 0.3],
                    "vibration": {"frequency": 47.5, "amplitude": [0.4, 0.5, 0.6]},
                    "spikes": {"share": 12.5, "amplitude": 900}
                },
                "magnetometer": {"turnOnSpread": 3.3, "measurementRange": 1300},
                "barometer": {"randomWalk": 3.4},
                "clockDrift": -130.5, "droppedSamples": 1.5, "droppedTogether": 4
            },
            "faults": {
                "openResult": 9, "openRefusals": 3, "openDelay": 250, "grabFailures": 5,
                "grabFailureResult": 12, "frozenTimestamps": true, "repeatedTimestamps": true,
                "barometerAbsent": true, "magnetometerAbsent": true,
                "boardTemperaturesAbsent": true, "imuTemperatureAbsent": true,
                "magnetometerSaturated": true, "magneticDisturbance": 33.5,
                "littleGpuMemory": true, "mcuSilent": true, "mcuOpenRefused": true,
                "eepromWriteRefused": true, "eepromReadbackDiffers": 7
            }
        }]
    })";

/// A file with one camera that has the given further members.
QString withCamera(const QString& members)
{
    return QString("{\"cameras\": [{\"model\": \"TIV_Q\", \"serialNumber\": 30000001,\n%1}]}")
        .arg(members);
}

QString errorOf(const QString& text)
{
    BenchDescription bench;
    std::string error;
    const bool good = readBenchText(text.toStdString(), "bench.json", bench, error);
    return good ? QString("no error") : QString::fromStdString(error);
}

CameraConfig cameraOf(const QString& members)
{
    BenchDescription bench;
    std::string error;
    if (!readBenchText(withCamera(members).toStdString(), "bench.json", bench, error)) {
        qFatal("%s", error.c_str());
    }
    return bench.cameras.at(0);
}

} // namespace

class TestBenchFile : public QObject
{
    Q_OBJECT

private slots:
    void aMinimalFile();
    void everyKeyIsRead();
    void defaultsAreThoseOfAConfiguration();
    void softIronIsADiagonalOrAMatrix();
    void aNoiseDensityReplacesTheNoiseOfOneSample();
    void oneMisalignmentIsThatOfAllPairsOfAxes();
    void commentsAreAllowed();
    void noCamerasAreAllowed();
    void theExampleOfTheManualIsGood();
    void everyDocumentedKeyIsKnown();
    void everyKeyIsDocumented();
    void documentedRangesAreTheEnforcedOnes_data();
    void documentedRangesAreTheEnforcedOnes();
    void documentedDefaultsAreTheEffectiveOnes();
    void errorModelsTakeWhatIsDocumented_data();
    void errorModelsTakeWhatIsDocumented();

    void mistakes_data();
    void mistakes();
    void mistakesNameTheirLine_data();
    void mistakesNameTheirLine();
    void aMessageIsOneLineWhateverTheFileHolds();
    void deepNestingIsRefused();
    void tooManyCamerasAreRefused();
    void motionNamesGoBothWays();

    void unreadableFiles_data();
    void unreadableFiles();
    void aHugeFileIsRefused();
    void loadingReplacesTheBench();
    void anIdOfALaterCameraIsNotGivenToAFormerOne();
    void aMistakeLeavesAnEmptyBench();

    void theProcessLoadsTheFileOfTheEnvironment();
    void theProcessReportsAMistakeInOneLine();
    void theProcessHasTheDefaultBenchOtherwise();

    // Not a test: what the processes above run.
    void listOfThisProcess();

private:
    QString write(const QString& text);
    QByteArray listInAProcess(const QString& benchFile, QByteArray* errors = nullptr);

    QTemporaryDir m_folder;
};

QString TestBenchFile::write(const QString& text)
{
    QString path = m_folder.filePath("bench.json");
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text.toUtf8()) < 0) {
        qFatal("can't write");
    }
    return path;
}

void TestBenchFile::aMinimalFile()
{
    const CameraConfig camera = cameraOf("\"plugged\": true");
    QVERIFY(camera.model == MODEL::TIV_Q);
    QCOMPARE(camera.serialNumber, 30000001U);
}

void TestBenchFile::everyKeyIsRead()
{
    const QString text = fullFile;
    BenchDescription bench;
    std::string error;
    QVERIFY2(readBenchText(text.toStdString(), "f", bench, error), error.c_str());
    QCOMPARE(bench.field.strength, 50.5);
    QCOMPARE(bench.field.inclination, -30.0);
    QCOMPARE(bench.field.declination, 12.25);
    const CameraConfig& c = bench.cameras.at(0);
    QVERIFY(c.model == MODEL::TIV_S);
    QCOMPARE(c.serialNumber, 4294967295U);
    QCOMPARE(c.id, 9);
    QCOMPARE(c.firmwareVersion, 1140U);
    QCOMPARE(int{c.usbRelease}, 0x0211);
    QCOMPARE(c.usbProductId, 0);
    QVERIFY(!c.plugged);
    QVERIFY(c.motion == MOTION::POSED);
    const Quaternion pose = fromHeading(pi / 2, pi / 6, -pi / 9);
    QVERIFY(length(toRotationVector(conjugate(pose) * c.pose)) < 1e-9);
    QCOMPARE(c.seed, std::uint64_t{9223372036854775807ULL});
    QCOMPARE(c.hardIron.z, 3.0);
    QCOMPARE(c.softIron[1][1], 0.25);
    QCOMPARE(c.softIron[0][1], 0.0);
    QCOMPARE(c.altitude, -100.5);
    QCOMPARE(c.startTemperatures[3], 4.0);
    QCOMPARE(c.errors.accelerationNoise, 0.1);
    QCOMPARE(c.errors.accelerationBias.y, 0.3);
    QCOMPARE(c.errors.angularVelocityNoise, 0.5);
    QCOMPARE(c.errors.angularVelocityBias.x, 0.6);
    QCOMPARE(c.errors.magneticNoise, 0.9);
    QCOMPARE(c.errors.pressureNoise, 1.1);
    QCOMPARE(c.errors.pressureBias, -1.2);
    QCOMPARE(c.errors.pressureDrift, 1.3);
    QCOMPARE(c.errors.temperatureNoise, 1.4);
    QCOMPARE(c.errors.accelerometer.measurementRange, 19.5);
    QCOMPARE(c.errors.accelerometer.resolution, 0.25);
    const ErrorModel& gyroscope = c.errors.gyroscope;
    QCOMPARE(gyroscope.biasInstability.z, 2.3);
    QCOMPARE(gyroscope.biasCorrelationTime, 240.0);
    QCOMPARE(gyroscope.randomWalk.x, 2.4);
    QCOMPARE(gyroscope.randomWalk.z, 2.4);
    QCOMPARE(gyroscope.turnOnSpread.y, 2.6);
    QCOMPARE(gyroscope.temperatureBias.x, -2.8);
    QCOMPARE(gyroscope.temperatureScaleFactor.y, 3.2);
    QCOMPARE(gyroscope.scaleFactor.z, 1.3);
    QCOMPARE(gyroscope.axesMisalignment[0][2], 2.0);
    QCOMPARE(gyroscope.axesMisalignment[2][0], 5.0);
    QCOMPARE(gyroscope.gSensitivity[1][1], 0.2);
    QCOMPARE(gyroscope.gSensitivity[1][2], 0.0);
    QCOMPARE(gyroscope.vibrationFrequency, 47.5);
    QCOMPARE(gyroscope.vibrationAmplitude.y, 0.5);
    QCOMPARE(gyroscope.spikeShare, 12.5);
    QCOMPARE(gyroscope.spikeAmplitude, 900.0);
    QCOMPARE(c.errors.magnetometer.turnOnSpread.y, 3.3);
    QCOMPARE(c.errors.magnetometer.measurementRange, 1300.0);
    QCOMPARE(c.errors.barometer.randomWalk.x, 3.4);
    QCOMPARE(c.errors.clockDrift, -130.5);
    QCOMPARE(c.errors.droppedSamples, 1.5);
    QCOMPARE(c.errors.droppedTogether, 4);
    const Faults& f = c.faults;
    QCOMPARE(static_cast<int>(f.openResult), 9);
    QCOMPARE(f.openRefusals, 3);
    QVERIFY(f.openDelay == std::chrono::milliseconds(250));
    QCOMPARE(f.grabFailures, 5);
    QCOMPARE(static_cast<int>(f.grabFailureResult), 12);
    QVERIFY(f.frozenTimestamps && f.repeatedTimestamps && f.barometerAbsent);
    QVERIFY(f.magnetometerAbsent && f.boardTemperaturesAbsent && f.imuTemperatureAbsent);
    QVERIFY(f.magnetometerSaturated && f.littleGpuMemory && f.mcuSilent && f.mcuOpenRefused);
    QVERIFY(f.eepromWriteRefused);
    QCOMPARE(f.magneticDisturbance, 33.5);
    QCOMPARE(f.eepromReadbackDiffers, 7);
}

void TestBenchFile::defaultsAreThoseOfAConfiguration()
{
    const CameraConfig read = cameraOf("\"faults\": {}, \"errors\": {}, \"pose\": {}");
    const CameraConfig made;
    QCOMPARE(read.id, made.id);
    QCOMPARE(read.firmwareVersion, made.firmwareVersion);
    QCOMPARE(read.usbRelease, made.usbRelease);
    QCOMPARE(read.usbProductId, -1);
    QVERIFY(read.motion == MOTION::TUMBLE);
    QCOMPARE(read.pose.w, 1.0);
    QCOMPARE(read.hardIron.x, made.hardIron.x);
    QCOMPARE(read.softIron[2][2], made.softIron[2][2]);
    QCOMPARE(read.errors.magneticNoise, made.errors.magneticNoise);
    QVERIFY(read.faults.openResult == ERROR_CODE::SUCCESS);
    QCOMPARE(read.faults.openRefusals, -1);
}

void TestBenchFile::softIronIsADiagonalOrAMatrix()
{
    const CameraConfig matrix =
        cameraOf("\"softIron\": [[1, 0.1, 0.2], [0.3, 2, 0.4], [0.5, 0.6, 3]]");
    QCOMPARE(matrix.softIron[0][2], 0.2);
    QCOMPARE(matrix.softIron[2][0], 0.5);
    QCOMPARE(matrix.softIron[1][1], 2.0);
}

void TestBenchFile::aNoiseDensityReplacesTheNoiseOfOneSample()
{
    const SensorErrors errors =
        cameraOf("\"errors\": {\"gyroscope\": {\"noiseDensity\": [0.1, 0.2, 0.3]}}").errors;
    QCOMPARE(errors.gyroscope.noiseDensity.y, 0.2);
    QCOMPARE(errors.angularVelocityNoise, 0.0);
    QCOMPARE(errors.accelerationNoise, SensorErrors().accelerationNoise);
}

void TestBenchFile::oneMisalignmentIsThatOfAllPairsOfAxes()
{
    const CameraConfig camera =
        cameraOf("\"errors\": {\"accelerometer\": {\"axesMisalignment\": 1.5}}");
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t k = 0; k < 3; ++k) {
            QCOMPARE(camera.errors.accelerometer.axesMisalignment[i][k], i == k ? 0.0 : 1.5);
        }
    }
}

void TestBenchFile::commentsAreAllowed()
{
    QCOMPARE(errorOf("// a bench\n{ /* without */ \"cameras\": [] }"), QString("no error"));
}

void TestBenchFile::noCamerasAreAllowed()
{
    QCOMPARE(errorOf("{\"cameras\": []}"), QString("no error"));
}

void TestBenchFile::theExampleOfTheManualIsGood()
{
    QFile manual(QString(SOURCE_DIR) + "/docs/bench-file.md");
    QVERIFY(manual.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(manual.readAll());
    const int begin = text.indexOf("```json") + 7;
    QVERIFY(begin > 7);
    const QString example = text.mid(begin, text.indexOf("```", begin) - begin);
    QCOMPARE(errorOf(example), QString("no error"));
}

void TestBenchFile::everyDocumentedKeyIsKnown()
{
    QFile manual(QString(SOURCE_DIR) + "/docs/bench-file.md");
    QVERIFY(manual.open(QIODevice::ReadOnly));
    const QStringList lines = QString::fromUtf8(manual.readAll()).split('\n');
    QString section;
    int keys = 0;
    for (const QString& line : lines) {
        if (line.startsWith('#')) {
            section = line.section(' ', 1).remove('`');
        }
        const QRegularExpressionMatch row =
            QRegularExpression("^\\| `([a-zA-Z.]+)` \\| (?!USB|serial)").match(line);
        if (!row.hasMatch() || section == "Error models" || row.captured(1).contains('.') ||
            line.contains("lies still") ||
            QStringList{"tumble", "fall", "posed"}.contains(row.captured(1))) {
            continue;
        }
        // A value of a wrong type everywhere: a known key says so.
        const QString member = QString("\"%1\": null").arg(row.captured(1));
        QString text;
        if (section == "The bench") {
            text = row.captured(1) == "cameras" ? "{" + member + "}"
                                                : "{" + member + ", \"cameras\": []}";
        } else if (row.captured(1) == "model") {
            text = "{\"cameras\": [{\"serialNumber\": 1, " + member + "}]}";
        } else if (row.captured(1) == "serialNumber") {
            text = "{\"cameras\": [{\"model\": \"TIV\", " + member + "}]}";
        } else if (section == "A camera") {
            text = withCamera(member);
        } else {
            text = withCamera(QString("\"%1\": {%2}").arg(section, member));
        }
        const QString error = errorOf(text);
        QVERIFY2(error.contains(row.captured(1) + ": must be "),
                 qPrintable(row.captured(1) + ": " + error));
        ++keys;
    }
    QVERIFY2(keys > 40, qPrintable(QString::number(keys)));
}

void TestBenchFile::everyKeyIsDocumented()
{
    QFile manual(QString(SOURCE_DIR) + "/docs/bench-file.md");
    QVERIFY(manual.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(manual.readAll());
    auto key = QRegularExpression("\"(\\w+)\":").globalMatch(fullFile);
    int keys = 0;
    for (; key.hasNext(); ++keys) {
        const QString name = key.next().captured(1);
        QVERIFY2(text.contains(QRegularExpression("\\| `([a-z]+\\.)?" + name + "` \\|")),
                 qPrintable(name));
    }
    QVERIFY(keys > 45);
}

/// Each key with a range "A to B" in the manual: A and B are taken, what lies beyond is not.
void TestBenchFile::documentedRangesAreTheEnforcedOnes_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("file"); ///< with %1 for the key's value
    QTest::addColumn<double>("least");
    QTest::addColumn<double>("most");
    QTest::addColumn<int>("count");

    QFile manual(QString(SOURCE_DIR) + "/docs/bench-file.md");
    QVERIFY(manual.open(QIODevice::ReadOnly));
    QString section;
    int rows = 0;
    const QRegularExpression heading("^#+ `?([^`]+)`?$");
    const QRegularExpression row(
        "^\\| `([a-zA-Z.]+)` \\| (?:(\\d) numbers,[^|]*? )?(-?\\d+) to (-?\\d+)"
        "[^|]* \\|");
    for (const QString& line : QString::fromUtf8(manual.readAll()).split('\n')) {
        if (const auto match = heading.match(line); match.hasMatch()) {
            section = match.captured(1);
        }
        const auto match = row.match(line);
        if (!match.hasMatch() || section == "Error models" || line.contains("2^63")) {
            continue;
        }
        const QString key = match.captured(1);
        const QString place =
            section == "errors" || section == "faults" ? section + "." + key : key;
        const QString object = place.section('.', 0, -2);
        const QString member = QString("\"%1\": %2").arg(place.section('.', -1), "%1");
        const QString whole = object.isEmpty() ? member : "\"" + object + "\": {" + member + "}";
        QString file =
            "{\"cameras\": [{\"model\": \"TIV_Q\", \"serialNumber\": 7, " + whole + "}]}";
        if (object == "field") {
            file = "{\"cameras\": [], " + whole + "}";
        } else if (key == "serialNumber") {
            file = "{\"cameras\": [{\"model\": \"TIV_Q\", " + whole + "}]}";
        }
        QTest::newRow(qPrintable(place))
            << place << file << match.captured(3).toDouble() << match.captured(4).toDouble()
            << match.captured(2).toInt();
        ++rows;
    }
    QVERIFY2(rows > 30, qPrintable(QString::number(rows)));
}

void TestBenchFile::documentedRangesAreTheEnforcedOnes()
{
    QFETCH(QString, key);
    QFETCH(QString, file);
    QFETCH(double, least);
    QFETCH(double, most);
    QFETCH(int, count);
    const auto errorWith = [&](double value) {
        const QString number = QString::number(value, 'f', 0);
        return errorOf(file.arg(
            count == 0
                ? number
                : "[" + QStringList(QVector<QString>(count, number).toList()).join(", ") + "]"));
    };
    QCOMPARE(errorWith(least), QString("no error"));
    QCOMPARE(errorWith(most), QString("no error"));
    for (const double beyond : {least - 1.0, most + 1.0}) {
        const QString error = errorWith(beyond);
        const QString wanted =
            QString("%1: must be from %2 to %3, not %4")
                .arg(count == 0 ? key : key + "[0]", QString::number(least, 'f', 0),
                     QString::number(most, 'f', 0), QString::number(beyond, 'f', 0));
        QVERIFY2(error.endsWith(wanted), qPrintable(error + "\nis not: " + wanted));
    }
}

/// Writing the defaults of the manual's tables changes nothing.
void TestBenchFile::documentedDefaultsAreTheEffectiveOnes()
{
    QFile manual(QString(SOURCE_DIR) + "/docs/bench-file.md");
    QVERIFY(manual.open(QIODevice::ReadOnly));
    const QRegularExpression heading("^#+ `?([^`]+)`?$");
    const QRegularExpression row("^\\| `([a-zA-Z]+)` \\| [^|]+ \\| ([^|]+?) \\|");
    const QRegularExpression value("^(-?\\d[\\d.]*|\\[[-\\d., ]+\\]|true|false|`\"[^`]+\"`)$");
    QString section;
    QMap<QString, QStringList> members;
    int found = 0;
    for (const QString& line : QString::fromUtf8(manual.readAll()).split('\n')) {
        if (const auto match = heading.match(line); match.hasMatch()) {
            section = match.captured(1);
        }
        const auto match = row.match(line);
        if (match.hasMatch() && value.match(match.captured(2)).hasMatch()) {
            members[section] << "\"" + match.captured(1) + "\": " + match.captured(2).remove('`');
            ++found;
        }
    }
    QVERIFY2(found >= 36, qPrintable(QString::number(found)));
    const CameraConfig read =
        cameraOf(members["A camera"].join(", ") + ", \"errors\": {" + members["errors"].join(", ") +
                 "}, \"faults\": {" + members["faults"].join(", ") + "}");
    const CameraConfig made;
    QCOMPARE(read.firmwareVersion, made.firmwareVersion);
    QCOMPARE(read.usbRelease, made.usbRelease);
    QCOMPARE(read.plugged, made.plugged);
    QVERIFY(read.motion == made.motion);
    QCOMPARE(read.seed, made.seed);
    QCOMPARE(read.hardIron.x, made.hardIron.x);
    QCOMPARE(read.hardIron.y, made.hardIron.y);
    QCOMPARE(read.hardIron.z, made.hardIron.z);
    QVERIFY(read.softIron == made.softIron);
    QCOMPARE(read.altitude, made.altitude);
    QVERIFY(read.startTemperatures == made.startTemperatures);
    QCOMPARE(read.replayLoop, made.replayLoop);
    const SensorErrors& a = read.errors;
    const SensorErrors& b = made.errors;
    QCOMPARE(a.accelerationNoise, b.accelerationNoise);
    QVERIFY(length(a.accelerationBias - b.accelerationBias) == 0.0);
    QCOMPARE(a.angularVelocityNoise, b.angularVelocityNoise);
    QVERIFY(length(a.angularVelocityBias - b.angularVelocityBias) == 0.0);
    QCOMPARE(a.magneticNoise, b.magneticNoise);
    QCOMPARE(a.pressureNoise, b.pressureNoise);
    QCOMPARE(a.pressureBias, b.pressureBias);
    QCOMPARE(a.pressureDrift, b.pressureDrift);
    QCOMPARE(a.temperatureNoise, b.temperatureNoise);
    QCOMPARE(a.clockDrift, b.clockDrift);
    QCOMPARE(a.droppedSamples, b.droppedSamples);
    QCOMPARE(a.droppedTogether, b.droppedTogether);
    const Faults& f = read.faults;
    const Faults& g = made.faults;
    QVERIFY(f.openResult == g.openResult && f.openRefusals == g.openRefusals &&
            f.openDelay == g.openDelay && f.grabFailures == g.grabFailures &&
            f.grabFailureResult == g.grabFailureResult &&
            f.magneticDisturbance == g.magneticDisturbance &&
            f.eepromReadbackDiffers == g.eepromReadbackDiffers);
    QVERIFY(!(f.frozenTimestamps || f.repeatedTimestamps || f.barometerAbsent ||
              f.magnetometerAbsent || f.boardTemperaturesAbsent || f.imuTemperatureAbsent ||
              f.magnetometerSaturated || f.littleGpuMemory || f.mcuSilent || f.mcuOpenRefused ||
              f.eepromWriteRefused));
}

/// Each key of an error model with each sensor: those that the manual names take it, within its
/// range.
void TestBenchFile::errorModelsTakeWhatIsDocumented_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("sensor");
    QTest::addColumn<bool>("known");
    QTest::addColumn<QStringList>("range"); ///< least and most; empty for an object

    QFile manual(QString(SOURCE_DIR) + "/docs/bench-file.md");
    QVERIFY(manual.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(manual.readAll())
                             .section("### Error models", 1)
                             .section("### `faults`", 0, 0);
    const QRegularExpression sensorRow("^\\| `(\\w+)` \\| [^|]+ \\| (\\d+) \\| ([\\d.]*) ?\\|");
    const QRegularExpression keyRow("^\\| `([\\w.]+)` \\| ([^|]+) \\| [^|]*\\| ([^|]*)\\|");
    const QRegularExpression range("(\\S+) to (\\S+)");
    struct Sensor
    {
        QString name, most, mostRange;
    };
    QVector<Sensor> sensors;
    QMap<QString, QString> takers; ///< sensors by key, for the keys of its object
    for (const QString& line : text.split('\n')) {
        if (const auto sensor = sensorRow.match(line); sensor.hasMatch()) {
            sensors.append({sensor.captured(1), sensor.captured(2), sensor.captured(3)});
            continue;
        }
        const auto row = keyRow.match(line);
        if (!row.hasMatch()) {
            continue;
        }
        const QString key = row.captured(1);
        takers[key] =
            key.contains('.') ? takers.value(key.section('.', 0, 0)) : row.captured(3).trimmed();
        for (const Sensor& sensor : sensors) {
            const bool known =
                takers[key] == "all" || takers[key].contains('`' + sensor.name + '`');
            const auto numbers = range.match(row.captured(2));
            QStringList limits;
            if (numbers.hasMatch()) {
                limits = QStringList{numbers.captured(1), numbers.captured(2)};
                limits.replaceInStrings("M", sensor.most).replaceInStrings("R", sensor.mostRange);
            }
            QTest::newRow(qPrintable(sensor.name + "." + key))
                << key << sensor.name << known << limits;
        }
    }
    QCOMPARE(sensors.size(), 4);
    QVERIFY(takers.size() > 15);
}

void TestBenchFile::errorModelsTakeWhatIsDocumented()
{
    QFETCH(QString, key);
    QFETCH(QString, sensor);
    QFETCH(bool, known);
    QFETCH(QStringList, range);
    const auto errorWith = [&](const QString& value) {
        QString member = QString("\"%1\": %2").arg(key.section('.', -1), value);
        if (key.contains('.')) {
            const QMap<QString, QString> others{
                {"frequency", "amplitude"}, {"amplitude", "frequency"}, {"share", "amplitude"}};
            const QString other =
                key == "spikes.amplitude" ? "share" : others.value(key.section('.', 1));
            member = QString("\"%1\": {%2, \"%3\": 1}").arg(key.section('.', 0, 0), member, other);
        } else if (key == "gSensitivity") {
            member = QString("\"%1\": [%2, %2, %2]").arg(key, value);
        }
        return errorOf(withCamera(QString("\"errors\": {\"%1\": {%2}}").arg(sensor, member)));
    };
    const QString place = "cameras[0].errors." + sensor + "." + key;
    if (!known) {
        QVERIFY2(errorWith("1").endsWith(place.section('.', 0, 3) + ": unknown key"),
                 qPrintable(errorWith("1")));
        return;
    }
    if (range.isEmpty()) {
        QVERIFY(errorWith("1").endsWith(place + ": must be an object, not an integer"));
        return;
    }
    QCOMPARE(errorWith(range[0]), QString("no error"));
    QCOMPARE(errorWith(range[1]), QString("no error"));
    const double beyond[] = {range[0].toDouble() - 0.001, range[1].toDouble() + 1.0};
    for (const double value : beyond) {
        const QString error = errorWith(QString::number(value, 'g', 10));
        QVERIFY2(error.contains(QRegularExpression(QRegularExpression::escape(place) +
                                                   "(\\[0\\])?: must be from ")),
                 qPrintable(error));
    }
    const QString error = errorWith("null");
    QVERIFY2(error.contains(place) && error.contains(": must be "), qPrintable(error));
}

void TestBenchFile::mistakes_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("error");
    const auto file = [](const char* name, const QString& text, const char* error) {
        QTest::newRow(name) << text << QString("bench.json:") + error;
    };
    const auto camera = [](const char* name, const QString& members, const char* error) {
        QTest::newRow(name) << withCamera(members) << QString("bench.json:2: cameras[0].") + error;
    };
    camera("noise given twice",
           R"("errors": {"accelerationNoise": 1, "accelerometer": {"noiseDensity": 1}})",
           "errors.accelerometer.noiseDensity: sets the same value as "
           "cameras[0].errors.accelerationNoise: leave one of them out");
    camera("one axis too few", R"("errors": {"gyroscope": {"randomWalk": [1, 2]}})",
           "errors.gyroscope.randomWalk: must be an array of 3 numbers, not an array");
    camera("axes in words", R"("errors": {"gyroscope": {"randomWalk": "much"}})",
           "errors.gyroscope.randomWalk: must be a number or an array of 3 numbers");
    camera("axes of a sensor with one", R"("errors": {"barometer": {"randomWalk": [1, 2, 3]}})",
           "errors.barometer.randomWalk: must be a number, not an array");
    camera("scale of a sensor without one",
           R"("errors": {"barometer": {"temperatureScaleFactor": 1}})",
           "errors.barometer.temperatureScaleFactor: unknown key");
    camera("misalignment of an axis with itself",
           R"("errors": {"gyroscope": {"axesMisalignment": [[0, 1, 1], [1, 2, 1], [1, 1, 0]]}})",
           "errors.gyroscope.axesMisalignment[1][1]: must be 0: an axis with itself is "
           "scaleFactor");
    camera("misalignment without rows",
           R"("errors": {"gyroscope": {"axesMisalignment": [1, 2, 3]}})",
           "errors.gyroscope.axesMisalignment: must be a number or 3 rows of 3 numbers");
    camera("vibration without a frequency",
           R"("errors": {"gyroscope": {"vibration": {"amplitude": 1}}})",
           "errors.gyroscope.vibration.frequency: missing");
    camera("spikes without an amplitude", R"("errors": {"barometer": {"spikes": {"share": 1}}})",
           "errors.barometer.spikes.amplitude: missing");
    file("not an object", "[]", "1: must be an object, not an array");
    file("no cameras", "{}", "1: cameras: missing");
    file("cameras are no array", "{\"cameras\": 3}", "1: cameras: must be an array of cameras");
    file("a camera is no object", "{\"cameras\": [3]}",
         "1: cameras[0]: must be an object, not an integer");
    file("unknown key", "{\"cameras\": [], \"camera\": 1}", "1: camera: unknown key");
    file("unknown key of the field", "{\"field\": {\"tilt\": 1}, \"cameras\": []}",
         "1: field.tilt: unknown key");
    file("field out of range", "{\"field\": {\"inclination\": 91}, \"cameras\": []}",
         "1: field.inclination: must be from -90 to 90, not 91");
    file("no model", "{\"cameras\": [{\"serialNumber\": 1}]}", "1: cameras[0].model: missing");
    file("unknown model", "{\"cameras\": [{\"model\": \"TIV_Z\", \"serialNumber\": 1}]}",
         "1: cameras[0].model: must be one of \"TIV\", \"TIV_N\", \"TIV_P\", \"TIV_Q\", "
         "\"TIV_R\", \"TIV_S\"");
    file("no serial number", "{\"cameras\": [{\"model\": \"TIV\"}]}",
         "1: cameras[0].serialNumber: missing");
    file("negative serial number", "{\"cameras\": [{\"model\": \"TIV\", \"serialNumber\": -1}]}",
         "1: cameras[0].serialNumber: must be from 0 to 4294967295, not -1");
    file("serial number too large",
         "{\"cameras\": [{\"model\": \"TIV\", \"serialNumber\": 4294967296}]}",
         "1: cameras[0].serialNumber: must be from 0 to 4294967295, not 4294967296");
    file("serial number beyond all integers",
         "{\"cameras\": [{\"model\": \"TIV\", \"serialNumber\": 99999999999999999999}]}",
         "1: cameras[0].serialNumber: must be an integer, not a number");
    file("serial number as text", "{\"cameras\": [{\"model\": \"TIV\", \"serialNumber\": \"1\"}]}",
         "1: cameras[0].serialNumber: must be an integer, not a string");
    file("serial number given twice",
         "{\"cameras\": [{\"model\": \"TIV\", \"serialNumber\": 7},\n"
         "{\"model\": \"TIV_N\", \"serialNumber\": 8},\n"
         "{\"model\": \"TIV_P\",\n \"serialNumber\": 7}]}",
         "4: cameras[2].serialNumber: 7 is already that of cameras[0]");
    file("id given twice",
         "{\"cameras\": [{\"model\": \"TIV_R\", \"serialNumber\": 7},\n"
         "{\"model\": \"TIV_R\", \"serialNumber\": 8, \"id\": 3},\n"
         "{\"model\": \"TIV_P\", \"serialNumber\": 9,\n \"id\": 3}]}",
         "4: cameras[2].id: 3 is already that of cameras[1]");
    camera("unknown key of a camera", "\"colour\": 1", "colour: unknown key");
    camera("wrong type of an integer", "\"id\": 1.5", "id: must be an integer, not a number");
    camera("id out of range", "\"id\": 256", "id: must be from 0 to 255, not 256");
    camera("wrong type of a flag", "\"plugged\": 1", "plugged: must be a boolean, not an integer");
    camera("wrong type of a name", "\"motion\": true", "motion: must be a string, not a boolean");
    camera("unknown motion", "\"motion\": \"flying\"",
           "motion: must be one of \"at rest\", \"hand-held\", \"tumble\", \"fall\", \"posed\"");
    camera("release without a dot", "\"usbRelease\": \"13\"",
           "usbRelease: must be two numbers from 0 to 255 with a dot, as \"1.3\"");
    camera("release too large", "\"usbRelease\": \"1.256\"",
           "usbRelease: must be two numbers from 0 to 255 with a dot, as \"1.3\"");
    camera("release with more behind", "\"usbRelease\": \"1.2.3\"",
           "usbRelease: must be two numbers from 0 to 255 with a dot, as \"1.3\"");
    camera("pose out of range", "\"pose\": {\"pitch\": -91}",
           "pose.pitch: must be from -90 to 90, not -91");
    camera("a vector too short", "\"hardIron\": [1, 2]",
           "hardIron: must be an array of 3 numbers, not an array");
    camera("a vector that is none", "\"hardIron\": 5",
           "hardIron: must be an array of 3 numbers, not an integer");
    camera("a vector out of range", "\"hardIron\": [1, 2, 4000]",
           "hardIron[2]: must be from -3000 to 3000, not 4000");
    camera("a vector with text", "\"hardIron\": [1, \"2\", 3]",
           "hardIron[1]: must be a number, not a string");
    camera("a matrix with a short row", "\"softIron\": [[1, 0, 0], [0, 1], [0, 0, 1]]",
           "softIron[1]: must be an array of 3 numbers, not an array");
    camera("a matrix with a number for a row", "\"softIron\": [[1, 0, 0], 3, [0, 0, 1]]",
           "softIron[1]: must be an array of 3 numbers, not an integer");
    camera("unknown error", "\"errors\": {\"noise\": 1}", "errors.noise: unknown key");
    camera("negative noise", "\"errors\": {\"magneticNoise\": -0.5}",
           "errors.magneticNoise: must be from 0 to 1000, not -0.5");
    camera("unknown fault", "\"faults\": {\"fire\": true}", "faults.fire: unknown key");
    camera("fault out of range", "\"faults\": {\"grabFailureResult\": 0}",
           "faults.grabFailureResult: must be from 1 to 255, not 0");
    camera("faults are no object", "\"faults\": []", "faults: must be an object, not an array");
    camera("null is no value", "\"altitude\": null", "altitude: must be a number, not null");
}

void TestBenchFile::mistakes()
{
    QFETCH(QString, text);
    QFETCH(QString, error);
    QCOMPARE(errorOf(text), error);
}

void TestBenchFile::mistakesNameTheirLine_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("begin");
    QTest::newRow("empty") << ""
                           << "bench.json:1: syntax error";
    QTest::newRow("blank lines only") << "\n\n"
                                      << "bench.json:2: syntax error";
    QTest::newRow("unfinished") << "{\n \"cameras\": [\n"
                                << "bench.json:2: syntax error";
    QTest::newRow("comma at the end") << "{\n\"cameras\": [],\n}"
                                      << "bench.json:3: syntax error";
    QTest::newRow("more behind") << "{\"cameras\": []}\n\n}"
                                 << "bench.json:3: syntax error";
    QTest::newRow("no quotes") << "{\n cameras: []}"
                               << "bench.json:2: syntax error";
    QTest::newRow("bad number") << "{\"cameras\": [],\n\"x\": 01}"
                                << "bench.json:2: syntax error";
    QTest::newRow("bad text") << "{\"cameras\": [],\n\n\"\x01\": 1}"
                              << "bench.json:3: syntax error";
    QTest::newRow("number at the end of a line")
        << "{\"cameras\": [{\"model\": \"TIV\",\n\"serialNumber\": 1,\n\"altitude\": 99999\n}]}"
        << "bench.json:3: cameras[0].altitude";
    QTest::newRow("number beyond all") << "{\"cameras\": [],\n\"field\": {\"strength\": 1e999}}"
                                       << "bench.json:2: number overflow";
    QTest::newRow("no number") << "{\"cameras\": [],\n\"field\": {\"strength\": NaN}}"
                               << "bench.json:2: syntax error";
    QTest::newRow("cut within UTF-8")
        << QString::fromLatin1("{\"cameras\": [],\n\"\xc3") << "bench.json:2: syntax error";
    QTest::newRow("key given twice") << "{\"cameras\": [],\n\n\"cameras\": []}"
                                     << "bench.json:3: cameras: given twice";
    QTest::newRow("unknown key in a deep place")
        << "{\"cameras\": [\n{\"model\": \"TIV\",\n\"serialNumber\": 1,\n\"faults\": "
           "{\n\"x\":\n1}}]}"
        << "bench.json:6: cameras[0].faults.x: unknown key";
    QTest::newRow("missing key, at the object") << "{\"cameras\": [\n\n{\n\"model\": \"TIV\"\n}]}"
                                                << "bench.json:3: cameras[0].serialNumber: missing";
}

void TestBenchFile::mistakesNameTheirLine()
{
    QFETCH(QString, text);
    QFETCH(QString, begin);
    const QString error = errorOf(text);
    QVERIFY2(error.startsWith(begin), qPrintable(error));
    QVERIFY(!error.contains('\n'));
}

void TestBenchFile::aMessageIsOneLineWhateverTheFileHolds()
{
    const QString error = errorOf("{\"cameras\": [], \"a\\nb\\u001b[31m\": 1}");
    QCOMPARE(error, QString("bench.json:1: a b [31m: unknown key"));
    QVERIFY(!errorOf("{\"a\nb\": 1}").contains('\n'));
}

void TestBenchFile::deepNestingIsRefused()
{
    const QString error = errorOf(QString("[").repeated(2000000));
    QCOMPARE(error, QString("bench.json:1: nested too deeply"));
}

void TestBenchFile::tooManyCamerasAreRefused()
{
    QStringList cameras;
    for (int i = 0; i < 65; ++i) {
        cameras << QString("{\"model\": \"TIV\", \"serialNumber\": %1}").arg(i);
    }
    QCOMPARE(errorOf("{\"cameras\": [" + cameras.join(',') + "]}"),
             QString("bench.json:1: cameras: has 65 cameras; at most 64 are possible"));
    cameras.removeLast();
    QCOMPARE(errorOf("{\"cameras\": [" + cameras.join(',') + "]}"), QString("no error"));
}

void TestBenchFile::motionNamesGoBothWays()
{
    for (const MOTION motion :
         {MOTION::AT_REST, MOTION::HAND_HELD, MOTION::TUMBLE, MOTION::FALL, MOTION::POSED}) {
        MOTION back = MOTION::AT_REST;
        QVERIFY(!motionName(motion).empty());
        QVERIFY(motionFromName(motionName(motion), back));
        QVERIFY(back == motion);
    }
    MOTION untouched = MOTION::FALL;
    QVERIFY(!motionFromName("", untouched));
    QVERIFY(untouched == MOTION::FALL);
}

void TestBenchFile::unreadableFiles_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("reason");
    QTest::newRow("missing") << "none.json"
                             << "cannot be read: No such file or directory";
    QTest::newRow("a folder") << "."
                              << "cannot be read: Is a directory";
    QTest::newRow("within a file") << "bench.json/x"
                                   << "cannot be read: Not a directory";
    QTest::newRow("a FIFO that nobody writes") << "fifo"
                                               << "cannot be read: not a regular file";
    QTest::newRow("a device") << "/dev/zero"
                              << "cannot be read: not a regular file";
}

void TestBenchFile::unreadableFiles()
{
    QFETCH(QString, name);
    QFETCH(QString, reason);
    write("{}");
    const QString path = name.startsWith('/') ? name : m_folder.filePath(name);
    ::mkfifo(m_folder.filePath("fifo").toLocal8Bit().constData(), 0600);
    BenchDescription bench;
    std::string error;
    QVERIFY(!readBenchFile(path.toStdString(), bench, error));
    QCOMPARE(QString::fromStdString(error), path + ": " + reason);
}

void TestBenchFile::aHugeFileIsRefused()
{
    const QString path = write(QString(4 * 1024 * 1024 + 1, QLatin1Char(' ')));
    BenchDescription bench;
    std::string error;
    QVERIFY(!readBenchFile(path.toStdString(), bench, error));
    QCOMPARE(QString::fromStdString(error), path + ": larger than a bench file may be (4 MiB)");
}

void TestBenchFile::loadingReplacesTheBench()
{
    auto& bench = benchtest::stoppedBench();
    bench.addCamera(benchtest::idealCamera());
    std::string error;
    const QString path =
        write("{\"field\": {\"strength\": 33}, \"cameras\": [{\"model\": \"TIV_P\", "
              "\"serialNumber\": 20000001, \"motion\": \"at rest\"}]}");
    QVERIFY2(bench.loadFile(path.toStdString(), error), error.c_str());
    QVERIFY(bench.serialNumbers() == std::vector<unsigned int>{20000001});
    QCOMPARE(bench.field().strength, 33.0);
    QVERIFY(bench.status()[0].motion == MOTION::AT_REST);
}

void TestBenchFile::anIdOfALaterCameraIsNotGivenToAFormerOne()
{
    auto& bench = benchtest::stoppedBench();
    std::string error;
    const QString path = write("{\"cameras\": [{\"model\": \"TIV_R\", \"serialNumber\": 1},\n"
                               "{\"model\": \"TIV_R\", \"serialNumber\": 2, \"id\": 0},\n"
                               "{\"model\": \"TIV_R\", \"serialNumber\": 3}]}");
    QVERIFY2(bench.loadFile(path.toStdString(), error), error.c_str());
    QCOMPARE(bench.config(1).id, 1);
    QCOMPARE(bench.config(2).id, 0);
    QCOMPARE(bench.config(3).id, 2);
}

void TestBenchFile::aMistakeLeavesAnEmptyBench()
{
    auto& bench = benchtest::stoppedBench();
    bench.addCamera(benchtest::idealCamera());
    std::string error;
    const QString path = write("{\n\"cameras\": 7}");
    QVERIFY(!bench.loadFile(path.toStdString(), error));
    QCOMPARE(QString::fromStdString(error), path + ":2: cameras: must be an array of cameras");
    QVERIFY(bench.serialNumbers().empty());
}

/// The serial numbers that a new process lists with the bench file in its environment.
QByteArray TestBenchFile::listInAProcess(const QString& benchFile, QByteArray* errors)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("LIST_TO", m_folder.filePath("list.txt"));
    if (!benchFile.isNull()) {
        environment.insert("OM_TIV_BENCH", benchFile);
    }
    process.setProcessEnvironment(environment);
    process.start(QCoreApplication::applicationFilePath(), {"listOfThisProcess"});
    if (!process.waitForFinished(60000) || process.exitCode() != 0) {
        return "the process failed";
    }
    if (errors != nullptr) {
        *errors = process.readAllStandardError();
    }
    QFile list(m_folder.filePath("list.txt"));
    return list.open(QIODevice::ReadOnly) ? list.readAll() : QByteArray("no list");
}

void TestBenchFile::listOfThisProcess()
{
    const QByteArray to = qgetenv("LIST_TO");
    if (to.isEmpty()) {
        return;
    }
    QFile file(to);
    QVERIFY(file.open(QIODevice::WriteOnly));
    for (const DeviceProperties& device : Camera::getDeviceList()) {
        file.write(QByteArray::number(device.serialNumber) + ' ');
    }
}

void TestBenchFile::theProcessLoadsTheFileOfTheEnvironment()
{
    const QString path = write("{\"cameras\": [{\"model\": \"TIV_P\", \"serialNumber\": 20000001}, "
                               "{\"model\": \"TIV_N\", \"serialNumber\": 10000001}]}");
    QByteArray errors;
    QCOMPARE(listInAProcess(path, &errors), QByteArray("20000001 10000001 "));
    QCOMPARE(errors, QByteArray());
}

void TestBenchFile::theProcessReportsAMistakeInOneLine()
{
    const QString path = write("{\"cameras\": [],\n \"speed\": 1}");
    QByteArray errors;
    QCOMPARE(listInAProcess(path, &errors), QByteArray());
    QCOMPARE(QString(errors), path + ":2: speed: unknown key\n");
}

void TestBenchFile::theProcessHasTheDefaultBenchOtherwise()
{
    QCOMPARE(listInAProcess(QString()), QByteArray("31415926 27182818 14142135 "));
    QCOMPARE(listInAProcess(""), QByteArray("31415926 27182818 14142135 "));
}

QTEST_GUILESS_MAIN(TestBenchFile)
#include "tst_bench_file.moc"
