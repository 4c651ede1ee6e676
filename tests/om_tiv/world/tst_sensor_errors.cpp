/// What each error of a sensor does to its readings.

#include "om_tiv/benchtest.h"

#include "world/physics.h"
#include "world/standard_air.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <set>
#include <thread>
#include <vector>

using namespace om;
using namespace om::bench;
using benchtest::startTime;

namespace {

/// The physics of a camera at rest without errors but those given.
std::unique_ptr<PhysicsSource> sourceWith(const std::function<void(CameraConfig&)>& change,
                                          std::uint64_t turn = 0)
{
    CameraConfig config = benchtest::idealCamera();
    change(config);
    const auto environment = std::make_shared<Environment>();
    environment->field = [] { return Field(); };
    return std::make_unique<PhysicsSource>(
        config, std::make_shared<MotionTimeline>(config.motion, config.pose, startTime),
        environment, startTime, turn);
}

std::unique_ptr<PhysicsSource> sourceOf(const std::function<void(SensorErrors&)>& change,
                                        std::uint64_t turn = 0)
{
    return sourceWith([&](CameraConfig& config) { change(config.errors); }, turn);
}

bool near(const Vector& v, const Vector& expected, double tolerance = 1e-12)
{
    return length(v - expected) <= tolerance;
}

QByteArray text(const Vector& v)
{
    return QString("%1 %2 %3")
        .arg(v.x, 0, 'g', 12)
        .arg(v.y, 0, 'g', 12)
        .arg(v.z, 0, 'g', 12)
        .toUtf8();
}

constexpr double gravity = standardGravity;

/// Everything that can be wrong at once.
void spoil(SensorErrors& errors)
{
    errors = SensorErrors();
    for (ErrorModel* const model :
         {&errors.accelerometer, &errors.gyroscope, &errors.magnetometer, &errors.barometer}) {
        model->noiseDensity = {0.01, 0.02, 0.03};
        model->biasInstability = {0.1, 0.2, 0.3};
        model->randomWalk = {0.01, 0.02, 0.03};
        model->turnOnSpread = {0.1, 0.1, 0.1};
        model->temperatureBias = {0.01, 0.02, 0.03};
        model->temperatureScaleFactor = {0.1, 0.2, 0.3};
        model->resolution = 0.001;
        model->vibrationFrequency = 33.0;
        model->vibrationAmplitude = {0.1, 0.2, 0.3};
        model->spikeShare = 1.0;
        model->spikeAmplitude = 3.0;
    }
    errors.gyroscope.gSensitivity = identity3;
    errors.clockDrift = 1234.5;
    errors.droppedSamples = 2.0;
    errors.droppedTogether = 3;
}

} // namespace

class TestSensorErrors : public QObject
{
    Q_OBJECT

private slots:
    void scaleAndMisalignmentActOnTheTrueValue();
    void temperatureMovesBiasAndScale();
    void noiseDensityIsThatOfTheSampleRate();
    void turnOnBiasIsDrawnAtEachPluggingIn();
    void aCameraDrawsAgainWhenItIsPluggedIn();
    void gravityActsOnTheGyroscope();
    void vibrationIsASine();
    void vibrationOfTheBoardReachesTheGyroscope();
    void readingsAreOnStepsOfTheResolution();
    void readingsEndAtTheRange();
    void magnetometerBeyondItsRangeIsSaturated();
    void spikesAreAsManyAndAsHigh();
    void barometerHasOneAxis();
    void pressureHasAnAltitude_data();
    void pressureHasAnAltitude();
    void instabilityAndWalkMoveTheBias_data();
    void instabilityAndWalkMoveTheBias();

    void aFastClockShortensThePeriod_data();
    void aFastClockShortensThePeriod();
    void newestSampleIsFoundWithADriftingClock_data() { aFastClockShortensThePeriod_data(); }
    void newestSampleIsFoundWithADriftingClock();
    void droppedSamplesAreNeverTheNewest_data();
    void droppedSamplesAreNeverTheNewest();
    void theProgramReadsAroundDroppedSamples();

