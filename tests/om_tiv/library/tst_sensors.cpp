#include "om_tiv/library/sensorrig.h"

#include "bench/eeprom_store.h"
#include "library/sensor_reader.h"
#include "world/physics.h"

#include <algorithm>
#include <cmath>
#include <vector>

using namespace om;
using namespace om::bench;
using namespace benchtest;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;
using LOCATION = SensorsData::TemperatureData::SENSOR_LOCATION;

Q_DECLARE_METATYPE(om::bench::MOTION)

class TestSensors : public QObject
{
    Q_OBJECT

private slots:
    void sensorsOfAModel_data();
    void sensorsOfAModel();
    void aModelWithoutSensorsGivesAFailure();
    void beforeTheFirstSampleTheTimestampIsZero();
    void streamIsAvailableOnceItHoldsASample();
    void aRepeatHasTheSameTimestampAndSucceeds();
    void currentWaitsForTheNextSample();
    void currentGivesTheNewestSample();
    void imageReferenceGivesTheValuesAtTheFrame();
    void imageReferenceWithoutAFrameFails();

    void ratesOfTheStreams();
    void timesAreCloseToTheirNominalTime();
    void timestampsNeverRunBackward();
    void effectiveRatesAreMeasured();
    void samplesRepeatWhoeverAsks();
    void seedsMakeDifferentNoise();
    void theSerialNumberIsTheSeedWhereNoneIsGiven();
    void countersCountEachSampleOnce();

    void accelerationAtRestIsGravity();
    void accelerationHasNoiseAndBias();
    void gyroscopeAtRestShowsItsBias();
    void gyroscopeIntegratesToThePose();
    void poseIsTheTruePose();
    void poseAndVectorsInImageAxes();
    void eulerAnglesFollowASetPose();

    void pressureFollowsTheHeight();
    void relativeAltitudeCountsFromTheOpening();
    void temperaturesWarmUp();
    void movingStateFollowsTheMotion();
    void unplugPlugStartsTheStreamsAgain();
};

void TestSensors::sensorsOfAModel_data()
{
    QTest::addColumn<int>("model");
    QTest::addColumn<bool>("barometer");
    QTest::addColumn<bool>("magnetometer");
    QTest::addColumn<QVector<int>>("temperatures");
    QTest::newRow("TIV_N") << 1 << false << false << QVector<int>();
    QTest::newRow("TIV_P") << 2 << true << true << QVector<int>{0, 1, 2, 3};
    QTest::newRow("TIV_Q") << 3 << true << true << QVector<int>{0, 1, 2, 3};
    QTest::newRow("TIV_R") << 4 << false << false << QVector<int>{0};
    QTest::newRow("TIV_S") << 5 << false << false << QVector<int>{0};
    QTest::newRow("a later model") << 6 << true << true << QVector<int>{0, 1, 2, 3};
}

void TestSensors::sensorsOfAModel()
{
    QFETCH(int, model);
    QFETCH(bool, barometer);
    QFETCH(bool, magnetometer);
    QFETCH(QVector<int>, temperatures);
    Rig rig(idealCamera(static_cast<MODEL>(model)));
    QVERIFY(rig.opened);
    const SensorsData data = rig.after(milliseconds(200));
    QCOMPARE(rig.result, ERROR_CODE::SUCCESS);
    QVERIFY(data.imu.timestamp > 0);
    QCOMPARE(data.barometer.isAvailable, barometer);
    QCOMPARE(data.barometer.timestamp > 0, barometer);
    QCOMPARE(data.barometer.pressure > 0.0F, barometer);
    QCOMPARE(data.magnetometer.isAvailable, magnetometer);
    QCOMPARE(data.magnetometer.timestamp > 0, magnetometer);
    QCOMPARE(norm(data.magnetometer.magneticFieldUncalibrated) > 0.0, magnetometer);
    for (int location = 0; location < 4; ++location) {
        float value = -1.0F;
        const int missing = data.temperature.get(static_cast<LOCATION>(location), value);
        QCOMPARE(missing == 0, temperatures.contains(location));
        QCOMPARE(value == -1.0F, missing != 0); // untouched where there is no sensor
    }
}

