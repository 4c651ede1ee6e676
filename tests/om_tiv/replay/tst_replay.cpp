// Playing a recording instead of the physics.

#include "bench/bench_file.h"
#include "bench/virtual_camera.h"
#include "control/control.h"
#include "library/the_bench.h"
#include "replay/replay.h"
#include "replay/replay_pose.h"
#include "replay/sensor_recording.h"

#include <om_tiv/camera.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <time.h>

#include <cmath>
#include <random>

using namespace om;
using namespace om::bench;

namespace {

constexpr unsigned int serial = 20000001;

const char fullHeader[] =
    "idx,imu_Timestamp[sec],mag_Timestamp[sec],baro_Timestamp[sec],accX[m/s^2],accY[m/s^2],"
    "accZ[m/s^2],gyroX[deg/s],gyroY[deg/s],gyroZ[deg/s],magX[uT],magY[uT],magZ[uT],orX[deg],"
    "orY[deg],orZ[deg],press[hPa],rel_alt[m],moving, temp_left[C],temp_right[C],temp_imu[C],"
    "temp_barom[C],\n";

float degrees(float radians)
{
    return static_cast<float>(double{radians} * 180.0 / 3.141592653589793);
}

/// Row i of a recording with 200 rows per second, with a magnetometer reading in every fourth and a
/// barometer reading in every eighth row.
std::string row(int i)
{
    // Angles as a recorder sees them: of a float in radians.
    const auto angle = [](float d) { return double{degrees(static_cast<float>(d * pi / 180.0))}; };
    const double time = 1706711000.123456 + i * 0.005;
    const int magIndex = i / 4;
    const int baroIndex = i / 8;
    const double magTime = 1706711000.12 + magIndex * 0.02;
    const double baroTime = 1706711000.1 + baroIndex * 0.04;
    const auto f = static_cast<float>(i);
    const auto eighth = static_cast<float>(baroIndex);
    return QString::asprintf(
               "%d,%.9f,%.9f,%.9f,%.9f,%.9f,%.9f,%.9f,%.9f,%.9f,%.9f,%.9f,%.9f,%.9f,%.9f,"
               "%.9f,%.9f,%.9f,%.9f,%.9f,%.9f,%.9f,%.9f,\n",
               100 + 2 * i, time, magTime, baroTime, double(0.1F * f), double(-9.80665F),
               double(0.001F * f), double(1.5F * f), -2.25, double(0.3F), magIndex * 0.0625,
               -20.125, 33.0625, angle(-170.0F + 3.3F * f), angle(89.0F - 1.7F * f),
               angle(-90.0F + 3.1F * f), double(1013.25F + 0.01F * eighth), double(0.125F * eighth),
               double(i % 3), double(30.5F + 0.01F * f), 31.25, double(36.6F), 29.0)
        .toStdString();
}

std::string recording(int rows)
{
    std::string text = fullHeader;
    for (int i = 0; i < rows; ++i) {
        text += row(i);
    }
    return text;
}

} // namespace

class TestReplay : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_folder;

    QString write(const std::string& text)
    {
        QFile file(m_folder->filePath(QStringLiteral("recording.csv")));
        if (!file.open(QIODevice::WriteOnly)) {
            qFatal("no temporary file");
        }
        file.write(QByteArray::fromStdString(text));
        return file.fileName();
    }

    void addReplay(const std::string& text, bool loop = true, MODEL model = MODEL::TIV_P)
    {
        CameraConfig config;
        config.model = model;
        config.serialNumber = serial;
        config.replay = write(text).toStdString();
        config.replayLoop = loop;
        theBench().addCamera(config);
    }

    static void open(Camera& camera)
    {
        InitParameters parameters;
        parameters.coordinateSystem = COORDINATE_SYSTEM::RIGHT_HANDED_Y_UP;
        parameters.input.setFromSerialNumber(serial, BUS_TYPE::USB);
        QCOMPARE(camera.open(parameters), ERROR_CODE::SUCCESS);
    }