    void samplesAreTheSameInWhateverOrder();
    void threadsReadTheSameSamples();
};

void TestSensorErrors::scaleAndMisalignmentActOnTheTrueValue()
{
    const auto source = sourceWith([](CameraConfig& config) {
        config.pose = fromHeading(0.0, 0.3, 0.4);
        ErrorModel& model = config.errors.accelerometer;
        model.scaleFactor = {1.01, 0.98, 1.05};
        model.axesMisalignment = {{{0.0, 1.0, -2.0}, {3.0, 0.0, 4.0}, {-5.0, 6.0, 0.0}}};
    });
    const Vector f = rotate(conjugate(fromHeading(0.0, 0.3, 0.4)), {0.0, gravity, 0.0});
    const Vector expected{1.01 * (f.x + 0.01 * f.y - 0.02 * f.z),
                          0.98 * (f.y + 0.03 * f.x + 0.04 * f.z),
                          1.05 * (f.z - 0.05 * f.x + 0.06 * f.y)};
    QVERIFY2(near(source->imu(0).linearAcceleration, expected),
             text(source->imu(0).linearAcceleration));
}

void TestSensorErrors::temperatureMovesBiasAndScale()
{
    const auto source = sourceWith([](CameraConfig& config) {
        config.startTemperatures = {35.0, 20.0, 20.0, 20.0};
        config.errors.accelerometer.temperatureBias = {0.1, 0.2, -0.3};
        config.errors.accelerometer.temperatureScaleFactor = {1.0, 2.0, 3.0};
        config.errors.gyroscope.temperatureBias = {0.01, 0.0, 0.0};
    });
    // 10 degrees above the reference when plugged in, 22 when warm.
    QVERIFY(near(source->imu(0).linearAcceleration, {1.0, 1.2 * gravity + 2.0, -3.0}, 1e-3));
    const ImuSample warm = source->imu(400 * 7200);
    QVERIFY2(near(warm.linearAcceleration, {2.2, 1.44 * gravity + 4.4, -6.6}, 1e-9),
             text(warm.linearAcceleration));
    QVERIFY(near(warm.angularVelocity, {0.22, 0.0, 0.0}, 1e-9));
}

void TestSensorErrors::noiseDensityIsThatOfTheSampleRate()
{
    const auto source = sourceOf([](SensorErrors& errors) {
        errors.accelerometer.noiseDensity = {0.001, 0.002, 0.0};
        errors.accelerationNoise = 0.03;
    });
    constexpr int count = 20000;
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
    for (std::uint64_t i = 0; i < count; ++i) {
        const Vector off = source->imu(i).linearAcceleration - Vector{0.0, gravity, 0.0};
        x += off.x * off.x / count;
        y += off.y * off.y / count;
        z += off.z * off.z / count;
    }
    // N sqrt(400 Hz), and beside it the noise of one sample; within four standard errors.
    QVERIFY(std::abs(x / (0.0004 + 0.0009) - 1.0) < 0.04);
    QVERIFY(std::abs(y / (0.0016 + 0.0009) - 1.0) < 0.04);
    QVERIFY(std::abs(z / 0.0009 - 1.0) < 0.04);
}

void TestSensorErrors::turnOnBiasIsDrawnAtEachPluggingIn()
{
    double squares = 0.0;
    double product = 0.0;
    constexpr int count = 2000;
    for (std::uint64_t turn = 0; turn < count; ++turn) {
        const auto source = sourceOf(
            [](SensorErrors& errors) {
                errors.gyroscope.turnOnSpread = {0.5, 0.5, 0.0};
            },
            turn);
        const Vector bias = source->imu(3).angularVelocity;
        QVERIFY(near(source->imu(1'000'000).angularVelocity, bias, 0.0));
        QCOMPARE(bias.z, 0.0);
        squares += bias.x * bias.x / count;
        product += bias.x * bias.y / count;
    }
    QVERIFY(std::abs(squares / 0.25 - 1.0) < 0.13);
    QVERIFY(std::abs(product / 0.25) < 0.1);
}