void TestSensors::aModelWithoutSensorsGivesAFailure()
{
    Rig rig(idealCamera(MODEL::TIV));
    QVERIFY(rig.opened);
    rig.after(seconds(1));
    QCOMPARE(rig.result, ERROR_CODE::FAILURE);
    QVERIFY(rig.camera.isOpened());
}

void TestSensors::beforeTheFirstSampleTheTimestampIsZero()
{
    Rig rig(idealCamera());
    const SensorsData data = rig.after(milliseconds(0));
    QCOMPARE(rig.result, ERROR_CODE::SUCCESS);
    QCOMPARE(data.imu.timestamp, std::uint64_t{0});
    QCOMPARE(data.magnetometer.timestamp, std::uint64_t{0});
    QCOMPARE(data.barometer.timestamp, std::uint64_t{0});
    QVERIFY(!data.magnetometer.isAvailable);
    QVERIFY(!data.barometer.isAvailable);
}

void TestSensors::streamIsAvailableOnceItHoldsASample()
{
    Rig rig(idealCamera());
    const SensorsData none = rig.after(milliseconds(15));
    QVERIFY(none.imu.timestamp > 0);
    QVERIFY(!none.magnetometer.isAvailable);
    QVERIFY(!none.barometer.isAvailable);
    const SensorsData field = rig.after(milliseconds(10)); // 20 ms each
    QVERIFY(field.magnetometer.isAvailable);
    QVERIFY(!field.barometer.isAvailable);
    const SensorsData both = rig.after(milliseconds(20)); // 40 ms each
    QVERIFY(both.magnetometer.isAvailable);
    QVERIFY(both.barometer.isAvailable);
}

void TestSensors::aRepeatHasTheSameTimestampAndSucceeds()
{
    Rig rig(idealCamera());
    const SensorsData first = rig.after(milliseconds(10));
    const SensorsData second = rig.after(milliseconds(0));
    QCOMPARE(rig.result, ERROR_CODE::SUCCESS);
    QCOMPARE(second.imu.timestamp, first.imu.timestamp);
    QCOMPARE(second.imu.linearAcceleration.x, first.imu.linearAcceleration.x);
    const SensorsData third = rig.after(microseconds(2700));
    QVERIFY(third.imu.timestamp > first.imu.timestamp);
}