private slots:
    void init()
    {
        theBench().reset();
        theBench().clock().setManual(1000 * nsPerS);
        m_folder = std::make_unique<QTemporaryDir>();
    }
    void cleanup() { theBench().reset(); }

    void soundFileIsReadWholeWithoutAWord()
    {
        std::string report;
        const auto read = SensorRecording::parse(recording(20), "r.csv", report);
        QVERIFY(read);
        QCOMPARE(QString::fromStdString(report), QString());
        QCOMPARE(read->size(), std::size_t(20));
        QVERIFY(read->hasMagneticField && read->hasBarometer && read->hasTemperatures);
        QCOMPARE(read->row(0).time, 0.0);
        QVERIFY(std::abs(read->row(3).time - 0.015) < 1e-6);
        QCOMPARE(read->row(3).acceleration[1], -9.80665F);
        QCOMPARE(read->row(4).movingState, 1);
        QCOMPARE(read->row(2).temperatures[0], 36.6F);
        QCOMPARE(read->row(2).temperatures[3], 31.25F);
    }

    void badRowsAreLeftOutAndReportedInOneLine_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("rows");
        QTest::addColumn<QByteArray>("report");
        const auto whole = QByteArray::fromStdString(recording(10));
        const auto last = QByteArray::fromStdString(row(9));
        QTest::newRow("torn last line")
            << whole.left(whole.size() - 30) << 9
            << QByteArray("r.csv: 1 row left out, the first: line 11 is torn");
        QTest::newRow("no number")
            << QByteArray(whole).replace("-9.806650162,0.005", "oops,0.005") << 9
            << QByteArray("r.csv: 1 row left out, the first: line 7 contains \"oops\" "
                          "in column accY[m/s^2]");
        QTest::newRow("field missing")
            << whole + "999,1,2,\n"
            << 10
            << QByteArray("r.csv: 1 row left out, the first: line 12 has 4 fields in place of 23")
                   .replace("4 fields", "3 fields");
        QTest::newRow("time does not change")
            << whole + last + last << 10
            << QByteArray(
                   "r.csv: 2 rows left out, the first: line 12 does not come after the row before "
                   "it");
        QTest::newRow("time jumps ahead")
            << whole + QByteArray(last).replace("1706711000.168456", "1706719000.168456") << 11
            << QByteArray("r.csv: 1 jump of the time closed, the first at line 12");
        QTest::newRow("not finite")
            << QByteArray(whole).replace("29.000000000", "inf") << 0
            << QByteArray(
                   "r.csv: nothing to play: fewer than two usable rows (10 rows left out, the "
                   "first: line 2 contains \"inf\" in column temp_barom[C])");
        QTest::newRow("beyond what a sensor's number can be")
            << QByteArray(whole).replace("-9.806650162,0.005", "-1e38,0.005") << 9
            << QByteArray("r.csv: 1 row left out, the first: line 7 contains \"-1e38\" "
                          "in column accY[m/s^2]");
        QTest::newRow("time out of range")
            << whole + QByteArray(last).replace("1706711000.168456", "17067110000.168456") << 10
            << QByteArray("r.csv: 1 row left out, the first: line 12 has a time out of range");
        QTest::newRow("time that hardly goes on")
            << whole + QByteArray(last).replace("1706711000.168456078", "1706711000.168456316")
            << 10
            << QByteArray("r.csv: 1 row left out, the first: line 12 does not come after the row "
                          "before it");
        QTest::newRow("control characters in the header")
            << QByteArray("idx,a\x1b[2J\rb,\n1,x,\n2,2,\n3,3,\n") << 2
            << QByteArray(
                   "r.csv: 1 row left out, the first: line 2 contains \"x\" in column a?[2J?b; "
                   "not recorded, so not available: accelerometer, gyroscope, magnetometer, "
                   "orientation, barometer, moving state, temperatures");
        QTest::newRow("empty") << QByteArray() << 0
                               << QByteArray(
                                      "r.csv: not a recording: the first line does not begin with "
                                      "\"idx,\"");
        QTest::newRow("header alone")
            << QByteArray(fullHeader) << 0
            << QByteArray("r.csv: nothing to play: fewer than two usable rows");
    }

    void badRowsAreLeftOutAndReportedInOneLine()
    {
        QFETCH(QByteArray, text);
        QFETCH(int, rows);
        QFETCH(QByteArray, report);
        std::string problem;
        const auto read = SensorRecording::parse(text.toStdString(), "r.csv", problem);
        QCOMPARE(QByteArray::fromStdString(problem), report);
        QCOMPARE(read ? static_cast<int>(read->size()) : 0, rows);
    }

    void jumpIsClosedToOneSamplePeriod()
    {
        std::string text = recording(2) + row(2002);
        std::string report;
        const auto read = SensorRecording::parse(text, "r.csv", report);
        QVERIFY(read);
        // 10.005 s ahead is a jump, and becomes 2.5 ms.
        QVERIFY2(std::abs(read->row(2).time - 0.0075) < 1e-6,
                 qPrintable(QString::number(read->row(2).time)));
    }

    void setBackClockGoesOnBehindTheRowBefore()
    {
        // The clock was set back by an hour during the recording: both parts are valid.
        const auto back = [](int i) {
            return QByteArray::fromStdString(row(i)).replace("1706711000.", "1706707400.");
        };
        std::string text = recording(4);
        for (int i = 4; i < 8; ++i) {
            text += back(i).toStdString();
        }
        std::string report;
        const auto read = SensorRecording::parse(text, "r.csv", report);
        QVERIFY(read);
        QCOMPARE(QString::fromStdString(report),
                 QStringLiteral("r.csv: 1 jump of the time closed, the first at line 6"));
        QCOMPARE(read->size(), std::size_t(8));
        const double times[] = {0.0, 0.005, 0.010, 0.015, 0.0175, 0.0225, 0.0275, 0.0325};
        for (std::size_t i = 0; i < 8; ++i) {
            QVERIFY2(std::abs(read->row(i).time - times[i]) < 1e-6,
                     qPrintable(QString::number(read->row(i).time)));
        }
    }

    void oneRowWithATimeFromNowhereCostsNoOther()
    {
        const QByteArray strange =
            QByteArray::fromStdString(row(3)).replace("1706711000.", "1706719000.");
        std::string report;
        const auto read = SensorRecording::parse(
            recording(3) + strange.toStdString() + row(4) + row(5) + row(6), "r.csv", report);
        QVERIFY(read);
        QCOMPARE(QString::fromStdString(report),
                 QStringLiteral("r.csv: 2 jumps of the time closed, the first at line 5"));
        QCOMPARE(read->size(), std::size_t(7));
        for (std::size_t i = 1; i < 7; ++i) {
            const double step = read->row(i).time - read->row(i - 1).time;
            QVERIFY2(step > 0.002 && step < 0.006, qPrintable(QString::number(step)));
        }
    }

    void rowsOutOfTheirOrderAreLeftOut()
    {
        std::string report;
        const auto read =
            SensorRecording::parse(recording(3) + row(4) + row(3) + row(5), "r.csv", report);
        QVERIFY(read);
        QCOMPARE(QString::fromStdString(report),
                 QStringLiteral("r.csv: 1 row left out, the first: line 6 does not come after the "
                                "row before it"));
        QCOMPARE(read->size(), std::size_t(5));
    }

    void rowsAboveTheHeaderAreTheFirst_data()
    {
        QTest::addColumn<int>("early");
        QTest::newRow("one") << 1;
        QTest::newRow("three") << 3;
    }

    void rowsAboveTheHeaderAreTheFirst()
    {
        // As the recorder writes them when samples come while the file is being opened.
        QFETCH(int, early);
        std::string text;
        for (int i = 0; i < 5; ++i) {
            text += (i == early ? fullHeader : "") + row(i);
        }
        std::string report;
        const auto read = SensorRecording::parse(text, "r.csv", report);
        QVERIFY2(read, report.c_str());
        QCOMPARE(QString::fromStdString(report), QString());
        std::string plainly;
        const auto usual = SensorRecording::parse(recording(5), "r.csv", plainly);
        QCOMPARE(read->size(), usual->size());
        for (std::size_t i = 0; i < usual->size(); ++i) {
            QCOMPARE(read->row(i).time, usual->row(i).time);
            QCOMPARE(read->row(i).acceleration[0], usual->row(i).acceleration[0]);
        }
        std::string none;
        for (int i = 0; i < 200; ++i) {
            none += row(i);
        }
        QVERIFY(!SensorRecording::parse(none, "r.csv", report));
        QCOMPARE(
            QString::fromStdString(report),
            QStringLiteral("r.csv: not a recording: the first line does not begin with \"idx,\""));
    }

    void missingColumnsAreSensorsThatAreNotAvailable()
    {
        std::string text = "idx,imu_Timestamp[sec],accX[m/s^2],accY[m/s^2],accZ[m/s^2],\n";
        for (int i = 0; i < 100; ++i) {
            text += QString::asprintf("%d,%.9f,1.0,2.0,3.0,\n", i, 5.0 + i * 0.0025).toStdString();
        }
        std::string report;
        QVERIFY(SensorRecording::parse(text, "r.csv", report));
        QCOMPARE(QString::fromStdString(report),
                 QStringLiteral("r.csv: not recorded, so not available: gyroscope, magnetometer, "
                                "orientation, barometer, moving state, temperatures"));
        addReplay(text);
        Camera camera;
        open(camera);
        theBench().clock().advance(50 * nsPerMs);
        SensorsData data;
        QCOMPARE(camera.getSensorsData(data, TIME_REFERENCE::CURRENT), ERROR_CODE::SUCCESS);
        QVERIFY(data.imu.timestamp > 0);
        QCOMPARE(data.imu.linearAcceleration.z, 3.0F);
        QVERIFY(!data.magnetometer.isAvailable);
        QVERIFY(!data.barometer.isAvailable);
        float value = -1.0F;
        for (int location = 0; location < 4; ++location) {
            QVERIFY(data.temperature.get(
                        static_cast<SensorsData::TemperatureData::SENSOR_LOCATION>(location),
                        value) != 0);
        }
        QCOMPARE(value, -1.0F);
    }

    void replayHasOnlyTheSensorsOfItsModel_data()
    {
        QTest::addColumn<int>("model");
        QTest::addColumn<bool>("boardSensors");
        QTest::addColumn<bool>("thermometer");
        QTest::newRow("TIV_N") << int(MODEL::TIV_N) << false << false;
        QTest::newRow("TIV_P") << int(MODEL::TIV_P) << true << true;
        QTest::newRow("TIV_R") << int(MODEL::TIV_R) << false << true;
    }

    void replayHasOnlyTheSensorsOfItsModel()
    {
        QFETCH(int, model);
        QFETCH(bool, boardSensors);
        QFETCH(bool, thermometer);
        addReplay(recording(60), true, static_cast<MODEL>(model));
        InitParameters parameters;
        if (static_cast<MODEL>(model) == MODEL::TIV_R) {
            parameters.input.setFromCameraID(0, BUS_TYPE::SERIAL);
        } else {
            parameters.input.setFromSerialNumber(serial, BUS_TYPE::USB);
        }
        Camera camera;
        QCOMPARE(camera.open(parameters), ERROR_CODE::SUCCESS);
        theBench().clock().advance(100 * nsPerMs);
        SensorsData data;
        QCOMPARE(camera.getSensorsData(data, TIME_REFERENCE::CURRENT), ERROR_CODE::SUCCESS);
        QVERIFY(data.imu.timestamp > 0);
        QCOMPARE(data.magnetometer.isAvailable, boardSensors);
        QCOMPARE(data.barometer.isAvailable, boardSensors);
        using LOCATION = SensorsData::TemperatureData::SENSOR_LOCATION;
        QCOMPARE(data.temperature.values.count(LOCATION::IMU) == 1, thermometer);
        QCOMPARE(data.temperature.values.count(LOCATION::BAROMETER) == 1, boardSensors);
        QCOMPARE(data.temperature.values.count(LOCATION::LEFT) == 1, boardSensors);
        QCOMPARE(data.temperature.values.count(LOCATION::RIGHT) == 1, boardSensors);
    }

    void everyValueComesBackAsRecorded()
    {
        constexpr int rows = 60;
        addReplay(recording(rows), false);
        std::string report;
        const auto read = SensorRecording::parse(recording(rows), "r.csv", report);
        Camera camera;
        open(camera);
        theBench().clock().advance(nsPerMs); // between rows, not affected by their rounding
        int seen = 0;
        std::uint64_t lastMag = 0;
        std::uint64_t lastBaro = 0;
        int magReadings = 0;
        int baroReadings = 0;
        for (int i = 1; i < rows; ++i) {
            theBench().clock().advance(5 * nsPerMs);
            SensorsData data;
            QCOMPARE(camera.getSensorsData(data, TIME_REFERENCE::CURRENT), ERROR_CODE::SUCCESS);
            // The row of this time; rounding by a microsecond may move it by one step.
            const double since = static_cast<double>(data.imu.timestamp - 1000 * nsPerS) * 1e-9;
            const auto index = static_cast<std::size_t>(std::llround(since / 0.005));
            QVERIFY(index < read->size());
            const SensorRecording::Row wanted = read->row(index);
            QVERIFY(std::abs(wanted.time - since) < 1e-6);
            ++seen;
            QCOMPARE(data.imu.linearAcceleration.x, wanted.acceleration[0]);
            QCOMPARE(data.imu.angularVelocity.x, wanted.angularVelocity[0]);
            const Vector3<float> euler = data.imu.pose.getEulerAngles(true);
            QVERIFY2(degrees(euler.x) == wanted.eulerAngles[0] &&
                         degrees(euler.y) == wanted.eulerAngles[1] &&
                         degrees(euler.z) == wanted.eulerAngles[2],
                     qPrintable(QString::asprintf(
                         "row %zu: %.9f %.9f %.9f", index, double(degrees(euler.x)),
                         double(degrees(euler.y)), double(degrees(euler.z)))));
            QCOMPARE(data.magnetometer.magneticFieldUncalibrated.x, wanted.magneticField[0]);
            QCOMPARE(static_cast<float>(double{data.barometer.pressure} / 100.0), wanted.pressure);
            QCOMPARE(data.barometer.relativeAltitude, wanted.relativeAltitude);
            QCOMPARE(data.cameraMovingState, wanted.movingState);
            QCOMPARE(
                data.temperature.values.at(SensorsData::TemperatureData::SENSOR_LOCATION::LEFT),
                wanted.temperatures[2]);
            // New readings are at the same rows as in the recording.
            if (index % 4 != 0 && lastMag != 0) {
                QCOMPARE(data.magnetometer.timestamp, lastMag);
            }
            if (index % 8 != 0 && lastBaro != 0) {
                QCOMPARE(data.barometer.timestamp, lastBaro);
            }
            magReadings += data.magnetometer.timestamp != lastMag ? 1 : 0;
            baroReadings += data.barometer.timestamp != lastBaro ? 1 : 0;
            lastMag = data.magnetometer.timestamp;
            lastBaro = data.barometer.timestamp;
        }
        QVERIFY(seen > rows - 5);
        QVERIFY(magReadings >= (rows - 5) / 4);
        QVERIFY(baroReadings >= (rows - 5) / 8);
    }

    void onceEndsAtTheLastRowAndLoopingStartsAgain_data()
    {
        QTest::addColumn<bool>("loop");
        QTest::newRow("once") << false;
        QTest::newRow("looping") << true;
    }

    void onceEndsAtTheLastRowAndLoopingStartsAgain()
    {
        QFETCH(bool, loop);
        addReplay(recording(100), loop); // half a second
        Camera camera;
        open(camera);
        theBench().clock().advance(3 * nsPerS);
        SensorsData first;
        QCOMPARE(camera.getSensorsData(first, TIME_REFERENCE::CURRENT), ERROR_CODE::SUCCESS);
        theBench().clock().advance(nsPerS);
        SensorsData second;
        QCOMPARE(camera.getSensorsData(second, TIME_REFERENCE::CURRENT), ERROR_CODE::SUCCESS);
        QCOMPARE(second.imu.timestamp > first.imu.timestamp, loop);
        QVERIFY(camera.isOpened());
    }

    void magneticFaultsComeUponWhatIsPlayed()
    {
        addReplay(recording(100));
        Camera camera;
        open(camera);
        const auto field = [&] {
            theBench().clock().advance(20 * nsPerMs);
            SensorsData data;
            if (camera.getSensorsData(data, TIME_REFERENCE::CURRENT) != ERROR_CODE::SUCCESS) {
                qFatal("no record");
            }
            return data.magnetometer.magneticFieldUncalibrated;
        };
        field();
        QCOMPARE(field().y, -20.125F);
        theBench().changeFaults(serial,
                                [](Faults& faults) { faults.magnetometerSaturated = true; });
        QCOMPARE(field().z, 2048.0F);
        theBench().changeFaults(serial, [](Faults& faults) {
            faults.magnetometerSaturated = false;
            faults.magneticDisturbance = 100.0;
        });
        double most = 0.0;
        for (int i = 0; i < 75; ++i) { // one swing
            const auto now = field();
            const double y = double{now.y} + 20.125;
            const double z = double{now.z} - 33.0625;
            most = std::max(most, std::hypot(y, z));
        }
        QVERIFY2(most > 50.0 && most < 100.2, qPrintable(QString::number(most)));
        theBench().changeFaults(serial, [](Faults& faults) { faults.magneticDisturbance = 0.0; });
        QCOMPARE(field().y, -20.125F);
    }

    void truthIsWhatIsPlayed()
    {
        addReplay(recording(100));
        Camera camera;
        open(camera);
        theBench().clock().advance(101 * nsPerMs);
        SensorsData data;
        QCOMPARE(camera.getSensorsData(data, TIME_REFERENCE::CURRENT), ERROR_CODE::SUCCESS);
        const Truth truth = theBench().truth(serial);
        QCOMPARE(static_cast<float>(truth.specificForce.x), data.imu.linearAcceleration.x);
        QCOMPARE(static_cast<float>(truth.angularVelocity.x * 180.0 / pi),
                 data.imu.angularVelocity.x);
        QCOMPARE(static_cast<float>(truth.field.z), data.magnetometer.magneticFieldUncalibrated.z);
        QCOMPARE(truth.movingState, data.cameraMovingState);
        const Orientation pose = data.imu.pose.getOrientation();
        QVERIFY(std::abs(truth.pose.w * double{pose.ow} + truth.pose.x * double{pose.ox} +
                         truth.pose.y * double{pose.oy} + truth.pose.z * double{pose.oz}) >
                1.0 - 1e-6);
    }

    void whatIsPlayedCannotBeMoved()
    {
        addReplay(recording(100));
        for (const char* change : {R"("command":"motion","motion":"fall")",
                                   R"("command":"pose","pose":{"heading":0,"pitch":0,"roll":0})",
                                   R"("command":"temperature","temperature":30)"}) {
            const std::string request =
                R"({"serialNumber":)" + std::to_string(serial) + "," + change + "}";
            QCOMPARE(QString::fromStdString(answerControl(theBench(), request)),
                     QStringLiteral("{\"error\":\"20000001 plays a recording\",\"ok\":false}"));
        }
    }

    void timesNeverRunBackwardOverManyRounds()
    {
        std::string report;
        const ReplaySource source(SensorRecording::parse(recording(37), "r.csv", report), true,
                                  5 * nsPerS);
        Nanoseconds before = 0;
        for (std::uint64_t number = 0; number < 500; ++number) {
            const Nanoseconds time = source.timeOf(STREAM::IMU, number);
            QVERIFY(time > before);
            before = time;
            QCOMPARE(source.newest(STREAM::IMU, time).value(), number);
            QVERIFY(number == 0 || source.newest(STREAM::IMU, time - 1).value() == number - 1);
        }
        QVERIFY(!source.newest(STREAM::IMU, 5 * nsPerS - 1));
    }

    void everyFloatAngleIsMet()
    {
        std::mt19937 random(4);
        std::uniform_real_distribution<float> full(-180.0F, 180.0F);
        std::uniform_real_distribution<float> half(-89.9F, 89.9F);
        int missed = 0;
        for (int i = 0; i < 20000; ++i) {
            // Angles as a recorder sees them: of a float in radians.
            const auto seen = [](float d) { return degrees(static_cast<float>(d * pi / 180.0)); };
            const std::array<float, 3> wanted = {seen(full(random)), seen(half(random)),
                                                 seen(full(random))};
            const Vector3<float> euler = transformOfEulerDegrees(wanted).getEulerAngles(true);
            if (degrees(euler.x) != wanted[0] || degrees(euler.y) != wanted[1] ||
                degrees(euler.z) != wanted[2]) {
                ++missed;
            }
        }
        QCOMPARE(missed, 0);
    }

    void angleThatNoFloatInRadiansHasComesBackAsTheNearest()
    {
        // Degrees of a few digits, as other programs write them: about one in six has no such
        // float.
        std::mt19937 random(4);
        std::uniform_int_distribution<int> full(-18000, 18000);
        std::uniform_int_distribution<int> half(-8990, 8990);
        const auto cpu = [] {
            timespec used = {};
            ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
            return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9;
        };
        constexpr int count = 20000;
        const double start = cpu();
        for (int i = 0; i < count; ++i) {
            const std::array<float, 3> wanted = {static_cast<float>(full(random)) / 100.0F,
                                                 static_cast<float>(half(random)) / 100.0F,
                                                 static_cast<float>(full(random)) / 100.0F};
            const Vector3<float> euler = transformOfEulerDegrees(wanted).getEulerAngles(true);
            const float got[3] = {degrees(euler.x), degrees(euler.y), degrees(euler.z)};
            for (std::size_t axis = 0; axis < 3; ++axis) {
                QVERIFY2(std::abs(std::remainder(got[axis] - wanted[axis], 360.0F)) < 8e-6F,
                         qPrintable(QString::asprintf("%.9g in place of %.9g", double(got[axis]),
                                                      double(wanted[axis]))));
            }
        }
        QVERIFY2(cpu() - start < 500e-6 * count, "a sample may take 2500 us, at most");
    }

    void lockedAnglesAreMetAsTheyAreRead_data()
    {
        QTest::addColumn<float>("y");
        QTest::newRow("up") << 90.0F;
        QTest::newRow("down") << -90.0F;
    }
    void lockedAnglesAreMetAsTheyAreRead()
    {
        QFETCH(float, y);
        for (int i = -179; i < 180; ++i) {
            const float x = degrees(static_cast<float>(i * pi / 180.0));
            const Vector3<float> euler = transformOfEulerDegrees({x, y, 0.0F}).getEulerAngles(true);
            QCOMPARE(degrees(euler.x), x);
            QCOMPARE(degrees(euler.y), y);
            QCOMPARE(degrees(euler.z), 0.0F);
        }
    }

    void everyPressureIsMet()
    {
        for (int i = 0; i < 25465; ++i) { // 300 to 1100 hPa
            const float pascals = 30000.0F + 3.1415926F * static_cast<float>(i);
            const auto shown = static_cast<float>(double{pascals} / 100.0);
            QCOMPARE(static_cast<float>(double{pascalsOfHectopascals(shown)} / 100.0), shown);
        }
    }

    void benchFileNamesARecordingBesideIt()
    {
        write(recording(10));
        QFile file(m_folder->filePath(QStringLiteral("bench.json")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("{\"cameras\": [{\"model\": \"TIV_P\", \"serialNumber\": 20000001,\n"
                   " \"replay\": \"recording.csv\", \"replayLoop\": false}]}");
        file.close();
        BenchDescription description;
        std::string error;
        QVERIFY2(readBenchFile(file.fileName().toStdString(), description, error), error.c_str());
        QCOMPARE(QString::fromStdString(description.cameras.front().replay),
                 m_folder->filePath(QStringLiteral("recording.csv")));
        QVERIFY(!description.cameras.front().replayLoop);
    }

    void recordingIsReadOnce()
    {
        write(recording(10));
        QFile file(m_folder->filePath(QStringLiteral("recording.csv")));
        BenchDescription description;
        std::string error;
        QVERIFY2(readBenchText(R"({"cameras": [{"model": "TIV_P", "serialNumber": 20000001,
                                                "replay": "recording.csv"}]})",
                               m_folder->filePath(QStringLiteral("b.json")).toStdString(),
                               description, error),
                 error.c_str());
        QVERIFY(file.remove());
        QVERIFY(theBench().addCamera(description.cameras.front()));
        QVERIFY(theBench().camera(serial)->playsRecording());
        theBench().unplug(serial);
        theBench().plug(serial);
        theBench().clock().advance(nsPerMs);
        QCOMPARE(theBench().truth(serial).specificForce.y, double{-9.80665F});
    }

    void cameraWhoseRecordingCannotBePlayedIsNotAdded()
    {
        CameraConfig config;
        config.model = MODEL::TIV_P;
        config.serialNumber = serial;
        config.replay = "/nowhere.csv";
        QVERIFY(!theBench().addCamera(config));
        QVERIFY(theBench().serialNumbers().empty());
    }

    void longFileIsReadPieceByPieceLikeAText()
    {
        const std::string text = recording(12000); // more than two pieces of 1 MiB
        QVERIFY(text.size() > 2U * 1024 * 1024);
        std::string report;
        ReadingProgress progress;
        const auto read = SensorRecording::read(write(text).toStdString(), report, &progress);
        QCOMPARE(QString::fromStdString(report), QString());
        QCOMPARE(progress.read.load(), std::uint64_t(text.size()));
        const auto parsed = SensorRecording::parse(text, "r.csv", report);
        QCOMPARE(read->size(), std::size_t(12000));
        for (std::size_t i = 0; i < read->size(); ++i) {
            const SensorRecording::Row one = read->row(i);
            const SensorRecording::Row other = parsed->row(i);
            QVERIFY(one.time == other.time && one.acceleration == other.acceleration &&
                    one.magneticField == other.magneticField &&
                    one.temperatures == other.temperatures && one.pressure == other.pressure);
        }
        QVERIFY(read->magnetometerRows() == parsed->magnetometerRows());
    }

    void rowsTakeTheMemoryOfTheirColumns()
    {
        std::string text = "idx,imu_Timestamp[sec],accX[m/s^2],accY[m/s^2],accZ[m/s^2],\n";
        constexpr int rows = 20000;
        for (int i = 0; i < rows; ++i) {
            text += QString::asprintf("%d,%.9f,1.0,2.0,3.0,\n", i, 5.0 + i * 0.0025).toStdString();
        }
        std::string report;
        const auto read = SensorRecording::parse(text, "r.csv", report);
        QCOMPARE(read->size(), std::size_t(rows));
        QCOMPARE(read->bytes(), std::size_t(rows) * (sizeof(double) + 3 * sizeof(float)));
    }

    void readingIsCancelled()
    {
        ReadingProgress progress;
        progress.cancelled = true;
        std::string report = "untouched";
        QVERIFY(!SensorRecording::read(write(recording(10)).toStdString(), report, &progress));
        QCOMPARE(report, std::string());
    }

    void lineLongerThanARowMayBeIsLeftOut()
    {
        std::string report;
        const std::string text =
            recording(3) + row(3).substr(0, 20) + std::string(100000, '0') + row(3).substr(20);
        const auto read = SensorRecording::parse(text + row(4), "r.csv", report);
        QVERIFY(read);
        QCOMPARE(QString::fromStdString(report),
                 QStringLiteral("r.csv: 1 row left out, the first: line 5 is longer than a row may "
                                "be"));
        QCOMPARE(read->size(), std::size_t(4));
        std::string same;
        QVERIFY(SensorRecording::read(write(text + row(4)).toStdString(), same));
        QVERIFY2(QString::fromStdString(same).endsWith("line 5 is longer than a row may be"),
                 same.c_str());
    }

    void benchFileWithARecordingThatCannotBePlayedIsAMistake()
    {
        BenchDescription description;
        std::string error;
        const std::string text =
            "{\"cameras\": [{\"model\": \"TIV_P\", \"serialNumber\": 20000001,\n"
            " \"replay\": \"/nowhere.csv\"}]}";
        QVERIFY(!readBenchText(text, "b.json", description, error));
        QVERIFY2(error.rfind("b.json:2: cameras[0].replay: /nowhere.csv: cannot be read", 0) == 0,
                 error.c_str());
    }

    void whatHasNoEndIsNotRead_data()
    {
        QTest::addColumn<QString>("place");
        QTest::addColumn<QString>("reason");
        QTest::newRow("device") << "/dev/zero"
                                << "cannot be read: ";
        QTest::newRow("pipe") << "pipe"
                              << "cannot be read: ";
        QTest::newRow("folder") << "."
                                << "cannot be read: Is a directory";
        QTest::newRow("huge file") << "huge"
                                   << "larger than a recording may be (512 MiB)";
    }
    void whatHasNoEndIsNotRead()
    {
        QFETCH(QString, place);
        QFETCH(QString, reason);
        place = QDir(m_folder->path()).filePath(place); // an absolute path stays
        if (place.endsWith("/pipe")) {
            QCOMPARE(::mkfifo(qPrintable(place), 0600), 0);
        }
        QFile huge(place);
        if (place.endsWith("/huge")) {
            QVERIFY(huge.open(QIODevice::WriteOnly));
            QVERIFY(huge.resize(512LL * 1024 * 1024 + 1)); // uses no space on the disk
        }
        std::string report;
        QVERIFY(!SensorRecording::read(place.toStdString(), report));
        QVERIFY2(QString::fromStdString(report).startsWith(place + ": " + reason), report.c_str());
    }
};

QTEST_GUILESS_MAIN(TestReplay)
#include "tst_replay.moc"