void TestSensorErrors::aCameraDrawsAgainWhenItIsPluggedIn()
{
    CameraConfig config = benchtest::idealCamera();
    config.errors.gyroscope.turnOnSpread = {1.0, 1.0, 1.0};
    Bench& bench = benchtest::stoppedBench();
    bench.addCamera(config);
    const auto bias = [&] {
        return bench.camera(config.serialNumber)->source()->imu(0).angularVelocity;
    };
    const Vector first = bias();
    // As the first plugging in is in a recording that is generated.
    QVERIFY(near(
        first, sourceOf([&](SensorErrors& e) { e = config.errors; })->imu(0).angularVelocity, 0.0));
    bench.unplug(config.serialNumber);
    bench.plug(config.serialNumber);
    QVERIFY(length(bias() - first) > 0.01);
}

void TestSensorErrors::gravityActsOnTheGyroscope()
{
    const auto source = sourceOf([](SensorErrors& errors) {
        errors.gyroscope.gSensitivity = {{{0.0, 0.01, 0.0}, {0.0, 0.02, 0.0}, {0.3, 0.0, 0.0}}};
    });
    QVERIFY(near(source->imu(0).angularVelocity, {0.01 * gravity, 0.02 * gravity, 0.0}));
}

void TestSensorErrors::vibrationIsASine()
{
    const auto source = sourceOf([](SensorErrors& errors) {
        errors.accelerometer.vibrationFrequency = 47.5;
        errors.accelerometer.vibrationAmplitude = {0.3, 0.0, -0.6};
    });
    for (const std::uint64_t number : {0U, 1U, 7U, 100U, 4'000'000U}) {
        const ImuSample sample = source->imu(number);
        const double s = std::sin(
            2.0 * pi * std::fmod(47.5 * static_cast<double>(sample.time - startTime) * 1e-9, 1.0));
        QVERIFY2(near(sample.linearAcceleration, {0.3 * s, gravity, -0.6 * s}, 1e-6),
                 text(sample.linearAcceleration));
        QVERIFY(near(sample.angularVelocity, {}, 0.0));
    }
}

void TestSensorErrors::vibrationOfTheBoardReachesTheGyroscope()
{
    const auto source = sourceOf([](SensorErrors& errors) {
        errors.accelerometer.vibrationFrequency = 30.0;
        errors.accelerometer.vibrationAmplitude = {1.0, 0.0, 0.0};
        errors.gyroscope.gSensitivity = {{{0.5, 0.0, 0.0}, {0.0, 0.0, 0.0}, {0.0, 0.0, 0.0}}};
    });
    double most = 0.0;
    for (std::uint64_t i = 0; i < 100; ++i) {
        const ImuSample sample = source->imu(i);
        QVERIFY(std::abs(sample.angularVelocity.x - 0.5 * sample.linearAcceleration.x) < 1e-12);
        most = std::max(most, sample.angularVelocity.x);
    }
    QVERIFY(most > 0.45);
}

void TestSensorErrors::readingsAreOnStepsOfTheResolution()
{
    const auto source = sourceOf([](SensorErrors& errors) {
        errors.accelerationNoise = 0.5;
        errors.accelerometer.resolution = 0.25;
    });
    std::set<double> values;
    for (std::uint64_t i = 0; i < 500; ++i) {
        const Vector value = source->imu(i).linearAcceleration;
        for (const double v : {value.x, value.y, value.z}) {
            QCOMPARE(v, 0.25 * std::round(v / 0.25));
        }
        values.insert(value.x);
    }
    QVERIFY(values.size() > 5 && values.size() < 40);
}