void TestSensors::currentWaitsForTheNextSample()
{
    auto& bench = runningBench();
    bench.addCamera(idealCamera());
    Camera camera;
    QCOMPARE(camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    SensorsData data;
    current(camera, data);
    std::uint64_t last = data.imu.timestamp;
    int repeats = 0;
    for (int i = 0; i < 100; ++i) {
        QCOMPARE(current(camera, data), ERROR_CODE::SUCCESS);
        repeats += data.imu.timestamp == last ? 1 : 0;
        last = data.imu.timestamp;
    }
    // A call returns without a new sample only if the sample is late by more than the longest wait.
    QVERIFY2(repeats <= 5, qPrintable(QString::number(repeats)));
}

void TestSensors::currentGivesTheNewestSample()
{
    Rig rig(idealCamera());
    const SensorsData data = rig.after(seconds(1));
    const Nanoseconds age = rig.bench.clock().now() - data.imu.timestamp;
    QVERIFY(age < 3 * nsPerMs);
    QVERIFY(rig.bench.clock().now() - data.magnetometer.timestamp < 22 * nsPerMs);
    QVERIFY(rig.bench.clock().now() - data.barometer.timestamp < 44 * nsPerMs);
}

void TestSensors::imageReferenceGivesTheValuesAtTheFrame()
{
    Rig rig(idealCamera());
    rig.bench.clock().advance(milliseconds(100));
    QCOMPARE(rig.camera.grab(RuntimeParameters()), ERROR_CODE::SUCCESS);
    const std::uint64_t frame = rig.camera.getTimestamp(TIME_REFERENCE::IMAGE);
    rig.bench.clock().advance(seconds(1));
    SensorsData data;
    QCOMPARE(rig.camera.getSensorsData(data, TIME_REFERENCE::IMAGE), ERROR_CODE::SUCCESS);
    QVERIFY(data.imu.timestamp <= frame);
    QVERIFY(frame - data.imu.timestamp < 3 * nsPerMs);
}

void TestSensors::imageReferenceWithoutAFrameFails()
{
    Rig rig(idealCamera());
    rig.bench.clock().advance(seconds(1));
    SensorsData data;
    QCOMPARE(rig.camera.getSensorsData(data, TIME_REFERENCE::IMAGE), ERROR_CODE::FAILURE);
}

void TestSensors::ratesOfTheStreams()
{
    Rig rig(idealCamera());
    const auto source = rig.bench.camera(cameraSerial)->source();
    const auto count = [&](STREAM stream) {
        return static_cast<int>(source->newest(stream, startTime + 10 * nsPerS + nsPerMs).value() +
                                1);
    };
    QCOMPARE(count(STREAM::IMU), 4000);
    QCOMPARE(count(STREAM::MAGNETOMETER), 500);
    QCOMPARE(count(STREAM::BAROMETER), 250);
}

void TestSensors::timesAreCloseToTheirNominalTime()
{
    Rig rig(idealCamera());
    const auto source = rig.bench.camera(cameraSerial)->source();
    for (const STREAM stream : {STREAM::IMU, STREAM::MAGNETOMETER, STREAM::BAROMETER}) {
        const double period = 1e9 / PhysicsSource::rateOf(stream);
        double squares = 0.0;
        double most = 0.0;
        constexpr int count = 4000;
        for (int i = 0; i < count; ++i) {
            const auto number = static_cast<std::uint64_t>(i);
            const double nominal = static_cast<double>(startTime) + (i + 1) * period;
            const double off =
                (static_cast<double>(source->timeOf(stream, number)) - nominal) / period;
            squares += off * off;
            most = std::max(most, std::abs(off));
        }
        const double deviation = std::sqrt(squares / count);
        QVERIFY2(deviation > 0.008 && deviation < 0.016, qPrintable(QString::number(deviation)));
        QVERIFY2(most <= 0.0501, qPrintable(QString::number(most)));
    }
}

void TestSensors::timestampsNeverRunBackward()
{
    CameraConfig config = idealCamera();
    config.motion = MOTION::TUMBLE;
    Rig rig(config);
    std::uint64_t imu = 0;
    std::uint64_t magnetometer = 0;
    std::uint64_t barometer = 0;
    rig.after(microseconds(1250)); // between two samples, whose times have a jitter
    for (int i = 0; i < 4000; ++i) {
        const SensorsData data = rig.after(microseconds(2500));
        QVERIFY(data.imu.timestamp >= imu);
        QVERIFY(data.magnetometer.timestamp >= magnetometer);
        QVERIFY(data.barometer.timestamp >= barometer);
        QVERIFY(data.imu.timestamp <= rig.bench.clock().now());
        imu = data.imu.timestamp;
        magnetometer = data.magnetometer.timestamp;
        barometer = data.barometer.timestamp;
    }
    QVERIFY(imu > startTime + 9 * nsPerS);
}

void TestSensors::effectiveRatesAreMeasured()
{
    Rig rig(idealCamera());
    SensorsData data = rig.after(microseconds(2700));
    QVERIFY(data.imu.timestamp > 0);
    QCOMPARE(data.imu.effectiveRate, 0.0F); // one sample has no rate
    data = rig.after(seconds(2));
    QVERIFY(std::abs(data.imu.effectiveRate - 400.0F) < 1.0F);
    QVERIFY(std::abs(data.magnetometer.effectiveRate - 50.0F) < 0.1F);
    QVERIFY(std::abs(data.barometer.effectiveRate - 25.0F) < 0.1F);
    QVERIFY(data.imu.effectiveRate != 400.0F); // a measurement, not the nominal value
}

void TestSensors::samplesRepeatWhoeverAsks()
{
    CameraConfig config = idealCamera();
    config.motion = MOTION::TUMBLE;
    config.errors = SensorErrors();
    auto& bench = stoppedBench();
    bench.addCamera(config);
    const auto source = bench.camera(cameraSerial)->source();
    const ImuSample early = source->imu(100);
    const MagnetometerSample earlyField = source->magnetometer(30);
    bench.clock().advance(seconds(5));
    for (std::uint64_t i = 0; i < 200; ++i) {
        source->imu(i);
    }
    const ImuSample late = source->imu(100);
    QCOMPARE(late.time, early.time);
    QCOMPARE(late.linearAcceleration.x, early.linearAcceleration.x);
    QCOMPARE(late.angularVelocity.z, early.angularVelocity.z);
    QVERIFY(source->magnetometer(30).counts == earlyField.counts);
}

void TestSensors::seedsMakeDifferentNoise()
{
    CameraConfig config = idealCamera();
    config.errors = SensorErrors();
    std::vector<double> values;
    for (const std::uint64_t seed : {5U, 6U, 5U}) {
        auto& bench = stoppedBench();
        config.seed = seed;
        bench.addCamera(config);
        values.push_back(bench.camera(cameraSerial)->source()->imu(7).linearAcceleration.y);
    }
    QVERIFY(values[0] != values[1]);
    QCOMPARE(values[0], values[2]);
}

void TestSensors::theSerialNumberIsTheSeedWhereNoneIsGiven()
{
    auto& bench = stoppedBench();
    CameraConfig config = idealCamera();
    config.errors = SensorErrors();
    bench.addCamera(config);
    config.serialNumber = cameraSerial + 1;
    bench.addCamera(config);
    const auto one = bench.camera(cameraSerial)->source()->imu(7);
    const auto other = bench.camera(cameraSerial + 1)->source()->imu(7);
    QVERIFY(one.linearAcceleration.y != other.linearAcceleration.y);
    QVERIFY(one.time != other.time);
}

void TestSensors::countersCountEachSampleOnce()
{
    Rig rig(idealCamera());
    QCOMPARE(rig.bench.imuCounters(cameraSerial).produced, std::uint64_t{0});
    for (int i = 0; i < 8; ++i) {
        rig.after(milliseconds(5)); // two samples, of which the newer one is delivered
        rig.after(milliseconds(0));
    }
    const ImuCounters counters = rig.bench.imuCounters(cameraSerial);
    QVERIFY(counters.produced == 15 || counters.produced == 16); // the last one may be late
    QCOMPARE(counters.delivered, std::uint64_t{8});

    rig.bench.unplug(cameraSerial);
    rig.bench.clock().advance(seconds(1));
    QCOMPARE(rig.bench.imuCounters(cameraSerial).produced, counters.produced);

    rig.bench.plug(cameraSerial);
    QCOMPARE(rig.camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    QCOMPARE(rig.bench.imuCounters(cameraSerial).delivered, std::uint64_t{0});
    QCOMPARE(rig.bench.imuCounters(cameraSerial).produced, std::uint64_t{0});
}

void TestSensors::accelerationAtRestIsGravity()
{
    CameraConfig config = idealCamera();
    config.pose = fromHeading(1.0, 0.5, -0.8);
    Rig rig(config);
    const SensorsData data = rig.after(seconds(1));
    QVERIFY(std::abs(norm(data.imu.linearAcceleration) - 9.81) < 0.01);
    const Vector up = rotate(conjugate(config.pose), {0.0, standardGravity, 0.0});
    QVERIFY(near(data.imu.linearAcceleration, up, 1e-5));
}

void TestSensors::accelerationHasNoiseAndBias()
{
    CameraConfig config = idealCamera();
    config.errors.accelerationNoise = 0.05;
    config.errors.accelerationBias = {0.1, -0.2, 0.3};
    stoppedBench().addCamera(config);
    const auto source = theBench().camera(cameraSerial)->source();
    constexpr int count = 4000;
    Vector mean;
    double squares = 0.0;
    double neighbours = 0.0;
    double last = 0.0;
    for (std::uint64_t i = 0; i < count; ++i) {
        const Vector off =
            source->imu(i).linearAcceleration - Vector{0.1, standardGravity - 0.2, 0.3};
        mean = mean + (1.0 / count) * off;
        squares += off.x * off.x / count;
        neighbours += off.x * last / count;
        last = off.x;
    }
    QVERIFY(length(mean) < 0.005);
    QVERIFY(std::abs(std::sqrt(squares) - 0.05) < 0.003);
    QVERIFY(std::abs(neighbours) < 0.1 * squares); // white
}

void TestSensors::gyroscopeAtRestShowsItsBias()
{
    CameraConfig config = idealCamera();
    config.errors.angularVelocityBias = {0.5, -0.25, 0.125};
    Rig rig(config);
    QVERIFY(near(rig.after(seconds(1)).imu.angularVelocity, {0.5, -0.25, 0.125}, 1e-5));
}

void TestSensors::gyroscopeIntegratesToThePose()
{
    CameraConfig config = idealCamera();
    config.motion = MOTION::TUMBLE;
    Rig rig(config);
    SensorsData last = rig.after(microseconds(3750)); // between two samples
    Quaternion integrated = rig.bench.truthAt(cameraSerial, last.imu.timestamp).pose;
    for (int i = 0; i < 4000; ++i) {
        const SensorsData data = rig.after(microseconds(2500));
        const double step = static_cast<double>(data.imu.timestamp - last.imu.timestamp) * 1e-9;
        // The mean of the rates at both ends of the step.
        const Vector rate{0.5 * (data.imu.angularVelocity.x + last.imu.angularVelocity.x),
                          0.5 * (data.imu.angularVelocity.y + last.imu.angularVelocity.y),
                          0.5 * (data.imu.angularVelocity.z + last.imu.angularVelocity.z)};
        integrated = integrated * fromRotationVector((step * pi / 180.0) * rate);
        last = data;
    }
    QVERIFY(last.imu.timestamp > startTime + 9 * nsPerS);
    const Orientation o = last.imu.pose.getOrientation();
    const Quaternion pose{double{o.ow}, double{o.ox}, double{o.oy}, double{o.oz}};
    const double error = length(toRotationVector(conjugate(pose) * integrated)) * 180.0 / pi;
    QVERIFY2(error < 0.05, qPrintable(QString::number(error)));
}

void TestSensors::poseIsTheTruePose()
{
    CameraConfig config = idealCamera();
    config.motion = MOTION::TUMBLE;
    Rig rig(config);
    const SensorsData data = rig.after(seconds(7));
    const Truth truth = rig.bench.truthAt(cameraSerial, data.imu.timestamp);
    const Translation v(0.3F, -0.5F, 0.8F);
    const Translation turned = v * data.imu.pose.getOrientation();
    QVERIFY(near(turned, rotate(truth.pose, {double{v.x}, double{v.y}, double{v.z}}), 1e-6));
    QVERIFY(near(data.imu.pose.getTranslation(), {}, 0.0));
}

void TestSensors::poseAndVectorsInImageAxes()
{
    CameraConfig config = idealCamera();
    config.pose = fromHeading(0.8, 0.3, -0.5);
    Rig backward(config);
    const SensorsData a = backward.after(seconds(1));
    Rig image(config, COORDINATE_SYSTEM::IMAGE);
    const SensorsData b = image.after(seconds(1));

    const auto turnedOver = [](const Vector3<float>& v) {
        return Vector{double{v.x}, -double{v.y}, -double{v.z}};
    };
    QVERIFY(near(b.imu.linearAcceleration, turnedOver(a.imu.linearAcceleration), 1e-6));
    QVERIFY(near(b.magnetometer.magneticFieldUncalibrated,
                 turnedOver(a.magnetometer.magneticFieldUncalibrated), 0.0));
    // Gravity, rotated into the world frame by the pose, points to the world's up.
    const Vector3<float>& g = b.imu.linearAcceleration;
    const Translation world = Translation(g.x, g.y, g.z) * b.imu.pose.getOrientation();
    QVERIFY(near(world, {0.0, -standardGravity, 0.0}, 1e-4));
}

void TestSensors::eulerAnglesFollowASetPose()
{
    Rig rig(idealCamera());
    // 30 degrees to the left about the world's vertical.
    rig.bench.setPose(cameraSerial, fromHeading(-pi / 6), std::chrono::nanoseconds(0));
    const Vector3<float> angles = rig.after(seconds(1)).imu.pose.getEulerAngles(false);
    QVERIFY(near(angles, {0.0, 30.0, 0.0}, 1e-4));
}

void TestSensors::pressureFollowsTheHeight()
{
    CameraConfig config = idealCamera();
    config.altitude = 0.0;
    Rig sea(config);
    QVERIFY(std::abs(sea.after(seconds(1)).barometer.pressure - 101325.0F) < 1.0F);
    config.altitude = 1000.0;
    Rig hill(config);
    // The standard atmosphere's value at 1000 m.
    QVERIFY(std::abs(hill.after(seconds(1)).barometer.pressure - 89875.0F) < 10.0F);

    config.motion = MOTION::FALL;
    config.altitude = 0.0;
    Rig falling(config);
    // 1.8 m lower at the end of the catch: about 12 Pa per metre.
    falling.after(milliseconds(100));
    const float high = falling.after(milliseconds(300)).barometer.pressure;
    const float low = falling.after(milliseconds(880)).barometer.pressure;
    QVERIFY2(low - high > 18.0F && low - high < 25.0F, qPrintable(QString::number(low - high)));
}

void TestSensors::relativeAltitudeCountsFromTheOpening()
{
    CameraConfig config = idealCamera();
    config.altitude = 500.0;
    Rig rig(config);
    QVERIFY(std::abs(rig.after(seconds(1)).barometer.relativeAltitude) < 0.05F);

    config.motion = MOTION::FALL;
    Rig falling(config);
    falling.after(milliseconds(400));
    const float low = falling.after(milliseconds(880)).barometer.relativeAltitude;
    QVERIFY2(low < -1.5F && low > -2.0F, qPrintable(QString::number(low)));
    // In thin air the same height is a smaller difference of pressure.
    config.altitude = 9000.0;
    Rig high(config);
    high.after(milliseconds(400));
    const float there = high.after(milliseconds(880)).barometer.relativeAltitude;
    QVERIFY2(std::abs(there - low) < 0.1F, qPrintable(QString::number(there)));
}

void TestSensors::temperaturesWarmUp()
{
    CameraConfig config = idealCamera();
    config.startTemperatures = {20.0, 21.0, 22.0, 23.0};
    Rig rig(config);
    SensorsData data = rig.after(milliseconds(50));
    for (int i = 0; i < 4; ++i) {
        const float value = data.temperature.values.at(static_cast<LOCATION>(i));
        QVERIFY(std::abs(value - (20.0F + static_cast<float>(i))) < 0.05F);
    }
    data = rig.after(seconds(240)); // one time constant: 12 (1 - 1/e)
    QVERIFY(std::abs(data.temperature.values.at(LOCATION::IMU) - 27.585F) < 0.05F);
    data = rig.after(seconds(3600));
    QVERIFY(std::abs(data.temperature.values.at(LOCATION::RIGHT) - 35.0F) < 0.05F);
}

void TestSensors::movingStateFollowsTheMotion()
{
    CameraConfig config = idealCamera();
    config.motion = MOTION::FALL;
    Rig rig(config);
    QCOMPARE(rig.after(milliseconds(400)).cameraMovingState, 0);
    QCOMPARE(rig.after(milliseconds(300)).cameraMovingState, 2);
    QCOMPARE(rig.after(milliseconds(400)).cameraMovingState, 1);
    rig.bench.setMotion(cameraSerial, MOTION::AT_REST);
    QCOMPARE(rig.after(seconds(2)).cameraMovingState, 0);
    rig.bench.setMotion(cameraSerial, MOTION::TUMBLE);
    QCOMPARE(rig.after(seconds(2)).cameraMovingState, 1);
}

void TestSensors::unplugPlugStartsTheStreamsAgain()
{
    Rig rig(idealCamera());
    rig.after(seconds(100));
    rig.bench.unplug(cameraSerial);
    rig.bench.clock().advance(seconds(5));
    rig.bench.plug(cameraSerial);
    const auto camera = rig.bench.camera(cameraSerial);
    QCOMPARE(camera->pluggedAt(), startTime + 105 * nsPerS);
    QVERIFY(!camera->source()->newest(STREAM::IMU, camera->pluggedAt()));
    QCOMPARE(rig.camera.open(parametersFor()), ERROR_CODE::SUCCESS);
    const SensorsData data = rig.after(microseconds(2700));
    QVERIFY(data.imu.timestamp > camera->pluggedAt());
    QVERIFY(std::abs(data.temperature.values.at(LOCATION::IMU) - 27.0F) < 0.1F); // cold again
}

QTEST_GUILESS_MAIN(TestSensors)
#include "tst_sensors.moc"