void TestSensorErrors::readingsEndAtTheRange()
{
    const auto source = sourceOf([](SensorErrors& errors) {
        errors.accelerationBias = {150.0, -300.0, 12.0};
        errors.accelerometer.measurementRange = 160.0;
        errors.angularVelocityBias = {300.0, -300.0, 12.0};
        errors.gyroscope.measurementRange = 250.0;
    });
    // Beyond the sensor's own 8 g, and below its own 1000 degrees per second.
    QVERIFY(near(source->imu(0).linearAcceleration, {150.0, -160.0, 12.0}));
    QVERIFY(near(source->imu(0).angularVelocity, {250.0, -250.0, 12.0}));
    const auto own = sourceOf([](SensorErrors& errors) {
        errors.accelerationBias = {150.0, -300.0, 12.0};
        errors.accelerometer.resolution = 0.001;
    });
    QVERIFY2(near(own->imu(0).linearAcceleration, {8.0 * gravity, -8.0 * gravity, 12.0}),
             text(own->imu(0).linearAcceleration));
}

void TestSensorErrors::magnetometerBeyondItsRangeIsSaturated()
{
    const auto saturated = [](double range, double iron) {
        return sourceWith([&](CameraConfig& config) {
                   config.hardIron = {iron, 0.0, 0.0};
                   config.errors.magnetometer.measurementRange = range;
               })
            ->magnetometer(0)
            .isSaturated();
    };
    QVERIFY(!saturated(600.0, 500.0));
    QVERIFY(saturated(600.0, 700.0));
    QVERIFY(saturated(600.0, -700.0));
}

void TestSensorErrors::spikesAreAsManyAndAsHigh()
{
    const auto source = sourceOf([](SensorErrors& errors) {
        errors.gyroscope.spikeShare = 5.0;
        errors.gyroscope.spikeAmplitude = 90.0;
    });
    constexpr int count = 20000;
    int axes[3] = {};
    int up = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        const Vector v = source->imu(i).angularVelocity;
        const double values[3] = {v.x, v.y, v.z};
        int spikes = 0;
        for (int axis = 0; axis < 3; ++axis) {
            if (values[axis] != 0.0) {
                QCOMPARE(std::abs(values[axis]), 90.0);
                ++axes[axis];
                ++spikes;
                up += values[axis] > 0.0 ? 1 : 0;
            }
        }
        QVERIFY(spikes <= 1);
    }
    const int all = axes[0] + axes[1] + axes[2];
    QVERIFY2(std::abs(all - 1000) < 130, qPrintable(QString::number(all)));
    for (const int axis : axes) {
        QVERIFY(std::abs(axis - all / 3) < 80);
    }
    QVERIFY(std::abs(up - all / 2) < 70);
}

void TestSensorErrors::barometerHasOneAxis()
{
    const auto source = sourceOf([](SensorErrors& errors) {
        errors.barometer.spikeShare = 100.0;
        errors.barometer.spikeAmplitude = 500.0;
        errors.barometer.resolution = 10.0;
    });
    const auto sound = sourceOf([](SensorErrors&) {});
    for (std::uint64_t i = 0; i < 50; ++i) {
        const double off = source->barometer(i).pressure - sound->barometer(i).pressure;
        QVERIFY2(std::abs(std::abs(off) - 500.0) <= 5.0, qPrintable(QString::number(off)));
        QCOMPARE(std::fmod(source->barometer(i).pressure, 10.0), 0.0);
    }
}

void TestSensorErrors::pressureHasAnAltitude_data()
{
    QTest::addColumn<bool>("model");
    QTest::newRow("without an error model") << false;
    QTest::newRow("with an error model") << true;
}

void TestSensorErrors::pressureHasAnAltitude()
{
    QFETCH(const bool, model);
    const auto source = sourceWith([&](CameraConfig& config) {
        config.altitude = 9000.0; // 30.7 kPa
        config.errors.pressureNoise = 10000.0;
        config.errors.barometer.turnOnSpread.x = model ? 1.0 : 0.0;
    });
    double least = 1e9;
    for (std::uint64_t i = 0; i < 5000; ++i) {
        const double pressure = source->barometer(i).pressure;
        least = std::min(least, pressure);
        QVERIFY2(std::isfinite(heightAbove(30000.0, pressure)), QByteArray::number(pressure));
    }
    QCOMPARE(least, 100.0);
}

void TestSensorErrors::instabilityAndWalkMoveTheBias_data()
{
    QTest::addColumn<bool>("walk");
    QTest::newRow("instability") << false;
    QTest::newRow("walk") << true;
}

void TestSensorErrors::instabilityAndWalkMoveTheBias()
{
    QFETCH(bool, walk);
    const auto source = sourceOf([&](SensorErrors& errors) {
        for (ErrorModel* const model :
             {&errors.accelerometer, &errors.gyroscope, &errors.magnetometer, &errors.barometer}) {
            (walk ? model->randomWalk : model->biasInstability) = {3.0, 3.0, 3.0};
        }
    });
    const Vector a = source->imu(400).linearAcceleration;
    const Vector w = source->imu(400).angularVelocity;
    QVERIFY(std::abs(a.x) > 1e-3 && std::abs(w.x) > 1e-3);
    QVERIFY(a.x != w.x && a.x != a.z);                              // each axis has its own
    QVERIFY(length(source->imu(401).linearAcceleration - a) < 2.0); // slow
    QVERIFY(length(source->imu(400'000).linearAcceleration - a) > 1e-3);
    QVERIFY(source->magnetometer(50).counts != source->magnetometer(50'000).counts);
    QVERIFY(source->barometer(25).pressure != source->barometer(25'000).pressure);
}

void TestSensorErrors::aFastClockShortensThePeriod_data()
{
    QTest::addColumn<double>("drift");
    for (const double drift : {-50000.0, -37.0, 0.0, 0.1, 250.0, 50000.0}) {
        QTest::addRow("%g ppm", drift) << drift;
    }
}

void TestSensorErrors::aFastClockShortensThePeriod()
{
    QFETCH(double, drift);
    const auto source = sourceOf([&](SensorErrors& errors) { errors.clockDrift = drift; });
    const auto without = sourceOf([](SensorErrors&) {});
    for (const STREAM stream : {STREAM::IMU, STREAM::MAGNETOMETER, STREAM::BAROMETER}) {
        constexpr std::uint64_t count = 4'000'000;
        const double jitter = static_cast<double>(without->timeOf(stream, count - 1) - startTime) -
                              count * 1e9 / PhysicsSource::rateOf(stream);
        const double expected =
            count * 1e9 / PhysicsSource::rateOf(stream) / (1.0 + 1e-6 * drift) + jitter;
        const auto time = static_cast<double>(source->timeOf(stream, count - 1) - startTime);
        QVERIFY2(std::abs(time - expected) < 2.0, qPrintable(QString::number(time - expected)));
    }
}

void TestSensorErrors::newestSampleIsFoundWithADriftingClock()
{
    QFETCH(double, drift);
    const auto source = sourceOf([&](SensorErrors& errors) { errors.clockDrift = drift; });
    for (const std::uint64_t number : {0U, 1U, 2U, 399U, 10'000U, 4'000'000U, 40'000'000U}) {
        const Nanoseconds time = source->timeOf(STREAM::IMU, number);
        QCOMPARE(source->newest(STREAM::IMU, time).value(), number);
        QVERIFY(source->newest(STREAM::IMU, time - 1) ==
                (number > 0 ? std::optional<std::uint64_t>(number - 1) : std::nullopt));
    }
}

void TestSensorErrors::droppedSamplesAreNeverTheNewest_data()
{
    QTest::addColumn<int>("together");
    QTest::newRow("single") << 1;
    QTest::newRow("ten") << 10;
}

void TestSensorErrors::droppedSamplesAreNeverTheNewest()
{
    QFETCH(int, together);
    const auto source = sourceOf([&](SensorErrors& errors) {
        errors.droppedSamples = 20.0;
        errors.droppedTogether = together;
    });
    constexpr std::uint64_t count = 40000;
    std::uint64_t lost = 0;
    std::uint64_t runs = 0;
    std::optional<std::uint64_t> last;
    for (std::uint64_t i = 0; i < count; ++i) {
        const bool isLost = source->isLost(STREAM::IMU, i);
        lost += isLost ? 1 : 0;
        runs += isLost && (i == 0 || !source->isLost(STREAM::IMU, i - 1)) ? 1 : 0;
        if (!isLost) {
            last = i;
        }
        QVERIFY(source->newest(STREAM::IMU, source->timeOf(STREAM::IMU, i)) == last);
    }
    const double share = static_cast<double>(lost) / count;
    QVERIFY2(std::abs(share - 0.2) < 0.03, qPrintable(QString::number(share)));
    // Losses beside each other are one: of p = 0.2 a run has 1 / (1 - p) of them.
    const double length = static_cast<double>(lost) / static_cast<double>(runs);
    QVERIFY2(std::abs(length / (together / 0.8) - 1.0) < 0.1, qPrintable(QString::number(length)));
}

void TestSensorErrors::theProgramReadsAroundDroppedSamples()
{
    CameraConfig config = benchtest::idealCamera();
    config.errors.droppedSamples = 30.0;
    config.errors.droppedTogether = 5;
    Bench& bench = benchtest::stoppedBench();
    bench.addCamera(config);
    Camera camera;
    QCOMPARE(camera.open(benchtest::parametersFor(config.serialNumber)), ERROR_CODE::SUCCESS);
    const auto source = bench.camera(config.serialNumber)->source();
    std::uint64_t last = 0;
    int lost = 0;
    for (std::uint64_t i = 0; i < 1000; ++i) {
        const Nanoseconds time = source->timeOf(STREAM::IMU, i);
        bench.clock().advance(time - bench.clock().now());
        if (!source->isLost(STREAM::IMU, i)) {
            last = time;
        } else if (++lost > 20) {
            continue; // each read waits for a sample in vain
        }
        SensorsData data;
        QCOMPARE(benchtest::current(camera, data), ERROR_CODE::SUCCESS);
        QCOMPARE(data.imu.timestamp, last);
    }
    QVERIFY(lost > 200);
}

void TestSensorErrors::samplesAreTheSameInWhateverOrder()
{
    const auto forward = sourceOf(spoil);
    const auto backward = sourceOf(spoil);
    for (std::uint64_t i = 0; i < 2000; ++i) {
        forward->imu(i);
        backward->imu(1999 - i);
    }
    for (const std::uint64_t number : {0U, 5U, 1999U, 1000U, 4'000'000U, 17U}) {
        const ImuSample a = forward->imu(number);
        const ImuSample b = backward->imu(number);
        const ImuSample c = sourceOf(spoil)->imu(number);
        for (const ImuSample& other : {b, c}) {
            QCOMPARE(other.time, a.time);
            QVERIFY(near(other.linearAcceleration, a.linearAcceleration, 0.0));
            QVERIFY(near(other.angularVelocity, a.angularVelocity, 0.0));
        }
        QVERIFY(forward->magnetometer(number).counts == backward->magnetometer(number).counts);
        QCOMPARE(forward->barometer(number).pressure, backward->barometer(number).pressure);
    }
}

void TestSensorErrors::threadsReadTheSameSamples()
{
    const auto source = sourceOf(spoil);
    const auto alone = sourceOf(spoil);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (std::uint64_t t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (std::uint64_t i = 0; i < 500; ++i) {
                const std::uint64_t number = (t % 2 == 0 ? i : 499 - i) * (t < 2 ? 1 : 100);
                const ImuSample sample = source->imu(number);
                const ImuSample expected = alone->imu(number);
                if (!near(sample.angularVelocity, expected.angularVelocity, 0.0)) {
                    ++wrong;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    QCOMPARE(wrong.load(), 0);
}

QTEST_GUILESS_MAIN(TestSensorErrors)
#include "tst_sensor_errors.moc"
